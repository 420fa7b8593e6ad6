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
        {R"({"W128": "18446744073709551616"})", 8, 16, "00000000000000000100000000000000"},
        {R"({"W128": "0xffffffffffffffffffffffffffffffff"})", 8, 16, "ffffffffffffffffffffffffffffffff"},
        {R"({"TEXT": "AB"})", 24, 6, "414220202020"},
        {R"({"NQN": "AB"})", 30, 6, "414200000000"},
        {R"({"RAW": "0a0b"})", 36, 4, "0a0b0000"},
        {R"({"LOW": 5, "HIGH": 2})", 40, 1, "85"},
        {R"({"HIGH": 3, "LOW": 7})", 40, 1, "c7"},
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
        {R"({"BITS": 4})", "t.BITS: value does not fit in 2 bits"},
        {R"({"TEXT": "ABC"})", "t.TEXT: longer than 2 characters"},
        {R"({"W8": "12z"})", "t.W8: expected a number, got \"12z\""},
        {R"({"W8": "0x"})", "t.W8: expected a number, got \"0x\""},
        {R"({"W8": [1]})", "t.W8: expected a number"},
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
        {0, 2, "4d14"},                                  // VID
        {4, 3, "533120"},                                // SN, space padded
        {24, 8, "4d6f64656c205820"},                     // MN
        {64, 4, "46573120"},                             // FR
        {80, 4, "00040100"},                             // VER
        {256, 2, "1700"},                                // OACS
        {262, 2, "3f01"},                                // ELPE, NPSS from the descriptor count
        {320, 4, "01000100"},                            // KAS, HCTMA
        {328, 4, "03000000"},                            // SANICAP
        {352, 4, "02000000"},                            // PELS
        {520, 2, "4000"},                                // ONCS
        {525, 1, "01"},                                  // VWC
        {768, 6, "6e716e2e7800"},                        // SUBNQN, NUL padded
        {2048, 4, "84030000"},                           // PSD0 MP
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

