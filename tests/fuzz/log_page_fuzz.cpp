// One log page decoder (LOG_PAGE_DECODER, set per target) over any bytes: the
// input is the page as the drive returned it, the controller is the demo drive's.
#include "fuzz_support.h"
#include "logpage.h"
#include "orka_nvme.h"
#include "reference_info.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::ReferenceInfo();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of exactly the input's length, so that any read past it is reported.
    const std::vector<unsigned char> page(data, data + size);
    Json::Value info;
    unsigned int highest_version = 0;
    try {
        LOG_PAGE_DECODER(info, page.data(), page.size(), fuzz::ReferenceController(), highest_version);
    } catch (const orka::OrkaError& error) {
        fuzz::FailOnCatalogueMiss(error);
    }
    return 0;
}
