// One log page decoder over any bytes: the input is the page as the drive
// returned it, the controller is the demo drive's. Each target defines
// FUZZ_LOG_PAGE, the identifier of its page, in a file of its own.
#include "fuzz_support.h"
#include "logpage.h"
#include "orka_nvme.h"
#include "reference_info.h"

extern const unsigned int FUZZ_LOG_PAGE;

namespace {

orka::LogPageDecoder g_decoder = nullptr;

orka::LogPageDecoder FindDecoder(unsigned int page) {
    switch (page) {
        case 0x01:
            return orka::ConvertLogPage1;
        case 0x02:
            return orka::ConvertLogPage2;
        case 0x03:
            return orka::ConvertLogPage3;
        case 0x05:
            return orka::ConvertLogPage5;
        case 0x06:
            return orka::ConvertLogPage6;
        case 0x0D:
            return orka::ConvertLogPage0D;
    }
    std::fprintf(stderr, "no decoder for log page %#x\n", page);
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::ReferenceInfo();
    g_decoder = FindDecoder(FUZZ_LOG_PAGE);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of exactly the input's length, so that any read past it is reported.
    const std::vector<unsigned char> page(data, data + size);
    Json::Value info;
    unsigned int highest_version = 0;
    try {
        g_decoder(info, page.data(), page.size(), fuzz::ReferenceController(), highest_version);
    } catch (const orka::OrkaError& error) {
        fuzz::FailOnCatalogueMiss(error);
    }
    return 0;
}
