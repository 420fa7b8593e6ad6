// The self-test command type end to end: the real binary against the
// simulated demo drive, its summary checked against the drive's journal.
#include <gtest/gtest.h>

#include "support/operation_run.h"

namespace {

const std::string EVERY_SECOND = R"({"display sample interval in sec": 1})";
const std::string LONG_TEST = R"({"self-test": {"polls": 50}})";

const testing_support::OperationCase CASES[] = {
    {"short", "selftest-short", EVERY_SECOND, "", "", 0, " SELF-TEST PASSED", "1", 0, ""},
    {"extended", "selftest-extended", EVERY_SECOND, "", "", 0, " SELF-TEST PASSED", "2", 0, ""},
    {"recorded failure", "selftest-short", EVERY_SECOND, R"({"self-test": {"result": 7, "segment": 5}})", "",
     33, " SELF-TEST FAILED", "1", 7, "Self-test ended with result Failed (7)"},
    {"backwards", "selftest-short", EVERY_SECOND, R"({"self-test": {"backwards": true}})", "", 33,
     " SELF-TEST FAILED", "1", 0, "Progress must increase.  Last progress: 33 Current progress: 16"},
    {"abort time", "selftest-short", R"({"abort time": 3, "display sample interval in sec": 1})", LONG_TEST,
     "", 0, " SELF-TEST PASSED", "1,15", 1, "Abort time reached"},
    // Ctrl-C once the test has started aborts it and completes the summary.
    {"ctrl-c", "selftest-short", "", R"({"self-test": {"polls": 3000}})", "", 0, " SELF-TEST PASSED", "1,15",
     1, "Interrupted: self-test aborted", true},
    {"abort rejected", "selftest-short", R"({"abort time": 2})", LONG_TEST,
     "opcode=0x14,after=1,status=0x4002", 34, "Self-test did NOT abort", "1,15", -1, ""},
    {"log lost after abort", "selftest-short", R"({"abort time": 2})", LONG_TEST,
     "opcode=0x02,log=0x06,after=2,errno=5", 36, "Log Page 6 read failed after abort test", "1,15", -1, ""},
    {"no self-test", "selftest-short", "", R"({"identify controller": {"OACS": "0x0006"}})", "", 30,
     "Device does NOT support self-test", "", -1, ""},
    {"EDSTT 0", "selftest-extended", "", R"({"identify controller": {"EDSTT": 0}})", "", 32,
     "Device extended self-test duration (EDSTT) is 0", "", -1, ""},
    {"EDSTT 0 short", "selftest-short", EVERY_SECOND, R"({"identify controller": {"EDSTT": 0}})", "", 0,
     " SELF-TEST PASSED", "1", 0, ""},
    {"start rejected", "selftest-short", "", "", "opcode=0x14,status=0x4002", 31, "Self-test did NOT start",
     "1", -1, ""},
};

TEST(SelfTestCommand, FollowsTheTestToItsVerdict) {
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.name);
        const auto run = testing_support::RunOperation(c, 0x14, "selftest.summary.json", "selftest details");
        if (c.final_code >= 0) {
            // A sample per read of the self-test log; the power-on hours of the profile; the log's result.
            EXPECT_EQ(run.details["status"].size(), testing_support::LogReads(run.journal, 0x06));
            EXPECT_EQ(run.details["log page 6 power on hours"].asString(), "8,760");
            EXPECT_EQ(run.details["status"][0]["Power On Hours"].asString(), "8,760");
            const std::string result = run.details["log page 6 result"].asString();
            EXPECT_EQ(result.substr(result.rfind(" (")), " (" + std::to_string(c.final_code) + ")");
            for (const auto* key :
                 {"begin time", "end time", "run time", "run time in ms", "run time estimate"}) {
                EXPECT_TRUE(run.details.isMember(key)) << key;
            }
        }
    }
}

}  // namespace
