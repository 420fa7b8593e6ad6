// The self-test command type end to end: the real binary against the
// simulated demo drive, its summary checked against the drive's journal.
#include <gtest/gtest.h>

#include "support/operation_run.h"

namespace {

using testing_support::OperationCase;

struct SelfTestCase {
    OperationCase run;
    int exit_code;
    std::string message;
    std::string self_tests;      // cdw10 of every Device Self-test command sent
    int result;                  // "return code" of the details; -1: none
    std::string status_message;  // a message some progress sample must carry; empty: none
};

const SelfTestCase CASES[] = {
    {{"short", "selftest-short", R"({"display sample interval in sec": 1})", "", ""},
     0,
     " SELF-TEST PASSED",
     "1",
     0,
     ""},
    {{"extended", "selftest-extended", R"({"display sample interval in sec": 1})", "", ""},
     0,
     " SELF-TEST PASSED",
     "2",
     0,
     ""},
    {{"recorded failure", "selftest-short", "", R"({"self-test": {"result": 7, "segment": 5}})", ""},
     33,
     " SELF-TEST FAILED",
     "1",
     7,
     "Self-test ended with result Failed (7)"},
    {{"backwards", "selftest-short", "", R"({"self-test": {"backwards": true}})", ""},
     33,
     " SELF-TEST FAILED",
     "1",
     0,
     "Progress must increase.  Last progress: 33 Current progress: 16"},
    {{"abort time", "selftest-short", R"({"abort time": 3})", R"({"self-test": {"polls": 50}})", ""},
     0,
     " SELF-TEST PASSED",
     "1,15",
     1,
     "Abort time reached"},
    {{"abort rejected", "selftest-short", R"({"abort time": 2})", R"({"self-test": {"polls": 50}})",
      "opcode=0x14,after=1,status=0x4002"},
     34,
     "Self-test did NOT abort",
     "1,15",
     -1,
     ""},
    {{"log lost after abort", "selftest-short", R"({"abort time": 2})", R"({"self-test": {"polls": 50}})",
      "opcode=0x02,log=0x06,after=2,errno=5"},
     36,
     "Log Page 6 read failed after abort test",
     "1,15",
     -1,
     "Abort time reached"},
    {{"no self-test", "selftest-short", "", R"({"identify controller": {"OACS": "0x0006"}})", ""},
     30,
     "Device does NOT support self-test",
     "",
     -1,
     ""},
    {{"EDSTT 0", "selftest-extended", "", R"({"identify controller": {"EDSTT": 0}})", ""},
     32,
     "Device extended self-test duration (EDSTT) is 0",
     "",
     -1,
     ""},
    {{"EDSTT 0 short", "selftest-short", "", R"({"identify controller": {"EDSTT": 0}})", ""},
     0,
     " SELF-TEST PASSED",
     "1",
     0,
     ""},
    {{"start rejected", "selftest-short", "", "", "opcode=0x14,status=0x4002"},
     31,
     "Self-test did NOT start",
     "1",
     -1,
     ""},
};

bool AnySampleSays(const Json::Value& samples, const std::string& message) {
    for (const auto& sample : samples) {
        if (sample["message"].asString() == message) {
            return true;
        }
    }
    return false;
}

TEST(SelfTestCommand, FollowsTheTestToItsVerdict) {
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.run.name);
        const auto run = testing_support::RunOperation(c.run);
        const auto journal = run.Journal();
        ASSERT_EQ(run.exit_code, c.exit_code) << run.console;
        const Json::Value summary = testing_support::ParseJson(run.Read("out/selftest.summary.json"));
        EXPECT_EQ(summary["_cmd"]["return code"].asInt(), c.exit_code);
        EXPECT_EQ(summary["_cmd"]["result"].asString(), c.exit_code == 0 ? "PASS" : "FAIL");
        EXPECT_EQ(summary["_cmd"]["message"].asString(), c.message);
        EXPECT_EQ(testing_support::Cdw10List(journal, 0x14), c.self_tests);
        testing_support::ExpectCommandTimesMatchJournal(summary, journal);
        const Json::Value& details = summary["selftest details"];
        if (!c.status_message.empty()) {
            EXPECT_TRUE(AnySampleSays(details["status"], c.status_message)) << details["status"];
        }
        if (c.result < 0) {
            continue;
        }
        // One sample per read of the self-test log.
        EXPECT_EQ(details["status"].size(), testing_support::LogReads(journal, 0x06));
        EXPECT_EQ(details["return code"].asInt(), c.result);
        EXPECT_EQ(details["log page 6 power on hours"].asString(), "8,760");
        EXPECT_EQ(details["status"][0]["Power On Hours"].asString(), "8,760");
    }
}

TEST(SelfTestCommand, CtrlCAbortsTheTestAndCompletesTheSummary) {
    const OperationCase c{"ctrl-c", "selftest-short", "", R"({"self-test": {"polls": 3000}})", ""};
    const auto run = testing_support::RunOperation(c, 0x14);
    ASSERT_EQ(run.exit_code, 0) << run.console;
    const auto journal = run.Journal();
    EXPECT_EQ(testing_support::Cdw10List(journal, 0x14), "1,15");
    const Json::Value summary = testing_support::ParseJson(run.Read("out/selftest.summary.json"));
    testing_support::ExpectCommandTimesMatchJournal(summary, journal);
    const Json::Value& details = summary["selftest details"];
    EXPECT_TRUE(AnySampleSays(details["status"], "Interrupted: self-test aborted"));
    EXPECT_EQ(details["return code"].asInt(), 1);
    EXPECT_EQ(details["log page 6 result"].asString(), "Aborted (1)");
    for (const auto* key : {"begin time", "end time", "run time", "run time in ms", "run time estimate"}) {
        EXPECT_TRUE(details.isMember(key)) << key;
    }
}

}  // namespace
