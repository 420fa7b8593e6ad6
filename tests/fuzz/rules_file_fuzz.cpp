// A rules file of any content: loaded from disk as a read loads it, and, when it
// holds only good rules, applied to the decoded demo drive.
#include "fuzz_support.h"
#include "orka_nvme.h"
#include "reference_info.h"

namespace {
std::string g_path;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::ReferenceInfo();
    g_path = fuzz::MakeScratchDirectory() + "/fuzz.rules.json";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::WriteBytes(g_path, data, size);
    Json::Value rules;
    try {
        orka::LoadRulesFile(g_path, rules);
    } catch (const orka::UsageError&) {
        return 0;  // bad rules, all reported at once
    } catch (const orka::OrkaError&) {
        return 0;  // not JSON, or no list of rules
    }
    Json::Value info = fuzz::ReferenceInfo();
    orka::VerifyNvmeInfo(info, rules);
    return 0;
}
