// Faults end to end: the real binary on simulated drives whose commands fail, that vanish or are
// interrupted, with log directories that take no files and input files of every wrong shape. Each
// run must end with its message and return code and leave only whole JSON files behind.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::ParseJson;
using testing_support::RunOptions;
using testing_support::SimulatedRun;

// commands/<name>.cmd.json with `changes` laid over it; reads take one quick sample of the rich drive.
std::string CommandFile(const std::string& name, const std::string& changes = "{}") {
    std::ifstream in(std::string(BRANTIX_SOURCE_DIR) + "/commands/" + name + ".cmd.json");
    Json::Value command = ParseJson(std::string(std::istreambuf_iterator<char>(in), {}));
    if (name == "read") {
        command["log hex data"] = false;
        command["read system data"] = false;
        command["interval in ms"] = 0;
    }
    const Json::Value overrides = ParseJson(changes);
    for (const auto& key : overrides.getMemberNames()) {
        command[key] = overrides[key];
    }
    return command.toStyledString();
}

// Options running `name` (as x.cmd.json) with the simulator's clock sped up.
RunOptions Options(const std::string& name, const std::string& changes = "{}",
                   const std::string& drive = "") {
    RunOptions options;
    options.files["x.cmd.json"] = CommandFile(name, changes);
    options.args = {"x"};
    options.env = {{"BRANTIX_SIM_TIME_SCALE", "50"}, {"BRANTIX_SIM_DRIVE", drive}};
    return options;
}

bool HasLine(const std::string& text, const std::string& line) {
    return ("\n" + text + "\n").find("\n" + line + "\n") != std::string::npos;
}

// Every JSON file under `dir` but the input `given` parses, and nothing is left under a temporary name.
void ExpectWholeFiles(const std::filesystem::path& dir, const std::string& given = "") {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(name.find(".partial-"), std::string::npos) << name;
        EXPECT_EQ(name.find(".commands-"), std::string::npos) << name;
        if (entry.is_regular_file() && entry.path().extension() == ".json" && name != given) {
            std::ifstream in(entry.path());
            EXPECT_NO_THROW(ParseJson(std::string(std::istreambuf_iterator<char>(in), {}))) << name;
        }
    }
}

Json::Value JsonFile(const SimulatedRun& run, const std::string& name) {
    return ParseJson(run.Read(name));
}

// Each admin command of a read sample failing alone, by errno and by NVMe status.
TEST(Faults, EachCommandOfASampleFailingAlone) {
    const std::string serial = "RICH14000000000042  ";
    const struct {
        std::string selector;
        std::string status;   // "read status"; the sample passes on "All commands passed"
        std::string witness;  // a parameter another command gave, and its value
        std::string value;
    } cases[] = {
        // The simulator selects Identify by opcode: the controller's fault fails every Identify, and
        // the namespaces are then not read, as the drive reports none.
        {"opcode=0x06", "Identify Controller failed", "Power On Hours", "8,760"},
        {"opcode=0x06,after=1", "Identify Namespace 1 failed", "Serial Number (SN)", serial},
        // A drive that cannot list its active namespaces is allowed to: the size is namespace 1's.
        {"opcode=0x06,after=2", "All commands passed", "Size", "2000398934016 Bytes"},
        {"opcode=0x02,log=0x01", "Get Log Page 0x01 failed", "Serial Number (SN)", serial},
        {"opcode=0x02,log=0x02", "Get Log Page 0x02 failed", "Serial Number (SN)", serial},
        {"opcode=0x02,log=0x03", "Get Log Page 0x03 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x04", "Get Log Page 0x04 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x05", "Get Log Page 0x05 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x06", "Get Log Page 0x06 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x07", "Get Log Page 0x07 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x07,after=2", "Get Log Page 0x07 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x08", "Get Log Page 0x08 failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x0D", "Get Log Page 0x0D failed", "Power On Hours", "8,760"},
        {"opcode=0x02,log=0x0D,after=1", "Get Log Page 0x0D failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x01", "Get Feature 1 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x02", "Get Feature 2 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x04", "Get Feature 4 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x04,after=9", "Get Feature 4 (0x180000) failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x05", "Get Feature 5 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x06", "Get Feature 6 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x08", "Get Feature 8 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x0A", "Get Feature 10 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x0B", "Get Feature 11 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x0C", "Get Feature 12 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x0D", "Get Feature 13 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x0E", "Get Feature 14 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x0F", "Get Feature 15 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x10", "Get Feature 16 failed", "Power On Hours", "8,760"},
        {"opcode=0x0A,feature=0x11", "Get Feature 17 failed", "Power On Hours", "8,760"},
    };
    const std::pair<std::string, int> ways[] = {{"errno=5", 5}, {"status=0x4002", 0x4002}};
    for (const auto& c : cases) {
        for (const auto& [way, code] : ways) {
            const std::string faults = c.selector + "," + way;
            SCOPED_TRACE(faults);
            const bool passes = c.status == "All commands passed";
            const auto run = testing_support::RunBrantixOnProfile("rich-1.4", Options("read"), faults);
            EXPECT_EQ(run.exit_code, passes ? 0 : 22) << run.console;
            const Json::Value info = JsonFile(run, "nvme.info.json");
            EXPECT_EQ(info["_metadata"]["read status"].asString(), c.status);
            EXPECT_EQ(testing_support::ParameterValue(info, c.witness), c.value);
            // The first refused command carries the errno or the status as its return code, and the
            // summary keeps the same command records.
            for (const auto& command : info["_metadata"]["commands"]) {
                if (command["return code"].asInt() != 0) {
                    EXPECT_EQ(command["return code"].asInt(), code);
                    break;
                }
            }
            const Json::Value summary = JsonFile(run, "read.summary.json");
            EXPECT_EQ(summary["command times"], info["_metadata"]["commands"]);
            EXPECT_EQ(summary["read details"]["sample"][0]["message"].asString(),
                      passes ? "PASSED" : "Sample 1 failed read");
            EXPECT_EQ(summary["_cmd"]["message"].asString(), passes ? " No errors found " : " Found errors");
        }
    }
}

