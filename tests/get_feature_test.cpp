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
using testing_support::Expected;

// Identify Controller with OAES (byte 92), CMIC (76), LPA (261) and NPSS (263) set.
ORKA_NVME_IDENTIFY_CONTROLLER_DATA Controller(std::uint32_t oaes, std::uint8_t cmic, std::uint8_t lpa,
                                              std::uint8_t npss) {
    return ByteFixture(4096)
        .put32(92, oaes)
        .put8(76, cmic)
        .put8(261, lpa)
        .put8(263, npss)
        .as<ORKA_NVME_IDENTIFY_CONTROLLER_DATA>();
}

Json::Value Decode(unsigned int feature, unsigned int dword, const ByteFixture& buffer,
                   const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller) {
    Json::Value info;
    orka::DecodeFeature(feature, dword, buffer.data(), static_cast<unsigned int>(buffer.size()), controller,
                        info["nvme"]["parameters"]);
    return info;
}

class FeatureDecoder : public ::testing::Test {
  protected:
    void SetUp() override { orka::ExpandParameterCatalogue(); }
};

TEST_F(FeatureDecoder, DwordValueRules) {
    const auto none = Controller(0, 0, 0, 0);
    const struct {
        const char* rule;
        unsigned int feature;
        unsigned int dword;
        std::vector<Expected> expected;
    } cases[] = {
        {"power of two below 7, then no limit",
         0x01,
         0x03070F03,
         {{"Arbitration Burst (AB)", "3 (2^3=8)"},
          {"Low Priority Weight (LPW)", "16"},
          {"Medium Priority Weight (MPW)", "8"},
          {"High Priority Weight (HPW)", "4"}}},
        {"power of two below 7, then no limit", 0x01, 7, {{"Arbitration Burst (AB)", "No Limit"}}},
        {"plain decimal fields",
         0x02,
         0x61,
         {{"Current Power State (PS)", "1"}, {"Workload Hint (WH)", "3"}}},
        {"plain decimal fields", 0x12, 0xF2, {{"Read Recovery Level (RRL)", "2"}}},
        {"zero has its own text",
         0x05,
         0x10005,
         {{"Time Limited Error Recovery (TLER)", "500 mS"},
          {"Deallocated or Unwritten Logical Block Error Enable (DULBE)", "Enabled"}}},
        {"zero has its own text", 0x05, 0, {{"Time Limited Error Recovery (TLER)", "No Timeout"}}},
        {"zero has its own text",
         0x08,
         0xFF05,
         {{"Aggregation Time (TIME)", "25500 uS"}, {"Aggregation Threshold (THR)", "6"}}},
        {"zero has its own text", 0x08, 0, {{"Aggregation Time (TIME)", "No Delay"}}},
        {"zero has its own text", 0x0F, 12000, {{"Keep Alive Timeout (KATO)", "12,000 mS"}}},
        {"zero has its own text", 0x0F, 0, {{"Keep Alive Timeout (KATO)", "Disabled"}}},
        {"zero has its own text",
         0x10,
         0x00000157,
         {{"Thermal Management Temperature 1 (TMT1)", "Disabled"},
          {"Thermal Management Temperature 2 (TMT2)", "70 C"}}},
        {"single bits", 0x06, 0xFFFFFFFE, {{"Volatile Write Cache Enable (WCE)", "Disabled"}}},
        {"single bits", 0x0A, 1, {{"Disable Normal (DN)", "Supported"}}},
        {"single bits",
         0x11,
         1,
         {{"Non-Operational Power State Permissive Mode Enable (NOPPME)", "Enabled"}}},
        {"single bits", 0x13, 0, {{"Predictable Latency Enable", "Disabled"}}},
        {"window select",
         0x14,
         2,
         {{"Predictable Latency Mode Window Select", "Non-Deterministic Window (NDWIN)"}}},
        {"window select", 0x14, 3, {{"Predictable Latency Mode Window Select", "Reserved"}}},
        {"hundreds of milliseconds",
         0x15,
         0x00780001,
         {{"LBA Status Information Poll Interval (LSIPI)", "12000 mS"},
          {"LBA Status Information Report Interval (LSIRI)", "100 mS"}}},
    };
    for (const auto& c : cases) {
        testing_support::ExpectParameters(Decode(c.feature, c.dword, ByteFixture(0), none), c.expected,
                                          c.rule + (" " + orka::ToHexString(c.dword, 8)));
    }
}

