// The telemetry header decode over any bytes: the input is the header block as
// the drive returned it, decoded as the host-initiated (07h) and as the
// controller-initiated (08h) log, as the tool reads both.
#include "fuzz_support.h"
#include "logpage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A copy of exactly the input's length, so that any read past it is reported.
    const std::vector<unsigned char> header(data, data + size);
    Json::Value info;
    for (unsigned int logId : {0x07U, 0x08U}) {
        orka::ConvertTelemetryHeader(logId, info, header.data(), header.size());
    }
    return 0;
}
