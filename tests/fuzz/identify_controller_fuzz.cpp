// Identify Controller decode over any bytes: the input fills the 4096-byte
// record (zeros beyond its end); one more byte, when present, asks for the hex dump.
#include "fuzz_support.h"
#include "identify_controller.h"
#include "orka_nvme.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    orka::ExpandParameterCatalogue();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto record = fuzz::ToRecord<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>(data, size);
    const bool raw_hex = size > sizeof(record) && (data[sizeof(record)] & 1) != 0;
    Json::Value info;
    unsigned int highest_version = 0;
    try {
        orka::DecodeIdentifyController(record, info, raw_hex, highest_version);
    } catch (const orka::OrkaError& error) {
        fuzz::FailOnCatalogueMiss(error);  // drives before 1.2.1 are refused, nothing else
    }
    return 0;
}
