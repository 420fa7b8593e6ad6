// Identify Controller decoding from raw structures built at the standard's byte offsets:
// one or two fixtures per kind of rule; breadth is proven by the nvme-cli cross-check.
#include "identify_controller.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orka.h"
#include "orka_linux.h"
#include "orka_nvme.h"
#include "support/byte_fixture.h"
#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::ABSENT;
using testing_support::ByteFixture;
using testing_support::Expected;
using testing_support::ExpectParameters;
using testing_support::V121;
using testing_support::V130;
using testing_support::V140;
const auto Value = testing_support::ParameterValue;
const std::string MODEL = "Acme NVMe SSD 512GB" + std::string(21, ' ');

// A plausible drive; the tests change single fields of it.
ByteFixture Controller(unsigned int version) {
    ByteFixture bytes(4096);
    bytes
        .put16(0, 0x144D)         // VID
        .putText(24, MODEL)       // MN
        .put8(72, 2)              // RAB
        .putText(73, "\x38\x25")  // IEEE 00-25-38, least significant byte first
        .put8(76, 0x05)           // CMIC: multiple ports, SR-IOV
        .put32(80, version)       // VER
        .put32(84, 1500000)       // RTD3R
        .put8(254, 0x80 | 100)    // VWCI: 100 cycles, valid
        .put16(256, 0x0006)       // OACS: format, firmware
        .put8(258, 3)             // ACL
        .put8(260, 0x17)          // FRMW: no reset, 3 slots, slot 1 read only
        .put8(263, 2)             // NPSS
        .put16(266, 358)          // WCTEMP
        .put16(270, 50)           // MTFA
        .put32(272, 8192)         // HMPRE
        .put16(526, 0xFFFF)       // AWUN
        .putText(768, std::string("nqn.2014-08.org.acme:ssd") + '\0' + "stale")
        .put16(2048, 2500)  // power state 0
        .put16(2080, 35000)
        .put8(2083, 0x01)  // power state 1: MXPS, all fields set
        .put32(2084, 2000)
        .put32(2088, 1500000)
        .put8(2092, 0xE1)
        .put8(2095, 0x1F)
        .put16(2096, 5000)
        .put8(2098, 0x40)
        .put16(2100, 450)
        .put8(2102, 0x82)
        .put16(2112, 1)
        .put8(2115, 0x02)  // power state 2: non-operational,
        .put16(2128, 3)
        .put8(2130, 0x00)  // scales out of range
        .put16(2132, 7)
        .put8(2134, 0xC5);
    return bytes;
}

class IdentifyControllerTest : public ::testing::Test {
  protected:
    void SetUp() override { orka::ExpandParameterCatalogue(); }

    Json::Value Decode(const ByteFixture& bytes, bool raw_hex = false) {
        const auto data = bytes.as<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>();
        Json::Value info;
        orka::DecodeIdentifyController(data, info, raw_hex, highest);
        return info;
    }

    unsigned int highest = 0;
};

