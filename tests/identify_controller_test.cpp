// Identify Controller decoding from raw structures built at the standard's byte offsets:
// one or two fixtures per kind of rule; breadth is proven by the nvme-cli cross-check.
#include "identify_controller.h"

#include <gtest/gtest.h>

#include <string>

#include "orka.h"
#include "orka_nvme.h"
#include "support/byte_fixture.h"
#include "support/parameters.h"

namespace {

using testing_support::ABSENT;
using testing_support::ByteFixture;
using testing_support::V121;
using testing_support::V130;
using testing_support::V140;

// A drive of the given version with every other field clear but its NQN.
ByteFixture Controller(unsigned int version) {
    ByteFixture bytes(4096);
    return bytes.put32(80, version).putText(768, std::string("nqn.2014-08.org.acme:ssd") + '\0' + "stale");
}

Json::Value Decode(const ByteFixture& bytes, unsigned int& highest, bool raw_hex = false) {
    orka::ExpandParameterCatalogue();
    Json::Value info;
    orka::DecodeIdentifyController(bytes.as<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>(), info, raw_hex,
                                   highest);
    return info;
}

// One or two fields written into the fixture per case: a row of each kind of value, the
// special values, the conditions between fields and the version gates with the highest
// version they leave.
TEST(IdentifyController, RowKindsConditionsAndVersionGates) {
    unsigned int highest = 0;
    struct Put {
        std::size_t offset = 0, width = 0;
        unsigned long long raw = 0;
    };
    const struct {
        unsigned int version;
        Put put, also;
        const char* name;
        std::string value;
        unsigned int highest;
    } cases[] = {
        // clang-format off
        {V130, {}, {}, "NVM Subsystem NVMe Qualified Name (SUBNQN)", "nqn.2014-08.org.acme:ssd", V130},
        // Drives before 1.2 are decoded too; those before VER existed say so in words.
        {0, {}, {}, "Version (VER)", "Not Reported (before NVMe 1.2)", 0},
        {0x00010100, {}, {}, "Version (VER)", "1.1.0", 0x00010100},
        {V130, {254, 1, 0x80 | 100}, {}, "VPD Write Cycles Remaining (VWCR)", "100", V130},
        {V130, {254, 1, 100}, {}, "VPD Write Cycles Remaining (VWCR)", ABSENT, V130},
        {V130, {263, 1, 2}, {}, "Power State 2 Maximum Power (MP)", "Not Reported", V130},
        {V130, {263, 1, 2}, {}, "Power State 3 Maximum Power (MP)", ABSENT, V130},
        {V130, {2048, 2, 35000}, {2051, 1, 0x01}, "Power State 0 Maximum Power (MP)", "3.5 Watts", V130},
        {V130, {2068, 2, 450}, {2070, 1, 0x82}, "Power State 0 Active Power (ACTP)", "4.5 Watts", V130},
        {V130, {2068, 2, 3}, {2070, 1, 0xC5},
         "Power State 0 Active Power (ACTP)", "Invalid Power Scale", V130},
        {V130, {96, 4, 1u << 2}, {}, "NVM Sets", "Supported", V140},
        {V130, {328, 4, 2u << 30}, {},
         "No-Deallocate Modifies Media After Sanitize (NODMMAS)", "Media modified", V140},
        {V130, {111, 1, 2}, {}, "Controller Type (CNTRLTYPE)", "Discovery Controller", V140},
        {V130, {}, {}, "NVM Sets", ABSENT, V130},
        {V130, {525, 1, 0x04}, {}, "Volatile Write Cache Flush All NSID", "Not Supported", V140},
        {V121, {520, 2, 0x40}, {}, "Timestamp Feature", "Supported", V130},
        {V121, {}, {}, "Timestamp Feature", ABSENT, V121},
        {V121, {319, 1, 0xFF}, {}, "Firmware Update Granularity (FWUG)", "Unrestricted", V130},
        {V130, {256, 2, 0x8}, {304, 1, 1},
         "Unallocated NVM Capacity (UNVMCAP)", "18,446,744,073,709,551,616", V130},
        {V130, {352, 4, 10}, {}, "Persistent Event Log Size (PELS)", ABSENT, V140},  // PELS alone raises it
        {V140, {261, 1, 0x10}, {352, 4, 0x08000000},
         "Persistent Event Log Size (PELS)", "8,589,934,592 KiB", V140},
        {V121, {536, 4, 0x2}, {}, "SGL support in NVM command", "Not Supported", V121},
        {V130, {536, 4, 0x2}, {}, "SGL support in NVM command", "Supported With Requirement", V130},
        {V130, {536, 4, 0x1 | (1u << 21)}, {},
         "SGL - Transport SGL Data Block Descriptor", "Supported", V140},
        // without SGL support the descriptor bits are not looked at, nor gated
        {V130, {536, 4, (1u << 16) | (1u << 21)}, {}, "SGL Bit Bucket descriptor", ABSENT, V130},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " raw " + std::to_string(c.put.raw));
        ByteFixture bytes = Controller(c.version);
        bytes.putLittleEndian(c.put.offset, c.put.raw, c.put.width)
            .putLittleEndian(c.also.offset, c.also.raw, c.also.width);
        highest = 0;
        EXPECT_EQ(testing_support::ParameterValue(Decode(bytes, highest), c.name), c.value);
        EXPECT_EQ(highest, c.highest);
    }
    highest = 0x00020000;  // never lowered
    const Json::Value info = Decode(Controller(V130), highest, true);
    EXPECT_EQ(highest, 0x00020000u);
    EXPECT_EQ(info["raw hex data"]["Identify Controller"].size(), 256u);
    EXPECT_FALSE(Decode(Controller(V130), highest).isMember("raw hex data"));
}

TEST(IdentifyController, RefusesAStructureOfZerosBeforeAddingParameters) {
    Json::Value info;
    unsigned int highest = 0;
    try {
        orka::DecodeIdentifyController(ByteFixture(4096).as<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>(), info,
                                       true, highest);
        ADD_FAILURE() << "a structure of zeros accepted";
    } catch (const orka::OrkaError& error) {
        EXPECT_EQ(std::string(error.what()), "Identify Controller: no data from the drive");
    }
    EXPECT_TRUE(info.isNull());
}

}  // namespace
