// Identify Namespace decode over any bytes: the input fills the 4096-byte
// record (zeros beyond its end); the next four bytes, when present, are the
// controller's version (little-endian), the one after them asks for the hex dump.
#include "fuzz_support.h"
#include "identify_namespace.h"
#include "orka_nvme.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    orka::ExpandParameterCatalogue();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto record = fuzz::ToRecord<orka::ORKA_NVME_IDENTIFY_NAMESPACE_DATA>(data, size);
    const std::size_t rest = size > sizeof(record) ? size - sizeof(record) : 0;
    const auto version = rest > 0 ? fuzz::ToRecord<std::uint32_t>(data + sizeof(record), rest) : 0x10400u;
    const bool raw_hex = rest > 4 && (data[sizeof(record) + 4] & 1) != 0;
    Json::Value info;
    unsigned int highest_version = 0;
    // The namespace decode refuses nothing: any exception escapes and counts as a finding.
    orka::DecodeIdentifyNamespace(record, info, raw_hex, version, highest_version);
    return 0;
}
