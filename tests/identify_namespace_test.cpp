// Identify Namespace decoding from raw structures built at the standard's byte
// offsets.
#include "identify_namespace.h"

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
const auto Value = testing_support::ParameterValue;
using testing_support::V121;
using testing_support::V130;
using testing_support::V140;

// One billion 512-byte blocks in format 0 of two formats.
ByteFixture Namespace() {
    ByteFixture bytes(4096);
    bytes
        .put64(0, 1000000000)        // NSZE
        .put64(8, 900000000)         // NCAP
        .put64(16, 123456789)        // NUSE
        .put8(24, 0x05)              // NSFEAT: thin provisioning, logical block error
        .put8(25, 1)                 // NLBAF
        .put8(26, 0x10)              // FLBAS: extended data, format 0
        .put8(27, 0x02)              // MC
        .put8(28, 0x11)              // DPC: type 1, last
        .put8(29, 0x09)              // DPS: type 1, first 8 bytes
        .put8(30, 0x01)              // NMIC
        .put8(31, 0x41)              // RESCAP
        .put16(34, 7)                // NAWUN
        .put16(38, 3)                // NACWU
        .put16(42, 1234)             // NABO
        .put16(44, 8)                // NABSPF
        .put64(48, 512000000000ULL)  // NVMCAP, low half
        .put64(104, 0x0807060504030201ULL)
        .put64(112, 0x100F0E0D0C0B0A09ULL)  // NGUID
        .put64(120, 0x3412B0915A382500ULL)  // EUI64
        .put16(128, 0)
        .put8(130, 9)
        .put8(131, 2)  // LBAF0
        .put16(132, 8)
        .put8(134, 12)
        .put8(135, 0)  // LBAF1
        .put16(136, 0)
        .put8(138, 12)
        .put8(139, 3);  // LBAF2, beyond NLBAF
    return bytes;
}

class IdentifyNamespaceTest : public ::testing::Test {
  protected:
    void SetUp() override { orka::ExpandParameterCatalogue(); }

    Json::Value Decode(const ByteFixture& bytes, unsigned int version, bool raw_hex = false) {
        const auto data = bytes.as<orka::ORKA_NVME_IDENTIFY_NAMESPACE_DATA>();
        Json::Value info;
        highest = version;
        orka::DecodeIdentifyNamespace(data, info, raw_hex, version, highest);
        return info;
    }

    unsigned int highest = 0;
};

TEST_F(IdentifyNamespaceTest, OneFieldOfEachKindOfRule) {
    ExpectParameters(
        Decode(Namespace(), V130),
        {
            {"Namespace 1 Size in LBA (NSZE)", "1,000,000,000"},
            {"Namespace 1 Thin Provisioning", "Supported"},
            {"Namespace 1 Atomic Writes", "Not Supported"},
            {"Namespace 1 IO Optimize Fields", ABSENT},
            {"Namespace 1 Number of LBA Formats (NLBAF)", "2"},
            {"Namespace 1 Protection Information Enabled", "Type 1"},
            {"Namespace 1 Protection Information First", "First 8 Bytes"},
            {"Namespace 1 Ignore Existing Key Specification", "1.2.1 or earlier"},
            {"Namespace 1 Atomic Boundary Size Normal (NABSN)", "No boundaries"},
            {"Namespace 1 NVM Capacity (NVMCAP)", "512,000,000,000"},
            {"Namespace 1 Globally Unique Identifier (NGUID)", "0102030405060708-090a0b-0c0d0e0f10"},
            {"Namespace 1 IEEE Extended Unique Identifier (EUI64)", "002538-5a91b01234"},
            {"Namespace 1 LBA 0 Metadata Size (MS)", ABSENT},
            {"Namespace 1 LBA 1 Metadata Size (MS)", "8"},
            {"Namespace 1 LBA 1 Relative Performance (RP)", "Best Performance"},
            {"Namespace 1 LBA 2 Relative Performance (RP)", ABSENT},
        });
    EXPECT_EQ(highest, V130);
}

// Values carrying the in-use mark, by parameter name.
std::vector<std::string> MarkedNames(const Json::Value& info) {
    std::vector<std::string> marked;
    const Json::Value& parameters = info["nvme"]["parameters"];
    for (const auto& name : parameters.getMemberNames()) {
        EXPECT_EQ(name.find('*'), std::string::npos) << name;
        if (parameters[name]["value"].asString().find(" *") != std::string::npos) {
            marked.push_back(name);
        }
    }
    return marked;
}