TEST_F(IdentifyControllerTest, OneFieldOfEachKindOfRule) {
    const Json::Value info = Decode(Controller(V130));
    ExpectParameters(info, {
                               {"Controller Vendor", "Samsung"},
                               {"PCI Vendor ID (VID)", "0x144D"},
                               {"Model Number (MN)", MODEL},
                               {"Recommended Arbitration Burst (RAB)", "2 (2^2=4)"},
                               {"IEEE OUI Identifier (IEEE)", "00-25-38"},
                               {"NVM Subsystem PCIe Ports", "Multiple"},
                               {"Associated Function Type", "SR-IOV Virtual"},
                               {"Version (VER)", "1.3.0"},
                               {"RTD3 Resume Latency (RTD3R)", "1,500,000 uS (1.500 sec)"},
                               {"RTD3 Entry Latency (RTD3E)", "Not Reported"},
                               {"VPD Write Cycles Remaining (VWCR)", "100"},
                               {"Format NVM Command", "Supported"},
                               {"Device Self-test Command", "Not Supported"},
                               {"Abort Command Limit (ACL)", "4"},
                               {"Firmware Slot 1 Read Status", "Read only"},
                               {"Warning Composite Temperature Threshold (WCTEMP)", "85 C"},
                               {"Maximum Time for Firmware Activation (MTFA)", "5,000 mS"},
                               {"Host Memory Buffer Preferred Size (HMPRE)", "8,192 (32,768 KiB)"},
                               {"Host Memory Buffer Minimum Size (HMMIN)", "Any Amount"},
                               {"Atomic Write Unit Normal (AWUN)", "All Commands"},
                               {"NVM Subsystem NVMe Qualified Name (SUBNQN)", "nqn.2014-08.org.acme:ssd"},
                               {"NVM Sets", ABSENT},  // a 1.4 field this drive leaves clear
                               {"Power State 0 Maximum Power (MP)", "25 Watts"},
                               {"Power State 0 Active Power (ACTP)", "Not Reported"},
                               {"Power State 1 Maximum Power (MP)", "3.5 Watts"},
                               {"Power State 1 Active Power (ACTP)", "4.5 Watts"},
                               {"Power State 1 Active Power Workload (APW)", "Workload #2"},
                               {"Power State 1 Idle Power (IDLP)", "0.5 Watts"},
                               {"Power State 1 Entry Latency (ENLAT)", "2,000 uS (0.002 sec)"},
                               {"Power State 1 Relative Write Latency (RWL)", "31"},
                               {"Power State 2 Maximum Power (MP)", "0.01 Watts"},
                               {"Power State 2 Active Power (ACTP)", "Invalid Power Scale"},
                               {"Power State 2 Active Power Workload (APW)", "Reserved"},
                               {"Power State 2 Non-Operational State (NOPS)", "True"},
                               {"Power State 3 Maximum Power (MP)", ABSENT},
                           });
    EXPECT_EQ(highest, V130);
    EXPECT_EQ(info["nvme"]["parameters"]["Version (VER)"]["source"].asString(), "Identify Controller");
}

TEST_F(IdentifyControllerTest, PowerStateCountFollowsNpssInsideTheDescriptorTable) {
    for (const auto& [npss, count] : {std::pair{0, 1u}, {255, 32u}}) {
        ByteFixture bytes = Controller(V130);
        std::size_t names = 0;
        for (const auto& name : Decode(bytes.put8(263, npss))["nvme"]["parameters"].getMemberNames()) {
            names += name.rfind("Power State ", 0) == 0;
        }
        EXPECT_EQ(names, count * 11u) << npss;
    }
}

