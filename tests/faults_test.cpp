// Faults end to end: the real binary on simulated drives whose commands fail, that vanish or are
// interrupted, with log directories that take no files and input files of every wrong shape. Each
// run must end with its message and return code and leave only whole JSON files behind.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <regex>

#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::HasLine;
using testing_support::ParseJson;
using testing_support::RunBrantixOnProfile;
using testing_support::RunOptions;
using testing_support::WithDir;

// Runs commands/<name>.cmd.json (as x.cmd.json) with `changes` laid over it and the simulator's clock
// sped up; reads take one quick sample.
RunOptions Options(const std::string& name, const std::string& changes = "{}",
                   const std::string& drive = "") {
    const std::string quick = R"({"log hex data": false, "read system data": false, "interval in ms": 0})";
    RunOptions options;
    options.files["x.cmd.json"] = testing_support::CommandFile(name, {name == "read" ? quick : "", changes});
    options.args = {"x"};
    if (name.rfind("sanitize", 0) == 0) {
        options.args.insert(options.args.end(), {"-n", "0"});
    }
    options.env = {{"BRANTIX_SIM_TIME_SCALE", "50"}, {"BRANTIX_SIM_DRIVE", drive}};
    return options;
}

// Every JSON file under `dir` but the input `given` parses, and nothing is left under a temporary name.
void ExpectWholeFiles(const std::filesystem::path& dir, const std::string& given = "") {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        EXPECT_EQ(name.find(".partial-"), std::string::npos) << name;
        EXPECT_EQ(name.find(".commands-"), std::string::npos) << name;
        if (entry.is_regular_file() && entry.path().extension() == ".json" && name != given) {
            EXPECT_NO_THROW(ParseJson(testing_support::ReadFile(entry.path()))) << name;
        }
    }
}

Json::Value JsonFile(const testing_support::SimulatedRun& run, const std::string& name) {
    return ParseJson(run.Read(name));
}

