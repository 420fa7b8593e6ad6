// The admin command block and the records kept for every command sent.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <vector>

#include "nvme_admin_command.h"
#include "orka.h"
#include "support/simulator.h"

namespace {

using Block = std::array<unsigned char, 72>;

void PutLe(Block& block, size_t offset, uint64_t value, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) {
        block[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

struct BuildCase {
    const char* label;
    unsigned short opcode;
    unsigned int nsid;
    unsigned int cdw[6];
    bool with_buffer;
    unsigned int data_len;
    unsigned char expected_opcode;
};

TEST(AdminCommandBlock, OnlyTheCommandFieldsAreSetAtTheirOffsets) {
    static unsigned char buffer[4096];
    const BuildCase cases[] = {
        {"self-test, no buffer", 0x14, 0xFFFFFFFF, {1, 0, 0, 0, 0, 0}, false, 0, 0x14},
        {"every dword distinct",
         0x0A,
         1,
         {0x11111111, 0x22222222, 0x33333333, 0x44444444, 0x55555555, 0xFFFFFFFF},
         true,
         7,
         0x0A},
        {"only the opcode's low byte", 0x1C4, 2, {0, 0, 0, 0, 0, 0}, false, 0, 0xC4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        unsigned char* data = c.with_buffer ? buffer : nullptr;

        Block expected{};
        expected[0] = c.expected_opcode;
        PutLe(expected, 4, c.nsid, 4);
        PutLe(expected, 24, static_cast<uint64_t>(reinterpret_cast<uintptr_t>(data)), 8);
        PutLe(expected, 36, c.data_len, 4);
        for (size_t i = 0; i < 6; ++i) {
            PutLe(expected, 40 + 4 * i, c.cdw[i], 4);
        }

        nvme_admin_cmd cmd;
        std::memset(&cmd, 0xA5, sizeof(cmd));  // what the block held before must not survive
        orka::BuildAdminCommand(cmd, c.opcode, c.nsid, c.cdw[0], c.cdw[1], c.cdw[2], c.cdw[3], c.cdw[4],
                                c.cdw[5], data, c.data_len);
        ASSERT_EQ(sizeof(cmd), expected.size());
        Block actual;
        std::memcpy(actual.data(), &cmd, actual.size());
        for (size_t offset = 0; offset < actual.size(); ++offset) {
            EXPECT_EQ(actual[offset], expected[offset]) << "byte " << offset;
        }
    }
}

// Against the drive simulator.

struct TraceLine {
    std::string tag;       // "" for info and debug, else the five-column severity
    std::string function;  // origin function for tagged lines
    std::string message;
};

class SimulatedAdminCommand : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = testing_support::MakeTempDir("admin");
        orka::TRACELOG_NAME = (dir_ / "start.trace.log").string();
        orka::InitTraceLog();
    }
    void TearDown() override {
        Close();
        testing_support::StopSimulation();
        orka::SetLogSeverity(orka::Severity::info);
        std::filesystem::remove_all(dir_);
    }

    void Close() {
        if (fd_ > 0) {
            orka::CloseNvmeId(fd_);
        }
        fd_ = -1;
    }

    // Closes the drive opened before, opens drive 0 of the profile and starts
    // a fresh trace file at `severity`.
    void Open(const std::string& faults, orka::Severity severity) {
        Close();
        testing_support::UseProfile("plain-1.2.1", faults);
        fd_ = orka::GetNvmeId("/dev/nvme0", false);
        trace_ = (dir_ / ("run" + std::to_string(++runs_) + ".trace.log")).string();
        orka::SwitchTraceLogFile(trace_);
        orka::SetLogSeverity(severity);
    }

    std::vector<TraceLine> Trace() const {
        static const std::regex layout(
            R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]  (?:(FATAL|ERROR|WARN |VERB ) \[([^@\]]*)@\d+\] )?(.*))");
        std::vector<TraceLine> lines;
        std::ifstream in(trace_);
        for (std::string text; std::getline(in, text);) {
            std::smatch match;
            EXPECT_TRUE(std::regex_match(text, match, layout)) << text;
            lines.push_back({match[1], match[2], match[3]});
        }
        return lines;
    }

    std::filesystem::path dir_;
    std::string trace_;
    int runs_ = 0;
    orka::NVME_ID fd_ = -1;
};

