// Identify Controller decoding from raw structures built at the standard's byte offsets.
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

using testing_support::ByteFixture;

using testing_support::ABSENT;
using testing_support::Expected;
using testing_support::ExpectParameters;
const auto Value = testing_support::ParameterValue;
using testing_support::V121;
using testing_support::V130;
using testing_support::V140;
const std::string SERIAL = "S4EWNX0R123456      ";
const std::string MODEL = "Acme NVMe SSD 512GB" + std::string(21, ' ');

// A plausible drive; the tests change single fields of it.
ByteFixture Controller(unsigned int version) {
    ByteFixture bytes(4096);
    bytes
        .put16(0, 0x144D)  // VID
        .put16(2, 0x1C5C)  // SSVID
        .putText(4, SERIAL)
        .putText(24, MODEL)
        .putText(64, "2B2QEXM7")
        .put8(72, 2)              // RAB
        .putText(73, "\x38\x25")  // IEEE 00-25-38, least significant byte first
        .put8(76, 0x05)           // CMIC: multiple ports, SR-IOV
        .put8(77, 9)              // MDTS
        .put16(78, 4660)          // CNTLID
        .put32(80, version)       // VER
        .put32(84, 1500000)       // RTD3R
        .put32(92, 1u << 9)       // OAES: firmware activation notices
        .put32(96, 1)             // CTRATT: 128-bit host identifier
        .put8(253, 0x02)          // NVMSR: enclosure
        .put8(254, 0x80 | 100)    // VWCI: 100 cycles, valid
        .put8(255, 0x01)          // MEC: SMBus
        .put16(256, 0x0006)       // OACS: format, firmware
        .put8(258, 3)             // ACL
        .put8(259, 7)             // AERL
        .put8(260, 0x17)          // FRMW: no reset, 3 slots, slot 1 read only
        .put8(261, 0x03)          // LPA
        .put8(262, 63)            // ELPE
        .put8(263, 2)             // NPSS
        .put8(265, 1)             // APSTA
        .put16(266, 358)          // WCTEMP
        .put16(270, 50)           // MTFA
        .put32(272, 8192)         // HMPRE
        .put16(320, 100)          // KAS
        .put16(326, 353)          // MXTMT
        .put32(328, 0x3)          // SANICAP: crypto, block
        .put8(512, 0x66)          // SQES
        .put8(513, 0x44)          // CQES
        .put32(516, 1024)         // NN
        .put16(520, 0x1F)         // ONCS
        .put8(524, 0x04)          // FNA: crypto erase
        .put8(525, 0x01)          // VWC
        .put16(526, 0xFFFF)       // AWUN
        .put8(530, 0x01)          // NVSCC
        .putText(768, std::string("nqn.2014-08.org.acme:ssd") + '\0' + "stale")
        // power state 0
        .put16(2048, 2500)
        // power state 1: MXPS, all fields set
        .put16(2080, 35000)
        .put8(2083, 0x01)
        .put32(2084, 2000)
        .put32(2088, 1500000)
        .put8(2092, 0xE1)
        .put8(2093, 2)
        .put8(2094, 3)
        .put8(2095, 0x1F)
        .put16(2096, 5000)
        .put8(2098, 0x40)
        .put16(2100, 450)
        .put8(2102, 0x82)
        // power state 2: non-operational, scales out of range
        .put16(2112, 1)
        .put8(2115, 0x02)
        .put16(2128, 3)
        .put8(2130, 0x00)
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

TEST_F(IdentifyControllerTest, DecodesEveryFieldAndPowerStateOfAVersion13Drive) {
    const Json::Value info = Decode(Controller(V130));
    const std::vector<Expected> expected = {
        {"Controller Vendor", "Samsung"},
        {"Subsystem Vendor", "SK Hynix"},
        {"PCI Vendor ID (VID)", "0x144D"},
        {"PCI Subsystem Vendor ID (SSVID)", "0x1C5C"},
        {"Serial Number (SN)", SERIAL},
        {"Model Number (MN)", MODEL},
        {"Firmware Revision (FR)", "2B2QEXM7"},
        {"Recommended Arbitration Burst (RAB)", "2 (2^2=4)"},
        {"IEEE OUI Identifier (IEEE)", "00-25-38"},
        {"NVM Subsystem PCIe Ports", "Multiple"},
        {"NVM Subsystem Controllers", "Single"},
        {"Associated Function Type", "SR-IOV Virtual"},
        {"Maximum Data Transfer Size (MDTS)", "9 (2^9=512)"},
        {"Controller ID (CNTLID)", "4660"},
        {"Version (VER)", "1.3.0"},
        {"RTD3 Resume Latency (RTD3R)", "1,500,000 uS (1.500 sec)"},
        {"RTD3 Entry Latency (RTD3E)", "Not Reported"},
        {"Firmware Activation Notices", "Supported"},
        {"Namespace Attribute Notices", "Not Supported"},
        {"128-bit Host Identifier", "Supported"},
        {"Non-Operational Power State Permissive Mode", "Not Supported"},
        {"FRU Globally Unique Identifier (FGUID)", "000000-00000000000000000000000000"},
        {"NVMe Storage Device (NVMESD)", "Not Supported"},
        {"NVMe Enclosure (NVMEE)", "Supported"},
        {"VPD Write Cycles Remaining (VWCR)", "100"},
        {"PCIe Management Endpoint (PCIEME)", "Not Supported"},
        {"SMBus Management Endpoint (SMBUSME)", "Supported"},
        {"Namespace Management and Attachment Commands", "Not Supported"},
        {"Firmware Commit and Image Download Commands", "Supported"},
        {"Format NVM Command", "Supported"},
        {"Security Send and Security Receive Command", "Not Supported"},
        {"Device Self-test Command", "Not Supported"},
        {"Abort Command Limit (ACL)", "4"},
        {"Asynchronous Event Request Limit (AERL)", "8"},
        {"Firmware Activation Without Reset", "Supported"},
        {"Firmware Slots", "3"},
        {"Firmware Slot 1 Read Status", "Read only"},
        {"SMART/Health Log Page per Namespace", "Supported"},
        {"Commands Supported and Effects Log Page", "Supported"},
        {"Extended Data for Get Log Page", "Not Supported"},
        {"Telemetry Log Notices", "Not Supported"},
        {"Persistent Event Log", "Not Supported"},
        {"Error Log Page Entries (ELPE)", "64"},
        {"Number of Power States Support (NPSS)", "3"},
        {"Admin Vendor Specific command handling", "Vendor Specific"},
        {"Autonomous Power State Transition", "Supported"},
        {"Warning Composite Temperature Threshold (WCTEMP)", "85 C"},
        {"Critical Composite Temperature Threshold (CCTEMP)", "Not Reported"},
        {"Maximum Time for Firmware Activation (MTFA)", "5,000 mS"},
        {"Host Memory Buffer Preferred Size (HMPRE)", "8,192 (32,768 KiB)"},
        {"Host Memory Buffer Minimum Size (HMMIN)", "Any Amount"},
        {"Total NVM Capacity (TNVMCAP)", ABSENT},
        {"Replay Protected Memory Blocks (RPMBS)", "Not Supported"},
        {"Number of RPMB Units", ABSENT},
        {"Extended Device Self-test Time (EDSTT)", ABSENT},
        {"One Self-Test", "Per Controller"},
        {"Firmware Update Granularity (FWUG)", "Not Reported"},
        {"Keep Alive Support (KAS)", "10,000 mS"},
        {"Host Controlled Thermal Management (HCTMA)", "Not Supported"},
        {"Minimum Thermal Management Temperature (MNTMT)", "Not Reported"},
        {"Maximum Thermal Management Temperature (MXTMT)", "80 C"},
        {"Overwrite Sanitize", "Not Supported"},
        {"Block Erase Sanitize", "Supported"},
        {"Crypto Erase Sanitize", "Supported"},
        {"Maximum Submission Queue Entry Size", "6 (2^6=64)"},
        {"Required Submission Queue Entry Size", "6 (2^6=64)"},
        {"Maximum Completion Queue Entry Size", "4 (2^4=16)"},
        {"Required Completion Queue Entry Size", "4 (2^4=16)"},
        {"Maximum Outstanding Commands (MAXCMD)", "Not Supported"},
        {"Number of Namespaces (NN)", "1024"},
        {"Compare NVM Command", "Supported"},
        {"Write Zeroes NVM Command", "Supported"},
        {"Save/Select Fields in Features Command", "Supported"},
        {"Reservations", "Not Supported"},
        {"Timestamp Feature", "Not Supported"},
        {"Compare and Write Fused Operation", "Not Supported"},
        {"Format All Namespaces", "Not Supported"},
        {"Crypto Erase", "Supported"},
        {"Volatile Write Cache (VWC)", "Supported"},
        {"Atomic Write Unit Normal (AWUN)", "All Commands"},
        {"Atomic Write Unit Power Fail (AWUPF)", "1"},
        {"Vendor Specific Command Configuration", "Not Vendor Specific"},
        {"Atomic Compare & Write Unit (ACWU)", ABSENT},
        {"SGL support in NVM command", "Not Supported"},
        {"Keyed SGL Data Block descriptor", ABSENT},
        {"NVM Subsystem NVMe Qualified Name (SUBNQN)", "nqn.2014-08.org.acme:ssd"},
        // 1.4 fields that this drive leaves clear are not reported at all
        {"NVM Sets", ABSENT},
        {"Asymmetric Namespace Access Reporting", ABSENT},
        {"Controller Type (CNTRLTYPE)", ABSENT},
        {"Maximum Number Allowed Namespaces (MNAN)", ABSENT},
        // power state descriptors
        {"Power State 0 Maximum Power (MP)", "25 Watts"},
        {"Power State 0 Active Power (ACTP)", "Not Reported"},
        {"Power State 0 Active Power Workload (APW)", "No workload"},
        {"Power State 0 Idle Power (IDLP)", "Not Reported"},
        {"Power State 0 Non-Operational State (NOPS)", "False"},
        {"Power State 0 Entry Latency (ENLAT)", "Not Reported"},
        {"Power State 0 Exit Latency (EXLAT)", "Not Reported"},
        {"Power State 0 Relative Read Throughput (RRT)", "0"},
        {"Power State 1 Maximum Power (MP)", "3.5 Watts"},
        {"Power State 1 Active Power (ACTP)", "4.5 Watts"},
        {"Power State 1 Active Power Workload (APW)", "Workload #2"},
        {"Power State 1 Idle Power (IDLP)", "0.5 Watts"},
        {"Power State 1 Non-Operational State (NOPS)", "False"},
        {"Power State 1 Entry Latency (ENLAT)", "2,000 uS (0.002 sec)"},
        {"Power State 1 Exit Latency (EXLAT)", "1,500,000 uS (1.500 sec)"},
        {"Power State 1 Relative Read Throughput (RRT)", "1"},
        {"Power State 1 Relative Read Latency (RRL)", "2"},
        {"Power State 1 Relative Write Throughput (RWT)", "3"},
        {"Power State 1 Relative Write Latency (RWL)", "31"},
        {"Power State 2 Maximum Power (MP)", "0.01 Watts"},
        {"Power State 2 Active Power (ACTP)", "Invalid Power Scale"},
        {"Power State 2 Active Power Workload (APW)", "Reserved"},
        {"Power State 2 Idle Power (IDLP)", "Invalid Power Scale"},
        {"Power State 2 Non-Operational State (NOPS)", "True"},
        {"Power State 3 Maximum Power (MP)", ABSENT},
    };
    ExpectParameters(info, expected);
    EXPECT_EQ(highest, V130);
    EXPECT_EQ(info["nvme"]["parameters"]["Version (VER)"]["source"].asString(), "Identify Controller");
}

std::vector<std::string> PowerStateNames(const Json::Value& info) {
    std::vector<std::string> names;
    for (const auto& name : info["nvme"]["parameters"].getMemberNames()) {
        if (name.rfind("Power State ", 0) == 0) {
            names.push_back(name);
        }
    }
    return names;
}

TEST_F(IdentifyControllerTest, NpssZeroGivesExactlyOnePowerState) {
    ByteFixture bytes = Controller(V130);
    bytes.put8(263, 0);
    const std::vector<std::string> names = PowerStateNames(Decode(bytes));
    ASSERT_EQ(names.size(), 11u);
    for (const auto& name : names) {
        EXPECT_EQ(name.rfind("Power State 0 ", 0), 0u) << name;
    }
}

TEST_F(IdentifyControllerTest, NpssBeyondTheDescriptorTableStopsAtTheLastDescriptor) {
    ByteFixture bytes = Controller(V130);
    bytes.put8(263, 255);
    const Json::Value info = Decode(bytes);
    EXPECT_EQ(PowerStateNames(info).size(), 32u * 11u);
    EXPECT_EQ(Value(info, "Number of Power States Support (NPSS)"), "256");
}

struct GateCase {
    const char* name;
    std::size_t offset;
    std::size_t width;
    unsigned long long raw;
    unsigned int version;
    std::string value;
    unsigned int highest;
};

TEST_F(IdentifyControllerTest, VersionGatesReportLaterFieldsAndRaiseTheHighestVersion) {
    const std::vector<GateCase> cases = {
        {"NVM Sets", 96, 4, 1u << 2, V130, "Supported", V140},
        {"NVM Sets", 96, 4, 0, V130, ABSENT, V130},
        {"NVM Sets", 96, 4, 0, V140, "Not Supported", V140},
        {"UUID List", 96, 4, 1u << 9, V130, "Supported", V140},
        {"Asymmetric Namespace Access Reporting", 76, 1, 0x08, V130, "Supported", V140},
        {"Endurance Group Event Log Page Change Notices", 92, 4, 1u << 14, V130, "Supported", V140},
        {"Get LBA Status capability", 256, 2, 1u << 9, V130, "Supported", V140},
        {"Verify NVM Command", 520, 2, 0x80, V130, "Supported", V140},
        {"Permanent Write Protect", 531, 1, 0x04, V130, "Supported", V140},
        {"No-Deallocate Inhibited (NDI)", 328, 4, 1u << 29, V130, "Supported", V140},
        {"No-Deallocate Modifies Media After Sanitize (NODMMAS)", 328, 4, 2u << 30, V130, "Media modified",
         V140},
        {"No-Deallocate Modifies Media After Sanitize (NODMMAS)", 328, 4, 0, V140,
         "Media modification undefined", V140},
        {"Controller Type (CNTRLTYPE)", 111, 1, 2, V130, "Discovery Controller", V140},
        {"Controller Type (CNTRLTYPE)", 111, 1, 0, V140, "Not Reported", V140},
        {"Command Retry Delay Time 2 (CRDT2)", 130, 2, 15, V130, "15 (1,500 mS)", V140},
        {"Read Recovery Levels Supported (RRLS)", 100, 2, 0x1FF, V130, "0x01FF", V140},
        {"Host Memory Buffer Minimum Descriptor Entry Size (HMMINDS)", 332, 4, 16, V130, "16 (64 KiB)", V140},
        {"Host Memory Buffer Minimum Descriptor Entry Size (HMMINDS)", 332, 4, 0, V140, "No limitations",
         V140},
        {"ANA Transition Time (ANATT)", 342, 1, 10, V130, "10 sec", V140},
        {"Non-zero ANAGRPID", 343, 1, 0x80, V130, "Supported", V140},
        {"Number of ANA Group Identifiers (NANAGRPID)", 348, 4, 0, V140, "Not Supported", V140},
        {"Volatile Write Cache Flush All NSID", 525, 1, 0x06, V130, "Supported", V140},
        {"Volatile Write Cache Flush All NSID", 525, 1, 0x04, V130, "Not Supported", V140},
        {"Volatile Write Cache Flush All NSID", 525, 1, 0x00, V140, "Not Reported", V140},
        {"Maximum Number Allowed Namespaces (MNAN)", 540, 4, 1024, V130, "1,024", V140},
        {"Timestamp Feature", 520, 2, 0x40, V121, "Supported", V130},
        {"Timestamp Feature", 520, 2, 0, V121, ABSENT, V121},
        {"Doorbell Buffer Config Command", 256, 2, 1u << 8, V121, "Supported", V130},
        {"Non-Operational Power State Permissive Mode", 96, 4, 0x2, V121, "Supported", V130},
        {"Telemetry Log Notices", 261, 1, 0x08, V121, "Supported", V130},
        {"Host Controlled Thermal Management (HCTMA)", 322, 2, 1, V121, "Supported", V130},
        {"Firmware Update Granularity (FWUG)", 319, 1, 0xFF, V121, "Unrestricted", V130},
        {"Firmware Update Granularity (FWUG)", 319, 1, 8, V121, "32 KiB", V130},
        {"One Self-Test", 318, 1, 1, V121, "Per System", V130},
        {"One Self-Test", 318, 1, 0, V121, ABSENT, V121},
        {"FRU Globally Unique Identifier (FGUID)", 127, 1, 1, V121, "000000-00000000000000000000000001",
         V130},
        {"FRU Globally Unique Identifier (FGUID)", 112, 1, 0, V121, ABSENT, V121},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Controller(c.version);
        bytes.putLittleEndian(c.offset, c.raw, c.width);
        highest = 0;
        const Json::Value info = Decode(bytes);
        EXPECT_EQ(Value(info, c.name), c.value) << c.name << " raw " << c.raw;
        EXPECT_EQ(highest, c.highest) << c.name << " raw " << c.raw;
    }
}

TEST_F(IdentifyControllerTest, HighestVersionIsNeverLowered) {
    highest = 0x00020000;
    Decode(Controller(V130));
    EXPECT_EQ(highest, 0x00020000u);
}

TEST_F(IdentifyControllerTest, RefusesDrivesOlderThan121BeforeAddingParameters) {
    for (unsigned int version : {0x00010200u, 0x00010100u, 0u}) {
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
        EXPECT_FALSE(info.isMember("nvme")) << version;
        EXPECT_FALSE(info.isMember("raw hex data")) << version;
        EXPECT_EQ(highest, version);
    }
}

TEST_F(IdentifyControllerTest, HostMemoryBufferSizes) {
    struct Case {
        unsigned int hmpre;
        unsigned int hmmin;
        std::string preferred;
        std::string minimum;
    };
    const std::vector<Case> cases = {
        {0, 0, "Not Supported", "Not Supported"},
        {0, 5, "Not Supported", "Not Supported"},
        {1000, 0, "1,000 (4,000 KiB)", "Any Amount"},
        {1000, 256, "1,000 (4,000 KiB)", "256 (1,024 KiB)"},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Controller(V130);
        bytes.put32(272, c.hmpre).put32(276, c.hmmin);
        const Json::Value info = Decode(bytes);
        EXPECT_EQ(Value(info, "Host Memory Buffer Preferred Size (HMPRE)"), c.preferred) << c.hmpre;
        EXPECT_EQ(Value(info, "Host Memory Buffer Minimum Size (HMMIN)"), c.minimum) << c.hmmin;
    }
}

TEST_F(IdentifyControllerTest, ReplayProtectedMemoryBlocks) {
    struct Case {
        std::uint32_t rpmbs;
        std::vector<Expected> expected;
    };
    const std::vector<Case> cases = {
        {0x00030002,
         {{"Replay Protected Memory Blocks (RPMBS)", "Not Supported"},
          {"Number of RPMB Units", "2"},
          {"RPMB Authentication Method", "HMAC SHA - 256"},
          {"RPMB Total Size", "4 (128KiB units)"},
          {"RPMB Access Size", "1 (512B units)"}}},
        {0xFF000001,
         {{"Replay Protected Memory Blocks (RPMBS)", "Supported"},
          {"Number of RPMB Units", "1"},
          {"RPMB Total Size", "1 (128KiB units)"},
          {"RPMB Access Size", "256 (512B units)"}}},
        {0x00000009, {{"RPMB Authentication Method", "Reserved"}}},
        {0x00FF0038,
         {{"Replay Protected Memory Blocks (RPMBS)", "Not Supported"},
          {"Number of RPMB Units", ABSENT},
          {"RPMB Authentication Method", ABSENT},
          {"RPMB Total Size", ABSENT},
          {"RPMB Access Size", ABSENT}}},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Controller(V130);
        ExpectParameters(Decode(bytes.put32(312, c.rpmbs)), c.expected, "RPMBS " + std::to_string(c.rpmbs));
    }
}

TEST_F(IdentifyControllerTest, CapacitiesNeedNamespaceManagementAndSelfTestTimeTheSelfTestCommand) {
    ByteFixture bytes = Controller(V130);
    bytes.put64(280, 1000204886016ULL).put64(296, 0).put8(304, 1).put16(316, 30);  // UNVMCAP = 2^64
    const std::string total = "1,000,204,886,016", unallocated = "18,446,744,073,709,551,616";
    const struct {
        std::uint16_t oacs;
        std::vector<Expected> expected;
    } cases[] = {
        {0x0006,
         {{"Total NVM Capacity (TNVMCAP)", ABSENT}, {"Extended Device Self-test Time (EDSTT)", ABSENT}}},
        {0x0008,
         {{"Total NVM Capacity (TNVMCAP)", total}, {"Unallocated NVM Capacity (UNVMCAP)", unallocated}}},
        {0x0010,
         {{"Unallocated NVM Capacity (UNVMCAP)", ABSENT},
          {"Extended Device Self-test Time (EDSTT)", "30 Min"}}},
    };
    for (const auto& c : cases) {
        ExpectParameters(Decode(bytes.put16(256, c.oacs)), c.expected, "OACS " + std::to_string(c.oacs));
    }
}

TEST_F(IdentifyControllerTest, PersistentEventLogAndItsSize) {
    struct Case {
        unsigned int version;
        std::uint8_t lpa;
        std::uint32_t pels;
        std::string log;
        std::string size;
        unsigned int highest;
    };
    const std::vector<Case> cases = {
        {V130, 0x00, 10, "Not Supported", ABSENT, V140},  // PELS alone raises the version
        {V130, 0x10, 10, "Supported", "640 KiB", V140},
        {V130, 0x10, 0, "Supported", ABSENT, V140},
        {V140, 0x10, 0, "Supported", "0 KiB", V140},
        {V140, 0x00, 0, "Not Supported", ABSENT, V140},
        {V130, 0x00, 0, "Not Supported", ABSENT, V130},
        {V140, 0x10, 0x08000000, "Supported", "8,589,934,592 KiB", V140},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Controller(c.version);
        bytes.put8(261, c.lpa).put32(352, c.pels);
        highest = 0;
        const Json::Value info = Decode(bytes);
        EXPECT_EQ(Value(info, "Persistent Event Log"), c.log) << c.pels;
        EXPECT_EQ(Value(info, "Persistent Event Log Size (PELS)"), c.size) << c.pels;
        EXPECT_EQ(highest, c.highest) << c.pels;
    }
}

TEST_F(IdentifyControllerTest, ScatterGatherListSupportByVersion) {
    struct Case {
        unsigned int version;
        std::uint32_t sgls;
        std::string support;
        std::string bit_bucket;
        std::string transport;
        unsigned int highest;
    };
    const std::vector<Case> cases = {
        {V121, 0x2, "Not Supported", "Not Supported", ABSENT, V121},
        {V130, 0x2, "Supported With Requirement", "Not Supported", ABSENT, V130},
        {V121, 0x3, "Supported", "Not Supported", ABSENT, V121},
        {V130, 0x3, "Reserved", "Not Supported", ABSENT, V130},
        {V130, 0x1 | (1u << 16), "Supported", "Supported", ABSENT, V130},
        {V130, 0x1 | (1u << 21), "Supported", "Not Supported", "Supported", V140},
        {V140, 0x1, "Supported", "Not Supported", "Not Supported", V140},
        // without SGL support the descriptor bits are not looked at, nor gated
        {V130, (1u << 16) | (1u << 21), "Not Supported", ABSENT, ABSENT, V130},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Controller(c.version);
        bytes.put32(536, c.sgls);
        highest = 0;
        const Json::Value info = Decode(bytes);
        EXPECT_EQ(Value(info, "SGL support in NVM command"), c.support) << std::hex << c.sgls;
        EXPECT_EQ(Value(info, "SGL Bit Bucket descriptor"), c.bit_bucket) << std::hex << c.sgls;
        EXPECT_EQ(Value(info, "SGL - Transport SGL Data Block Descriptor"), c.transport)
            << std::hex << c.sgls;
        EXPECT_EQ(highest, c.highest) << std::hex << c.sgls;
    }
}

TEST_F(IdentifyControllerTest, RawHexDumpOfTheWholeStructureWhenAsked) {
    const ByteFixture bytes = Controller(V130);
    EXPECT_FALSE(Decode(bytes, false).isMember("raw hex data"));

    Json::Value expected;
    orka::FormatHexData(reinterpret_cast<const char*>(bytes.data()), 4096, expected);
    const Json::Value info = Decode(bytes, true);
    EXPECT_EQ(info["raw hex data"]["Identify Controller"], expected);
    EXPECT_EQ(info["raw hex data"]["Identify Controller"].size(), 256u);
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
    EXPECT_EQ(highest, V140);
}

// ---------------------------------------------------------------------------
// End to end: the real admin command path against the drive simulator
// ---------------------------------------------------------------------------

// A profile number: a JSON number or a decimal or 0x hexadecimal string.
unsigned long long ProfileNumber(const Json::Value& value) {
    return value.isString() ? std::stoull(value.asString(), nullptr, 0) : value.asUInt64();
}

std::string Padded(const std::string& text, std::size_t width) {
    return text + std::string(width - text.size(), ' ');
}

class SimulatedIdentifyControllerTest : public ::testing::Test {
  protected:
    void SetUp() override { orka::ExpandParameterCatalogue(); }
    void TearDown() override { testing_support::StopSimulation(); }

    // Opens the first simulated drive and runs Identify Controller on it.
    int Identify(Json::Value& info, Json::Value& more_commands) {
        const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme0", false);
        const int result = orka::GetIdentifyController(fd, data, info, false, highest, more_commands);
        orka::CloseNvmeId(fd);
        return result;
    }

    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA data{};
    unsigned int highest = 0;
};

TEST_F(SimulatedIdentifyControllerTest, RichAndPlainDrivesThroughTheAdminCommandPath) {
    const auto source = [](const char* profile) {
        return testing_support::ProfileSource(profile)["drives"][0]["identify controller"];
    };
    const Json::Value rich = source("rich-1.4");
    const Json::Value plain = source("plain-1.2.1");
    const unsigned int npss = rich["PSD"].size() - 1;
    const struct {
        const char* profile;
        bool keep_more;  // whether the caller keeps the second command list
        std::vector<Expected> expected;
        unsigned int highest;
    } cases[] = {
        {"rich-1.4",
         true,
         {{"Controller Vendor", "Western Digital"},
          {"PCI Vendor ID (VID)", "0x1B96"},
          {"Serial Number (SN)", Padded(rich["SN"].asString(), 20)},
          {"Model Number (MN)", Padded(rich["MN"].asString(), 40)},
          {"Firmware Revision (FR)", Padded(rich["FR"].asString(), 8)},
          {"Version (VER)", "1.4.0"},
          {"Number of Namespaces (NN)", std::to_string(ProfileNumber(rich["NN"]))},
          {"Number of Power States Support (NPSS)", std::to_string(npss + 1)},
          {"Total NVM Capacity (TNVMCAP)", "2,000,398,934,016"},
          {"Replay Protected Memory Blocks (RPMBS)", "Supported"},
          {"RPMB Total Size", "33 (128KiB units)"},
          {"Persistent Event Log Size (PELS)", "64 KiB"},
          {"SGL support in NVM command", "Reserved"},
          {"SGL - Transport SGL Data Block Descriptor", "Not Supported"},
          {"NVM Subsystem NVMe Qualified Name (SUBNQN)", rich["SUBNQN"].asString()},
          {"Power State 0 Active Power (ACTP)", "8 Watts"},
          {"Power State 3 Maximum Power (MP)", "0.008 Watts"},
          {"Power State 4 Exit Latency (EXLAT)", "45,000 uS (0.045 sec)"},
          {"Power State " + std::to_string(npss + 1) + " Maximum Power (MP)", ABSENT}},
         V140},
        {"plain-1.2.1",
         false,
         {{"Serial Number (SN)", Padded(plain["SN"].asString(), 20)},
          {"Version (VER)", "1.2.1"},
          {"Total NVM Capacity (TNVMCAP)", ABSENT},
          {"SGL support in NVM command", "Not Supported"},
          {"Persistent Event Log", "Not Supported"},
          // OACS bit 4 and DSTO are 1.3 fields: the drive shows 1.3 support
          {"Device Self-test Command", "Supported"},
          {"Extended Device Self-test Time (EDSTT)", "10 Min"},
          {"One Self-Test", "Per System"},
          {"Power State 1 Entry Latency (ENLAT)", "5 uS (0.000 sec)"},
          {"Power State 2 Maximum Power (MP)", ABSENT}},
         V130},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile);
        testing_support::UseProfile(c.profile);
        highest = 0;
        Json::Value info;
        Json::Value more_commands = c.keep_more ? Json::Value(Json::arrayValue) : Json::Value();
        ASSERT_EQ(Identify(info, more_commands), 0);

        const std::vector<Json::Value> journal = testing_support::Journal();
        ASSERT_EQ(journal.size(), 1u);
        EXPECT_EQ(journal[0]["device"].asString(), "/dev/nvme0");
        EXPECT_EQ(journal[0]["opcode"].asInt(), 6);
        EXPECT_EQ(journal[0]["nsid"].asInt(), 0);
        EXPECT_EQ(journal[0]["cdw10"].asInt(), 1);
        EXPECT_EQ(journal[0]["data_len"].asInt(), 4096);

        const Json::Value& commands = info["_metadata"]["commands"];
        ASSERT_EQ(commands.size(), 1u);
        EXPECT_EQ(commands[0]["admin command"].asString(), "Identify Controller");
        EXPECT_EQ(commands[0]["return code"].asInt(), 0);
        EXPECT_EQ(commands[0]["allowed"].asBool(), false);
        if (c.keep_more) {
            ASSERT_EQ(more_commands.size(), 1u);
            EXPECT_EQ(more_commands[0], commands[0]);
        } else {
            EXPECT_TRUE(more_commands.isNull());
        }

        ExpectParameters(info, c.expected);
        EXPECT_EQ(highest, c.highest);
        // the caller's structure holds what the drive returned
        EXPECT_EQ(data.NN.get(), ProfileNumber(source(c.profile)["NN"]));
    }
}

