// Text, number, JSON file and hex dump helpers of the orka library.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "orka.h"
#include "support/simulator.h"

namespace {

using orka::float128;
using orka::int128;
using orka::uint128;

// The message of what `action` throws, with the origin RethrowWithOrigin adds
// to it; empty when nothing is thrown.
std::string Thrown(const std::function<void()>& action) {
    try {
        try {
            action();
        } catch (...) {
            orka::RethrowWithOrigin("ReadLogPage", "source/orka/source/logpage", 42);
        }
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string Edited(void (*edit)(std::string&), std::string text) {
    edit(text);
    return text;
}

std::string HexDump(const std::vector<unsigned char>& bytes) {
    Json::Value out = "stale";
    orka::FormatHexData(reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned int>(bytes.size()),
                        out);
    std::string text = out.isArray() ? "" : "not an array";
    for (const auto& line : out) {
        text += line.asString() + "\n";
    }
    return text;
}

TEST(Text, HelpersGiveExactTexts) {
    const testing_support::TempFolder folder("json");
    unsigned char counting[16];
    for (int i = 0; i < 16; ++i) {
        counting[i] = static_cast<unsigned char>(i);
    }
    Json::Value json;
    const std::string missing = folder.Path("missing.json");
    const std::string unwritable = folder.Path("no/such/dir/out.json");
    const std::pair<std::string, std::string> cases[] = {
        {Edited(orka::RightTrim, "\t1,234 \n"), "\t1,234"},
        {Edited(orka::Trim, " \t\r\n "), ""},
        {Edited(orka::RemoveCommas, ",x,,y, "), "xy "},
        {orka::To128bitNumber(counting).str(0, std::ios::hex), "f0e0d0c0b0a09080706050403020100"},
        {orka::ToBigNumberString(int128(-100000)), "-100,000"},
        {orka::ToBigNumberString(std::numeric_limits<uint128>::max()),
         "340,282,366,920,938,463,463,374,607,431,768,211,455"},
        // Only the integer part is grouped, and only when there is a point.
        {orka::ToBigFloatNumberString(float128("1234567.891"), 2), "1,234,567.89"},
        {orka::ToBigFloatNumberString(float128("-123456.25"), 2), "-123,456.25"},
        {orka::ToBigFloatNumberString(float128("-1000000.4"), 0), "-1000000"},
        // 2^128 - 1 does not fit a 113-bit mantissa and rounds up to 2^128.
        {orka::ToBigFloatNumberString(float128("340282366920938463463374607431768211455"), 1),
         "340,282,366,920,938,463,463,374,607,431,768,211,456.0"},
        // Sixteen bytes a line, printable ones shown; a short last line is padded.
        {HexDump({}), ""},
        {HexDump({0x1F, 0x80, 0x7E, 0x30, 0, 0, 0, 0x7F, 0x20, 0, 0, 0, 0, 0, 0, 0, 0xFF}),
         "0x0000  |  1F 80 7E 30 00 00 00 7F  |  20 00 00 00 00 00 00 00        . . ~ 0 . . . .  |    . . . "
         ". . . .\n"
         "0x0010  |  FF .. .. .. .. .. .. ..  |  .. .. .. .. .. .. .. ..        . . . . . . . .  |  . . . . "
         ". . . .\n"},
        {Thrown([] { throw orka::OrkaError("Read failed"); }),
         "Read failed\n @ ReadLogPage source/orka/source/logpage 42"},
        {Thrown([] { throw 7; }), "Unknown exception type\n @ ReadLogPage source/orka/source/logpage 42"},
        {Thrown([&] { orka::ReadJsonFile(missing, json); }),
         "Could not open file to read JSON data '" + missing +
             "'\n @ ReadLogPage source/orka/source/logpage 42"},
        {Thrown([&] { orka::WriteJsonFile(unwritable, json); }),
         "Could not open file to write JSON data to '" + unwritable +
             "': No such file or directory\n @ ReadLogPage source/orka/source/logpage 42"},
        {Thrown([&] { orka::ConvertStringToJson("[1 2]", json); }),
         "Failed to convert string to Json\n @ ReadLogPage source/orka/source/logpage 42"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(text, expected);
    }
    const unsigned char last_set[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_TRUE(orka::AllZeros(last_set, 7));
    EXPECT_FALSE(orka::AllZeros(last_set, 8));
}

// Both readers skip blanks and commas, and leave the output alone when they fail.
TEST(Numbers, ReadersAreTolerant) {
    const struct {
        std::string text;
        bool integer_ok;
        long long integer;
        bool real_ok;
        long double real;
    } cases[] = {
        {" -1,024 GB", true, -1024, true, -1024.0L},
        {"9,223,372,036,854,775,807", true, std::numeric_limits<long long>::max(), true,
         9223372036854775807.0L},
        {"9223372036854775808", false, -1, true, 9223372036854775808.0L},
        {" , ", false, -1, false, -1.0L},
    };
    for (const auto& c : cases) {
        long long integer = -1;
        long double real = -1.0L;
        EXPECT_EQ(orka::ToLongLong(c.text, integer), c.integer_ok) << c.text;
        EXPECT_EQ(integer, c.integer) << c.text;
        EXPECT_EQ(orka::ToLongDouble(c.text, real), c.real_ok) << c.text;
        EXPECT_EQ(real, c.real) << c.text;
    }
}

// Files are written with tabs and sorted keys, whole, over what stood there;
// they may hold comments when read back.
TEST(JsonFiles, WrittenLayoutAndCommentsWhenRead) {
    const testing_support::TempFolder folder("json");
    const std::string path = folder.Write("out.json", std::string(500, 'x'));
    const Json::Value value = testing_support::ParseJson(R"({"b": 1, "a": "x", "c": [true]})");
    orka::WriteJsonFile(path, value);
    EXPECT_EQ(testing_support::ReadFile(path),
              "{\n\t\"a\" : \"x\",\n\t\"b\" : 1,\n\t\"c\" : \n\t[\n\t\ttrue\n\t]\n}");
    Json::Value back;
    orka::ReadJsonFile(
        folder.Write("in.json", "// settings\n{\"b\": 1, /* inline */ \"a\": \"x\", \"c\": [true]}"), back);
    EXPECT_EQ(back, value);
}

}  // namespace