// The drive vanishing part way through each command type, or refusing the operations' Identify.
TEST(Faults, DriveVanishes) {
    const struct {
        std::string command;
        std::string faults;
        unsigned int after;  // commands before the drive is gone; 0: it stays
        int rc;
        std::string message;
    } cases[] = {
        // Three Identify commands, log pages 01h to 06h and the telemetry header; its data is lost.
        {"read", "vanish=10", 10, 22, " Found errors"},
        // Identify, the self-test log and the SMART log, then the start is lost.
        {"selftest-short", "vanish=3", 3, 31, "Self-test did NOT start"},
        {"selftest-short", "vanish=4", 4, 33, " SELF-TEST FAILED"},
        {"sanitize-block", "vanish=3", 3, 43, "Sanitize did NOT start"},
        {"sanitize-block", "vanish=4", 4, 44, " SANITIZE FAILED"},
        // Without Identify nothing is known of the drive's support: no verdict on it.
        {"selftest-short", "opcode=0x06,errno=19", 0, 17, "Failed to read Identify Controller"},
        {"sanitize-block", "opcode=0x06,errno=19", 0, 16, "Failed to read Identify Controller"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command + " " + c.faults);
        const auto run = testing_support::RunBrantixOnProfile("demo", Options(c.command), c.faults);
        EXPECT_EQ(run.exit_code, c.rc) << run.console;
        EXPECT_TRUE(HasLine(run.console, c.message)) << run.console;
        ExpectWholeFiles(run.dir);
        const auto journal = run.Journal();
        for (std::size_t i = 0; c.after != 0 && i < journal.size(); ++i) {
            EXPECT_EQ(journal[i]["errno"].asInt(), i < c.after ? 0 : 19) << i;
        }
        EXPECT_GT(journal.size(), c.after);
    }
    const Json::Value info = JsonFile(
        testing_support::RunBrantixOnProfile("demo", Options("read"), "vanish=10"), "nvme.info.json");
    EXPECT_EQ(
        info["_metadata"]["read status"].asString(),
        "Get Log Page 0x07, Get Log Page 0x08, Get Log Page 0x0D, Get Feature 1, Get Feature 2, Get Feature "
        "4, Get Feature 5, Get Feature 6, Get Feature 8, Get Feature 10, Get Feature 11, Get Feature 12, "
        "Get Feature 13, Get Feature 14, Get Feature 15, Get Feature 16, Get Feature 17 failed");
    EXPECT_EQ(testing_support::ParameterValue(info, "Power On Hours"), "8,760");
}

