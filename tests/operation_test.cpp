// The self-test and sanitize command types end to end: the real binary against
// the simulated demo drive, each summary checked against the drive's journal.
#include <gtest/gtest.h>

#include "support/simulator.h"

namespace {

using testing_support::CommandFile;
using testing_support::ParseJson;

struct OperationCase {
    std::string name;
    std::string command_file;  // under commands/, without ".cmd.json"
    std::string settings;      // JSON object merged over the command file
    std::string drive_patch;   // BRANTIX_SIM_DRIVE
    std::string faults;        // BRANTIX_SIM_FAULTS
    int exit_code;
    std::string message;     // "_cmd" / "message"
    std::string commands;    // cdw10 of every command with the operation's opcode, as "1,15"
    int final_code;          // the details' "return code"; -1: not checked
    std::string note;        // a message one of the details' samples carries; empty: none
    bool interrupt = false;  // Ctrl-C once the journal shows the first command with the operation's opcode
    std::string profile = "demo";
    std::string nvme = "0";  // --nvme
};

struct OperationRun {
    Json::Value summary;
    Json::Value details;
    std::vector<Json::Value> journal;
};

// Runs the case (a self-test for `opcode` 14h, else a sanitize) with the simulator's clock sped up, then
// checks the exit code, the result record, the commands with `opcode` sent, that the command records' return
// codes match the journal's one by one, and the note.
OperationRun RunOperation(const OperationCase& c, unsigned int opcode) {
    const std::string kind = opcode == 0x14 ? "selftest" : "sanitize";
    testing_support::RunOptions options;
    options.files["test.cmd.json"] = CommandFile(c.command_file, {c.settings});
    options.args = {"test", "-d", "out", "--nvme", c.nvme};
    options.env = {{"BRANTIX_SIM_TIME_SCALE", "50"}, {"BRANTIX_SIM_DRIVE", c.drive_patch}};
    const auto run = c.interrupt ? testing_support::RunBrantixInterrupted(c.profile, options, opcode)
                                 : testing_support::RunBrantixOnProfile(c.profile, options, c.faults);
    OperationRun result{Json::Value(), Json::Value(), run.Journal()};
    EXPECT_EQ(run.exit_code, c.exit_code) << run.console;
    // A run that left no summary fails on parsing an empty text.
    result.summary = ParseJson(run.Read("out/" + kind + ".summary.json"));
    result.details = result.summary[kind + " details"];
    const Json::Value& cmd = result.summary["_cmd"];
    EXPECT_EQ(cmd["return code"].asInt(), c.exit_code);
    EXPECT_EQ(cmd["result"].asString() + cmd["message"].asString(),
              (c.exit_code == 0 ? "PASS" : "FAIL") + c.message);
    std::string sent;
    for (const auto& command : result.journal) {
        if (command["opcode"].asUInt() == opcode) {
            sent += (sent.empty() ? "" : ",") + command["cdw10"].asString();
        }
    }
    EXPECT_EQ(sent, c.commands);
    const Json::Value& records = result.summary["command times"];
    EXPECT_EQ(records.size(), result.journal.size());
    for (Json::ArrayIndex i = 0; i < records.size() && i < result.journal.size(); ++i) {
        const Json::Value& command = result.journal[i];
        const int answer = command["return"].asInt();
        EXPECT_EQ(records[i]["return code"].asInt(), answer == -1 ? command["errno"].asInt() : answer) << i;
    }
    bool noted = c.note.empty();
    for (const auto& sample : result.details["status"]) {
        noted = noted || sample["message"].asString().find(c.note) != std::string::npos;
    }
    EXPECT_TRUE(noted) << c.note << "\n" << result.details["status"];
    if (c.final_code >= 0) {
        EXPECT_EQ(result.details["return code"].asInt(), c.final_code);
    }
    return result;
}

unsigned int LogReads(const std::vector<Json::Value>& journal, unsigned int log) {
    unsigned int count = 0;
    for (const auto& command : journal) {
        count += command["opcode"].asUInt() == 0x02 && (command["cdw10"].asUInt() & 0xFF) == log ? 1 : 0;
    }
    return count;
}

const std::string EVERY_SECOND = R"({"display sample interval in sec": 1})";
const std::string LONG_TEST = R"({"self-test": {"polls": 50}})";

const std::string NOT_STARTED = "Sanitize did NOT start";

const OperationCase CASES[] = {
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
    {"block", "sanitize-block", EVERY_SECOND, "", "", 0, " SANITIZE PASSED", "2", 1, ""},
    {"crypto", "sanitize-crypto", EVERY_SECOND, "", "", 0, " SANITIZE PASSED", "4", 1, ""},
    {"no block erase", "sanitize-block", "", R"({"identify controller": {"SANICAP": "0x5"}})", "", 40,
     "Device does NOT support block erase", "", -1, ""},
    {"no crypto erase", "sanitize-crypto", "", R"({"identify controller": {"SANICAP": "0x6"}})", "", 41,
     "Device does NOT support crypto erase", "", -1, ""},
    {"no overwrite", "sanitize-overwrite", "", R"({"identify controller": {"SANICAP": "0x3"}})", "", 42,
     "Device does NOT support overwrite", "", -1, ""},
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
    {"mounted partition", "sanitize-crypto", "",
     R"({"mounts": [{"device": "nvme0n1p2", "on": "/srv/my disk"}]})", "", 43,
     NOT_STARTED + ": /dev/nvme0n1p2 is mounted on /srv/my disk", "", -1, ""},
    {"mapped partition", "sanitize-block", "",
     R"({"mounts": [{"device": "nvme0n1p3", "on": "/", "via": "dm-0"}]})", "", 43,
     NOT_STARTED + ": /dev/dm-0 on /dev/nvme0n1p3 is mounted on /", "", -1, ""},
    {"swap partition", "sanitize-overwrite", "", R"({"swaps": ["nvme0n1p3"]})", "", 43,
     NOT_STARTED + ": /dev/nvme0n1p3 is an active swap area", "", -1, ""},
    // Checked before what the drive offers (none of these sanitizes), on every namespace of the
    // subsystem: controller 1's disk is nvme0n1, controllers 2 and 3 share the heads nvme2n1 and nvme2n2.
    {"own disk of another number", "sanitize-block", "",
     R"([{"mounts": [{"device": "nvme0n1", "on": "/"}]}])", "", 43,
     NOT_STARTED + ": /dev/nvme0n1 is mounted on /", "", -1, "", false, "topology", "nvme1"},
    {"through the other controller", "sanitize-crypto", "",
     R"([{}, {}, {}, {"mounts": [{"device": "nvme2n2", "on": "/srv"}]}])", "", 43,
     NOT_STARTED + ": /dev/nvme2n2 is mounted on /srv", "", -1, "", false, "topology", "/dev/nvme2"},
    {"not in use", "sanitize-block", "", R"([{}, {}, {}, {"swaps": ["nvme2n2"]}])", "", 40,
     "Device does NOT support block erase", "", -1, "", false, "topology", "1"},
};

// Each self-test (opcode 14h) and sanitize (84h) case; a report per read of the operation's log (06h,
// 81h), the power-on hours or temperature of the profile, and the log's result or status.
TEST(OperationCommands, FollowEachOperationToItsVerdict) {
    for (const auto& c : CASES) {
        SCOPED_TRACE(c.name);
        const bool selftest = c.command_file.rfind("selftest", 0) == 0;
        const auto run = RunOperation(c, selftest ? 0x14 : 0x84);
        if (c.final_code < 0 && !c.interrupt) {
            continue;
        }
        const Json::Value& reports = run.details["status"];
        ASSERT_EQ(reports.size(), LogReads(run.journal, selftest ? 0x06 : 0x81));
        const Json::Value& last = reports[reports.size() - 1];
        if (selftest) {
            EXPECT_EQ(
                run.details["log page 6 power on hours"].asString() + reports[0]["Power On Hours"].asString(),
                "8,7608,760");
            const std::string result = run.details["log page 6 result"].asString();
            EXPECT_EQ(result.substr(result.rfind(" (")), " (" + std::to_string(c.final_code) + ")");
            EXPECT_TRUE(run.details.isMember("run time estimate"));
        } else {
            // A sanitize interrupted is still in progress (2).
            EXPECT_EQ(last["status"].asInt(), c.interrupt ? 2 : c.final_code);
            EXPECT_EQ(last["sanitize command"].asString() + last["Composite Temperature"].asString(),
                      "0x0000000" + c.commands + "38 C");
        }
    }
}

}  // namespace
