// Display texts of the value formatters, identifier texts, vendor look-up and parameter
// records: the quirks each one keeps. The version gates are checked through the Identify tables.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "orka_nvme.h"
#include "support/simulator.h"

namespace {

TEST(Formatters, DisplayTexts) {
    const unsigned char bytes[16] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0x6F, 0x70,
                                     0x81, 0x92, 0xA3, 0xB4, 0xC5, 0xD6, 0xE7, 0xFF};
    const std::pair<std::string, std::string> cases[] = {
        // numbers grouped from the right; types narrower than 32 bits widen without sign
        {orka::ToNumberString(-123456), "-123,456"},
        {orka::ToNumberString(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,551,615"},
        {orka::ToNumberString(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,775,808"},
        {orka::ToNumberString(std::int8_t{-1}), "255"},
        {orka::ToNumberString(std::int32_t{-2}), "-2"},
        // exactly the requested hex digits
        {orka::ToHexString(0x1234, 2), "0x34"},
        {orka::ToHexString(0xABCDEFu, 0), "0x"},
        {orka::ToHexString(std::int8_t{-1}, 4), "0x00FF"},
        {orka::ToHexString(0xFFFFFFFFFFFFFFFFull, 18), "0x00FFFFFFFFFFFFFFFF"},
        // decimals cut, never more than six; the sign counts as a character of the grouping
        {orka::ToFloatNumberString(0.999999, 2), "0.99"},
        {orka::ToFloatNumberString(1.5, 9), "1.500000"},
        {orka::ToFloatNumberString(12.75, 0), "12."},
        {orka::ToFloatNumberString(-std::nan(""), 1), "nan"},
        {orka::ToFloatNumberString(-HUGE_VAL, 1), "-inf"},
        {orka::ToFloatNumberString(-123.5, 1), "-,123.5"},
        {orka::ToFloatNumberString(-1234.5, 1), "-1,234.5"},
        // words only for exactly one
        {orka::ToSupported(2), "Not Supported"},
        {orka::ToYes(3u), "No"},
        {orka::ToEnabled(std::uint16_t{0x101}), "Disabled"},
        // powers of two in 32 signed bits, products of 4 KiB in 32 bits, microseconds divided as signed
        {orka::ToPowerOfTwo(30u), "30 (2^30=1073741824)"},
        {orka::ToPowerOfTwo(31u), "31 (2^31=-2147483648)"},
        {orka::ToPowerOfTwo(std::uint8_t{41}), "41 (2^41=512)"},
        {orka::To4KibString(0x40000000u), "1,073,741,824 (0 KiB)"},
        {orka::To4KibString(0x100000001ull), "4,294,967,297 (4 KiB)"},
        {orka::ToMicroSecondString(1999999u), "1,999,999 uS (1.999 sec)"},
        {orka::ToMicroSecondString(0xC4653600u), "3,294,967,296 uS (-1,000.000 sec)"},
        {orka::ToTemp(272), "-1 C"},
        {orka::ToTemp(65535), "65,262 C"},
        // identifiers, versions with signed bytes, vendors by hex text in any case
        {orka::GetFguid(bytes), "001a2b-3c4d5e6f708192a3b4c5d6e7ff"},
        {orka::GetEuid(bytes), "001a2b-3c4d5e6f70"},
        {orka::GetNguid(bytes), "001a2b3c4d5e6f70-8192a3-b4c5d6e7ff"},
        {orka::GetIeeeOui(bytes), "2b-1a-00"},
        {orka::GetNvmeVersion(0x01020304), "2.3.4"},
        {orka::GetNvmeVersion(0x00800FFF), "-128.15.-1"},
        {orka::LookupPciVendor("0X144d"), "Samsung"},
        {orka::LookupPciVendor("0y8086"), "Intel"},  // the second character is forced
        {orka::LookupPciVendor("8086"), "Unknown"},
    };
    for (const auto& [actual, expected] : cases) {
        EXPECT_EQ(actual, expected);
    }
}

// A record takes its texts from the catalogue and replaces an earlier one; an unknown name
// throws and writes nothing.
TEST(ParameterRecords, AddWritesTheCatalogueTextsOrThrows) {
    Json::Value parameters(Json::objectValue);
    orka::AddParameter(parameters, "Model", "first");
    orka::AddParameter(parameters, "Model", "second");
    const Json::Value expected = testing_support::ParseJson(R"({"Model": {"name": "Model", "value": "second",
        "description": "Model number with whitespace trimmed", "source": "Calculated"}})");
    EXPECT_EQ(parameters, expected);
    for (const std::string name : {"model", "Power State 32 Maximum Power (MP)", ""}) {
        try {
            orka::AddParameter(parameters, name, "1");
            ADD_FAILURE() << "no exception for '" << name << "'";
        } catch (const orka::OrkaError& error) {
            EXPECT_EQ(std::string(error.what()), "Parameter '" + name + "' not in parameter descriptions");
        }
        EXPECT_EQ(parameters, expected) << name;
    }
}

}  // namespace