TEST_F(FeatureDecoder, AsynchronousEventNoticesFollowTheControllersSupport) {
    const std::vector<std::string> newer = {"Endurance Group Aggregate Log Change Notices Enable",
                                            "LBA Status Information Notices Enable",
                                            "Predictable Latency Aggregate Log Change Notices Enable",
                                            "Asymmetric Namespace Access Change Notices Enable"};
    // Every notice bit on, bit 12 off; SMART warnings 0x1F.
    const Json::Value all = Decode(0x0B, 0x6F1F, ByteFixture(0), Controller(0x7F00, 0x08, 0x08, 0));
    EXPECT_EQ(all["nvme"]["parameters"].size(), 8u);
    testing_support::ExpectParameters(all, {{newer[0], "Enabled"},
                                            {newer[2], "Disabled"},
                                            {newer[3], "Enabled"},
                                            {"Telemetry Log Notices Enable", "Enabled"},
                                            {"SMART Critical Warning Notices Enable", "0x1F"}});
    const Json::Value bare = Decode(0x0B, 0xFFFF, ByteFixture(0), Controller(0, 0, 0, 0));
    EXPECT_EQ(bare["nvme"]["parameters"].getMemberNames(),
              std::vector<std::string>{"SMART Critical Warning Notices Enable"});
}

TEST_F(FeatureDecoder, BufferFeatures) {
    const auto one_state = Controller(0, 0, 0, 1);
    // APST entries: ITPS bits 7:3, ITPT bits 31:8 of each 8-byte entry.
    const ByteFixture apst = ByteFixture(256).put32(0, 100 << 8 | 3 << 3).put32(8, 7 << 3).put32(16, 5 << 8);
    testing_support::ExpectParameters(Decode(0x0C, 1, apst, one_state),
                                      {{"Autonomous Power State Transition Enable (APSTE)", "Enabled"},
                                       {"Power State 0 Idle Time Prior to Transition (ITPT)", "100 mS"},
                                       {"Power State 0 Idle Transition Power State (ITPS)", "3"},
                                       {"Power State 1 Idle Time Prior to Transition (ITPT)", "Disabled"},
                                       {"Power State 1 Idle Transition Power State (ITPS)", ABSENT},
                                       {"Power State 2 Idle Time Prior to Transition (ITPT)", ABSENT}});
    const ByteFixture hmb = ByteFixture(16).put32(0, 8192).put32(4, 0x12345000).put32(8, 1).put32(12, 4);
    testing_support::ExpectParameters(Decode(0x0D, 0, hmb, one_state),
                                      {{"Enable Host Memory (EHM)", "Disabled"},
                                       {"Host Memory Buffer Size (HSIZE)", "8,192"},
                                       {"Host Memory Descriptor List Address (HMDLAL)", "0x12345000"},
                                       {"Host Memory Descriptor List Address (HMDLAU)", "0x00000001"},
                                       {"Host Memory Descriptor List Entry Count (HMDLEC)", "4"}});
    // 2 h 3 min 4.005 s since a reset, the clock stopped; then a host-set time.
    const ByteFixture since_reset = ByteFixture(8).putLittleEndian(0, 7384005, 6).put8(6, 0x01);
    testing_support::ExpectParameters(Decode(0x0E, 0, since_reset, one_state),
                                      {{"Timestamp", "7,384,005 mS"},
                                       {"Timestamp Decoded", orka::MillisecondsToTimeString(7384005, 3)},
                                       {"Timestamp Origin", "Controller Reset"},
                                       {"Timestamp Stopped", "True"}});
    const ByteFixture host_set = ByteFixture(8).putLittleEndian(0, 1763700010000, 6).put8(6, 0x02);
    testing_support::ExpectParameters(Decode(0x0E, 0, host_set, one_state),
                                      {{"Timestamp Decoded", orka::MillisecondsToDate(1763700010000)},
                                       {"Timestamp Origin", "Host Programmed"},
                                       {"Timestamp Stopped", "False"}});
}

TEST_F(FeatureDecoder, ShortBufferOrUnknownFeatureThrows) {
    const struct {
        unsigned int feature;
        std::size_t bytes;
        const char* message;
    } cases[] = {
        {0x0C, 8, "Feature 0x0C returned 8 data bytes, fewer than the 16 it needs"},
        {0x0D, 12, "Feature 0x0D returned 12 data bytes, fewer than the 16 it needs"},
        {0x0E, 0, "Feature 0x0E returned 0 data bytes, fewer than the 8 it needs"},
        {0x07, 0, "No decoder for feature 0x07"},
    };
    for (const auto& c : cases) {
        try {
            Decode(c.feature, 0, ByteFixture(c.bytes), Controller(0, 0, 0, 1));
            ADD_FAILURE() << "no exception for feature " << c.feature;
        } catch (const orka::OrkaError& error) {
            EXPECT_EQ(std::string(error.what()), c.message);
        }
    }
}

class SimulatedFeatures : public FeatureDecoder {
  protected:
    void TearDown() override { testing_support::StopSimulation(); }

