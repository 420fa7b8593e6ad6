// Any command line, its arguments cut at NUL bytes, run next to copies of the
// ready-made command files. "--nvme 0" is appended so that no drive listing
// decides the outcome. Arguments that could reach outside the scratch directory
// (absolute paths, "..") are not run.
#include "front_end.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::EnterFrontEndScratch();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> args = fuzz::Split(data, size, '\0');
    for (const auto& arg : args) {
        if (arg.rfind('/', 0) == 0 || arg.find("..") != std::string::npos) {
            return -1;
        }
    }
    args.insert(args.begin(), "brantix");
    args.insert(args.end(), {"--nvme", "0"});
    fuzz::RunFrontEnd(args);
    return 0;
}
