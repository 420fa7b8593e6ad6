// Text, number, JSON file and hex dump helpers of the orka library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>

#include "orka.h"
#include "support/simulator.h"

namespace {

using orka::float128;
using orka::int128;
using orka::uint128;

// The message of the OrkaError `action` throws.
std::string MessageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const orka::OrkaError& error) {
        return error.what();
    }
    return "no OrkaError";
}

std::string Edited(void (*edit)(std::string&), std::string text) {
    edit(text);
    return text;
}

// What RethrowWithOrigin makes of what `thrower` throws.
std::string Rethrown(const std::function<void()>& thrower) {
    try {
        try {
            thrower();
        } catch (...) {
            orka::RethrowWithOrigin("ReadLogPage", "source/orka/source/logpage", 42);
        }
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST(Text, HelpersGiveExactTexts) {
    unsigned char bytes[16];
    for (int i = 0; i < 16; ++i) {
        bytes[i] = static_cast<unsigned char>(i);
    }
    const std::pair<std::string, std::string> cases[] = {
        {Edited(orka::LeftTrim, "\t1,234 \n"), "1,234 \n"},
        {Edited(orka::LeftTrim, " \t\r\n "), ""},
        {Edited(orka::RightTrim, "\t1,234 \n"), "\t1,234"},
        {Edited(orka::Trim, " \t\r\n "), ""},
        {Edited(orka::RemoveCommas, ",x,,y, "), "xy "},
        {Edited(orka::LowerCase, "Self-Test 0Ah"), "self-test 0ah"},
        {Edited(orka::UpperCase, "Self-Test 0Ah"), "SELF-TEST 0AH"},
        {orka::To128bitNumber(bytes).str(0, std::ios::hex), "f0e0d0c0b0a09080706050403020100"},
        {orka::ToBigNumberString(int128(0)), "0"},
        {orka::ToBigNumberString(int128(-999)), "-999"},
        {orka::ToBigNumberString(int128(-100000)), "-100,000"},
        {orka::ToBigNumberString(std::numeric_limits<uint128>::max()),
         "340,282,366,920,938,463,463,374,607,431,768,211,455"},
        // Only the integer part is grouped, and only when there is a point.
        {orka::ToBigFloatNumberString(float128("1234567.891"), 2), "1,234,567.89"},
        {orka::ToBigFloatNumberString(float128("999.5"), 1), "999.5"},
        {orka::ToBigFloatNumberString(float128("0.5"), 2), "0.50"},
        {orka::ToBigFloatNumberString(float128("-123456.25"), 2), "-123,456.25"},
        {orka::ToBigFloatNumberString(float128("1234567.891"), 0), "1234568"},
        {orka::ToBigFloatNumberString(float128("-1000000.4"), 0), "-1000000"},
        // 2^128 - 1 does not fit a 113-bit mantissa and rounds up to 2^128.
        {orka::ToBigFloatNumberString(float128("340282366920938463463374607431768211455"), 1),
         "340,282,366,920,938,463,463,374,607,431,768,211,456.0"},
        {Rethrown([] { throw orka::OrkaError("Read failed"); }),
         "Read failed\n @ ReadLogPage source/orka/source/logpage 42"},
        {Rethrown([] { throw 7; }), "Unknown exception type\n @ ReadLogPage source/orka/source/logpage 42"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(text, expected);
    }
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
        {" 1,024 ", true, 1024, true, 1024.0L},
        {"-12 GB", true, -12, true, -12.0L},
        {"9,223,372,036,854,775,807", true, std::numeric_limits<long long>::max(), true,
         9223372036854775807.0L},
        {"9223372036854775808", false, -1, true, 9223372036854775808.0L},
        {" 1,234.5 ", true, 1234, true, 1234.5L},
        {"1e3", true, 1, true, 1000.0L},
        {"0x10", true, 0, true, 16.0L},
        {"inf", false, -1, true, HUGE_VALL},
        {" , ", false, -1, false, -1.0L},
        {"abc", false, -1, false, -1.0L},
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

TEST(RawData, HexDumpLinesAndZeroTest) {
    std::vector<unsigned char> seventeen(17, 0x20);
    seventeen[16] = 0xFF;
    const struct {
        std::vector<unsigned char> bytes;
        std::vector<std::string> lines;
    } cases[] = {
        {{}, {}},
        {seventeen,
         {"0x0000  |  20 20 20 20 20 20 20 20  |  20 20 20 20 20 20 20 20                         |          "
          "       ",
          "0x0010  |  FF .. .. .. .. .. .. ..  |  .. .. .. .. .. .. .. ..        . . . . . . . .  |  . . . . "
          ". . . ."}},
        {{0x1F, 0x80, 0x7E, 0x30, 0x00, 0x00, 0x00, 0x7F, 0xA5},
         {"0x0000  |  1F 80 7E 30 00 00 00 7F  |  A5 .. .. .. .. .. .. ..        . . ~ 0 . . . .  |  . . . . "
          ". . . ."}},
    };
    for (const auto& c : cases) {
        Json::Value out = "stale";
        orka::FormatHexData(reinterpret_cast<const char*>(c.bytes.data()),
                            static_cast<unsigned int>(c.bytes.size()), out);
        ASSERT_TRUE(out.isArray());
        std::vector<std::string> lines;
        for (const auto& line : out) {
            lines.push_back(line.asString());
        }
        EXPECT_EQ(lines, c.lines);
    }
    const unsigned char lastSet[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_TRUE(orka::AllZeros(lastSet, 0));
    EXPECT_TRUE(orka::AllZeros(lastSet, 7));
    EXPECT_FALSE(orka::AllZeros(lastSet, 8));
}

TEST(JsonFiles, ReadAcceptsCommentsAndFailuresNameTheFile) {
    const testing_support::TempFolder folder("json");
    Json::Value value;
    orka::ReadJsonFile(
        folder.Write("ok.json", "// settings\n{ \"samples\": 3, /* inline */ \"name\": \"x\" }\n"), value);
    EXPECT_EQ(value, testing_support::ParseJson("{\"samples\": 3, \"name\": \"x\"}"));
    const std::string missing = folder.Path("missing.json");
    EXPECT_EQ(MessageOf([&] { orka::ReadJsonFile(missing, value); }),
              "Could not open file to read JSON data '" + missing + "'");
    for (const char* broken : {"", "{\"a\": }"}) {
        const std::string path = folder.Write("broken.json", broken);
        EXPECT_EQ(MessageOf([&] { orka::ReadJsonFile(path, value); }),
                  "Failed parsing JSON data from file '" + path + "'")
            << broken;
    }
    orka::ConvertStringToJson("{\"rules\": [1, 2]}", value);
    EXPECT_EQ(value["rules"][1].asInt(), 2);
    for (const char* broken : {"", "[1 2]"}) {
        EXPECT_EQ(MessageOf([&] { orka::ConvertStringToJson(broken, value); }),
                  "Failed to convert string to Json")
            << broken;
    }
}

// A write replaces the file whole; a failed one names the file, leaves what
// stood under the name alone and no partial file behind.
TEST(JsonFiles, WriteUsesTabsSortedKeysAndReplacesTheFile) {
    const testing_support::TempFolder folder("json");
    const std::string path = folder.Write("out.json", std::string(500, 'x'));
    Json::Value value;
    value["b"] = 1;
    value["a"] = "x";
    value["c"].append(true);
    orka::WriteJsonFile(path, value);
    EXPECT_EQ(testing_support::ReadFile(path),
              "{\n\t\"a\" : \"x\",\n\t\"b\" : 1,\n\t\"c\" : \n\t[\n\t\ttrue\n\t]\n}");

    const std::string unwritable = folder.Path("no/such/dir/out.json");
    EXPECT_EQ(MessageOf([&] { orka::WriteJsonFile(unwritable, value); }),
              "Could not open file to write JSON data to '" + unwritable + "'");
    std::filesystem::create_directory(folder.Path("taken.json"));
    EXPECT_EQ(MessageOf([&] { orka::WriteJsonFile(folder.Path("taken.json"), value); }),
              "Failed writing JSON data to '" + folder.Path("taken.json") + "': Is a directory");
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.dir)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"out.json", "taken.json"}));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path("taken.json")));
}

}  // namespace
