// The admin command block and the records and trace lines kept for every command sent.
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "nvme_admin_command.h"
#include "orka.h"
#include "support/simulator.h"

namespace {

class SimulatedAdminCommand : public ::testing::Test {
  protected:
    void SetUp() override {
        orka::TRACELOG_NAME = folder_.Path("start.trace.log");
        orka::InitTraceLog();
    }
    void TearDown() override {
        if (fd_ > 0) {
            orka::CloseNvmeId(fd_);
        }
        fd_ = -1;
        testing_support::StopSimulation();
        orka::SetLogSeverity(orka::Severity::info);
    }

    // Opens drive 0 of the plain profile (closing the one before) and starts
    // a fresh trace file at verbose.
    void Open(const std::string& faults) {
        TearDown();
        testing_support::UseProfile("plain-1.2.1", faults);
        fd_ = orka::GetNvmeId("/dev/nvme0", false);
        orka::SwitchTraceLogFile(trace_);
        orka::SetLogSeverity(orka::Severity::verbose);
    }

    testing_support::TempFolder folder_{"admin"};
    const std::string trace_ = folder_.Path("run.trace.log");
    orka::NVME_ID fd_ = -1;
};

TEST_F(SimulatedAdminCommand, RecordsAndTraceLinesForEachOutcome) {
    const unsigned int untouched = 0xDEADBEEF;
    const std::string verbose = "<stamp>  VERB  [LINUX_ADMIN_COMMAND@<line>] ";
    const std::string error = "<stamp>  ERROR [LINUX_ADMIN_COMMAND@<line>] ";
    const std::string status = " FAILED Number of Queues completed with NVMe status ";
    const std::string ioctl =
        " FAILED Number of Queues ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd) failed with code ";
    const struct {
        const char* faults;
        bool allowed;
        int rc;
        int nvme_status;
        unsigned int result;
        std::string outcome;        // the last trace line; "<ms>" stands for the time taken
        bool commands_kept = true;  // the first list; the second always is
    } cases[] = {
        // Get Features, Number of Queues: completion dword 0 comes from the profile.
        {"", false, 0, 0, 0x003F003F, verbose + "Number of Queues read in <ms> mS"},
        // A command the controller rejects fails with its status; dword 0 is not copied.
        {"opcode=0x0a,feature=0x07,status=0x4002", false, 0x4002, 0x4002, untouched,
         error + status + "0x4002 (Invalid Field in Command)"},
        // Allowed failures are debug lines, which carry no severity tag.
        {"opcode=0x0a,feature=0x07,status=0x4109", true, 0x4109, 0x4109, untouched,
         "<stamp>  " + status + "0x4109 (Invalid Log Page)"},
        {"opcode=0x0a,feature=0x07,errno=5", true, 5, 0, untouched,
         "<stamp>  " + ioctl + "5 'Input/output error'. Completed in <ms> mS"},
        {"opcode=0x0a,feature=0x07,errno=22", false, 22, 0, untouched,
         error + ioctl + "22 'Invalid argument'. Completed in <ms> mS", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.faults);
        Open(c.faults);
        Json::Value commands = c.commands_kept ? Json::Value(Json::arrayValue) : Json::Value();
        Json::Value more(Json::arrayValue);
        unsigned int result = untouched;
        EXPECT_EQ(orka::NvmeAdminCommand(fd_, "Number of Queues", commands, more, 0x0A, 1, 7, 11, 12, 13, 14,
                                         15, nullptr, &result, 0, c.allowed),
                  c.rc);
        EXPECT_EQ(result, c.result);
        const auto journal = testing_support::Journal();
        ASSERT_EQ(journal.size(), 1u);
        std::string sent;  // every field of the block reached the drive
        for (const char* key : {"opcode", "nsid", "cdw10", "cdw11", "cdw12", "cdw13", "cdw14", "cdw15"}) {
            sent += journal[0][key].asString() + " ";
        }
        EXPECT_EQ(sent + journal[0]["data_len"].asString(), "10 1 7 11 12 13 14 15 0");

        // The record goes to each list that is kept; a null list stays null.
        EXPECT_EQ(commands.isNull(), !c.commands_kept);
        ASSERT_EQ(commands.size() + more.size(), c.commands_kept + 1u);
        const Json::Value record = more[0];
        ASSERT_TRUE(record["time in ms"].isDouble());
        Json::Value expected = testing_support::ParseJson(
            "{\"admin command\": \"Number of Queues\", \"bytes returned\": \"N/A\", \"nvme status\": " +
            std::to_string(c.nvme_status) + ", \"return code\": " + std::to_string(c.rc) + "}");
        expected["allowed"] = c.allowed;
        expected["time in ms"] = record["time in ms"];
        expected["timestamp"] = record["timestamp"];
        EXPECT_EQ(record, expected);
        if (c.commands_kept) {
            EXPECT_EQ(commands[0], record);
        }

        std::ostringstream ms;
        ms << static_cast<float>(record["time in ms"].asDouble());
        EXPECT_EQ(testing_support::TraceLines(trace_),
                  (std::vector<std::string>{
                      verbose + "Running NVMe Admin Number of Queues command using "
                                "ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd)",
                      verbose + "cmd.opcode = 10",
                      verbose + "cmd.nsid = 1",
                      verbose + "cmd.addr = (address of buffer)",
                      verbose + "cmd.data_len = 0",
                      verbose + "cdw10 = 7",
                      verbose + "cdw11 = 11",
                      verbose + "file_descriptor = " + std::to_string(fd_),
                      std::regex_replace(c.outcome, std::regex("<ms>"), ms.str()),
                  }));
    }
}

// A first list that cannot take the record ends the command with the error and where it was raised.
TEST_F(SimulatedAdminCommand, AListThatIsNoListThrowsWithItsOrigin) {
    Open("");
    Json::Value commands = "not a list";
    Json::Value more(Json::arrayValue);
    try {
        orka::NvmeAdminCommand(fd_, "Number of Queues", commands, more, 0x0A, 1, 7, 0, 0, 0, 0, 0, nullptr,
                               nullptr, 0, false);
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::regex_match(error.what(), std::regex("in Json::Value::append: requires arrayValue\n "
                                                              "@ LINUX_ADMIN_COMMAND source/orka/source/"
                                                              "nvme_admin_command \\d+")))
            << error.what();
    }
}

}  // namespace