// Each admin command of a read sample failing alone: by errno, by an NVMe status, and rejected as not
// offered (Invalid Field in Command), which only a mandatory read fails on.
TEST(Faults, EachCommandOfASampleFailingAlone) {
    enum Kind { kMandatory, kOptional, kAllowed };
    struct Case {
        std::string selector;
        std::string status;  // "read status" when it fails; the failing command's name, then " failed"
        Kind kind = kOptional;
        std::string absent = "";                 // a parameter the failed command would have given
        std::string witness = "Power On Hours";  // a parameter another command gave, and its value
        std::string value = "8,760";
    };
    std::vector<Case> cases = {
        // The simulator selects Identify by opcode: the controller's fault fails every Identify, and
        // no namespace command is sent.
        {"opcode=0x06", "Identify Controller failed", kMandatory, "Model"},
        {"opcode=0x06,after=2", "Identify Namespace 1 failed", kMandatory, "Size"},
        // A drive that cannot list its active namespaces is allowed to: the size is namespace 1's.
        {"opcode=0x06,cns=2", "Identify Active Namespace List failed", kAllowed, "", "Size",
         "2000398934016 Bytes"},
        {"opcode=0x02,log=2", "Get Log Page 0x02 failed", kMandatory, "Power On Hours", "Serial Number (SN)",
         "RICH14000000000042  "},
        // A later piece of the telemetry log, the read after the event log's context is established,
        // the last temperature threshold.
        {"opcode=0x02,log=7,after=2", "Get Log Page 0x07 failed"},
        {"opcode=0x02,log=13,after=1", "Get Log Page 0x0D failed"},
        {"opcode=0x0A,feature=4,after=9", "Get Feature 4 (0x180000) failed"},
    };
    for (const unsigned int log : {0x01, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x0D}) {
        const std::string id = {'0', 'x', "0123456789ABCDEF"[log >> 4], "0123456789ABCDEF"[log & 15]};
        cases.push_back(
            {"opcode=0x02,log=" + id, "Get Log Page " + id + " failed", log <= 3 ? kMandatory : kOptional});
    }
    for (const unsigned int feature : {1, 2, 4, 5, 6, 8, 10, 11, 12, 13, 14, 15, 16, 17}) {
        const std::string id = std::to_string(feature);
        cases.push_back({"opcode=0x0A,feature=" + id, "Get Feature " + id + " failed"});
    }
    for (const auto& c : cases) {
        for (const auto& [way, code] : {std::pair<std::string, int>{"errno=5", 5},
                                        {"status=0x4006", 0x4006},
                                        {"status=0x4002", 0x4002}}) {
            SCOPED_TRACE(c.selector + "," + way);
            const bool not_offered = code == 0x4002 && c.kind != kMandatory;
            const bool passes = c.kind == kAllowed || not_offered;
            const auto run = RunBrantixOnProfile("rich-1.4", Options("read"), c.selector + "," + way);
            EXPECT_EQ(run.exit_code, passes ? 0 : 22) << run.console;
            const Json::Value info = JsonFile(run, "nvme.info.json");
            const std::string name = c.status.substr(0, c.status.size() - std::string(" failed").size());
            EXPECT_EQ(
                info["_metadata"]["read status"].asString() + "|" +
                    JsonFile(run, "read.summary.json")["read details"]["sample"][0]["message"].asString() +
                    "|" + info["_metadata"]["not supported"].toStyledString(),
                (passes ? "All commands passed|PASSED|" : c.status + "|Sample 1 failed read|") +
                    (not_offered ? "[\n\t\"" + name + "\"\n]\n" : "[]\n"));
            EXPECT_EQ(testing_support::ParameterValue(info, c.witness), c.value);
            EXPECT_TRUE(c.absent.empty() ||
                        testing_support::ParameterValue(info, c.absent) == testing_support::ABSENT);
            // The first refused command carries the errno or the status as its return code.
            int first = 0;
            for (const auto& command : info["_metadata"]["commands"]) {
                first = first != 0 ? first : command["return code"].asInt();
            }
            EXPECT_EQ(first, code);
        }
    }
}

