// The simulator's profile encoder: fields land at the offsets of the NVMe
// standard's layouts, written here independently as byte positions.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "profile.h"
#include "support/simulator.h"

namespace {

using brantix_sim::Bytes;
using brantix_sim::Field;

std::string Hex(const Bytes& bytes, size_t offset, size_t length) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (size_t i = offset; i < offset + length; ++i) {
        text += digits[bytes.at(i) >> 4];
        text += digits[bytes.at(i) & 15];
    }
    return text;
}

std::string ProfileError(const std::string& text) {
    try {
        brantix_sim::ParseProfile(text, "test.json");
    } catch (const brantix_sim::ProfileError& error) {
        return error.what();
    }
    return "no error";
}

TEST(SimulatorProfile, FieldKindsAreWrittenLittleEndianPaddedAndMasked) {
    const std::vector<Field> table = {
        {"W16", 2, 2},
        {"W128", 8, 16},
        {"TEXT", 24, 6, Field::kAscii},
        {"NQN", 30, 6, Field::kAsciiNul},
        {"RAW", 36, 4, Field::kBytes},
        {"LOW", 40, 1, Field::kInt, 0, 3},
        {"HIGH", 40, 1, Field::kInt, 6, 2},
    };
    const struct {
        const char* source;
        size_t offset;
        size_t length;
        const char* hex;
    } cases[] = {
        {R"({"W16": 4660})", 2, 2, "3412"},
        {R"({"W16": "0x1b96"})", 2, 2, "961b"},
        {R"({"W128": "0xffffffffffffffffffffffffffffffff"})", 8, 16, "ffffffffffffffffffffffffffffffff"},
        {R"({"TEXT": "AB"})", 24, 6, "414220202020"},
        {R"({"NQN": "AB"})", 30, 6, "414200000000"},
        {R"({"RAW": "0a0b"})", 36, 4, "0a0b0000"},
        {R"({"LOW": 5, "HIGH": 2})", 40, 1, "85"},
        {R"({"W16": true})", 2, 2, "0100"},
    };
    for (const auto& c : cases) {
        Bytes image(48, 0);
        brantix_sim::EncodeFields(testing_support::ParseJson(c.source), table, image, 0, "t");
        EXPECT_EQ(Hex(image, c.offset, c.length), c.hex) << c.source;
        EXPECT_EQ(image.size(), 48u) << c.source;
    }
}

TEST(SimulatorProfile, BadFieldValuesAreRefusedWithTheirPlace) {
    const std::vector<Field> table = {
        {"W8", 0, 1}, {"TEXT", 1, 2, Field::kAscii}, {"BITS", 3, 1, Field::kInt, 4, 2}};
    const struct {
        const char* source;
        const char* message;
    } cases[] = {
        {R"({"W8": 256})", "t.W8: value does not fit in 8 bits"},
        {R"({"TEXT": "ABC"})", "t.TEXT: longer than 2 characters"},
        {R"({"W8": "12z"})", "t.W8: expected a number, got \"12z\""},
        {R"({"VID": 1})", "t: unknown field \"VID\""},
        {R"([1])", "t: expected an object"},
    };
    for (const auto& c : cases) {
        Bytes image(4, 0);
        try {
            brantix_sim::EncodeFields(testing_support::ParseJson(c.source), table, image, 0, "t");
            ADD_FAILURE() << "no error for " << c.source;
        } catch (const brantix_sim::ProfileError& error) {
            EXPECT_EQ(std::string(error.what()), c.message) << c.source;
        }
    }
}

TEST(SimulatorProfile, IdentifyStructuresAtTheStandardOffsets) {
    const auto profile = brantix_sim::ParseProfile(R"({"drives": [{
        "controller": 3,
        "identify controller": {"VID": "0x144d", "SN": "S1", "MN": "Model X", "FR": "FW1", "VER": "0x00010400",
            "OACS": "0x0017", "ELPE": 63, "SANICAP": "0x00000003", "KAS": 1, "HCTMA": 1, "PELS": 2,
            "ONCS": "0x0040", "VWC": 1, "SUBNQN": "nqn.x",
            "PSD": [{"MP": 900}, {"MP": 500, "NOPS": 1, "ENLAT": 100, "EXLAT": 200, "APS": 2, "APW": 5}]},
        "namespaces": [{"nsid": 1, "identify namespace": {"NSZE": 1000, "FLBAS": 1,
            "LBAF": [{"LBADS": 9}, {"MS": 8, "LBADS": 12, "RP": 1}]}}]
    }]})",
                                                   "test.json");
    ASSERT_EQ(profile.drives.size(), 1u);
    const auto& drive = profile.drives[0];
    EXPECT_EQ(drive.controller, 3u);
    const Bytes& c = drive.identify_controller;
    ASSERT_EQ(c.size(), 4096u);
    const struct {
        size_t offset;
        size_t length;
        const char* hex;
    } fields[] = {
        {4, 3, "533120"},                                // SN, space padded
        {262, 2, "3f01"},                                // ELPE, NPSS from the descriptor count
        {320, 4, "01000100"},                            // KAS, HCTMA
        {768, 6, "6e716e2e7800"},                        // SUBNQN, NUL padded
        {2080, 16, "f401000264000000c800000000000000"},  // PSD1 MP, NOPS, ENLAT, EXLAT
        {2102, 1, "85"},                                 // PSD1 APW, APS
    };
    for (const auto& f : fields) {
        EXPECT_EQ(Hex(c, f.offset, f.length), f.hex) << "offset " << f.offset;
    }
    ASSERT_EQ(drive.namespaces.size(), 1u);
    const Bytes& n = drive.namespaces[0].identify;
    EXPECT_EQ(Hex(n, 0, 8), "e803000000000000");
    EXPECT_EQ(Hex(n, 25, 2), "0101");  // NLBAF from the format count, FLBAS
    EXPECT_EQ(Hex(n, 128, 8), "0000090008000c01");
    // 1000 blocks of 4096 bytes in 512-byte sectors.
    EXPECT_EQ(drive.namespaces[0].sectors, 8000u);
    EXPECT_EQ(drive.Sanicap(), 3u);
    EXPECT_EQ(drive.IdentifyText(24, 40), "Model X");
}

