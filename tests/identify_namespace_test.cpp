// Identify Namespace decoding from raw structures built at the standard's byte
// offsets.
#include "identify_namespace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orka_nvme.h"
#include "support/byte_fixture.h"
#include "support/parameters.h"

namespace {

using testing_support::ABSENT;
using testing_support::ByteFixture;
const auto Value = testing_support::ParameterValue;
using testing_support::V121;
using testing_support::V130;
using testing_support::V140;

// One billion blocks in two formats: 512 bytes in format 0, 4096 bytes with 8 bytes of metadata in 1.
ByteFixture Namespace() {
    ByteFixture bytes(4096);
    bytes.put64(0, 1000000000).put8(25, 1).put8(26, 0x10);  // NSZE, NLBAF, FLBAS: extended, format 0
    return bytes.put8(130, 9).put8(131, 2).put16(132, 8).put8(134, 12).put8(138, 12).put8(139, 3);
}

// The decoded namespace of a drive of `version`; `highest` starts at that version.
Json::Value Decode(const ByteFixture& bytes, unsigned int version, unsigned int& highest,
                   bool raw_hex = false) {
    orka::ExpandParameterCatalogue();
    Json::Value info;
    highest = version;
    orka::DecodeIdentifyNamespace(bytes.as<orka::ORKA_NVME_IDENTIFY_NAMESPACE_DATA>(), info, raw_hex, version,
                                  highest);
    return info;
}

// One or two fields written per case: a row of each kind of value, the fields shown only
// under a condition or from a later version, and the highest version they leave.
TEST(IdentifyNamespace, RowKindsConditionsAndVersionGates) {
    unsigned int highest = 0;
    struct Put {
        std::size_t offset = 0, width = 0;
        unsigned long long raw = 0;
    };
    const std::string ns = "Namespace 1 ", npwg = "Namespace 1 Preferred Write Granularity (NPWG)";
    const Put atomic{24, 1, 0x02}, optimal{24, 1, 0x10};  // NSFEAT: atomic units, I/O optimisation fields
    const struct {
        unsigned int version;
        Put put, also;
        std::string name, value;
        unsigned int highest;
    } cases[] = {
        // clang-format off
        {V130, {}, {}, ns + "LBA 0 Metadata Size (MS)", ABSENT, V130},
        {V130, {}, {}, ns + "LBA 1 Metadata Size (MS)", "8", V130},
        {V130, {34, 2, 7}, {}, ns + "Atomic Write Unit Normal (NAWUN)", "Reserved", V130},
        {V130, {36, 2, 0}, atomic, ns + "Atomic Write Unit Power Fail (NAWUPF)", "Same as AWUPF", V130},
        {V130, {32, 1, 0x80 | 42}, {}, ns + "Format Percent Complete", "42", V130},
        {V130, {32, 1, 42}, {}, ns + "Format Percent Complete", ABSENT, V130},
        {V130, {}, {}, npwg, ABSENT, V130},
        {V130, {64, 2, 7}, optimal, npwg, "8", V140},
        {V140, {}, optimal, npwg, "1", V140},
        {V121, {24, 1, 0x08}, {}, ns + "NGUID/EUID Not Reused", "Supported", V130},
        {V121, {}, {}, ns + "NGUID/EUID Not Reused", ABSENT, V121},
        {V121, {33, 1, 0x02}, {}, ns + "Deallocate Logical Block Value", "All FFh", V130},
        {V121, {33, 1, 0x07}, {}, ns + "Deallocate Logical Block Value", "Reserved", V130},
        {V130, {92, 4, 70000}, {}, ns + "ANA Group Identifier (ANAGRPID)", "70,000", V140},
        {V140, {}, {}, ns + "ANA Group Identifier (ANAGRPID)", "Not Reported", V140},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name + " raw " + std::to_string(c.put.raw));
        ByteFixture bytes = Namespace();
        bytes.putLittleEndian(c.put.offset, c.put.raw, c.put.width)
            .putLittleEndian(c.also.offset, c.also.raw, c.also.width);
        EXPECT_EQ(testing_support::ParameterValue(Decode(bytes, c.version, highest), c.name), c.value);
        EXPECT_EQ(highest, c.highest);
    }
    const Json::Value info = Decode(Namespace(), V130, highest, true);
    EXPECT_EQ(info["raw hex data"].getMemberNames(), std::vector<std::string>{"Identify Namespace 1"});
    EXPECT_EQ(info["raw hex data"]["Identify Namespace 1"].size(), 256u);
}

// FLBAS picks the format in use: only its values carry the mark and give the size. NLBAF may
// claim more formats than the table holds.
TEST(IdentifyNamespace, OnlyTheFormatInUseIsMarkedAndSized) {
    unsigned int highest = 0;
    const std::string lbads = "Namespace 1 LBA ", rp = " Relative Performance (RP)";
    const struct {
        std::uint8_t nlbaf, flbas;
        std::vector<std::string> marked;
        std::string size, gib;
    } cases[] = {
        // clang-format off
        {1, 0x00, {lbads + "0 Data Size (LBADS)", lbads + "0" + rp}, "512 GB", "476.8 GiB"},
        {1, 0x02, {}, ABSENT, ABSENT},  // a format beyond NLBAF has no known block size
        {255, 0x0F, {lbads + "15 Data Size (LBADS)", lbads + "15" + rp}, "4096 GB", "3814.7 GiB"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(int(c.flbas));
        ByteFixture bytes = Namespace();
        const Json::Value info =
            Decode(bytes.put8(25, c.nlbaf).put8(26, c.flbas).put8(190, 12), V130, highest);
        std::vector<std::string> marked;  // the values carrying the in-use mark
        for (const auto& name : info["nvme"]["parameters"].getMemberNames()) {
            if (Value(info, name).find(" *") != std::string::npos) {
                marked.push_back(name);
            }
        }
        EXPECT_EQ(marked, c.marked);
        EXPECT_EQ(Value(info, "Namespace 1 Size"), c.size);
        EXPECT_EQ(Value(info, "Namespace 1 Size in GiB"), c.gib);
    }
    EXPECT_EQ(
        Value(Decode(Namespace().put8(25, 255), V130, highest), "Namespace 1 Number of LBA Formats (NLBAF)"),
        "256");
}

}  // namespace