TEST_F(IdentifyNamespaceTest, OnlyTheFormatInUseIsMarkedAndSized) {
    struct Case {
        std::uint8_t flbas;
        std::vector<std::string> marked;
        std::string size;
        std::string gib;
    };
    const std::vector<Case> cases = {
        {0x00,
         {"Namespace 1 LBA 0 Data Size (LBADS)", "Namespace 1 LBA 0 Relative Performance (RP)"},
         "512 GB",
         "476.8 GiB"},
        {0x01,
         {"Namespace 1 LBA 1 Data Size (LBADS)", "Namespace 1 LBA 1 Relative Performance (RP)"},
         "4096 GB",
         "3814.7 GiB"},
        // a format beyond NLBAF has no known block size
        {0x02, {}, ABSENT, ABSENT},
        {0x0F, {}, ABSENT, ABSENT},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Namespace();
        bytes.put8(26, c.flbas);
        const Json::Value info = Decode(bytes, V130);
        EXPECT_EQ(MarkedNames(info), c.marked) << int(c.flbas);
        EXPECT_EQ(Value(info, "Namespace 1 Size"), c.size) << int(c.flbas);
        EXPECT_EQ(Value(info, "Namespace 1 Size in GiB"), c.gib) << int(c.flbas);
    }
}

TEST_F(IdentifyNamespaceTest, NlbafBeyondTheFormatTableStopsAtTheLastFormat) {
    ByteFixture bytes = Namespace();
    bytes.put8(25, 255).put8(26, 0x0F).put8(128 + 4 * 15 + 2, 12);
    const Json::Value info = Decode(bytes, V130);
    EXPECT_EQ(Value(info, "Namespace 1 Number of LBA Formats (NLBAF)"), "256");
    EXPECT_EQ(Value(info, "Namespace 1 LBA 15 Data Size (LBADS)"), "12 (2^12=4096) *");
    EXPECT_EQ(Value(info, "Namespace 1 LBA 15 Relative Performance (RP)"), "Best Performance *");
    EXPECT_EQ(Value(info, "Namespace 1 Size"), "4096 GB");
}

struct GateCase {
    std::string name;
    std::size_t offset;
    std::size_t width;
    unsigned long long raw;
    std::uint8_t nsfeat;
    unsigned int version;
    std::string value;
    unsigned int highest;
};

// Fields shown only under a condition or from a later version, one written at a
// time.
TEST_F(IdentifyNamespaceTest, ConditionalAndVersionGatedFields) {
    const std::string nawun = "Namespace 1 Atomic Write Unit Normal (NAWUN)";
    const std::string nawupf = "Namespace 1 Atomic Write Unit Power Fail (NAWUPF)";
    const std::string nacwu = "Namespace 1 Atomic Compare & Write Unit (NACWU)";
    const std::string progress = "Namespace 1 Format Progress Indicator";
    const std::string percent = "Namespace 1 Format Percent Complete";
    const std::vector<GateCase> cases = {
        // the atomic units need NSFEAT bit 1
        {nawun, 34, 2, 7, 0x00, V130, "Reserved", V130},
        {nawupf, 36, 2, 0, 0x02, V130, "Same as AWUPF", V130},
        {nacwu, 38, 2, 3, 0x02, V130, "3", V130},
        // the percentage only while the indicator is reported
        {percent, 32, 1, 0x80 | 42, 0x00, V130, "42", V130},
        {progress, 32, 1, 42, 0x00, V130, "Not Supported", V130},
        {percent, 32, 1, 42, 0x00, V130, ABSENT, V130},
        {"Namespace 1 Preferred Write Granularity (NPWG)", 64, 2, 0, 0x00, V130, ABSENT, V130},
        {"Namespace 1 Preferred Write Granularity (NPWG)", 64, 2, 7, 0x00, V130, "Reserved", V140},
        {"Namespace 1 Preferred Write Granularity (NPWG)", 64, 2, 7, 0x10, V130, "8", V140},
        {"Namespace 1 Preferred Write Granularity (NPWG)", 64, 2, 0, 0x10, V140, "1", V140},
        {"Namespace 1 NGUID/EUID Not Reused", 24, 1, 0x08, 0x08, V121, "Supported", V130},
        {"Namespace 1 NGUID/EUID Not Reused", 24, 1, 0x00, 0x00, V121, ABSENT, V121},
        {"Namespace 1 Deallocate Bit in Write Zeros", 33, 1, 0x19, 0x00, V121, "Supported", V130},
        {"Namespace 1 Deallocate Logical Block Value", 33, 1, 0x02, 0x00, V121, "All FFh", V130},
        {"Namespace 1 Deallocate Logical Block Value", 33, 1, 0x07, 0x00, V121, "Reserved", V130},
        {"Namespace 1 ANA Group Identifier (ANAGRPID)", 92, 4, 70000, 0x00, V130, "70,000", V140},
        {"Namespace 1 ANA Group Identifier (ANAGRPID)", 92, 4, 0, 0x00, V140, "Not Reported", V140},
        {"Namespace 1 Write Protected", 99, 1, 0x01, 0x00, V130, "Yes", V140},
    };
    for (const auto& c : cases) {
        ByteFixture bytes = Namespace();
        bytes.put8(24, c.nsfeat).putLittleEndian(c.offset, c.raw, c.width);
        const Json::Value info = Decode(bytes, c.version);
        EXPECT_EQ(Value(info, c.name), c.value) << c.name << " raw " << c.raw;
        EXPECT_EQ(highest, c.highest) << c.name << " raw " << c.raw;
    }
}

