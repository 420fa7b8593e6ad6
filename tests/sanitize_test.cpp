// The sanitize command type end to end: the real binary against the
// simulated demo drive, its summary checked against the drive's journal.
#include <gtest/gtest.h>

#include "support/operation_run.h"

namespace {

const std::string EVERY_SECOND = R"({"display sample interval in sec": 1})";
const std::string NOT_STARTED = "Sanitize did NOT start";

const testing_support::OperationCase CASES[] = {
    {"block", "sanitize-block", EVERY_SECOND, "", "", 0, " SANITIZE PASSED", "2", 1, ""},
    {"overwrite", "sanitize-overwrite", EVERY_SECOND, "", "", 0, " SANITIZE PASSED", "3", 1, ""},
    {"crypto", "sanitize-crypto", EVERY_SECOND, "", "", 0, " SANITIZE PASSED", "4", 1, ""},
    {"no block erase", "sanitize-block", "", R"({"identify controller": {"SANICAP": "0x5"}})", "", 40,
     "Device does NOT support block erase", "", -1, ""},
    {"no crypto erase", "sanitize-crypto", "", R"({"identify controller": {"SANICAP": "0x6"}})", "", 41,
     "Device does NOT support crypto erase", "", -1, ""},
    {"no overwrite", "sanitize-overwrite", "", R"({"identify controller": {"SANICAP": "0x3"}})", "", 42,
     "Device does NOT support overwrite", "", -1, ""},
    {"start rejected", "sanitize-block", "", "", "opcode=0x84,status=0x4002", 43, NOT_STARTED, "2", -1, ""},
    {"ends failed", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"outcome": "failed"}})", "", 44,
     " SANITIZE FAILED", "2", 3, "Sanitize ended with status Failed (3)"},
    {"no-deallocate", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"outcome": "no-deallocate"}})", "", 0,
     " SANITIZE PASSED", "2", 4, ""},
    {"progress backwards", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"outcome": "restarts"}})", "", 44,
     " SANITIZE FAILED", "2", 1, "Progress must increase.  Last progress: 100 Current progress: 0"},
    // Ctrl-C ends the monitoring but not the sanitize, whose last report shows it in progress.
    {"ctrl-c", "sanitize-block", EVERY_SECOND, R"({"sanitize": {"polls": 3000}})", "", 44,
     "Sanitize monitoring was interrupted; the drive goes on sanitizing", "2", -1, "", true},
    // A drive in use is refused before any sanitize command.
    {"mounted namespace", "sanitize-block", "", R"({"mounts": [{"device": "nvme0n1", "on": "/data"}]})", "",
     43, NOT_STARTED + ": /dev/nvme0n1 is mounted on /data", "", -1, ""},
    {"mounted partition", "sanitize-crypto", "",
     R"({"mounts": [{"device": "nvme0n1p2", "on": "/srv/my disk"}]})", "", 43,
     NOT_STARTED + ": /dev/nvme0n1p2 is mounted on /srv/my disk", "", -1, ""},
    {"mapped partition", "sanitize-block", "",
     R"({"mounts": [{"device": "nvme0n1p3", "on": "/", "via": "dm-0"}]})", "", 43,
     NOT_STARTED + ": /dev/dm-0 on /dev/nvme0n1p3 is mounted on /", "", -1, ""},
    {"swap partition", "sanitize-overwrite", "", R"({"swaps": ["nvme0n1p3"]})", "", 43,
     NOT_STARTED + ": /dev/nvme0n1p3 is an active swap area", "", -1, ""},
};

TEST(SanitizeCommand, FollowsTheOperationToItsVerdict) {
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.name);
        const auto run = testing_support::RunOperation(c, 0x84, "sanitize.summary.json", "sanitize details");
        if (c.final_code >= 0 || c.interrupt) {
            // A report per read of the status log; the last one carries the status (2: in progress) and
            // the action that ran.
            const Json::Value& reports = run.details["status"];
            ASSERT_EQ(reports.size(), testing_support::LogReads(run.journal, 0x81));
            const Json::Value& last = reports[reports.size() - 1];
            EXPECT_EQ(last["status"].asInt(), c.interrupt ? 2 : c.final_code);
            EXPECT_EQ(last["sanitize command"].asString(), "0x0000000" + c.commands);
            EXPECT_EQ(last["Composite Temperature"].asString(), "45 C");
        }
    }
}

}  // namespace