// Runs cut short: the drive vanishing part way ("vanish=N": gone after N commands) or refusing the
// operations' Identify, Ctrl-C at each phase of an operation (once the journal shows `count` commands with
// `opcode`; the Ctrl-C once it has started is among each operation's own cases), SIGTERM and SIGHUP raised
// by the simulator as a command completes, and log directories that cannot be made or take no file (a log
// directory below a file is among the refused command lines). No run leaves a temporary file.
TEST(Faults, RunsCutShort) {
    const std::string aborted = " SELF-TEST PASSED";
    const std::string monitoring = "Sanitize monitoring was interrupted; the drive goes on sanitizing";
    const std::string unwritable = "Failed writing JSON data to '<dir>/";
    const std::string ctrl_c = " <CTRL C> detected, gracefully exiting";
    const struct {
        std::string command;
        std::string faults;
        unsigned int opcode;
        unsigned int count;
        std::string blocker;  // -d /proc, or a folder where this file of the log directory goes
        int rc;
        std::string message;
        std::string started = "";  // with Ctrl-C: cdw10 of the self-test or sanitize commands sent
    } cases[] = {
        // Three Identify commands, log pages 01h to 06h and the telemetry header; its data is lost.
        {"read", "vanish=10", 0, 0, "", 22, " Found errors"},
        // Identify, the self-test log and the SMART log, then the start is lost.
        {"selftest-short", "vanish=3", 0, 0, "", 31, "Self-test did NOT start"},
        {"selftest-short", "vanish=4", 0, 0, "", 33, " SELF-TEST FAILED"},
        {"sanitize-block", "vanish=3", 0, 0, "", 43, "Sanitize did NOT start"},
        {"sanitize-block", "vanish=4", 0, 0, "", 44, " SANITIZE FAILED"},
        // Without Identify nothing is known of the drive's support: no verdict on it.
        {"selftest-short", "opcode=0x06,errno=19", 0, 0, "", 17, "Failed to read Identify Controller"},
        {"sanitize-block", "opcode=0x06,errno=19", 0, 0, "", 17, "Failed to read Identify Controller"},
        // Identify, and a poll of the self-test log: the test is aborted.
        {"selftest-short", "", 0x06, 1, "", 0, aborted, "1,15"},
        {"selftest-short", "", 0x02, 5, "", 0, aborted, "1,15"},
        // A poll of the status log: the sanitize goes on.
        {"sanitize-block", "", 0x02, 5, "", 44, monitoring, "2"},
        // Ctrl-C as Identify completes: before the start a sanitize is never sent.
        {"sanitize-block", "opcode=0x06,signal=2", 0, 0, "", 43, "Sanitize did NOT start: interrupted"},
        // A read's Identify, log pages and features of sample 1, and the first feature of sample 2: the
        // sample
        // in hand is finished, written and recorded; the verdict counts those before it.
        {"read", "", 0x06, 1, "", 0, ctrl_c},
        {"read", "", 0x02, 1, "", 0, ctrl_c},
        {"read", "", 0x0A, 1, "", 0, ctrl_c},
        {"read", "", 0x0A, 24, "", 0, ctrl_c},
        // SIGTERM (a service stopped) and SIGHUP (a closed terminal) as Ctrl-C: at the SMART log of sample 3
        // of a 5-sample read, at the first status poll of a self-test (aborted) and of a sanitize (goes on).
        {"read", "opcode=0x02,log=0x02,after=2,signal=15", 0, 0, "", 0,
         " <SIGTERM> detected, gracefully exiting"},
        {"selftest-short", "opcode=0x02,log=0x06,after=1,signal=15", 0, 0, "", 0, aborted, "1,15"},
        {"sanitize-block", "opcode=0x02,log=0x81,after=1,signal=1", 0, 0, "", 44, monitoring, "2"},
        {"read", "", 0, 0, "/proc", 16, "Failed to make log directory: /proc: No such file or directory"},
        {"read", "", 0, 0, "read.summary.json", 17, unwritable + "read.summary.json': Is a directory"},
        {"read", "", 0, 0, "nvme.info.json", 17, unwritable + "nvme.info.json': Is a directory"},
        {"selftest-short", "", 0, 0, "selftest.summary.json", 17,
         unwritable + "selftest.summary.json': Is a directory"},
        {"sanitize-block", "", 0, 0, "sanitize.summary.json", 17,
         unwritable + "sanitize.summary.json': Is a directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command + " " + c.faults + " " + std::to_string(c.opcode) + " " + c.blocker);
        const testing_support::TempFolder logs("faults");
        const std::string polls = R"({"self-test": {"polls": 3000}, "sanitize": {"polls": 3000}})";
        const bool signalled = c.faults.find("signal") != std::string::npos;
        const bool endless = c.command == "read" && (c.opcode != 0 || signalled);
        RunOptions options = Options(
            c.command,
            endless ? R"({"log sample rate": 0, "samples": )" + std::string(signalled ? "5}" : "100000}")
                    : "{}",
            c.opcode == 0 ? "" : polls);
        if (c.blocker == "/proc") {
            options.args.insert(options.args.end(), {"-d", "/proc"});
        } else if (!c.blocker.empty()) {
            options.args.insert(options.args.end(), {"-d", logs.dir.string()});
            std::filesystem::create_directory(logs.dir / c.blocker);
        }
        const auto run = c.opcode == 0
                             ? RunBrantixOnProfile("demo", options, c.faults)
                             : testing_support::RunBrantixInterrupted("demo", options, c.opcode, c.count);
        ExpectWholeFiles(run.dir);
        ExpectWholeFiles(logs.dir);
        const auto journal = run.Journal();
        std::string started;
        for (const auto& command : journal) {
            const unsigned int opcode = command["opcode"].asUInt();
            if (opcode == 0x14 || opcode == 0x84) {
                started += (started.empty() ? "" : ",") + command["cdw10"].asString();
            }
        }
        EXPECT_EQ(run.exit_code, c.rc) << run.console;
        EXPECT_TRUE(HasLine(run.console, WithDir(c.message, logs.dir))) << run.console;
        EXPECT_TRUE((c.opcode == 0 && !signalled) || started == c.started) << started;
        if (endless) {
            const Json::Value summary = JsonFile(run, "read.summary.json");
            const unsigned int taken = summary["read details"]["sample"].size();
            EXPECT_GE(taken, c.count == 1 ? 1u : 2u);
            EXPECT_EQ(summary["_cmd"]["message"].asString(),
                      " No errors found on " + std::to_string(taken - 1) + " samples");
            for (const auto& sample : {std::string("1"), std::to_string(taken)}) {
                EXPECT_EQ(JsonFile(run, "nvme.info.sample-" + sample + ".json")["_metadata"]["result"],
                          "PASS");
            }
        }
        if (c.command == "read" && !c.faults.empty() && !signalled) {
            const Json::Value info = JsonFile(run, "nvme.info.json");
            EXPECT_EQ(
                info["_metadata"]["read status"].asString(),
                "Get Log Page 0x07, Get Log Page 0x08, Get Log Page 0x0D, Get Feature 1, Get Feature 2, "
                "Get Feature 4, Get Feature 5, Get Feature 6, Get Feature 8, Get Feature 10, Get Feature 11, "
                "Get Feature 12, Get Feature 13, Get Feature 14, Get Feature 15, Get Feature 16, Get "
                "Feature 17 failed");
            EXPECT_EQ(testing_support::ParameterValue(info, "Power On Hours"), "8,760");
        }
    }
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

// A file size limit: a complete run's files survive a second run whose first write fails, and a long run
// that hits the limit part way keeps the samples written before it.
TEST(Faults, WritesThatFailPartWay) {
    const testing_support::TempFolder logs("faults");
    RunOptions options = Options("read", R"({"log hex data": true})");
    options.args.insert(options.args.end(), {"-d", logs.dir.string()});
    ASSERT_EQ(RunBrantixOnProfile("demo", options).exit_code, 0);
    const std::string info = testing_support::ReadFile(logs.dir / "nvme.info.json");
    const std::string summary = testing_support::ReadFile(logs.dir / "read.summary.json");
    const FileSizeLimit limit(256 * 1024);
    auto run = RunBrantixOnProfile("demo", options);
    EXPECT_EQ(run.exit_code, 17) << run.console;
    EXPECT_TRUE(HasLine(run.console, "Failed writing JSON data to '" + logs.Path("nvme.info.json") + "'"))
        << run.console;
    EXPECT_EQ(testing_support::ReadFile(logs.dir / "nvme.info.json"), info);
    EXPECT_EQ(testing_support::ReadFile(logs.dir / "read.summary.json"), summary);
    ExpectWholeFiles(logs.dir);

    run = RunBrantixOnProfile("demo", Options("read", R"({"samples": 1000, "log sample rate": 1})"));
    EXPECT_EQ(run.exit_code, 17) << run.console;
    EXPECT_TRUE(std::regex_search(run.console, std::regex("(^|\n)Failed writing JSON data to '" +
                                                          std::filesystem::canonical(run.dir).string() +
                                                          "/read\\.summary\\.json\\.commands-[0-9]+'\n")))
        << run.console;
    EXPECT_TRUE(run.Exists("nvme.info.sample-2.json"));
    EXPECT_FALSE(run.Exists("read.summary.json"));
    ExpectWholeFiles(run.dir);
}

// Command, rules, compare and metrics files that are missing, empty, not JSON, of the wrong JSON type,
// huge, or full of unexpected types, and drives named or not found: none leaves a self-test or sanitize
// running, and a run refused before its first sample has sent the drive nothing.
TEST(Faults, BrokenInputsAndDrives) {
    const std::string deep(3'000'000, '[');
    const std::string padding = "[\"" + std::string(4'000'000, 'x') + "\"]";
    std::string many_rules = R"({"rules": [)";
    for (int i = 0; i < 100'000; ++i) {
        many_rules += (i == 0 ? "" : ", ") + std::string(R"("'Model' not-match X")");
    }
    many_rules += "]}";
    const std::string read_fails = R"({"_metadata": {"file type": "nvme info"}, "nvme": )";
    const std::string unparsed = "Failed to parse JSON in command file: x.cmd.json: ";
    const std::string bad_rules = "Failed parsing JSON data from file '<dir>/r.rules.json': ";
    const std::string bad_compare = "Invalid compare file: <dir>/c.json: ";
    const std::string empty = "Line 1, Column 1: Syntax error: value, object or array expected.";
    const std::string too_deep = "Exceeded stackLimit in readValue().";
    const std::string rules = R"({"rules file": "r.rules.json"})";
    const std::string denied =
        "Failed to open file descriptor for NVME drive '/dev/nvme0': Permission denied (run as root or as a "
        "user allowed to open /dev/nvme0 read-write)";
    const std::string compare = R"({"compare file": "c.json"})";
    const auto read = [](const std::string& changes) {
        return testing_support::CommandFile("read", {changes});
    };
    const struct {
        std::string changes;  // of the read, unless the file is x.cmd.json itself
        std::string file;
        std::string content;
        int rc;
        std::string message;  // a console line, with <dir> for the run's folder
        std::string args = "";
        std::string command = "read";
        std::string profile = "demo";
        std::string faults = "";
    } cases[] = {
        {"{}", "x.cmd.json", "", 16, unparsed + empty},
        {"{}", "x.cmd.json", R"({"command type": )", 16,
         unparsed + "Line 1, Column 18: Syntax error: value, object or array expected."},
        {"{}", "x.cmd.json", R"(["read"])", 16, unparsed + "not a JSON object"},
        {"{}", "x.cmd.json", deep, 16, unparsed + too_deep},
        {"{}", "x.cmd.json", read(R"({"padding": )" + padding + "}"), 0, " No errors found "},
        {"{}", "x.cmd.json",
         testing_support::CommandFile("sanitize-block", {R"({"sanitize type": "erase"})"}), 16,
         "Unsupported sanitize type: erase", "-n 0"},
        {R"({"rules file": "absent"})", "", "", 16,
         "Failed to find rules file: absent.rules.json (looked for <dir>/absent.rules.json and " +
             std::string(BRANTIX_SOURCE_DIR) + "/commands/absent.rules.json)"},
        {rules, "r.rules.json", "", 17, bad_rules + empty},
        {rules, "r.rules.json", deep, 17, bad_rules + too_deep},
        {rules, "r.rules.json", "[]", 17,
         "Invalid rules file, missing JSON 'rules' root member: <dir>/r.rules.json"},
        {rules, "r.rules.json", R"({"rules": "x"})", 17,
         "Invalid rules file, 'rules' is not a list of rules: <dir>/r.rules.json"},
        {rules, "r.rules.json", R"({"rules": [1, null, "'Model' match X"]})", 16,
         " Rule Error: Rule 2 is not a text"},
        {rules, "r.rules.json", R"({"rules": ["'Nothing' < 1"]})", 16,
         "Invalid rule file: <dir>/r.rules.json"},
        {rules, "r.rules.json", many_rules, 0, " No errors found "},
        {R"({"compare file": "absent.json"})", "", "", 16, "Failed to find compare file: <dir>/absent.json"},
        {compare, "c.json", "", 16, bad_compare + "not JSON: " + empty},
        {compare, "c.json", deep, 16, bad_compare + "not JSON: " + too_deep},
        {compare, "c.json", "[1]", 16,
         bad_compare + R"(not a drive information file (its "_metadata" has no "file type" "nvme info"))"},
        {compare, "c.json", read_fails + R"({"parameters": {"Model": 5, "Power On Hours": {"value": {}}}}})",
         22, "Compare fail: 'Model' value 'Brantix Sim Rich 2TB NVMe 1.4' does not match compare value ''"},
        {compare, "c.json", read_fails + R"([], "padding": )" + padding + "}", 16,
         bad_compare + R"(no "nvme" / "parameters" object)"},
        {R"({"metrics file": "missing/brantix.prom"})", "", "", 16,
         "Failed to find folder of metrics file: <dir>/missing/brantix.prom"},
        {R"({"metrics file": 5})", "", "", 16, "'metrics file' must be a string, not 5"},
        // A failing drive list is ignored when a drive is named, and -s -1 and -i -1 count as not given, so
        // a self-test is not refused.
        {"{}", "", "", 17,
         "Failed to open file descriptor for NVME drive '/dev/nvme3': No such file or directory (the "
         "controller is gone; /sys/class/nvme lists those present)",
         "--nvme 3 -s -1 -i -1", "selftest-short", "no-drives"},
        {"{}", "", "", 19, "NVMe drive 5 was not found", "--nvme 5", "read", "plain-1.2.1"},
        // A drive that will not open ends every command type the same way, with the system's reason.
        {"{}", "", "", 17, denied, "", "read", "demo", "open=13"},
        {"{}", "", "", 17, denied, "", "selftest-short", "demo", "open=13"},
        {"{}", "", "", 17, denied, "-n 0", "sanitize-block", "demo", "open=13"},
        // A drive is named as 1, nvme1 or /dev/nvme1; a sanitize only on a drive named.
        {"{}", "", "", 0, " NVMe:            /dev/nvme1", "-n nvme1", "read", "dual-namespace"},
        {"{}", "", "", 0, " NVMe:            /dev/nvme1", "--nvme /dev/nvme1", "read", "dual-namespace"},
        {"{}", "", "", 16,
         "Invalid drive for --nvme: '/dev/nvme0n1' (give the controller as 1, nvme1 or /dev/nvme1, or * for "
         "the first one)",
         "-n /dev/nvme0n1"},
        {"{}", "", "", 16, "Sanitize needs the drive named with --nvme (it erases all data)", "-n *",
         "sanitize-block"},
        {"{}", "", "", 18,
         "Failed to get list of NVMe drives from OS and NVMe drive not specified (eg: --nvme 0)\n"
         " Error Message: No NVMe drives found",
         "", "read", "no-drives"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file + " " + c.changes + " " + c.content.substr(0, 80));
        RunOptions options = Options(c.command, c.changes);
        if (!c.file.empty()) {
            options.files[c.file] = c.content;
        }
        for (const auto& word : testing_support::Words(c.args)) {
            options.args.push_back(word);
        }
        const auto run = RunBrantixOnProfile(c.profile, options, c.faults);
        EXPECT_EQ(run.exit_code, c.rc) << run.console.substr(0, 4000);
        EXPECT_TRUE(HasLine(run.console, WithDir(c.message, std::filesystem::canonical(run.dir))))
            << run.console.substr(0, 4000);
        ExpectWholeFiles(run.dir, c.file);
        const auto journal = run.Journal();
        EXPECT_TRUE(c.rc != 16 || journal.empty());
        EXPECT_EQ(run.Exists("read.summary.json"), c.command == "read" && (c.rc == 0 || c.rc == 22));
        for (const auto& command : journal) {
            EXPECT_TRUE(command["opcode"].asUInt() != 0x14u && command["opcode"].asUInt() != 0x84u);
        }
    }
}

}  // namespace
