// Log page decoders on raw byte fixtures, the transfer limit, and the reads of long pages by
// the brantix binary on a simulated drive.
#include "logpage.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "orka_nvme.h"
#include "support/byte_fixture.h"
#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::ABSENT;
using testing_support::ByteFixture;
using testing_support::Expected;
using testing_support::ExpectParameters;
using testing_support::V130;
using testing_support::V140;
using Controller = orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA;

Controller MakeController(unsigned int version, unsigned char elpe = 0, unsigned int hctma = 0,
                          unsigned char frmw = 0) {
    return ByteFixture(4096)
        .put32(80, version)
        .put8(262, elpe)
        .put16(322, hctma)
        .put8(260, frmw)
        .as<Controller>();
}

struct Decoded {
    Json::Value info;
    unsigned int highest = 0;
};

Decoded Decode(orka::LogPageDecoder decoder, const ByteFixture& page, const Controller& controller) {
    orka::ExpandParameterCatalogue();
    Decoded out;
    EXPECT_EQ(decoder(out.info, page.data(), page.size(), controller, out.highest), 0);
    return out;
}

TEST(LogPageDecoders, EveryDecoderStaysInsideAShortPage) {
    const orka::LogPageDecoder decoders[] = {orka::ConvertLogPage1, orka::ConvertLogPage2,
                                             orka::ConvertLogPage3, orka::ConvertLogPage5,
                                             orka::ConvertLogPage6, orka::ConvertLogPage0D};
    const Controller controller = MakeController(V140, 255, 1, 0x0E);
    for (std::size_t length : {0, 1, 63, 64, 511, 512, 536, 563}) {
        for (const auto decoder : decoders) {
            // All ones: every count and length claims the most; the sanitizer build sees any overrun.
            const ByteFixture page(length, 0xFF);
            Decode(decoder, page, controller);
        }
    }
}

TEST(LogPageDecoders, ErrorEntriesUpToElpeWithTheirNotSpecificValues) {
    ByteFixture page(4 * 64);
    page.put64(0, 5).put16(8, 0xFFFF).put16(10, 0xFFFF).put16(12, 0x4005).put16(14, 0xFFFF);
    page.put64(16, ~0ULL).put32(24, 0xFFFFFFFF).put8(28, 0x01).put8(29, 3).put64(32, 0x1122).put16(40, 3);
    page.put64(64 * 2, 7).put16(64 * 2 + 14, 0x0528).put64(64 * 2 + 16, 4096).put32(64 * 2 + 24, 1);
    page.put8(64 * 2 + 28, 0x80);
    page.put64(64 * 3, 1);  // beyond ELPE taken as a count: not visited
    const Decoded got = Decode(orka::ConvertLogPage1, page, MakeController(V130, 3));
    EXPECT_EQ(got.info["nvme"]["error log"], testing_support::ParseJson(R"([
        {"Error Count": "5", "Submission Queue ID": "Not Specific", "Command ID": "Not Specific",
         "Phase Tag": "0x1", "Status Field": "0x2002", "Bit Location": "Not Specific",
         "Byte Location": "Not Specific", "LBA": "Not Applicable", "Namespace": "Not Applicable",
         "Vendor Specific Info": "Invalid Value", "Transport Type": "TCP",
         "Command Specific Info": "0x0000000000001122", " Transport Type Info": "3"},
        {"Error Count": "7", "Submission Queue ID": "0", "Command ID": "0", "Phase Tag": "0x0",
         "Status Field": "0x0000", "Bit Location": "5", "Byte Location": "40", "LBA": "4,096", "Namespace": "1",
         "Vendor Specific Info": "0x80", "Command Specific Info": "0x0000000000000000"}])"));
    ExpectParameters(got.info, {{"Total Errors", "2"}});
    EXPECT_EQ(got.highest, V140);  // transport fields on a 1.3 drive
}