// Conditions between fields and the version gates: each case writes a few
// fields into the fixture and checks one parameter and the highest version.
TEST_F(IdentifyControllerTest, ConditionsAndVersionGates) {
    struct Put {
        std::size_t offset, width;
        unsigned long long raw;
    };
    const struct {
        unsigned int version;
        std::vector<Put> puts;
        std::string name, value;
        unsigned int highest;
    } cases[] = {
        {V130, {{96, 4, 1u << 2}}, "NVM Sets", "Supported", V140},
        {V140, {{96, 4, 0}}, "NVM Sets", "Not Supported", V140},
        {V130,
         {{328, 4, 2u << 30}},
         "No-Deallocate Modifies Media After Sanitize (NODMMAS)",
         "Media modified",
         V140},
        {V130, {{111, 1, 2}}, "Controller Type (CNTRLTYPE)", "Discovery Controller", V140},
        {V130, {{130, 2, 15}}, "Command Retry Delay Time 2 (CRDT2)", "15 (1,500 mS)", V140},
        {V140,
         {{332, 4, 0}},
         "Host Memory Buffer Minimum Descriptor Entry Size (HMMINDS)",
         "No limitations",
         V140},
        {V130, {{525, 1, 0x06}}, "Volatile Write Cache Flush All NSID", "Supported", V140},
        {V130, {{525, 1, 0x04}}, "Volatile Write Cache Flush All NSID", "Not Supported", V140},
        {V140, {{525, 1, 0x00}}, "Volatile Write Cache Flush All NSID", "Not Reported", V140},
        {V121, {{520, 2, 0x40}}, "Timestamp Feature", "Supported", V130},
        {V121, {{520, 2, 0}}, "Timestamp Feature", ABSENT, V121},
        {V121, {{319, 1, 0xFF}}, "Firmware Update Granularity (FWUG)", "Unrestricted", V130},
        {V121, {{319, 1, 8}}, "Firmware Update Granularity (FWUG)", "32 KiB", V130},
        {V121,
         {{127, 1, 1}},
         "FRU Globally Unique Identifier (FGUID)",
         "000000-00000000000000000000000001",
         V130},
        {V130, {{272, 4, 0}, {276, 4, 5}}, "Host Memory Buffer Minimum Size (HMMIN)", "Not Supported", V130},
        {V130,
         {{272, 4, 1000}, {276, 4, 256}},
         "Host Memory Buffer Minimum Size (HMMIN)",
         "256 (1,024 KiB)",
         V130},
        {V130, {{312, 4, 0x00030002}}, "RPMB Authentication Method", "HMAC SHA - 256", V130},
        {V130, {{312, 4, 0xFF000001}}, "RPMB Access Size", "256 (512B units)", V130},
        {V130, {{312, 4, 0x00FF0038}}, "RPMB Total Size", ABSENT, V130},
        {V130, {{280, 8, 1000204886016ULL}}, "Total NVM Capacity (TNVMCAP)", ABSENT, V130},
        {V130,
         {{256, 2, 0x8}, {280, 8, 1000204886016ULL}},
         "Total NVM Capacity (TNVMCAP)",
         "1,000,204,886,016",
         V130},
        {V130,
         {{256, 2, 0x8}, {296, 8, 0}, {304, 1, 1}},
         "Unallocated NVM Capacity (UNVMCAP)",
         "18,446,744,073,709,551,616",
         V130},
        {V130, {{256, 2, 0x10}, {316, 2, 30}}, "Extended Device Self-test Time (EDSTT)", "30 Min", V130},
        {V130, {{352, 4, 10}}, "Persistent Event Log Size (PELS)", ABSENT, V140},  // PELS alone raises it
        {V130, {{261, 1, 0x10}, {352, 4, 10}}, "Persistent Event Log Size (PELS)", "640 KiB", V140},
        {V140, {{261, 1, 0x10}}, "Persistent Event Log Size (PELS)", "0 KiB", V140},
        {V140,
         {{261, 1, 0x10}, {352, 4, 0x08000000}},
         "Persistent Event Log Size (PELS)",
         "8,589,934,592 KiB",
         V140},
        {V121, {{536, 4, 0x2}}, "SGL support in NVM command", "Not Supported", V121},
        {V130, {{536, 4, 0x2}}, "SGL support in NVM command", "Supported With Requirement", V130},
        {V130, {{536, 4, 0x3}}, "SGL support in NVM command", "Reserved", V130},
        {V130, {{536, 4, 0x1 | (1u << 21)}}, "SGL - Transport SGL Data Block Descriptor", "Supported", V140},
        // without SGL support the descriptor bits are not looked at, nor gated
        {V130, {{536, 4, (1u << 16) | (1u << 21)}}, "SGL Bit Bucket descriptor", ABSENT, V130},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Controller(c.version);
        for (const Put& put : c.puts) {
            bytes.putLittleEndian(put.offset, put.raw, put.width);
        }
        highest = 0;
        EXPECT_EQ(Value(Decode(bytes), c.name), c.value) << c.name << " raw " << c.puts[0].raw;
        EXPECT_EQ(highest, c.highest) << c.name << " raw " << c.puts[0].raw;
    }
    highest = 0x00020000;  // never lowered
    Decode(Controller(V130));
    EXPECT_EQ(highest, 0x00020000u);
}

TEST_F(IdentifyControllerTest, RefusesDrivesOlderThan121BeforeAddingParameters) {
    for (unsigned int version : {0x00010200u, 0u}) {
        const auto data = Controller(version).as<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>();
        Json::Value info;
        highest = 0;
        try {
            orka::DecodeIdentifyController(data, info, true, highest);
            ADD_FAILURE() << "version " << version << " accepted";
        } catch (const orka::OrkaError& error) {
            EXPECT_EQ(std::string(error.what()),
                      "Only NVMe drives with NVMe version 1.2.1 and above supported");
        }
        EXPECT_TRUE(info.isNull()) << version;
        EXPECT_EQ(highest, version);
    }
}

