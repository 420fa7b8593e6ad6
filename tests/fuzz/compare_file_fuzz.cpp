// A compare file of any content, read as an information document: the demo
// drive is compared with it under each compare type, and the health rules are
// verified against its parameters.
#include "fuzz_support.h"
#include "orka_nvme.h"
#include "reference_info.h"

namespace {
std::string g_path;
Json::Value g_rules;
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::ReferenceInfo();
    orka::LoadRulesFile(fuzz::SourcePath("commands/health.rules.json"), g_rules);
    g_path = fuzz::MakeScratchDirectory() + "/fuzz.nvme.info.json";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::WriteBytes(g_path, data, size);
    Json::Value compare;
    try {
        orka::ReadJsonFile(g_path, compare);
    } catch (const orka::OrkaError&) {
        return 0;  // not JSON
    }
    for (const char* compare_type : {"", "all", "firmware"}) {
        Json::Value info = fuzz::ReferenceInfo();
        try {
            orka::CompareNvmeInfo(compare, info, compare_type);
        } catch (const std::runtime_error&) {
            // a document of the wrong shape ends the comparison with an error the sample reports
        }
    }
    orka::VerifyNvmeInfo(compare, g_rules);
    return 0;
}