// The time text as the trace line prints the record's single-precision value.
std::string TimeText(const Json::Value& record) {
    std::ostringstream out;
    out << static_cast<float>(record["time in ms"].asDouble());
    return out.str();
}

TEST_F(SimulatedAdminCommand, RecordsAndTraceLinesForEachOutcome) {
    const unsigned int untouched = 0xDEADBEEF;
    const struct {
        const char* label;
        const char* faults;
        bool allowed;
        int rc;
        unsigned int result;
        int ioctl_return;
        const char* failure;  // errno text of a failed ioctl, or null
    } cases[] = {
        // Get Features, Number of Queues: completion dword 0 comes from the profile.
        {"success", "", false, 0, 0x003F003F, 0, nullptr},
        // A command the controller rejects fails with its status; dword 0 is not copied.
        {"nvme status", "opcode=0x0a,feature=0x07,status=0x4002", false, 0x4002, untouched, 0x4002, nullptr},
        {"nvme status, allowed", "opcode=0x0a,feature=0x07,status=0x4109", true, 0x4109, untouched, 0x4109,
         nullptr},
        {"errno, allowed", "opcode=0x0a,feature=0x07,errno=5", true, 5, untouched, -1, "Input/output error"},
        {"errno, not allowed", "opcode=0x0a,feature=0x07,errno=22", false, 22, untouched, -1,
         "Invalid argument"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        Open(c.faults, orka::Severity::verbose);
        Json::Value commands(Json::arrayValue);
        Json::Value more(Json::arrayValue);
        more.append("earlier");
        unsigned int result = untouched;
        EXPECT_EQ(orka::NvmeAdminCommand(fd_, "Number of Queues", commands, more, 0x0A, 1, 7, 0, 0, 0, 0, 0,
                                         nullptr, &result, 0, c.allowed),
                  c.rc);
        EXPECT_EQ(result, c.result);

        const auto journal = testing_support::Journal();
        ASSERT_EQ(journal.size(), 1u);
        EXPECT_EQ(journal[0]["opcode"].asString() + " " + journal[0]["nsid"].asString() + " " +
                      journal[0]["cdw10"].asString() + " " + journal[0]["data_len"].asString(),
                  "10 1 7 0");
        EXPECT_EQ(journal[0]["return"].asInt(), c.ioctl_return);

        ASSERT_EQ(commands.size(), 1u);
        ASSERT_EQ(more.size(), 2u);
        EXPECT_EQ(more[0].asString(), "earlier");
        const Json::Value& record = commands[0];
        EXPECT_EQ(more[1], record);
        const std::vector<std::string> keys = {"admin command", "allowed",    "bytes returned", "nvme status",
                                               "return code",   "time in ms", "timestamp"};
        EXPECT_EQ(record.getMemberNames(), keys);
        Json::Value fixed = record;
        fixed.removeMember("time in ms");
        fixed.removeMember("timestamp");
        EXPECT_EQ(fixed,
                  testing_support::ParseJson("{\"admin command\": \"Number of Queues\", \"allowed\": " +
                                             std::string(c.allowed ? "true" : "false") +
                                             ", \"bytes returned\": \"N/A\", \"nvme status\": " +
                                             std::to_string(c.ioctl_return > 0 ? c.ioctl_return : 0) +
                                             ", \"return code\": " + std::to_string(c.rc) + "}"));
        EXPECT_TRUE(record["time in ms"].isDouble());
        EXPECT_TRUE(std::regex_match(record["timestamp"].asString(),
                                     std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}( DST)?)")))
            << record["timestamp"].asString();

        std::vector<std::string> sent = {
            "Running NVMe Admin Number of Queues command using "
            "ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd)",
            "cmd.opcode = 10",
            "cmd.nsid = 1",
            "cmd.addr = (address of buffer)",
            "cmd.data_len = 0",
            "cdw10 = 7",
            "cdw11 = 0",
            "file_descriptor = " + std::to_string(fd_),
        };
        const auto lines = Trace();
        ASSERT_EQ(lines.size(), sent.size() + 1);
        for (size_t i = 0; i < sent.size(); ++i) {
            EXPECT_EQ(lines[i].tag, "VERB ");
            EXPECT_EQ(lines[i].function, "LINUX_ADMIN_COMMAND");
            EXPECT_EQ(lines[i].message, sent[i]);
        }
        const TraceLine& outcome = lines.back();
        if (c.ioctl_return == 0) {
            EXPECT_EQ(outcome.tag, "VERB ");
            EXPECT_EQ(outcome.message, "Number of Queues read in " + TimeText(record) + " mS");
        } else if (c.ioctl_return > 0) {
            EXPECT_EQ(outcome.tag, c.allowed ? "" : "ERROR");
            EXPECT_EQ(outcome.message, c.ioctl_return == 0x4002
                                           ? " FAILED Number of Queues completed with NVMe status 0x4002 "
                                             "(Invalid Field in Command)"
                                           : " FAILED Number of Queues completed with NVMe status 0x4109 "
                                             "(Unknown status)");
        } else {
            // Debug lines carry no severity tag; error lines do.
            EXPECT_EQ(outcome.tag, c.allowed ? "" : "ERROR");
            EXPECT_EQ(
                outcome.message,
                " FAILED Number of Queues ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd) failed with code " +
                    std::to_string(c.rc) + " '" + c.failure + "'. Completed in " + TimeText(record) + " mS");
        }
    }
}

TEST_F(SimulatedAdminCommand, AllowedFailureIsHiddenAtInfoAndAnErrorIsNot) {
    const struct {
        bool allowed;
        size_t lines;
    } cases[] = {{true, 0}, {false, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.allowed);
        Open("opcode=0x0a,errno=5", orka::Severity::info);
        Json::Value commands(Json::arrayValue);
        Json::Value none;
        EXPECT_EQ(orka::NvmeAdminCommand(fd_, "Arbitration", commands, none, 0x0A, 1, 1, 0, 0, 0, 0, 0,
                                         nullptr, nullptr, 0, c.allowed),
                  5);
        const auto lines = Trace();
        ASSERT_EQ(lines.size(), c.lines);
        if (c.lines == 1) {
            EXPECT_EQ(lines[0].tag, "ERROR");
        }
    }
}

TEST_F(SimulatedAdminCommand, RecordsGoOnlyToListsThatAreKept) {
    const struct {
        const char* label;
        bool commands_kept;
        bool more_kept;
    } cases[] = {
        {"only commands", true, false},
        {"only more", false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        Open("", orka::Severity::verbose);
        Json::Value commands = c.commands_kept ? Json::Value(Json::arrayValue) : Json::Value();
        Json::Value more = c.more_kept ? Json::Value(Json::arrayValue) : Json::Value();
        unsigned char data[4096] = {};
        EXPECT_EQ(orka::NvmeAdminCommand(fd_, "Identify Controller", commands, more, 0x06, 0, 1, 0, 0, 0, 0,
                                         0, data, nullptr, sizeof(data), false),
                  0);
        // The command went out and came back whatever lists were kept.
        EXPECT_EQ(testing_support::Journal().size(), 1u);
        const std::string model(reinterpret_cast<const char*>(data) + 24, 40);
        EXPECT_EQ(model, "Brantix Sim Plain 1TB" + std::string(19, ' '));
        EXPECT_EQ(Trace().back().message.rfind("Identify Controller read in ", 0), 0u);

        EXPECT_EQ(commands.isNull(), !c.commands_kept);
        EXPECT_EQ(commands.size(), c.commands_kept ? 1u : 0u);
        EXPECT_EQ(more.size(), c.more_kept ? 1u : 0u);
    }
}

TEST_F(SimulatedAdminCommand, ListThatIsNeitherNullNorAnArrayFailsWithTheOrigin) {
    Open("", orka::Severity::info);
    Json::Value text("not a list");
    Json::Value none;
    try {
        orka::NvmeAdminCommand(fd_, "Identify Controller", text, none, 0x06, 0, 1, 0, 0, 0, 0, 0, nullptr,
                               nullptr, 0, false);
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::regex_match(
            error.what(), std::regex("in Json::Value::append: requires arrayValue\n"
                                     " @ LINUX_ADMIN_COMMAND source/orka/source/nvme_admin_command [0-9]+")))
            << error.what();
    }
    EXPECT_EQ(text.asString(), "not a list");
    EXPECT_EQ(testing_support::Journal().size(), 1u);
}

}  // namespace
