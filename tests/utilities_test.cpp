// Text, number, JSON file and hex dump helpers of the orka library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <vector>

#include "orka.h"
#include "support/brantix_run.h"

namespace {

using orka::float128;
using orka::int128;
using orka::uint128;

TEST(Text, TrimCommasAndCase) {
    struct Case {
        std::string input, left, right, both, noCommas;
    };
    const std::vector<Case> cases = {
        {" \t\r\n ", "", "", "", " \t\r\n "},
        {"\t1,234,567\n", "1,234,567\n", "\t1,234,567", "1,234,567", "\t1234567\n"},
        {",x,,y,", ",x,,y,", ",x,,y,", ",x,,y,", "xy"},
    };
    for (const auto& c : cases) {
        std::string left = c.input, right = c.input, both = c.input, noCommas = c.input;
        orka::LeftTrim(left);
        orka::RightTrim(right);
        orka::Trim(both);
        orka::RemoveCommas(noCommas);
        EXPECT_EQ(left, c.left) << "'" << c.input << "'";
        EXPECT_EQ(right, c.right) << "'" << c.input << "'";
        EXPECT_EQ(both, c.both) << "'" << c.input << "'";
        EXPECT_EQ(noCommas, c.noCommas) << "'" << c.input << "'";
    }
    std::string lower = "Self-Test 0Ah", upper = "Self-Test 0Ah";
    orka::LowerCase(lower);
    orka::UpperCase(upper);
    EXPECT_EQ(lower, "self-test 0ah");
    EXPECT_EQ(upper, "SELF-TEST 0AH");
}

TEST(Numbers, ToLongLongIsTolerantAndLeavesOutputAloneOnFailure) {
    struct Case {
        std::string text;
        bool ok;
        long long value;
    };
    const std::vector<Case> cases = {
        {" 1,024 ", true, 1024},
        {"-12 GB", true, -12},
        {"9,223,372,036,854,775,807", true, std::numeric_limits<long long>::max()},
        {"9223372036854775808", false, -1},
        {" , ", false, -1},
        {"0x10", true, 0},
    };
    for (const auto& c : cases) {
        long long out = -1;
        EXPECT_EQ(orka::ToLongLong(c.text, out), c.ok) << c.text;
        EXPECT_EQ(out, c.value) << c.text;
    }
}

TEST(Numbers, ToLongDoubleIsTolerantAndLeavesOutputAloneOnFailure) {
    struct Case {
        std::string text;
        bool ok;
        long double value;
    };
    const std::vector<Case> cases = {
        {" 1,234.5 ", true, 1234.5L}, {"1e3", true, 1000.0L}, {"-0.25 MB", true, -0.25L},
        {"abc", false, -1.0L},        {"", false, -1.0L},
    };
    for (const auto& c : cases) {
        long double out = -1.0L;
        EXPECT_EQ(orka::ToLongDouble(c.text, out), c.ok) << c.text;
        EXPECT_EQ(out, c.value) << c.text;
    }
    long double out = 0;
    EXPECT_TRUE(orka::ToLongDouble("inf", out));
    EXPECT_TRUE(std::isinf(out));
}

TEST(Numbers, To128bitNumberReadsLittleEndianBytes) {
    unsigned char bytes[16] = {};
    for (int i = 0; i < 16; ++i) {
        bytes[i] = static_cast<unsigned char>(i);
    }
    EXPECT_EQ(orka::To128bitNumber(bytes), uint128("0x0F0E0D0C0B0A09080706050403020100"));
}

TEST(Numbers, ToBigNumberStringGroupsThousands) {
    const std::vector<std::pair<int128, std::string>> signedCases = {
        {int128(0), "0"},
        {int128(-999), "-999"},
        {int128(-100000), "-100,000"},
        {int128(1234567), "1,234,567"},
    };
    for (const auto& [value, text] : signedCases) {
        EXPECT_EQ(orka::ToBigNumberString(value), text);
    }
    const std::vector<std::pair<uint128, std::string>> unsignedCases = {
        {uint128(100000), "100,000"},
        {std::numeric_limits<uint128>::max(), "340,282,366,920,938,463,463,374,607,431,768,211,455"},
    };
    for (const auto& [value, text] : unsignedCases) {
        EXPECT_EQ(orka::ToBigNumberString(value), text);
    }
}

TEST(Numbers, ToBigFloatNumberStringGroupsOnlyTheIntegerPart) {
    struct Case {
        float128 value;
        int precision;
        std::string text;
    };
    const std::vector<Case> cases = {
        {float128("1234567.891"), 2, "1,234,567.89"},
        {float128("999.5"), 1, "999.5"},
        {float128("0.5"), 2, "0.50"},
        {float128("-123456.25"), 2, "-123,456.25"},
        // Without a point nothing is grouped.
        {float128("1234567.891"), 0, "1234568"},
        {float128("2.5"), 0, "2"},
        {float128("-1000000.4"), 0, "-1000000"},
        // 2^128 - 1 does not fit a 113-bit mantissa and rounds up to 2^128.
        {float128("340282366920938463463374607431768211455"), 1,
         "340,282,366,920,938,463,463,374,607,431,768,211,456.0"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::ToBigFloatNumberString(c.value, c.precision), c.text) << c.text;
    }
}

TEST(RawData, FormatHexDataLinesAreExact) {
    struct Case {
        std::vector<unsigned char> bytes;
        std::vector<std::string> lines;
    };
    std::vector<unsigned char> ascending(16);
    for (int i = 0; i < 16; ++i) {
        ascending[i] = static_cast<unsigned char>(0x30 + i);
    }
    std::vector<unsigned char> seventeen(17, 0x20);
    seventeen[16] = 0xFF;
    const std::vector<Case> cases = {
        {{}, {}},
        {ascending,
         {"0x0000  |  30 31 32 33 34 35 36 37  |  38 39 3A 3B 3C 3D 3E 3F        0 1 2 3 4 5 6 7  |  8 9 : ; "
          "< = > ?"}},
        {seventeen,
         {"0x0000  |  20 20 20 20 20 20 20 20  |  20 20 20 20 20 20 20 20                         |          "
          "       ",
          "0x0010  |  FF .. .. .. .. .. .. ..  |  .. .. .. .. .. .. .. ..        . . . . . . . .  |  . . . . "
          ". . . ."}},
        {{0x1F, 0x80, 0x7E, 0x00, 0x00, 0x00, 0x00, 0x00, 0xA5},
         {"0x0000  |  1F 80 7E 00 00 00 00 00  |  A5 .. .. .. .. .. .. ..        . . ~ . . . . .  |  . . . . "
          ". . . ."}},
    };
    for (const auto& c : cases) {
        Json::Value out = "stale";
        orka::FormatHexData(reinterpret_cast<const char*>(c.bytes.data()),
                            static_cast<unsigned int>(c.bytes.size()), out);
        ASSERT_TRUE(out.isArray());
        ASSERT_EQ(out.size(), c.lines.size());
        for (Json::ArrayIndex i = 0; i < out.size(); ++i) {
            EXPECT_EQ(out[i].asString(), c.lines[i]);
        }
    }
}

TEST(RawData, AllZeros) {
    const unsigned char zeros[8] = {};
    const unsigned char lastSet[8] = {0, 0, 0, 0, 0, 0, 0, 1};
    EXPECT_TRUE(orka::AllZeros(zeros, 0));
    EXPECT_TRUE(orka::AllZeros(lastSet, 0));
    EXPECT_TRUE(orka::AllZeros(zeros, 8));
    EXPECT_TRUE(orka::AllZeros(lastSet, 7));
    EXPECT_FALSE(orka::AllZeros(lastSet, 8));
}

class JsonFiles : public ::testing::Test {
  protected:
    std::string PathOf(const std::string& name) const { return folder_.Path(name); }
    std::string Write(const std::string& name, const std::string& content) const {
        return folder_.Write(name, content);
    }
    static std::string MessageOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const orka::OrkaError& error) {
            return error.what();
        }
        return "no OrkaError";
    }
    testing_support::TempFolder folder_{"json"};
};

