// The simulator's profile encoder and fault texts. The layouts the shipped
// profiles describe reach nvme-cli field by field in the cross-check; here,
// each kind of field and each kind of mistake in a profile.
#include <gtest/gtest.h>

#include <functional>

#include "profile.h"
#include "support/simulator.h"

namespace {

using brantix_sim::Bytes;
using brantix_sim::Field;

std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const brantix_sim::ProfileError& error) {
        return error.what();
    }
    return "no error";
}

const std::vector<Field> TABLE = {
    {"W16", 2, 2},
    {"W128", 8, 16},
    {"TEXT", 24, 6, Field::kAscii},
    {"NQN", 30, 6, Field::kAsciiNul},
    {"RAW", 36, 4, Field::kBytes},
    {"LOW", 40, 1, Field::kInt, 0, 3},
    {"HIGH", 40, 1, Field::kInt, 6, 2},
};

// The image EncodeFields makes of `source`, in hex.
std::string Encoded(const std::string& source) {
    Bytes image(42, 0);
    brantix_sim::EncodeFields(testing_support::ParseJson(source), TABLE, image, 0, "t");
    std::string text;
    for (const uint8_t byte : image) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

TEST(SimulatorProfile, FieldKindsAreWrittenLittleEndianPaddedAndMasked) {
    EXPECT_EQ(Encoded(R"({"W16": 4660, "W128": "0xffffffffffffffffffffffffffffffff", "TEXT": "AB",
                          "NQN": "AB", "RAW": "0a0b", "LOW": 5, "HIGH": 2})"),
              "0000341200000000ffffffffffffffffffffffffffffffff"
              "4142202020204142000000000a0b00008500");
}

TEST(SimulatorProfile, MistakesNameTheirPlace) {
    const auto parsed = [](const char* text) {
        return [text] { brantix_sim::ParseProfile(text, "test.json"); };
    };
    const auto encoded = [](const char* source) { return [source] { Encoded(source); }; };
    const auto faults = [](const char* text) {
        return [text] {
            std::vector<brantix_sim::Fault> list;
            int open_error = 0;
            int vanish = -1;
            brantix_sim::ParseFaults(text, list, open_error, vanish);
        };
    };
    const std::pair<std::function<void()>, std::string> cases[] = {
        {encoded(R"({"TEXT": "ABCDEFG"})"), "t.TEXT: longer than 6 characters"},
        {encoded(R"({"W16": "12z"})"), "t.W16: expected a number, got \"12z\""},
        {parsed(R"({"drives": [{"identify controller": {"VID": 1, "MODEL": "x"}}]})"),
         "test.json: drives[0].identify controller: unknown field \"MODEL\""},
        {parsed(R"({"drives": [{"log pages": {"C0": {"x": 1}}}]})"),
         "test.json: drives[0].log pages.C0: log page without a layout here; give its bytes as \"data\""},
        {faults("opcode=2"), "fault \"opcode=2\": give exactly one of errno and status"},
        {faults("log=2,errno=5"), "fault \"log=2,errno=5\": a command fault needs an opcode"},
    };
    for (const auto& [action, message] : cases) {
        EXPECT_EQ(ErrorOf(action), message);
    }
}

}  // namespace