TEST_F(IdentifyNamespaceTest, RawHexDumpUnderTheFixedNamespaceName) {
    const ByteFixture bytes = Namespace();
    EXPECT_FALSE(Decode(bytes, V130, false).isMember("raw hex data"));

    Json::Value expected;
    orka::FormatHexData(reinterpret_cast<const char*>(bytes.data()), 4096, expected);
    const Json::Value info = Decode(bytes, V130, true);
    EXPECT_EQ(info["raw hex data"]["Identify Namespace 1"], expected);
    EXPECT_EQ(info["raw hex data"].getMemberNames(), std::vector<std::string>{"Identify Namespace 1"});
}

TEST_F(IdentifyNamespaceTest, EveryOptionalParameterIsInTheCatalogue) {
    // Every bit set: all gates pass, all sixteen formats carry every value.
    const ByteFixture bytes(4096, 0xFF);
    Json::Value info;
    ASSERT_NO_THROW(info = Decode(bytes, V140));
    const Json::Value& parameters = info["nvme"]["parameters"];
    EXPECT_EQ(parameters.size(), 53u + 16u * 3u + 2u);
    for (const auto& name : parameters.getMemberNames()) {
        EXPECT_EQ(parameters[name]["source"].asString(), "Identify Namespace") << name;
    }
}

// End to end: the real admin command path against the drive simulator.

class SimulatedIdentifyNamespaceTest : public ::testing::Test {
  protected:
    void SetUp() override { orka::ExpandParameterCatalogue(); }
    void TearDown() override { testing_support::StopSimulation(); }

    int Identify(unsigned int nsid, unsigned int version, Json::Value& info, Json::Value& more_commands) {
        const orka::NVME_ID fd = orka::GetNvmeId("/dev/nvme0", false);
        highest = version;
        const int result =
            orka::GetIdentifyNamespace(fd, data, nsid, info, true, version, highest, more_commands);
        orka::CloseNvmeId(fd);
        return result;
    }

    orka::ORKA_NVME_IDENTIFY_NAMESPACE_DATA data{};
    unsigned int highest = 0;
};

// Namespace 2 is still reported under the "Namespace 1" names; a failed command
// adds no parameters.
TEST_F(SimulatedIdentifyNamespaceTest, NamespacesThroughTheAdminCommandPath) {
    const struct {
        const char* profile;
        std::string faults;
        unsigned int nsid, version;
        int result;
        std::vector<Expected> expected;
        std::size_t dump_lines;
    } cases[] = {
        {"rich-1.4",
         "",
         1,
         V140,
         0,
         {{"Namespace 1 Size in LBA (NSZE)", "3,907,029,168"},
          {"Namespace 1 LBA 4 Data Size (LBADS)", "12 (2^12=4096)"},
          {"Namespace 1 Preferred Write Granularity (NPWG)", "8"},
          {"Namespace 1 Size in GiB", "1863.0 GiB"}},
         256},
        {"plain-1.2.1",
         "",
         1,
         V121,
         0,
         {{"Namespace 1 LBA 0 Data Size (LBADS)", "9 (2^9=512) *"},
          {"Namespace 1 Preferred Write Granularity (NPWG)", ABSENT},
          {"Namespace 1 Size", "1000 GB"}},
         256},
        {"dual-namespace",
         "",
         2,
         V130,
         0,
         {{"Namespace 1 Size", "1024 GB"}, {"Namespace 1 Size in GiB", "953.7 GiB"}},
         256},
        {"rich-1.4", "opcode=0x06,errno=19", 1, V140, 19, {{"Namespace 1 Size in LBA (NSZE)", ABSENT}}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile + c.faults);
        testing_support::UseProfile(c.profile, c.faults);
        Json::Value info;
        Json::Value more_commands(Json::arrayValue);
        ASSERT_EQ(Identify(c.nsid, c.version, info, more_commands), c.result);

        const std::vector<Json::Value> journal = testing_support::Journal();
        ASSERT_EQ(journal.size(), 1u);
        EXPECT_EQ(journal[0]["opcode"].asString() + " " + journal[0]["nsid"].asString() + " " +
                      journal[0]["cdw10"].asString() + " " + journal[0]["data_len"].asString(),
                  "6 " + std::to_string(c.nsid) + " 0 4096");
        const Json::Value& commands = info["_metadata"]["commands"];
        ASSERT_EQ(commands.size(), 1u);
        EXPECT_EQ(commands[0]["admin command"].asString(), "Identify Namespace 1");
        EXPECT_EQ(commands[0]["return code"].asInt(), c.result);
        EXPECT_EQ(more_commands, Json::Value(commands));

        EXPECT_EQ(info.isMember("nvme"), c.result == 0);
        ExpectParameters(info, c.expected);
        EXPECT_EQ(info["raw hex data"]["Identify Namespace 1"].size(), c.dump_lines);
        EXPECT_EQ(highest, c.version);
    }
}

}  // namespace