TEST_F(JsonFiles, ReadFailuresNameTheFile) {
    Json::Value value;
    const std::string missing = PathOf("missing.json");
    EXPECT_EQ(MessageOf([&] { orka::ReadJsonFile(missing, value); }),
              "Could not open file to read JSON data '" + missing + "'");
    for (const char* broken : {"", "{\"a\": }"}) {
        const std::string path = Write("broken.json", broken);
        EXPECT_EQ(MessageOf([&] { orka::ReadJsonFile(path, value); }),
                  "Failed parsing JSON data from file '" + path + "'")
            << broken;
    }
}

TEST_F(JsonFiles, ReadAcceptsComments) {
    const std::string path =
        Write("ok.json", "// settings\n{ \"samples\": 3, /* inline */ \"name\": \"x\" }\n");
    Json::Value value;
    orka::ReadJsonFile(path, value);
    EXPECT_EQ(value["samples"].asInt(), 3);
    EXPECT_EQ(value["name"].asString(), "x");
    EXPECT_EQ(value.size(), 2u);
}

TEST_F(JsonFiles, WriteUsesTabsSortedKeysAndTruncates) {
    const std::string path = Write("out.json", std::string(500, 'x'));
    Json::Value value;
    value["b"] = 1;
    value["a"] = "x";
    value["c"].append(true);
    orka::WriteJsonFile(path, value);
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "{\n\t\"a\" : \"x\",\n\t\"b\" : 1,\n\t\"c\" : \n\t[\n\t\ttrue\n\t]\n}");
    Json::Value back;
    orka::ReadJsonFile(path, back);
    EXPECT_EQ(back, value);

    const std::string unwritable = PathOf("no/such/dir/out.json");
    EXPECT_EQ(MessageOf([&] { orka::WriteJsonFile(unwritable, value); }),
              "Could not open file to write JSON data to '" + unwritable + "'");
}

