// One feature's decode step over any bytes: the first four bytes are completion
// dword 0 (little-endian), the rest is the data buffer the command returned; the
// controller is the demo drive's. Each target defines FUZZ_FEATURE, the
// identifier of its feature, in a file of its own.
#include "fuzz_support.h"
#include "get_feature.h"
#include "orka_nvme.h"
#include "reference_info.h"

extern const unsigned int FUZZ_FEATURE;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::ReferenceInfo();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto dword = fuzz::ToRecord<std::uint32_t>(data, size);
    // The buffer is a copy of exactly the bytes after the dword, so that any read past it is reported.
    const std::vector<unsigned char> buffer(data + (size < 4 ? size : 4), data + size);
    Json::Value parameters;
    try {
        if (FUZZ_FEATURE == 0x04) {
            // Temperature thresholds: the over threshold in the low half, the under one in the high half.
            orka::DecodeTemperatureThresholds("Temperature Sensor 1", dword, dword >> 16, parameters);
        } else {
            orka::DecodeFeature(FUZZ_FEATURE, dword, buffer.empty() ? nullptr : buffer.data(),
                                static_cast<unsigned int>(buffer.size()), fuzz::ReferenceController(),
                                parameters);
        }
    } catch (const orka::OrkaError& error) {
        fuzz::FailOnCatalogueMiss(error);  // a buffer too short for the feature is refused
    }
    return 0;
}