TEST(LogPageDecoders, SmartCountersSensorsThrottlingAndVersionGates) {
    ByteFixture page(512);
    page.put8(0, 0x3F).put16(1, 310).put8(3, 95).put8(5, 120);
    page.put64(32, ~0ULL).put64(40, ~0ULL);  // data units read 2^128 - 1
    page.put64(48, ~0ULL).put8(56, 1);       // data units written 2^64 + 2^64 - 1
    page.put32(192, 2).put32(196, 1).put16(204, 300).put32(224, 3600).put32(228, 1);
    const struct {
        unsigned int hctma;
        unsigned long long hours;
        std::vector<Expected> expected;
    } cases[] = {
        // clang-format off
        {1, 0, {{"EG Media in Read-only", ABSENT}, {"Data Units Read", "340,282,366,920,938,463,463,374,607,431,768,211,455"},
                {"Data Units Written", "36,893,488,147,419,103,231"}, {"Data Written TB", "18,889,465,931,478.6 TB"},
                {"Temperature Sensor 1", ABSENT}, {"Temperature Sensor 3", "27 C"},
                {"Thermal Management Temperature 1 Time", "3,600 Sec"}, {"Percent Throttled", "inf %"}}},
        {0, 10, {{"Thermal Management Temperature 1 Time", ABSENT}, {"Seconds Throttled", "180"},
                 {"Minutes Throttled", "3.0 Min"}, {"Percent Throttled", "0.0 %"}}},
        // clang-format on
    };
    for (const auto& c : cases) {
        page.put64(128, c.hours);
        const Decoded got = Decode(orka::ConvertLogPage2, page, MakeController(V130, 0, c.hctma));
        ExpectParameters(got.info, c.expected, std::to_string(c.hctma));
        EXPECT_EQ(got.highest, V140);
    }
}

TEST(LogPageDecoders, SelfTestResults) {
    // Results 0..15 in entries 1..16: 15 is unused, 5-7 fail, 7 names its segment.
    ByteFixture tests(564, 0xFF);
    for (unsigned int result = 0; result < 16; ++result) {
        tests.put8(4 + 28 * result, static_cast<std::uint8_t>(result | 0x20)).put8(4 + 28 * result + 2, 0);
    }
    const Decoded run = Decode(orka::ConvertLogPage6, tests, MakeController(V130));
    const Json::Value& entries = run.info["nvme"]["self-test log"];
    ASSERT_EQ(entries.size(), 15u);
    for (const auto& [result, text] :
         {std::pair{0, "Passed"}, {4, "Aborted"}, {7, "Failed"}, {14, "Reserved"}}) {
        EXPECT_EQ(entries[result]["Result"], text) << result;
        EXPECT_EQ(entries[result].isMember("Segment Number"), result == 7) << result;
    }
    ExpectParameters(run.info, {{"Current Self-Test Operation", "Reserved"},
                                {"Current Number Of Self-Tests", "15"},
                                {"Number Of Failed Self-Tests", "3"}});
}

// A persistent event: 24-byte header (EHL 21), then `data`; 40 bytes unless it claims otherwise.
void PutEvent(ByteFixture& page, std::size_t at, unsigned type, const std::vector<std::uint8_t>& data,
              unsigned int claimed_length = 16) {
    page.put8(at, type).put8(at + 2, 21).put16(at + 4, 7).put64(at + 6, 1000);
    page.put16(at + 22, claimed_length);
    for (std::size_t i = 0; i < data.size(); ++i) {
        page.put8(at + 24 + i, data[i]);
    }
}

TEST(LogPageDecoders, PersistentEventsStayInsideTheBytesRead) {
    ByteFixture page(512 + 3 * 40);
    page.put32(4, 1000).put64(8, 1ULL << 40);  // more events and bytes than there are
    PutEvent(page, 512, 0x0D, {0x83, 0x01, 0, 0});
    PutEvent(page, 552, 0x05, {0x0A, 0, 0, 0, 0x85});
    PutEvent(page, 592, 0x05, {0x01, 0, 0, 0, 0x09, 0, 0}, 0xFFFF);  // runs past the end
    const Decoded got = Decode(orka::ConvertLogPage0D, page, MakeController(V140));
    const Json::Value& events = got.info["nvme"]["event log"];
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0]["Details"], "Exceeded WCTEMP threshold<br>Delta: -3 C ");
    EXPECT_EQ(events[1]["Health"], "Critical");
    EXPECT_EQ(events[2]["Details"],
              "PCIe Correctable Error<br> Device Status = 0x9 : Correctable error: Unsupported request"
              "<br>PCI AER not supported");
    EXPECT_EQ(events[2]["Health"], "Suspect");
    ExpectParameters(got.info, {{"Total Events", "1000"},
                                {"Critical Persistent Events", "1"},
                                {"Suspect Persistent Events", "1"},
                                {"Miscompare Errors", "0"}});
}

