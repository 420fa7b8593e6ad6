// A command file of any content, checked by the front end as
// `brantix fuzz --nvme 0 --dir logs` checks fuzz.cmd.json.
#include "front_end.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::EnterFrontEndScratch();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::WriteBytes("fuzz.cmd.json", data, size);
    fuzz::RunFrontEnd({"brantix", "fuzz", "--nvme", "0", "--dir", "logs"});
    return 0;
}