TEST_F(IdentifyControllerTest, RawHexDumpOfTheWholeStructureWhenAsked) {
    const ByteFixture bytes = Controller(V130);
    EXPECT_FALSE(Decode(bytes, false).isMember("raw hex data"));
    Json::Value expected;
    orka::FormatHexData(reinterpret_cast<const char*>(bytes.data()), 4096, expected);
    EXPECT_EQ(Decode(bytes, true)["raw hex data"]["Identify Controller"], expected);
    EXPECT_EQ(expected.size(), 256u);
}

TEST_F(IdentifyControllerTest, EveryOptionalParameterIsInTheCatalogue) {
    // Every bit set: every condition holds and every gate passes, so every row
    // is emitted; a name missing from the catalogue would throw here.
    ByteFixture bytes(4096, 0xFF);
    bytes.put32(80, V140);
    Json::Value info;
    ASSERT_NO_THROW(info = Decode(bytes));
    const Json::Value& parameters = info["nvme"]["parameters"];
    EXPECT_EQ(parameters.size(), 145u + 32u * 11u);
    for (const auto& name : parameters.getMemberNames()) {
        const bool calculated = name == "Controller Vendor" || name == "Subsystem Vendor";
        EXPECT_EQ(parameters[name]["source"].asString(), calculated ? "Calculated" : "Identify Controller")
            << name;
    }
}

// End to end: the real admin command path against the drive simulator.
class SimulatedIdentifyControllerTest : public IdentifyControllerTest {
  protected:
    void TearDown() override { testing_support::StopSimulation(); }

    int Identify(Json::Value& info, Json::Value& more_commands) {
        const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme0", false);
        const int result = orka::GetIdentifyController(fd, data, info, false, highest, more_commands);
        orka::CloseNvmeId(fd);
        return result;
    }

    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA data{};
};

TEST_F(SimulatedIdentifyControllerTest, DrivesThroughTheAdminCommandPath) {
    const struct {
        const char* profile;
        std::string faults;
        bool keep_more;  // whether the caller keeps the second command list
        int result;
        std::vector<Expected> expected;
        unsigned int highest;
    } cases[] = {
        {"rich-1.4",
         "",
         true,
         0,
         {{"Controller Vendor", "Western Digital"},
          {"Version (VER)", "1.4.0"},
          {"Total NVM Capacity (TNVMCAP)", "2,000,398,934,016"},
          {"Power State 4 Exit Latency (EXLAT)", "45,000 uS (0.045 sec)"}},
         V140},
        // OACS bit 4 and DSTO are 1.3 fields: the drive shows 1.3 support
        {"plain-1.2.1", "", false, 0, {{"Version (VER)", "1.2.1"}, {"One Self-Test", "Per System"}}, V130},
        {"rich-1.4", "opcode=0x06,errno=5", true, 5, {{"Version (VER)", ABSENT}}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile + c.faults);
        testing_support::UseProfile(c.profile, c.faults);
        highest = 0;
        Json::Value info;
        Json::Value more_commands = c.keep_more ? Json::Value(Json::arrayValue) : Json::Value();
        ASSERT_EQ(Identify(info, more_commands), c.result);

        const std::vector<Json::Value> journal = testing_support::Journal();
        ASSERT_EQ(journal.size(), 1u);
        EXPECT_EQ(journal[0]["device"].asString() + " " + journal[0]["opcode"].asString() + " " +
                      journal[0]["cdw10"].asString() + " " + journal[0]["data_len"].asString(),
                  "/dev/nvme0 6 1 4096");
        const Json::Value& commands = info["_metadata"]["commands"];
        ASSERT_EQ(commands.size(), 1u);
        EXPECT_EQ(commands[0]["admin command"].asString(), "Identify Controller");
        EXPECT_EQ(commands[0]["return code"].asInt(), c.result);
        EXPECT_EQ(more_commands, c.keep_more ? Json::Value(commands) : Json::Value());
        ExpectParameters(info, c.expected);
        EXPECT_EQ(highest, c.highest);
    }
}

TEST_F(SimulatedIdentifyControllerTest, OldDriveIsRefused) {
    testing_support::UseProfile("old-1.1");
    Json::Value info;
    Json::Value more_commands(Json::arrayValue);
    EXPECT_THROW(Identify(info, more_commands), orka::OrkaError);
    EXPECT_FALSE(info["nvme"].isMember("parameters"));
    EXPECT_EQ(info["_metadata"]["commands"].size(), 1u);
}

}  // namespace
