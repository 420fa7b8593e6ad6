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
        {orka::ToNumberString(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,551,615"},
        {orka::ToNumberString(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,775,808"},
        {orka::ToNumberString(std::int16_t{-1}), "65,535"},
        // exactly the requested hex digits
        {orka::ToHexString(std::int8_t{-1}, 4), "0x00FF"},
        // decimals cut, never more than six; the sign counts as a character of the grouping
        {orka::ToFloatNumberString(0.999999, 2), "0.99"},
        {orka::ToFloatNumberString(1.5, 9), "1.500000"},
        {orka::ToFloatNumberString(-123.5, 1), "-,123.5"},
        // words only for exactly one
        {orka::ToSupported(2), "Not Supported"},
        // powers of two in 32 signed bits, products of 4 KiB in 32 bits, microseconds divided as signed
        {orka::ToPowerOfTwo(31u), "31 (2^31=-2147483648)"},
        {orka::To4KibString(0x100000001ull), "4,294,967,297 (4 KiB)"},
        {orka::ToMicroSecondString(0xC4653600u), "3,294,967,296 uS (-1,000.000 sec)"},
        {orka::ToTemp(272), "-1 C"},
        // identifiers, versions with signed bytes, vendors by hex text in any case
        {orka::GetFguid(bytes), "001a2b-3c4d5e6f708192a3b4c5d6e7ff"},
        {orka::GetNguid(bytes), "001a2b3c4d5e6f70-8192a3-b4c5d6e7ff"},
        {orka::GetNvmeVersion(0x00800FFF), "-128.15.-1"},
        {orka::LookupPciVendor("0X144d"), "Samsung"},
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
    try {
        orka::AddParameter(parameters, "model", "1");
        ADD_FAILURE() << "no exception";
    } catch (const orka::OrkaError& error) {
        EXPECT_EQ(std::string(error.what()), "Parameter 'model' not in parameter descriptions");
    }
    EXPECT_EQ(parameters, expected);
}

}  // namespace
