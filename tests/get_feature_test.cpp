// Feature decoders on dwords and buffers, and the feature reads on simulated drives.
#include "get_feature.h"

#include <gtest/gtest.h>

#include "identify_controller.h"
#include "orka_nvme.h"
#include "support/byte_fixture.h"
#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA;
using testing_support::ABSENT;
using testing_support::ByteFixture;

// Identify Controller with OAES (byte 92), CMIC (76), LPA (261) and NPSS (263).
ORKA_NVME_IDENTIFY_CONTROLLER_DATA Controller(std::uint32_t oaes, std::uint8_t cmic_lpa, std::uint8_t npss) {
    return ByteFixture(4096)
        .put32(92, oaes)
        .put8(76, cmic_lpa)
        .put8(261, cmic_lpa)
        .put8(263, npss)
        .as<ORKA_NVME_IDENTIFY_CONTROLLER_DATA>();
}

TEST(FeatureDecoder, ValueRulesOnDwordsAndBuffers) {
    orka::ExpandParameterCatalogue();
    const auto plain = Controller(0, 0, 1);
    const auto notices = Controller(0x7F00, 0x08, 1);  // every notice the 0Bh dword may hold
    const ByteFixture none(0);
    const ByteFixture apst = ByteFixture(256).put32(0, 100 << 8 | 3 << 3).put32(8, 7 << 3).put32(16, 5 << 8);
    const ByteFixture hmb = ByteFixture(16).put32(0, 8192).put32(4, 0x12345000).put32(8, 1);
    const ByteFixture reset = ByteFixture(8).putLittleEndian(0, 7384005, 6).put8(6, 0x01);
    const ByteFixture host = ByteFixture(8).putLittleEndian(0, 1763700010000, 6).put8(6, 0x02);
    const struct {
        unsigned int feature, dword;
        const ByteFixture& buffer;
        const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller;
        std::string name, value;
    } cases[] = {
        // fields with a text of their own for a special value
        {0x01, 0x03070F03, none, plain, "Arbitration Burst (AB)", "3 (2^3=8)"},
        {0x01, 7, none, plain, "Arbitration Burst (AB)", "No Limit"},
        {0x05, 5, none, plain, "Time Limited Error Recovery (TLER)", "500 mS"},
        {0x05, 0, none, plain, "Time Limited Error Recovery (TLER)", "No Timeout"},
        {0x08, 0xFF05, none, plain, "Aggregation Time (TIME)", "25500 uS"},
        {0x08, 0, none, plain, "Aggregation Time (TIME)", "No Delay"},
        {0x0F, 12000, none, plain, "Keep Alive Timeout (KATO)", "12,000 mS"},
        {0x0F, 0, none, plain, "Keep Alive Timeout (KATO)", "Disabled"},
        {0x10, 0x157, none, plain, "Thermal Management Temperature 2 (TMT2)", "70 C"},
        {0x10, 0x157, none, plain, "Thermal Management Temperature 1 (TMT1)", "Disabled"},
        {0x14, 2, none, plain, "Predictable Latency Mode Window Select", "Non-Deterministic Window (NDWIN)"},
        {0x14, 3, none, plain, "Predictable Latency Mode Window Select", "Reserved"},
        // counts plus one, plain numbers, scaled numbers
        {0x01, 0x03070F03, none, plain, "Low Priority Weight (LPW)", "16"},
        {0x08, 0xFF05, none, plain, "Aggregation Threshold (THR)", "6"},
        {0x02, 0x61, none, plain, "Workload Hint (WH)", "3"},
        {0x12, 0xF2, none, plain, "Read Recovery Level (RRL)", "2"},
        {0x15, 0x00780001, none, plain, "LBA Status Information Poll Interval (LSIPI)", "12000 mS"},
        {0x0B, 0x6F1F, none, notices, "SMART Critical Warning Notices Enable", "0x1F"},
        // single bits, and the notices only controllers that send them have
        {0x05, 0x10000, none, plain, "Deallocated or Unwritten Logical Block Error Enable (DULBE)",
         "Enabled"},
        {0x0A, 1, none, plain, "Disable Normal (DN)", "Supported"},
        {0x0B, 0x6F1F, none, notices, "Predictable Latency Aggregate Log Change Notices Enable", "Disabled"},
        {0x0B, 0x6F1F, none, notices, "Asymmetric Namespace Access Change Notices Enable", "Enabled"},
        {0x0B, 0xFFFF, none, plain, "Telemetry Log Notices Enable", ABSENT},
        // buffers: APST per power state 0 .. NPSS, host memory buffer, timestamp
        {0x0C, 1, apst, plain, "Power State 0 Idle Transition Power State (ITPS)", "3"},
        {0x0C, 1, apst, plain, "Power State 1 Idle Time Prior to Transition (ITPT)", "Disabled"},
        {0x0C, 1, apst, plain, "Power State 1 Idle Transition Power State (ITPS)", ABSENT},
        {0x0C, 1, apst, plain, "Power State 2 Idle Time Prior to Transition (ITPT)", ABSENT},
        {0x0D, 0, hmb, plain, "Host Memory Buffer Size (HSIZE)", "8,192"},
        {0x0D, 0, hmb, plain, "Host Memory Descriptor List Address (HMDLAU)", "0x00000001"},
        {0x0E, 0, reset, plain, "Timestamp", "7,384,005 mS"},
        {0x0E, 0, reset, plain, "Timestamp Decoded", orka::MillisecondsToTimeString(7384005, 3)},
        {0x0E, 0, reset, plain, "Timestamp Stopped", "True"},
        {0x0E, 0, host, plain, "Timestamp Decoded", orka::MillisecondsToDate(1763700010000)},
        {0x0E, 0, host, plain, "Timestamp Origin", "Host Programmed"},
    };
    for (const auto& c : cases) {
        Json::Value info;
        orka::DecodeFeature(c.feature, c.dword, c.buffer.data(), static_cast<unsigned int>(c.buffer.size()),
                            c.controller, info["nvme"]["parameters"]);
        EXPECT_EQ(testing_support::ParameterValue(info, c.name), c.value) << c.name << " " << c.dword;
    }
    // Too short a buffer or an unknown feature is an error, never a read past the data.
    const std::pair<unsigned int, std::string> refused[] = {
        {0x0C, "Feature 0x0C returned 8 data bytes, fewer than the 16 it needs"},
        {0x07, "No decoder for feature 0x07"}};
    for (const auto& [feature, message] : refused) {
        Json::Value parameters;
        try {
            orka::DecodeFeature(feature, 0, apst.data(), 8, plain, parameters);
            ADD_FAILURE() << message;
        } catch (const orka::OrkaError& e) {
            EXPECT_EQ(std::string(e.what()), message);
        }
    }
}