TEST(SimulatorProfile, LogPagesAtTheStandardOffsets) {
    const auto profile = brantix_sim::ParseProfile(R"({"drives": [{"log pages": {
        "01": {"entries": [{"ERRCNT": 2, "STS": "0x4004", "NS": 1}, {"ERRCNT": 1, "TTSI": 7}]},
        "02": {"CTEMP": 310, "DUR": "18446744073709551617", "TSEN3": 300, "TTTMT2": 9},
        "05": {"ACS": {"0x06": 1}, "IOCS": {"0x02": "0x3"}},
        "06": {"CDSTO": 0, "entries": [{"STC": 2, "RESULT": 7, "SEGN": 4, "POH": 10}]},
        "81": {"SPROG": "0xffff", "SSTAT": "0x0101", "ETCE": 5},
        "07": {"DA1LB": 1, "DA2LB": 2, "DA3LB": 3, "TCIDA": 1}
    }}]})",
                                                   "test.json");
    const auto& logs = profile.drives[0].logs;
    EXPECT_EQ(logs.at(0x01).size(), 16384u);
    EXPECT_EQ(Hex(logs.at(0x01), 0, 14), "0200000000000000000000000440");
    EXPECT_EQ(Hex(logs.at(0x01), 24, 4), "01000000");
    EXPECT_EQ(Hex(logs.at(0x01), 64, 1), "01");
    EXPECT_EQ(Hex(logs.at(0x01), 104, 2), "0700");
    EXPECT_EQ(Hex(logs.at(0x02), 1, 2), "3601");
    EXPECT_EQ(Hex(logs.at(0x02), 32, 16), "01000000000000000100000000000000");
    EXPECT_EQ(Hex(logs.at(0x02), 204, 2), "2c01");
    EXPECT_EQ(Hex(logs.at(0x02), 228, 4), "09000000");
    EXPECT_EQ(Hex(logs.at(0x05), 24, 4), "01000000");
    EXPECT_EQ(Hex(logs.at(0x05), 1032, 4), "03000000");
    const Bytes& selftest = logs.at(0x06);
    EXPECT_EQ(selftest.size(), 564u);
    EXPECT_EQ(Hex(selftest, 4, 2), "2704");
    EXPECT_EQ(Hex(selftest, 8, 8), "0a00000000000000");
    // Entries the profile leaves out are marked unused (result Fh).
    EXPECT_EQ(Hex(selftest, 32, 1), "0f");
    EXPECT_EQ(Hex(selftest, 4 + 19 * 28, 1), "0f");
    EXPECT_EQ(Hex(logs.at(0x81), 0, 4), "ffff0101");
    EXPECT_EQ(Hex(logs.at(0x81), 16, 4), "05000000");
    // Telemetry: a header block and data up to the last block of area 3.
    EXPECT_EQ(logs.at(0x07).size(), 4u * 512);
    EXPECT_EQ(Hex(logs.at(0x07), 0, 1), "07");
    EXPECT_EQ(Hex(logs.at(0x07), 8, 6), "010002000300");
    EXPECT_EQ(Hex(logs.at(0x07), 382, 1), "01");
}

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
    EXPECT_EQ(Hex(pel, 0, 1), "0d");
    EXPECT_EQ(Hex(pel, 4, 4), "02000000");           // TNEV
    EXPECT_EQ(Hex(pel, 8, 8), "3a02000000000000");   // TLL = 570
    EXPECT_EQ(Hex(pel, 18, 2), "0002");              // LHL
    EXPECT_EQ(Hex(pel, 44, 8), "0500000000000000");  // PCC
    EXPECT_EQ(Hex(pel, 480, 2), "0201");             // SEB
    // First event: type, header length 21, controller, timestamp, lengths.
    EXPECT_EQ(Hex(pel, 512, 24),
              "0500150002000605040302010000000000000000"
              "00000600");
    EXPECT_EQ(Hex(pel, 536, 6), "010000000900");
    // Second event: vendor specific information before the data.
    EXPECT_EQ(Hex(pel, 542, 3), "de0015");
    EXPECT_EQ(Hex(pel, 562, 8), "02000400aabb0102");
}

TEST(SimulatorProfile, FeaturesBuffersAndThresholds) {
    const auto profile = brantix_sim::ParseProfile(R"({"drives": [{"features": {
        "01": {"dw0": "0x03070f03"},
        "04": {"thresholds": [{"TMPSEL": 2, "THSEL": 1, "TMPTH": 263}]},
        "0C": {"dw0": 1, "entries": [{"ITPS": 3, "ITPT": 100}]},
        "0D": {"dw0": 1, "HSIZE": 8192, "HMDLEC": 4},
        "0E": {"TIMESTAMP": "0x010203040506", "TO": 1, "SYNCH": 1}
    }}]})",
                                                   "test.json");
    const auto& drive = profile.drives[0];
    EXPECT_EQ(drive.features.at(0x01).dw0, 0x03070f03u);
    EXPECT_EQ(drive.thresholds.at(0x21), 263u);
    EXPECT_EQ(drive.features.at(0x0C).buffer.size(), 256u);
    EXPECT_EQ(Hex(drive.features.at(0x0C).buffer, 0, 8), "1864000000000000");
    EXPECT_EQ(Hex(drive.features.at(0x0D).buffer, 0, 16), "00200000000000000000000004000000");
    EXPECT_EQ(Hex(drive.features.at(0x0E).buffer, 0, 8), "0605040302010300");
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
        {R"({"drives": [{"features": {"02": {"dw1": 1}}}]})",
         "test.json: drives[0].features.02: unknown field \"dw1\""},
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
        {"opcode=2,errno=5,status=1",
         "fault \"opcode=2,errno=5,status=1\": give exactly one of errno and status"},
        {"log=2,errno=5", "fault \"log=2,errno=5\": a command fault needs an opcode"},
        {"opcode=2,when=5", "fault \"opcode=2,when=5\": unknown key \"when\""},
        {"opcode", "fault \"opcode\": expected key=value, got \"opcode\""},
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