// The pages and feature buffers a profile describes by name reach nvme-cli
// field by field (tests/nvme_cli_crosscheck_test.cpp); here, the layouts that
// are built rather than written: the event chain after the log header.
TEST(SimulatorProfile, PersistentEventLogChainsEventsAfterTheHeader) {
    const auto profile = brantix_sim::ParseProfile(R"({"drives": [{"log pages": {"0D": {
        "PCC": 5, "SEB": "0201",
        "events": [
            {"ETYPE": 5, "CNTLID": 2, "EVTTS": "0x010203040506", "fields": {"HEC": 1, "ADHEI": "0900"}},
            {"ETYPE": 222, "vendor": "aabb", "data": "0102"}
        ]}}}]})",
                                                   "test.json");
    const Bytes& pel = profile.drives[0].logs.at(0x0D);
    // The hardware error data: code, two reserved bytes, the two bytes given.
    ASSERT_EQ(pel.size(), 512u + (24 + 6) + (24 + 2 + 2));
    EXPECT_EQ(Hex(pel, 4, 4), "02000000");          // TNEV
    EXPECT_EQ(Hex(pel, 8, 8), "3a02000000000000");  // TLL = 570
    // First event: type, header length 21, controller, timestamp, lengths.
    EXPECT_EQ(Hex(pel, 512, 24), "050015000200060504030201000000000000000000000600");
    EXPECT_EQ(Hex(pel, 536, 6), "010000000900");
    // Second event: vendor specific information before the data.
    EXPECT_EQ(Hex(pel, 542, 3), "de0015");
    EXPECT_EQ(Hex(pel, 562, 8), "02000400aabb0102");
}

TEST(SimulatorProfile, ProfileMistakesNameTheirPlace) {
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {R"({"drives": [{"identify controller": {"VID": 1, "MODEL": "x"}}]})",
         "test.json: drives[0].identify controller: unknown field \"MODEL\""},
        {R"({"drives": [{"namespaces": [{"identify namespace": {"LBAF": [{"LBADS": 300}]}}]}]})",
         "test.json: drives[0].namespaces[0].identify namespace.LBAF[0].LBADS: value does not fit in 8 bits"},
        {R"({"drives": [{"log pages": {"C0": {"x": 1}}}]})",
         "test.json: drives[0].log pages.C0: log page without a layout here; give its bytes as \"data\""},
        {R"({"drives": [{"sanitize": {"outcome": "sideways"}}]})",
         "test.json: drives[0].sanitize.outcome: unknown outcome \"sideways\""},
        {R"({"drives": [{"log pages": {"0D": {"events": [{"ETYPE": 4, "fields": {"X": 1}}]}}}]})",
         "test.json: drives[0].log pages.0D.events[0]: event type has no named fields; use \"data\""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ProfileError(c.text), c.message) << c.text;
    }
}

TEST(SimulatorProfile, FaultTexts) {
    std::vector<brantix_sim::Fault> faults;
    int open_error = 0;
    int vanish = -1;
    brantix_sim::ParseFaults("opcode=0x02,log=0x0d,after=2,errno=5;open=13;opcode=6,status=0x4002;vanish=7",
                             faults, open_error, vanish);
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0].Key(), "2/13/-1/2/5/0");
    EXPECT_EQ(faults[1].Key(), "6/-1/-1/0/0/16386");
    EXPECT_EQ(open_error, 13);
    EXPECT_EQ(vanish, 7);
    const struct {
        const char* text;
        const char* message;
    } bad[] = {
        {"opcode=2", "fault \"opcode=2\": give exactly one of errno and status"},
        {"log=2,errno=5", "fault \"log=2,errno=5\": a command fault needs an opcode"},
        {"opcode=2,when=5", "fault \"opcode=2,when=5\": unknown key \"when\""},
    };
    for (const auto& c : bad) {
        try {
            brantix_sim::ParseFaults(c.text, faults, open_error, vanish);
            ADD_FAILURE() << "no error for " << c.text;
        } catch (const brantix_sim::ProfileError& error) {
            EXPECT_EQ(std::string(error.what()), c.message);
        }
    }
}

TEST(SimulatorProfile, EveryShippedProfileLoads) {
    const std::vector<std::pair<std::string, size_t>> profiles = {
        {"plain-1.2.1", 1}, {"rich-1.4", 1},  {"old-1.1", 1}, {"dual-namespace", 2},
        {"faulty", 1},      {"no-drives", 0}, {"demo", 1},
    };
    for (const auto& [name, drives] : profiles) {
        const std::string path = std::string(BRANTIX_SIM_PROFILES) + "/" + name + ".json";
        try {
            EXPECT_EQ(brantix_sim::LoadProfile(path).drives.size(), drives) << name;
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
    }
    // The demo profile stands for the rich one.
    const auto demo = brantix_sim::LoadProfile(std::string(BRANTIX_SIM_PROFILES) + "/demo.json");
    const auto rich = brantix_sim::LoadProfile(std::string(BRANTIX_SIM_PROFILES) + "/rich-1.4.json");
    EXPECT_EQ(demo.text, rich.text);
}

}  // namespace