// Ctrl-C at each phase of each command type, sent once the journal shows a given command.
TEST(Faults, CtrlCAtEachPhase) {
    const std::string long_test = R"({"self-test": {"polls": 3000}, "sanitize": {"polls": 3000}})";
    const std::string read_run = R"({"samples": 100000, "log sample rate": 0})";
    const struct {
        std::string command;
        std::string changes;
        unsigned int opcode;  // the command that triggers Ctrl-C, and how many of them
        unsigned int count;
        int rc;  // -1: the read's own check below
        std::string message;
        std::string started;  // cdw10 of the operation's commands
    } cases[] = {
        {"read", read_run, 0x06, 1, -1, "", ""},
        {"read", read_run, 0x02, 1, -1, "", ""},
        {"read", read_run, 0x0A, 1, -1, "", ""},
        {"read", read_run, 0x0A, 24, -1, "", ""},  // the first feature of sample 2
        {"selftest-short", "{}", 0x06, 1, 0, " SELF-TEST PASSED", "1,15"},
        {"selftest-short", "{}", 0x14, 1, 0, " SELF-TEST PASSED", "1,15"},
        {"selftest-short", "{}", 0x02, 5, 0, " SELF-TEST PASSED", "1,15"},
        {"sanitize-block", "{}", 0x84, 1, 44,
         "Sanitize monitoring was interrupted; the drive goes on sanitizing", "2"},
        {"sanitize-block", "{}", 0x02, 5, 44,
         "Sanitize monitoring was interrupted; the drive goes on sanitizing", "2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command + " " + std::to_string(c.opcode) + " " + std::to_string(c.count));
        const auto run = testing_support::RunBrantixInterrupted(
            "demo", Options(c.command, c.changes, long_test), c.opcode, c.count);
        ExpectWholeFiles(run.dir);
        EXPECT_TRUE(
            HasLine(run.console, " <CTRL C> detected, gracefully exiting") ||
            HasLine(run.console, " Interrupted: self-test aborted") ||
            HasLine(run.console, " Interrupted: the drive goes on sanitizing until the operation ends"))
            << run.console;
        std::string started;
        for (const auto& command : run.Journal()) {
            const unsigned int opcode = command["opcode"].asUInt();
            if (opcode == 0x14 || opcode == 0x84) {
                started += (started.empty() ? "" : ",") + command["cdw10"].asString();
            }
        }
        EXPECT_EQ(started, c.started);
        if (c.rc >= 0) {
            EXPECT_EQ(run.exit_code, c.rc) << run.console;
            EXPECT_TRUE(HasLine(run.console, c.message)) << run.console;
            continue;
        }
        // The sample in hand is finished, written and recorded; the verdict counts those before it.
        EXPECT_EQ(run.exit_code, 0) << run.console;
        const Json::Value summary = JsonFile(run, "read.summary.json");
        const unsigned int taken = summary["read details"]["sample"].size();
        EXPECT_GE(taken, c.count == 1 ? 1u : 2u);
        EXPECT_EQ(summary["_cmd"]["message"].asString(),
                  " No errors found on " + std::to_string(taken - 1) + " samples");
        EXPECT_TRUE(run.Exists("nvme.info.sample-" + std::to_string(taken) + ".json"));
    }
    // Before the start a sanitize is never sent; the window is too short to hit every time, so
    // either outcome is checked for what it must show.
    const auto run =
        testing_support::RunBrantixInterrupted("demo", Options("sanitize-block", "{}", long_test), 0x06);
    const auto journal = run.Journal();
    const bool started = std::any_of(journal.begin(), journal.end(),
                                     [](const Json::Value& command) { return command["opcode"] == 0x84; });
    EXPECT_EQ(run.exit_code, started ? 44 : 43) << run.console;
    EXPECT_TRUE(HasLine(run.console, started
                                         ? "Sanitize monitoring was interrupted; the drive goes on sanitizing"
                                         : "Sanitize did NOT start: interrupted"))
        << run.console;
}

// Limits the size of files the child may write, for the life of the object.
struct FileSizeLimit {
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &saved);
        rlimit limit = saved;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &saved); }
    rlimit saved{};
};

