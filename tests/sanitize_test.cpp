// The sanitize command type end to end: the real binary against the
// simulated demo drive, its summary checked against the drive's journal.
#include <gtest/gtest.h>

#include "support/operation_run.h"

namespace {

using testing_support::OperationCase;

struct SanitizeCase {
    OperationCase run;
    int exit_code;
    std::string message;
    std::string sanitizes;       // cdw10 of every Sanitize command sent
    int final_status;            // "return code" of the details; -1: none
    std::string status_message;  // a message some report must carry; empty: none
};

const std::string EVERY_SECOND = R"({"display sample interval in sec": 1})";

const SanitizeCase CASES[] = {
    {{"block", "sanitize-block", EVERY_SECOND, "", ""}, 0, " SANITIZE PASSED", "2", 1, ""},
    {{"overwrite", "sanitize-overwrite", EVERY_SECOND, "", ""}, 0, " SANITIZE PASSED", "3", 1, ""},
    {{"crypto", "sanitize-crypto", EVERY_SECOND, "", ""}, 0, " SANITIZE PASSED", "4", 1, ""},
    {{"no block erase", "sanitize-block", "", R"({"identify controller": {"SANICAP": "0x5"}})", ""},
     40,
     "Device does NOT support block erase",
     "",
     -1,
     ""},
    {{"no crypto erase", "sanitize-crypto", "", R"({"identify controller": {"SANICAP": "0x6"}})", ""},
     41,
     "Device does NOT support crypto erase",
     "",
     -1,
     ""},
    {{"no overwrite", "sanitize-overwrite", "", R"({"identify controller": {"SANICAP": "0x3"}})", ""},
     42,
     "Device does NOT support overwrite",
     "",
     -1,
     ""},
    {{"start rejected", "sanitize-block", "", "", "opcode=0x84,status=0x4002"},
     43,
     "Sanitize did NOT start",
     "2",
     -1,
     ""},
    {{"ends failed", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"outcome": "failed"}})", ""},
     44,
     " SANITIZE FAILED",
     "2",
     3,
     "Sanitize ended with status Failed (3)"},
    {{"no-deallocate", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"outcome": "no-deallocate"}})", ""},
     0,
     " SANITIZE PASSED",
     "2",
     4,
     ""},
    {{"progress backwards", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"outcome": "restarts"}})", ""},
     44,
     " SANITIZE FAILED",
     "2",
     1,
     "Progress must increase.  Last progress: 100 Current progress: 0"},
    {{"mounted namespace", "sanitize-block", "", R"({"mounts": [{"device": "nvme0n1", "on": "/data"}]})", ""},
     43,
     "Sanitize did NOT start: /dev/nvme0n1 is mounted on /data",
     "",
     -1,
     ""},
    {{"mounted partition", "sanitize-crypto", "",
      R"({"mounts": [{"device": "nvme0n1p2", "on": "/srv/my disk", "type": "xfs"}]})", ""},
     43,
     "Sanitize did NOT start: /dev/nvme0n1p2 is mounted on /srv/my disk",
     "",
     -1,
     ""},
    {{"mapped partition", "sanitize-block", "",
      R"({"mounts": [{"device": "nvme0n1p3", "on": "/", "via": "dm-0"}]})", ""},
     43,
     "Sanitize did NOT start: /dev/dm-0 on /dev/nvme0n1p3 is mounted on /",
     "",
     -1,
     ""},
    {{"swap partition", "sanitize-overwrite", "", R"({"swaps": ["nvme0n1p3"]})", ""},
     43,
     "Sanitize did NOT start: /dev/nvme0n1p3 is an active swap area",
     "",
     -1,
     ""},
};

bool AnyReportSays(const Json::Value& reports, const std::string& message) {
    for (const auto& report : reports) {
        if (report["message"].asString().find(message) != std::string::npos) {
            return true;
        }
    }
    return false;
}

TEST(SanitizeCommand, FollowsTheOperationToItsVerdict) {
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.run.name);
        const auto run = testing_support::RunOperation(c.run);
        const auto journal = run.Journal();
        ASSERT_EQ(run.exit_code, c.exit_code) << run.console;
        const Json::Value summary = testing_support::ParseJson(run.Read("out/sanitize.summary.json"));
        EXPECT_EQ(summary["_cmd"]["return code"].asInt(), c.exit_code);
        EXPECT_EQ(summary["_cmd"]["result"].asString(), c.exit_code == 0 ? "PASS" : "FAIL");
        EXPECT_EQ(summary["_cmd"]["message"].asString(), c.message);
        EXPECT_EQ(testing_support::Cdw10List(journal, 0x84), c.sanitizes);
        testing_support::ExpectCommandTimesMatchJournal(summary, journal);
        const Json::Value& details = summary["sanitize details"];
        if (!c.status_message.empty()) {
            EXPECT_TRUE(AnyReportSays(details["status"], c.status_message)) << details["status"];
        }
        if (c.final_status < 0) {
            continue;
        }
        // A report per read of the status log at a one-second interval; the
        // last one carries the final status and the action that ran.
        const Json::Value& reports = details["status"];
        ASSERT_EQ(reports.size(), testing_support::LogReads(journal, 0x81));
        const Json::Value& last = reports[reports.size() - 1];
        EXPECT_EQ(details["return code"].asInt(), c.final_status);
        EXPECT_EQ(last["status"].asInt(), c.final_status);
        EXPECT_EQ(last["sanitize command"].asString(), "0x0000000" + c.sanitizes);
        EXPECT_EQ(last["Composite Temperature"].asString(), "45 C");
    }
}

TEST(SanitizeCommand, UnknownTypeIsAUsageError) {
    const auto run =
        testing_support::RunOperation({"zap", "sanitize-block", R"({"sanitize type": "zap"})", "", ""});
    EXPECT_EQ(run.exit_code, 16);
    EXPECT_NE(run.console.find("\nUnsupported sanitize type: zap\n"), std::string::npos) << run.console;
    EXPECT_EQ(run.Journal().size(), 0u);
}

TEST(SanitizeCommand, CtrlCEndsTheMonitoringButNotTheSanitize) {
    const OperationCase c{"ctrl-c", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"polls": 3000}})", ""};
    const auto run = testing_support::RunOperation(c, 0x84);
    ASSERT_EQ(run.exit_code, 44) << run.console;
    const auto journal = run.Journal();
    const Json::Value summary = testing_support::ParseJson(run.Read("out/sanitize.summary.json"));
    EXPECT_EQ(summary["_cmd"]["message"].asString(),
              "Sanitize monitoring was interrupted; the drive goes on sanitizing");
    testing_support::ExpectCommandTimesMatchJournal(summary, journal);
    EXPECT_EQ(testing_support::Cdw10List(journal, 0x84), "2");
    const Json::Value& reports = summary["sanitize details"]["status"];
    ASSERT_EQ(reports.size(), testing_support::LogReads(journal, 0x81));
    EXPECT_EQ(reports[reports.size() - 1]["status"].asInt(), 2);
}

}  // namespace