// A failed write names the file, leaves what stood under the name alone and no partial file behind.
TEST_F(JsonFiles, FailedWriteKeepsTheOldFileAndLeavesNoPartial) {
    const std::string kept = Write("kept.json", "{}");
    std::filesystem::create_directory(PathOf("taken.json"));
    const std::string taken = PathOf("taken.json");
    Json::Value value;
    value["a"] = 1;
    EXPECT_EQ(MessageOf([&] { orka::WriteJsonFile(taken, value); }),
              "Failed writing JSON data to '" + taken + "': Is a directory");
    orka::WriteJsonFile(kept, value);
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.dir)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"kept.json", "taken.json"}));
    EXPECT_TRUE(std::filesystem::is_empty(taken));
}

TEST(JsonText, ConvertStringToJson) {
    Json::Value value;
    orka::ConvertStringToJson("{\"rules\": [1, 2]}", value);
    ASSERT_TRUE(value["rules"].isArray());
    EXPECT_EQ(value["rules"][1].asInt(), 2);
    for (const char* broken : {"", "[1 2]"}) {
        try {
            orka::ConvertStringToJson(broken, value);
            ADD_FAILURE() << "accepted '" << broken << "'";
        } catch (const orka::OrkaError& error) {
            EXPECT_EQ(std::string(error.what()), "Failed to convert string to Json");
        }
    }
}

TEST(Errors, RethrowWithOriginAddsTheOrigin) {
    const auto rethrown = [](const std::function<void()>& thrower) {
        try {
            try {
                thrower();
            } catch (...) {
                orka::RethrowWithOrigin("ReadLogPage", "source/orka/source/logpage", 42);
            }
        } catch (const std::runtime_error& error) {
            return std::string(error.what());
        }
        return std::string("nothing thrown");
    };
    EXPECT_EQ(rethrown([] { throw orka::OrkaError("Read failed"); }),
              "Read failed\n @ ReadLogPage source/orka/source/logpage 42");
    EXPECT_EQ(rethrown([] { throw 7; }),
              "Unknown exception type\n @ ReadLogPage source/orka/source/logpage 42");
}

}  // namespace