// Status and AER texts of a PCIe error event whose info holds the AER registers, and of one too
// short to hold them (one without AER is in the event walk above).
TEST(LogPageDecoders, PciErrorTexts) {
    std::vector<std::uint8_t> info = {0x06, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x10, 0x44, 0x02};
    EXPECT_EQ(orka::pci_decode(info.data(), info.size(), false),
              " Device Status = 0x6 : Non-fatal error: Fatal error<br>Uncorrectable AER = 0x2441000 : "
              "Poisoned TLP error: Malformed TLP: Uncorrectable internal error: TLP prefix block error");
    info[16] = 0xC1;  // a correctable one reads the low half of the register only
    info[17] = 0xF1;
    EXPECT_EQ(
        orka::pci_decode(info.data(), info.size(), true),
        " Device Status = 0x6 : Non-fatal error: Fatal error<br>Correctable AER = 0xf1c1 : Receiver error: "
        "Bad TLP error: Bad DLLP error: Replay rollover error: Replay timer timeout: Advisory non-fatal "
        "error: Corrected Internal error: Header log overflow error");
    info[0] = 0;
    EXPECT_EQ(orka::pci_decode(info.data(), 4, false), " Device Status = 0x0 <br>Uncorrectable AER = 0x0 ");
}

TEST(LogPageReading, MaximumTransfer) {
    using Case =
        std::tuple<unsigned char, unsigned long long, unsigned long long>;  // MDTS, kernel KiB, bytes
    for (const auto& [mdts, kernel_kib, expected] :
         {Case{0, 0, 0}, Case{0, 512, 524288}, Case{5, 0, 131072}, Case{9, 1024, 1048576},
          Case{1, 1024, 8192}, Case{40, 0, 0}}) {
        EXPECT_EQ(orka::MaxTransferLength(mdts, kernel_kib), expected) << int{mdts} << " " << kernel_kib;
    }
}

// The Get Log Page commands of a journal for one log: {lsp, data length, offset}.
std::vector<std::vector<unsigned long long>> LogReads(const std::vector<Json::Value>& journal, unsigned lid) {
    std::vector<std::vector<unsigned long long>> reads;
    for (const auto& command : journal) {
        if (command["opcode"].asUInt() == 0x02 && (command["cdw10"].asUInt() & 0xFF) == lid) {
            reads.push_back({command["cdw10"].asUInt() >> 8 & 0xF, command["data_len"].asUInt(),
                             command["cdw12"].asUInt() |
                                 static_cast<unsigned long long>(command["cdw13"].asUInt()) << 32});
        }
    }
    return reads;
}

TEST(LogPageReading, LongPagesAreReadInPiecesAndTheEventLogInItsContext) {
    testing_support::RunOptions options;
    options.files["read.cmd.json"] = testing_support::CommandFile("read", {R"({"interval in ms": 0})"});
    const auto run = testing_support::RunBrantixOnProfile("rich-1.4", options);
    ASSERT_EQ(run.exit_code, 0) << run.console;
    // Telemetry host log: header, then 4200 blocks in pieces of the kernel's 1 MiB.
    const std::vector<std::vector<unsigned long long>> telemetry = {
        {0, 512, 0}, {0, 1048576, 0}, {0, 1048576, 1048576}, {0, 53248, 2097152}};
    EXPECT_EQ(LogReads(run.Journal(), 0x07), telemetry);
    EXPECT_EQ(LogReads(run.Journal(), 0x0D),
              (std::vector<std::vector<unsigned long long>>{{2, 512, 0}, {1, 65536, 0}, {2, 512, 0}}));
}

}  // namespace