// Log directories that cannot be made or written, and writes that fail part way.
TEST(Faults, LogDirectoryAndFileWrites) {
    const struct {
        std::string command;
        std::string dir;      // -d, below the test's folder <dir>, which holds a file "blocker"
        std::string blocker;  // a folder standing where this file of the log directory goes
        int rc;
        std::string message;
    } cases[] = {
        {"selftest-short", "<dir>/blocker/logs", "", 16, "Failed to make log directory: <dir>/blocker/logs"},
        {"read", "/proc", "", 16, "Failed to make log directory: /proc"},
        {"read", "<dir>", "read.summary.json", 17,
         "Failed writing JSON data to '<dir>/read.summary.json': Is a directory"},
        {"read", "<dir>", "nvme.info.json", 17,
         "Failed writing JSON data to '<dir>/nvme.info.json': Is a directory"},
        {"selftest-short", "<dir>", "selftest.summary.json", 17,
         "Failed writing JSON data to '<dir>/selftest.summary.json': Is a directory"},
        {"sanitize-block", "<dir>", "sanitize.summary.json", 17,
         "Failed writing JSON data to '<dir>/sanitize.summary.json': Is a directory"},
    };
    const auto with_dir = [](std::string text, const std::string& dir) {
        const auto at = text.find("<dir>");
        return at == std::string::npos ? text : text.replace(at, 5, dir);
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command + " " + c.blocker);
        const testing_support::TempFolder logs("faults");
        logs.Write("blocker", "a file");
        if (!c.blocker.empty()) {
            std::filesystem::create_directory(logs.dir / c.blocker);
        }
        RunOptions options = Options(c.command);
        options.args.insert(options.args.end(), {"-d", with_dir(c.dir, logs.dir.string())});
        const auto run = testing_support::RunBrantixOnProfile("demo", options);
        EXPECT_EQ(run.exit_code, c.rc) << run.console;
        EXPECT_TRUE(HasLine(run.console, with_dir(c.message, logs.dir.string()))) << run.console;
        ExpectWholeFiles(logs.dir);
        ExpectWholeFiles(run.dir);
    }

    // A file size limit: a complete run's files survive a second run whose first write fails, and a
    // long run that hits the limit part way keeps the samples written before it.
    const testing_support::TempFolder logs("faults");
    RunOptions options = Options("read", R"({"log hex data": true})");
    options.args.insert(options.args.end(), {"-d", logs.dir.string()});
    ASSERT_EQ(testing_support::RunBrantixOnProfile("demo", options).exit_code, 0);
    std::map<std::string, std::string> before;
    for (const auto* name : {"nvme.info.json", "read.summary.json"}) {
        std::ifstream in(logs.dir / name);
        before[name] = std::string(std::istreambuf_iterator<char>(in), {});
    }
    const FileSizeLimit limit(256 * 1024);
    auto run = testing_support::RunBrantixOnProfile("demo", options);
    EXPECT_EQ(run.exit_code, 17) << run.console;
    EXPECT_TRUE(HasLine(run.console, "Failed writing JSON data to '" + logs.Path("nvme.info.json") + "'"))
        << run.console;
    for (const auto& [name, content] : before) {
        std::ifstream in(logs.dir / name);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), content) << name;
    }
    ExpectWholeFiles(logs.dir);

    run = testing_support::RunBrantixOnProfile("demo",
                                               Options("read", R"({"samples": 1000, "log sample rate": 1})"));
    EXPECT_EQ(run.exit_code, 17) << run.console;
    const std::regex spool("Failed writing JSON data to '" + std::filesystem::canonical(run.dir).string() +
                           "/read.summary.json.commands-[0-9]+'");
    const auto lines = run.ConsoleLines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&spool](const std::string& line) {
        return std::regex_match(line, spool);
    })) << run.console;
    EXPECT_TRUE(run.Exists("nvme.info.sample-2.json"));
    EXPECT_FALSE(run.Exists("read.summary.json"));
    ExpectWholeFiles(run.dir);
}