TEST_F(SimulatedIdentifyControllerTest, OldDriveIsRefused) {
    testing_support::UseProfile("old-1.1");
    Json::Value info;
    Json::Value more_commands(Json::arrayValue);
    try {
        Identify(info, more_commands);
        ADD_FAILURE() << "an NVMe 1.1 drive was accepted";
    } catch (const orka::OrkaError& error) {
        EXPECT_EQ(std::string(error.what()), "Only NVMe drives with NVMe version 1.2.1 and above supported");
    }
    EXPECT_FALSE(info["nvme"].isMember("parameters"));
    EXPECT_EQ(info["_metadata"]["commands"].size(), 1u);
}

TEST_F(SimulatedIdentifyControllerTest, FailedIdentifyReturnsItsErrnoWithoutParameters) {
    testing_support::UseProfile("rich-1.4", "opcode=0x06,errno=5");
    Json::Value info;
    Json::Value more_commands(Json::arrayValue);
    EXPECT_EQ(Identify(info, more_commands), 5);
    EXPECT_FALSE(info.isMember("nvme"));
    const Json::Value& commands = info["_metadata"]["commands"];
    ASSERT_EQ(commands.size(), 1u);
    EXPECT_EQ(commands[0]["admin command"].asString(), "Identify Controller");
    EXPECT_EQ(commands[0]["return code"].asInt(), 5);
    EXPECT_EQ(highest, 0u);
}

}  // namespace