    // Runs `get` on drive `controller` of `profile` with every feature switched on.
    int Run(const std::string& profile,
            int (*get)(int, Json::Value&, Json::Value&, const Json::Value&,
                       const ORKA_NVME_IDENTIFY_CONTROLLER_DATA&),
            const std::string& faults = "", unsigned controller = 0) {
        testing_support::UseProfile(profile, faults);
        const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme" + std::to_string(controller), false);
        Json::Value none;
        EXPECT_EQ(orka::ReadIdentifyController(fd, identify, none, none), 0);
        Json::Value settings;
        for (const char* id :
             {"01", "02", "04", "05", "06", "08", "0A", "0B", "0C", "0D", "0E", "0F", "10", "11"}) {
            settings["read feature " + std::string(id) + "h"] = true;
        }
        const int result = get(fd, info, record, settings, identify);
        orka::CloseNvmeId(fd);
        return result;
    }
    std::string Commands() const {
        std::string names;
        for (const auto& command : info["_metadata"]["commands"]) {
            names += command["admin command"].asString() + ";";
        }
        return names;
    }

    ORKA_NVME_IDENTIFY_CONTROLLER_DATA identify{};
    Json::Value info;
    Json::Value record{Json::arrayValue};
};

TEST_F(SimulatedFeatures, ThresholdsOfTheSensorsTheHealthLogReported) {
    orka::AddParameter(info["nvme"]["parameters"], "Temperature Sensor 2", "27 C");
    ASSERT_EQ(Run("rich-1.4", orka::GetFeature04), 0);
    std::vector<unsigned> cdw11;
    for (const auto& command : testing_support::Journal()) {
        if (command["opcode"].asUInt() == 0x0A) {
            cdw11.push_back(command["cdw11"].asUInt());
        }
    }
    EXPECT_EQ(cdw11, (std::vector<unsigned>{0, 0x100000, 0x20000, 0x120000}));
    EXPECT_EQ(Commands(),
              "Get Feature 4;Get Feature 4 (0x100000);Get Feature 4 (0x20000);Get Feature 4 (0x120000);");
    EXPECT_EQ(record.size(), 4u);
    testing_support::ExpectParameters(info, {{"Composite Temperature Over Threshold", "85 C"},
                                             {"Composite Temperature Under Threshold", "-5 C"},
                                             {"Temperature Sensor 2 Over Threshold", "88 C"},
                                             {"Temperature Sensor 2 Under Threshold", "-11 C"},
                                             {"Temperature Sensor 1 Over Threshold", ABSENT}});
}

TEST_F(SimulatedFeatures, CollectionOnDrivesOfEachKind) {
    // The rich drive answers every feature; the second dual drive has KAS 2 and no keep-alive read;
    // the faulty drive rejects feature 08h with a status and 0Bh with an errno.
    ASSERT_EQ(Run("rich-1.4",
                  [](int fd, Json::Value& i, Json::Value& r, const Json::Value& s,
                     const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& c) {
                      orka::GetFeatures(fd, i, r, s, c);
                      return 0;
                  }),
              0);
    EXPECT_EQ(Commands(),
              "Get Feature 1;Get Feature 2;Get Feature 4;Get Feature 4 (0x100000);Get Feature 5;"
              "Get Feature 6;Get Feature 8;Get Feature 10;Get Feature 11;Get Feature 12;"
              "Get Feature 13;Get Feature 14;Get Feature 15;Get Feature 16;Get Feature 17;");
    EXPECT_EQ(info["nvme"]["parameters"].size(), 45u);
    testing_support::ExpectParameters(info,
                                      {{"Asymmetric Namespace Access Change Notices Enable", "Enabled"},
                                       {"Power State 4 Idle Time Prior to Transition (ITPT)", "Disabled"},
                                       {"Timestamp Origin", "Host Programmed"},
                                       {"Keep Alive Timeout (KATO)", "10,000 mS"}});

    info = Json::Value();
    EXPECT_EQ(Run("dual-namespace", orka::GetFeature0F, "", 1), 0);
    EXPECT_EQ(Run("dual-namespace", orka::GetFeature0E, "", 1), 0);
    EXPECT_EQ(Commands(), "Get Feature 14;");
    testing_support::ExpectParameters(
        info, {{"Timestamp Origin", "Controller Reset"}, {"Timestamp Stopped", "True"}});

    info = Json::Value();
    EXPECT_EQ(Run("faulty", orka::GetFeature08), 1);
    EXPECT_EQ(Run("faulty", orka::GetFeature0B), 1);
    EXPECT_EQ(info["_metadata"]["commands"][0]["nvme status"].asInt(), 0x4002);
    EXPECT_EQ(info["_metadata"]["commands"][1]["return code"].asInt(), 22);
    EXPECT_FALSE(info["nvme"].isMember("parameters"));
}

}  // namespace
