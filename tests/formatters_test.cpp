// Display texts of the value formatters, identifier texts, vendor look-up,
// version gates and parameter records.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "orka_nvme.h"

namespace {

struct TextCase {
    std::string actual;
    std::string expected;
};

void ExpectAll(const std::vector<TextCase>& cases) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(cases[i].actual, cases[i].expected) << "case " << i;
    }
}

TEST(Formatters, NumberStringGroupsFromTheRight) {
    ExpectAll({
        {orka::ToNumberString(0u), "0"},
        {orka::ToNumberString(1000), "1,000"},
        {orka::ToNumberString(1234567), "1,234,567"},
        {orka::ToNumberString(-123), "-123"},
        {orka::ToNumberString(-123456), "-123,456"},
        {orka::ToNumberString(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,551,615"},
        {orka::ToNumberString(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,775,808"},
    });
}

TEST(Formatters, NumberStringWidensSmallTypesWithoutSign) {
    ExpectAll({
        {orka::ToNumberString(std::int8_t{-1}), "255"},
        {orka::ToNumberString(static_cast<char>(-128)), "128"},
        {orka::ToNumberString(std::int16_t{-2}), "65,534"},
        // 32 bits and wider keep their sign.
        {orka::ToNumberString(std::int32_t{-2}), "-2"},
    });
}

TEST(Formatters, HexStringKeepsExactlyTheRequestedDigits) {
    ExpectAll({
        {orka::ToHexString(0x1B4B, 4), "0x1B4B"},
        {orka::ToHexString(0x1234, 2), "0x34"},
        {orka::ToHexString(0xABCDEFu, 0), "0x"},
        {orka::ToHexString(std::int8_t{-1}, 4), "0x00FF"},
        {orka::ToHexString(std::int32_t{-1}, 8), "0xFFFFFFFF"},
        {orka::ToHexString(0xFFFFFFFFFFFFFFFFull, 18), "0x00FFFFFFFFFFFFFFFF"},
    });
}

TEST(Formatters, FloatNumberStringCutsAndGroups) {
    ExpectAll({
        {orka::ToFloatNumberString(1234.56789, 3), "1,234.567"},
        {orka::ToFloatNumberString(0.999999, 2), "0.99"},  // cut, not rounded
        {orka::ToFloatNumberString(1.5, 9), "1.500000"},   // never more than six decimals
        {orka::ToFloatNumberString(12.75, 0), "12."},      // the point stays
        {orka::ToFloatNumberString(1234567.25, 2), "1,234,567.25"},
        {orka::ToFloatNumberString(-std::nan(""), 1), "nan"},  // never "-,nan"
        {orka::ToFloatNumberString(-HUGE_VAL, 1), "-inf"},
        {orka::ToFloatNumberString(-123.5, 1), "-,123.5"},  // the sign counts as a character
        {orka::ToFloatNumberString(-1234.5, 1), "-1,234.5"},
        {orka::ToFloatNumberString(-0.0000004, 3), "-0.000"},
    });
}

TEST(Formatters, WordsOnlyForExactlyOne) {
    ExpectAll({
        {orka::ToSupported(1), "Supported"},
        {orka::ToSupported(2), "Not Supported"},
        {orka::ToYes(1u), "Yes"},
        {orka::ToYes(3u), "No"},
        {orka::ToEnabled(std::uint16_t{1}), "Enabled"},
        {orka::ToEnabled(std::uint16_t{0x101}), "Disabled"},
    });
}

TEST(Formatters, PowerOfTwoWrapsAtThirtyTwo) {
    ExpectAll({
        {orka::ToPowerOfTwo(std::uint8_t{12}), "12 (2^12=4096)"},
        {orka::ToPowerOfTwo(30u), "30 (2^30=1073741824)"},  // no grouping
        {orka::ToPowerOfTwo(31u), "31 (2^31=-2147483648)"},
        {orka::ToPowerOfTwo(32u), "32 (2^32=1)"},
        {orka::ToPowerOfTwo(std::uint8_t{41}), "41 (2^41=512)"},
    });
}

TEST(Formatters, FourKibProductIsThirtyTwoBits) {
    ExpectAll({
        {orka::To4KibString(1000u), "1,000 (4,000 KiB)"},
        {orka::To4KibString(0x40000000u), "1,073,741,824 (0 KiB)"},
        {orka::To4KibString(0x40000001u), "1,073,741,825 (4 KiB)"},
        {orka::To4KibString(0x100000001ull), "4,294,967,297 (4 KiB)"},
    });
}

TEST(Formatters, MicroSecondsDivideAsSigned32Bits) {
    ExpectAll({
        {orka::ToMicroSecondString(1500000u), "1,500,000 uS (1.500 sec)"},
        {orka::ToMicroSecondString(1999999u), "1,999,999 uS (1.999 sec)"},
        // 0xFFFFFFFF reads as -1 for the division only.
        {orka::ToMicroSecondString(0xFFFFFFFFu), "4,294,967,295 uS (-0.000 sec)"},
        {orka::ToMicroSecondString(0xC4653600u), "3,294,967,296 uS (-1,000.000 sec)"},
    });
}

TEST(Formatters, TemperatureIsWholeDegrees) {
    ExpectAll({
        {orka::ToTemp(273), "0 C"},
        {orka::ToTemp(272), "-1 C"},
        {orka::ToTemp(65535), "65,262 C"},
    });
}

TEST(Formatters, IdentifierTexts) {
    const unsigned char bytes[16] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0x6F, 0x70,
                                     0x81, 0x92, 0xA3, 0xB4, 0xC5, 0xD6, 0xE7, 0xFF};
    ExpectAll({
        {orka::GetFguid(bytes), "001a2b-3c4d5e6f708192a3b4c5d6e7ff"},
        {orka::GetEuid(bytes), "001a2b-3c4d5e6f70"},
        {orka::GetNguid(bytes), "001a2b3c4d5e6f70-8192a3-b4c5d6e7ff"},
        {orka::GetIeeeOui(bytes), "2b-1a-00"},
    });
}

TEST(Formatters, VersionBytesReadAsSigned) {
    ExpectAll({
        {orka::GetNvmeVersion(0x00010201), "1.2.1"},
        {orka::GetNvmeVersion(0x01020304), "2.3.4"},  // only the low byte of the major field
        {orka::GetNvmeVersion(0x00800FFF), "-128.15.-1"},
        {orka::GetNvmeVersion(0xFFFFFFFFul), "-1.-1.-1"},
    });
}

TEST(Formatters, VendorLookupIgnoresCase) {
    ExpectAll({
        {orka::LookupPciVendor("0x144D"), "Samsung"},
        {orka::LookupPciVendor("0X144d"), "Samsung"},
        {orka::LookupPciVendor("0x10ec"), "Unknown"},
        {orka::LookupPciVendor("0y8086"), "Intel"},  // the second character is forced
        {orka::LookupPciVendor("8086"), "Unknown"},
        {orka::LookupPciVendor("0"), "Unknown"},
    });
    EXPECT_EQ(orka::VENDOR_PCI_LOOKUP.size(), 8u);
}

TEST(Formatters, VersionGatesRaiseTheHighestOnlyWhenPassing) {
    struct GateCase {
        bool four;
        unsigned int version;
        unsigned int highest;
        unsigned long long present;
        bool passes;
        unsigned int highest_after;
    };
    const GateCase cases[] = {
        {true, 0x00010300, 0x00010300, 1, true, 0x00010400},
        {true, 0x00010400, 0x00010200, 0, true, 0x00010400},
        {true, 0x00010200, 0x00010200, 0x100000000ull, true, 0x00010400},
        {true, 0x00010400, 0x00020000, 0, true, 0x00020000},  // never lowered
        {false, 0x000102FF, 0x00010000, 0, false, 0x00010000},
        {false, 0x00010300, 0x00010000, 0, true, 0x00010300},
        {false, 0x00010000, 0x00010000, 4, true, 0x00010300},
    };
    for (const auto& gate : cases) {
        unsigned int highest = gate.highest;
        const bool passes = gate.four ? orka::IsVersion1p4(gate.version, highest, gate.present)
                                      : orka::IsVersion1p3(gate.version, highest, gate.present);
        EXPECT_EQ(passes, gate.passes) << std::hex << gate.version << " " << gate.present;
        EXPECT_EQ(highest, gate.highest_after) << std::hex << gate.version << " " << gate.present;
    }
}

TEST(ParameterRecords, AddWritesTheCatalogueTextsAndReplaces) {
    Json::Value parameters(Json::objectValue);
    orka::AddParameter(parameters, "Model", "first");
    orka::AddParameter(parameters, "Model", "second");
    Json::Value expected(Json::objectValue);
    expected["Model"]["name"] = "Model";
    expected["Model"]["value"] = "second";
    expected["Model"]["description"] = "Model number with whitespace trimmed";
    expected["Model"]["source"] = "Calculated";
    EXPECT_EQ(parameters, expected);
}

TEST(ParameterRecords, UnknownNameThrowsAndWritesNothing) {
    Json::Value parameters(Json::objectValue);
    orka::AddParameter(parameters, "Model", "kept");
    const Json::Value before = parameters;
    for (const std::string name : {"model", "Power State 32 Maximum Power (MP)", ""}) {
        try {
            orka::AddParameter(parameters, name, "1");
            ADD_FAILURE() << "no exception for '" << name << "'";
        } catch (const orka::OrkaError& error) {
            EXPECT_EQ(std::string(error.what()), "Parameter '" + name + "' not in parameter descriptions");
        }
        EXPECT_EQ(parameters, before) << name;
    }
}

}  // namespace
