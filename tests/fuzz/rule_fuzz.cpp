// One rule check over any texts: the input is cut at NUL bytes into the
// parameter name, the operator, the limit and the value; the number and unit
// split runs on the value and on the limit.
#include "fuzz_support.h"
#include "orka_nvme.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> texts = fuzz::Split(data, size, '\0');
    texts.resize(4);
    std::string message;
    orka::CheckRule(texts[0], texts[1], texts[2], texts[3], message);
    for (std::string text : {texts[2], texts[3]}) {
        std::string number;
        std::string unit;
        orka::GetNumberAndUnit(text, number, unit);
    }
    return 0;
}