// Command, rules and compare files that are empty, not JSON, of the wrong JSON type, huge, or full of
// unexpected types.
TEST(Faults, BrokenInputFiles) {
    const std::string deep(3'000'000, '[');
    std::string padding = "[";
    for (int i = 0; i < 4000; ++i) {
        padding += (i == 0 ? "\"" : ", \"") + std::string(1000, 'x') + "\"";
    }
    padding += "]";
    std::string many_rules = R"({"rules": [)";
    for (int i = 0; i < 100'000; ++i) {
        many_rules += (i == 0 ? "" : ", ") + std::string(R"("'Model' not-match X")");
    }
    many_rules += "]}";
    const std::string read_fails = R"({"_metadata": {"file type": "nvme info"}, "nvme": )";
    const std::string unparsed = "Failed to parse JSON in command file: x.cmd.json";
    const struct {
        std::string file;  // x.cmd.json, or the rules or compare file of a read
        std::string content;
        int rc;
        std::string message;  // a console line, with <dir> for the run's folder
    } cases[] = {
        {"x.cmd.json", "", 16, unparsed},
        {"x.cmd.json", R"({"command type": )", 16, unparsed},
        {"x.cmd.json", R"(["read"])", 16, unparsed},
        {"x.cmd.json", deep, 16, unparsed},
        {"x.cmd.json", CommandFile("read", R"({"padding": )" + padding + "}"), 0, " No errors found "},
        // Keys are read with the JSON library's conversions; one that fails ends the run.
        {"x.cmd.json", CommandFile("read", R"({"samples": "many"})"), 17,
         "Value is not convertible to UInt."},
        {"x.cmd.json", CommandFile("read", R"({"short description": {}})"), 17,
         "Type is not convertible to string"},
        {"x.cmd.json", CommandFile("read", R"({"log hex data": "yes"})"), 22,
         "GetNvmeInfo: Value is not convertible to bool."},
        {"x.cmd.json", CommandFile("selftest-short", R"({"display sample interval in sec": "ten"})"), 17,
         "Value is not convertible to UInt."},
        {"x.cmd.json", CommandFile("sanitize-block", R"({"sanitize type": 5})"), 16,
         "Unsupported sanitize type: 5"},
        {"r.rules.json", "", 17, "Failed parsing JSON data from file '<dir>/r.rules.json'"},
        {"r.rules.json", R"({"rules": [)", 17, "Failed parsing JSON data from file '<dir>/r.rules.json'"},
        {"r.rules.json", deep, 17, "Failed parsing JSON data from file '<dir>/r.rules.json'"},
        {"r.rules.json", "[]", 17,
         "Invalid rules file, missing JSON 'rules' root member: <dir>/r.rules.json"},
        {"r.rules.json", R"({"rules": "x"})", 17,
         "Invalid rules file, 'rules' is not a list of rules: <dir>/r.rules.json"},
        {"r.rules.json", R"({"rules": [1, null, "'Model' match X"]})", 16,
         " Rule Error: Rule 2 is not a text"},
        {"r.rules.json", many_rules, 0, " No errors found "},
        {"c.json", "", 17, "Failed parsing JSON data from file '<dir>/c.json'"},
        {"c.json", deep, 17, "Failed parsing JSON data from file '<dir>/c.json'"},
        {"c.json", "[1]", 16, "Invalid compare file: <dir>/c.json"},
        {"c.json", read_fails + R"({"parameters": {"Model": 5, "Power On Hours": {"value": {}}}}})", 22,
         "Compare fail: 'Model' value 'Brantix Sim Rich 2TB NVMe 1.4' does not match compare value ''"},
        {"c.json", read_fails + R"([], "padding": )" + padding + "}", 22, " Found errors"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file + " " + c.content.substr(0, 80));
        RunOptions options = Options("read", R"({"rules file": "r.rules.json"})");
        if (c.file == "c.json") {
            options = Options("read", R"({"compare file": "c.json"})");
        }
        options.files[c.file] = c.content;
        const auto run = testing_support::RunBrantixOnProfile("demo", options);
        std::string message = c.message;
        const auto at = message.find("<dir>");
        if (at != std::string::npos) {
            message.replace(at, 5, std::filesystem::canonical(run.dir).string());
        }
        EXPECT_EQ(run.exit_code, c.rc) << run.console.substr(0, 4000);
        EXPECT_TRUE(HasLine(run.console, message)) << run.console.substr(0, 4000);
        ExpectWholeFiles(run.dir, c.file);
        // No self-test or sanitize is left running by a file that stops the run.
        for (const auto& command : run.Journal()) {
            EXPECT_NE(command["opcode"].asUInt(), 0x14u);
            EXPECT_NE(command["opcode"].asUInt(), 0x84u);
        }
    }
}

}  // namespace