class SimulatedFeatures : public ::testing::Test {
  protected:
    void SetUp() override { orka::ExpandParameterCatalogue(); }
    void TearDown() override { testing_support::StopSimulation(); }

    // Runs one feature on drive `controller` of `profile`, every feature switched on; the
    // command names it sent, ";" after each.
    std::string Run(const std::string& profile, decltype(&orka::GetFeature01) get, int expected,
                    unsigned controller = 0) {
        testing_support::UseProfile(profile);
        const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme" + std::to_string(controller), false);
        ORKA_NVME_IDENTIFY_CONTROLLER_DATA identify{};
        Json::Value none;
        Json::Value settings;
        for (const char* id : {"04", "08", "0B", "0E", "0F"}) {
            settings["read feature " + std::string(id) + "h"] = true;
        }
        EXPECT_EQ(orka::ReadIdentifyController(fd, identify, none, none), 0);
        EXPECT_EQ(get(fd, info, none, settings, identify), expected) << profile;
        orka::CloseNvmeId(fd);
        std::string names;
        for (const auto& command : info["_metadata"]["commands"]) {
            names += command["admin command"].asString() + ";";
        }
        last = info["_metadata"]["commands"];
        info["_metadata"]["commands"].clear();
        return names;
    }
    Json::Value info;
    Json::Value last;  // the command records of the last run
};

TEST_F(SimulatedFeatures, CommandsAndParametersOnEachKindOfDrive) {
    orka::AddParameter(info["nvme"]["parameters"], "Temperature Sensor 2", "27 C");
    EXPECT_EQ(Run("rich-1.4", orka::GetFeature04, 0),
              "Get Feature 4;Get Feature 4 (0x100000);Get Feature 4 (0x20000);Get Feature 4 (0x120000);");
    std::vector<unsigned> cdw11;
    for (const auto& command : testing_support::Journal()) {
        if (command["opcode"].asUInt() == 0x0A) {
            cdw11.push_back(command["cdw11"].asUInt());
        }
    }
    EXPECT_EQ(cdw11, (std::vector<unsigned>{0, 0x100000, 0x20000, 0x120000}));
    EXPECT_EQ(Run("rich-1.4", orka::GetFeature0B, 0), "Get Feature 11;");
    EXPECT_EQ(info["nvme"]["parameters"].size(), 1 + 4 + 8u);  // the sensor, its thresholds, all notices
    testing_support::ExpectParameters(info, {{"Temperature Sensor 2 Under Threshold", "-11 C"},
                                             {"Temperature Sensor 1 Over Threshold", ABSENT},
                                             {"LBA Status Information Notices Enable", "Enabled"}});
    // KAS 2: no keep-alive read. A rejected feature returns 1 with its status and decodes nothing.
    EXPECT_EQ(
        Run("dual-namespace", orka::GetFeature0F, 0, 1) + Run("dual-namespace", orka::GetFeature0E, 0, 1),
        "Get Feature 14;");
    info = Json::Value();
    EXPECT_EQ(Run("faulty", orka::GetFeature08, 1), "Get Feature 8;");
    EXPECT_EQ(last[0]["nvme status"].asInt(), 0x4002);
    EXPECT_EQ(info["nvme"]["parameters"], Json::Value());
}

}  // namespace
