// Feature decoders on dwords and buffers. Which temperature thresholds are read, and in what order,
// is checked end to end (the fault table, the nvme-cli cross-check).
#include "get_feature.h"

#include <gtest/gtest.h>

#include "identify_controller.h"
#include "orka_nvme.h"
#include "support/byte_fixture.h"
#include "support/parameters.h"

namespace {

using Controller = orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA;
using testing_support::ABSENT;
using testing_support::ByteFixture;

TEST(FeatureDecoder, ValueRulesOnDwordsAndBuffers) {
    orka::ExpandParameterCatalogue();
    // Identify Controller with NPSS (byte 263) 1; the second also with every notice the 0Bh dword
    // may hold: OAES (92), CMIC (76) and LPA (261).
    ByteFixture identify(4096);
    const auto plain = identify.put8(263, 1).as<Controller>();
    const auto notices = identify.put32(92, 0x7F00).put8(76, 8).put8(261, 8).as<Controller>();
    const ByteFixture none(0);
    const ByteFixture apst = ByteFixture(256).put32(0, 100 << 8 | 3 << 3).put32(8, 7 << 3).put32(16, 5 << 8);
    const ByteFixture hmb = ByteFixture(16).put32(8, 1);
    const ByteFixture reset = ByteFixture(8).putLittleEndian(0, 7384005, 6).put8(6, 0x01);
    const ByteFixture host = ByteFixture(8).putLittleEndian(0, 1763700010000, 6).put8(6, 0x02);
    const struct {
        unsigned int feature, dword;
        const ByteFixture& buffer;
        const Controller& controller;
        std::string name, value;
    } cases[] = {
        // special values, Kelvin shown in C, hexadecimal, notices only where the controller sends them
        {0x05, 0, none, plain, "Time Limited Error Recovery (TLER)", "No Timeout"},
        {0x10, 0x157, none, plain, "Thermal Management Temperature 2 (TMT2)", "70 C"},
        {0x14, 3, none, plain, "Predictable Latency Mode Window Select", "Reserved"},
        {0x0B, 0x6F1F, none, notices, "SMART Critical Warning Notices Enable", "0x1F"},
        {0x0B, 0xFFFF, none, plain, "Telemetry Log Notices Enable", ABSENT},
        // buffers: APST per power state 0 .. NPSS, host memory buffer, timestamp
        {0x0C, 1, apst, plain, "Power State 0 Idle Transition Power State (ITPS)", "3"},
        {0x0C, 1, apst, plain, "Power State 1 Idle Time Prior to Transition (ITPT)", "Disabled"},
        {0x0C, 1, apst, plain, "Power State 2 Idle Time Prior to Transition (ITPT)", ABSENT},
        {0x0D, 0, hmb, plain, "Host Memory Descriptor List Address (HMDLAU)", "0x00000001"},
        {0x0E, 0, reset, plain, "Timestamp Decoded", orka::MillisecondsToTimeString(7384005, 3)},
        {0x0E, 0, host, plain, "Timestamp Decoded", orka::MillisecondsToDate(1763700010000)},
    };
    for (const auto& c : cases) {
        Json::Value info;
        orka::DecodeFeature(c.feature, c.dword, c.buffer.data(), static_cast<unsigned int>(c.buffer.size()),
                            c.controller, info["nvme"]["parameters"]);
        EXPECT_EQ(testing_support::ParameterValue(info, c.name), c.value) << c.name << " " << c.dword;
    }
    // Too short a buffer or an unknown feature is an error, never a read past the data.
    Json::Value parameters;
    try {
        orka::DecodeFeature(0x0C, 0, apst.data(), 8, plain, parameters);
        ADD_FAILURE() << "no error";
    } catch (const orka::OrkaError& e) {
        EXPECT_EQ(std::string(e.what()), "Feature 0x0C returned 8 data bytes, fewer than the 16 it needs");
    }
}

}  // namespace
