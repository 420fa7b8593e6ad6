// The command line, command file checks, usage texts, trace log placement and
// return codes, seen from outside: the real binary run in a fresh directory.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <vector>

#include "orka.h"
#include "orka_data.h"
#include "orka_nvme.h"
#include "support/simulator.h"

namespace {

using testing_support::CommandFile;
using testing_support::RunBrantix;
using testing_support::RunOptions;
using testing_support::RunResult;
using Lines = std::vector<std::string>;

const std::string DASHES(128, '-');
const std::string HEADER_PATTERN =
    R"( brantix 0\.9\.8\.0 - \d{4}-\d\d-\d\d - Copyright \(c\) 2026 the brantix authors - website: https://brantix\.example\.org)";
const std::string STAMP = R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]  )";

const Lines BRIEF_USAGE = {
    " ",
    " brantix <command file> [-n,--nvme #] [-d,--dir <directory>] [COMMAND-OPTIONS] [-x,-v,-h,-u] [--export]",
    " ",
    "   <command file>                  Path to command file with or without .cmd.json extension (default: "
    "read)",
    "   -n, --nvme  #                   Physical drive number. Example: 0 for nvme0 or PHYSICALDRIVE0 "
    "(default: *)",
    "   -d, --dir  <log directory>      Directory to log results (default: .)",
    " ",
    "   -r, --rules <rules file>        Path to rules file with or without .rules.json extension",
    "   -c, --compare <compare file>    Path to file to compare.  Must include full name with extension.",
    "   -i, --interval <interval>       Interval in mS between read samples.",
    "   -s, --samples <samples>         Number of read samples.",
    " ",
    "   -e, --extended                  Run extended self-test ",
    " ",
    "   -u, --usage                     Display this usage information",
    "   -h, --help                      Display verbose help information",
    "   -x                              Extra logging for debug",
    "   -v                              Verbose logging",
    " ",
};

const Lines VERBOSE_HELP = {
    " ",
    " brantix <command file> [-n,--nvme #] [-d,--dir <directory>] [COMMAND-OPTIONS] [-x,-v,-h,-u] [--export]",
    " ",
    "    <command file>                 Path command file with or without .cmd.json extension",
    "                                   Example: brantix.exe read ",
    "                                         Runs read.cmd.json from local directory",
    "   -n, --nvme #                    Physical drive number. Example: 0 for nvme0 or PHYSICALDRIVE0 "
    "(default: *)",
    "                                   Specifying * reads the first nvme drive reported by the OS",
    "                                   Example: -n 0",
    "                                      In Windows reads PHYSICALDRIVE0, in linux reads nvme0",
    "   -d, --dir  <log directory>      Directory to log results",
    "                                   The default log directory is the local directory: .",
    "                                   Example: brantix  read ",
    "                                         Logs to: .",
    "                                   Example: brantix read  --dir \\results\\mylog",
    "                                         In Windows logs to: \\results\\mylog",
    " ",
    "  COMMAND-OPTIONS for read command type:",
    " ",
    "   -r, --rules <rules file>        Path to rules file with or without .rules.json extension",
    "                                   Only applies to command type read",
    "                                   Overides the rules file specified in cmd file",
    "                                   Example: brantix read  -rules new-drive ",
    "                                         Uses new-drive.rules.json in local directory",
    "   -c, --compare <compare file>    Path to file to compare.  Must include full name with extension.",
    "                                   The file to compare must a nvme.info.json file",
    "                                   Only applies to command type read",
    "                                   Overides the compare file specified in cmd file",
    "                                   Linux Example: --compare ./compare_files/nvme.info.json",
    "                                   Windows Example: --compare "
    "\\dravoint\\results\\verify-new-drive-001\\nvme.info.json",
    "   -i, --interval <interval>       Interval in mS between read samples",
    "                                   Only applies to command type read when reading more than 1 sample",
    "                                   Overides the rules file specified in cmd file",
    "   -s, --samples <samples>         Number of read samples ",
    "                                   Only applies to command type read",
    "                                   Overides the rules file specified in cmd file",
    " ",
    "  COMMAND-OPTIONS for self-test command type:",
    " ",
    "   -e, --extended                  Run extended self-test ",
    "                                   Only applies to command type self-tests",
    "                                   Overides the rules file specified in cmd file",
    " ",
    "   -u, --usage                     Display this usage information",
    "   -h, --help                      Display verbose help information",
    "   -x                              Extra logging for debug to console and brantix.trace.log",
    "   -v                              Verbose logging to console and brantix.trace.log",
    " ",
    "   --export                        Export parameter list to parameter_list.json and ALL.filter.json",
    " ",
};

std::string ExampleCommandFile(const std::string& name) {
    return testing_support::ReadFile(std::string(BRANTIX_SOURCE_DIR) + "/commands/" + name);
}

// Every file under the run directory, as paths relative to it.
std::set<std::string> FilesIn(const std::filesystem::path& dir) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        if (entry.is_regular_file()) {
            files.insert(std::filesystem::relative(entry.path(), dir).string());
        }
    }
    return files;
}

std::set<std::string> InputsPlusTraceLog(const RunOptions& options) {
    std::set<std::string> files{"brantix.trace.log"};
    for (const auto& [name, content] : options.files) {
        files.insert(name);
    }
    return files;
}

// The header's middle line carries the build date; the others are exact.
void ExpectHeader(const Lines& lines, std::size_t at) {
    ASSERT_GE(lines.size(), at + 3);
    EXPECT_EQ(lines[at], DASHES);
    EXPECT_TRUE(std::regex_match(lines[at + 1], std::regex(HEADER_PATTERN))) << lines[at + 1];
    EXPECT_EQ(lines[at + 2], DASHES);
}

// The line logged once the command file has been read.
std::string CommandFileLine(const RunResult& run, const std::string& name) {
    return " Command file:   " + std::filesystem::canonical(run.dir).string() + "/" + name;
}

// Console of a usage error: [header], [the command file line], brief usage,
// "USAGE ERROR", message, verdict.
void ExpectUsageFailure(const RunResult& run, bool header, const Lines& message, int rc,
                        const std::string& readFile = "") {
    Lines lines = run.ConsoleLines();
    std::size_t first = 0;
    if (header) {
        ExpectHeader(lines, 0);
        first = 3;
    }
    Lines expected;
    if (!readFile.empty()) {
        expected.push_back(CommandFileLine(run, readFile));
    }
    expected.insert(expected.end(), BRIEF_USAGE.begin(), BRIEF_USAGE.end());
    expected.push_back("USAGE ERROR");
    expected.insert(expected.end(), message.begin(), message.end());
    expected.push_back("[FAIL] brantix returned " + std::to_string(rc));
    EXPECT_EQ(Lines(lines.begin() + static_cast<long>(std::min(first, lines.size())), lines.end()), expected)
        << run.console;
    EXPECT_EQ(run.exit_code, rc);
}

TEST(CommandLine, UsageAndHelpPrintTheirTextsAndPass) {
    struct Case {
        std::vector<std::string> args;
        Lines console;
    };
    const std::vector<Case> cases = {
        {{"--usage"}, BRIEF_USAGE},
        {{"-h"}, VERBOSE_HELP},
        // An unknown argument is only remembered; a later help request wins.
        {{"read", "--bogus", "-h"}, VERBOSE_HELP},
        // Parsing stops at the request: the missing value of -d is never seen.
        {{"-u", "-d"}, BRIEF_USAGE},
    };
    for (const auto& c : cases) {
        RunOptions options;
        options.args = c.args;
        const RunResult run = RunBrantix(options);
        EXPECT_EQ(run.exit_code, 0) << c.args[0];
        EXPECT_EQ(run.ConsoleLines(), c.console) << c.args[0];
        // The texts also land in the trace log, as info records.
        const Lines trace = run.Lines("brantix.trace.log");
        ASSERT_EQ(trace.size(), c.console.size());
        for (std::size_t i = 0; i < trace.size(); ++i) {
            EXPECT_TRUE(std::regex_match(trace[i], std::regex(STAMP + ".*"))) << trace[i];
            EXPECT_EQ(trace[i].substr(27), c.console[i]);
        }
        EXPECT_EQ(FilesIn(run.dir), InputsPlusTraceLog(options));
    }
    EXPECT_EQ(BRIEF_USAGE.size(), 19u);
}

struct Refused {
    std::vector<std::string> args;
    Lines message;
    std::string file = "";  // the one command file in the run directory
    std::string content = "";
    bool read = false;  // the command file was read before the error
    bool header = true;
};

Lines Invalid(const std::string& argument) {
    return {"Invalid parameter on command line: '" + argument + "'", ""};
}

std::string Missing(const std::string& key, const std::string& type) {
    return "Invalid cmd file, missing parameter '" + key + "' required for '" + type + "' cmd type ";
}

TEST(CommandLine, RefusedRunsReportUsageErrorsAndWriteOnlyTheTraceLog) {
    const std::string read = ExampleCommandFile("read.cmd.json");
    const std::string selftest = ExampleCommandFile("selftest-short.cmd.json");
    const std::string sanitize = ExampleCommandFile("sanitize-crypto.cmd.json");
    const auto typed = [](const std::string& type) {
        return CommandFile("read", {R"({"command type": ")" + type + "\"}"});
    };
    const std::vector<Refused> cases = {
        {{"--bogus"}, Invalid("--bogus")},
        // the last bad argument wins; only the first argument names the command file
        {{"read", "-q", "--what"}, Invalid("--what"), "read.cmd.json", read},
        {{"-e", "mytest"}, Invalid("mytest"), "mytest.cmd.json", read},
        {{"-x", "-d"}, {"-d is missing a value"}, "", "", false, false},
        {{}, {"Did not find command file: read.cmd.json", ""}},
        {{"broken"},
         {"Failed to parse JSON in command file: broken.cmd.json"},
         "broken.cmd.json",
         "{ \"command type\": "},
        {{"list.cmd.json"},
         {"Failed to parse JSON in command file: list.cmd.json"},
         "list.cmd.json",
         "[1, 2]"},
        {{"fmt"}, {"cmd file contains illegal cmd type: format"}, "fmt.cmd.json", typed("format"), true},
        {{"upper"}, {"cmd file contains illegal cmd type: Read"}, "upper.cmd.json", typed("Read"), true},
        {{},
         {Missing("read log page 0Dh", "read"), Missing("samples", "read"), Missing("high priority", "read"),
          ""},
         "read.cmd.json",
         CommandFile("read", {}, {"samples", "read log page 0Dh", "high priority"}),
         true},
        {{"-e"}, {"Command type read does not use --extended"}, "read.cmd.json", read, true},
        {{"st", "-r", "rules"},
         {"Command type self-test does not use rules file"},
         "st.cmd.json",
         selftest,
         true},
        {{"sz", "-c", "x.json", "-s", "2"},
         {"Command type sanitize does not use compare file"},
         "sz.cmd.json",
         sanitize,
         true},
        {{"st"},
         {"Command type self-test does not use compare file"},
         "st.cmd.json",
         CommandFile("selftest-short", {R"({"compare file": "old.json"})"}),
         true},
        {{"st", "-s", "3"}, {"Command type self-test does not use --samples"}, "st.cmd.json", selftest, true},
        {{"sz.cmd.json", "--interval", "0"},
         {"Command type sanitize does not use --interval"},
         "sz.cmd.json",
         sanitize,
         true},
        {{"sz"},
         {Missing("sanitize type", "sanitize"), ""},
         "sz.cmd.json",
         CommandFile("sanitize-block", {}, {"sanitize type"}),
         true},
    };
    for (const auto& c : cases) {
        RunOptions options;
        options.args = c.args;
        if (!c.file.empty()) {
            options.files[c.file] = c.content;
        }
        const RunResult run = RunBrantix(options);
        SCOPED_TRACE(run.console);
        ExpectUsageFailure(run, c.header, c.message, 16, c.read ? c.file : "");
        EXPECT_EQ(FilesIn(run.dir), InputsPlusTraceLog(options));
    }
}

TEST(CommandLine, UnparsableNumberIsAnUnhandledException) {
    RunOptions options;
    options.args = {"-s", "many"};
    const RunResult run = RunBrantix(options);
    EXPECT_EQ(run.exit_code, 17);
    const Lines lines = run.ConsoleLines();
    ASSERT_EQ(lines.size(), 5u) << run.console;
    EXPECT_EQ(lines[0], "");
    EXPECT_EQ(lines[1], "Unhandled Exception:");
    EXPECT_EQ(lines[2], "stoi");
    EXPECT_TRUE(std::regex_match(lines[3], std::regex(R"( @ Main:  source/brantix \d+)"))) << lines[3];
    EXPECT_EQ(lines[4], "[FAIL] brantix returned 17");
}

TEST(CommandLine, TraceLogMovesIntoTheLogDirectory) {
    RunOptions options;
    options.args = {"-d", "logs/run/one"};
    options.files = {{"read.cmd.json", CommandFile("read", {}, {"samples"})}};
    const RunResult run = RunBrantix(options);
    EXPECT_EQ(run.exit_code, 16);
    ASSERT_TRUE(run.Exists("logs/run/one/brantix.trace.log"));
    const Lines trace = run.Lines("logs/run/one/brantix.trace.log");
    ASSERT_GE(trace.size(), 4u);
    EXPECT_TRUE(
        std::regex_match(trace[0], std::regex(STAMP + "Command '" + BRANTIX_BINARY + " -d logs/run/one'")))
        << trace[0];
    EXPECT_EQ(trace[1].substr(27), DASHES);
    EXPECT_TRUE(std::regex_match(trace[2], std::regex(STAMP + HEADER_PATTERN))) << trace[2];
    EXPECT_EQ(trace[3].substr(27), DASHES);
    EXPECT_TRUE(std::regex_match(trace.back(),
                                 std::regex(STAMP + R"(FATAL \[\w+@\d+\] \[FAIL\] brantix returned 16)")))
        << trace.back();
    // The command line record is for the file only.
    EXPECT_EQ(run.console.find("Command '"), std::string::npos);
    ExpectHeader(run.ConsoleLines(), 0);
    // The file opened first in the working directory stays, empty.
    EXPECT_EQ(run.Read("brantix.trace.log"), "");
    EXPECT_EQ(FilesIn(run.dir), (std::set<std::string>{"brantix.trace.log", "read.cmd.json",
                                                       "logs/run/one/brantix.trace.log"}));
}

TEST(CommandLine, SecondRunStartsAFreshTraceLog) {
    const auto logs = testing_support::MakeTempDir("logs");
    const std::string old = "[2020-01-01 00:00:00.000]  an earlier run\n";
    std::ofstream(logs / "brantix.trace.log") << old;
    RunOptions options;
    options.args = {"nosuch", "-d", logs.string()};
    const RunResult run = RunBrantix(options);
    EXPECT_EQ(run.exit_code, 16);
    const std::string trace = testing_support::ReadFile(logs / "brantix.trace.log");
    EXPECT_EQ(trace.find("an earlier run"), std::string::npos);
    EXPECT_EQ(trace.rfind("[", 0), 0u);
    EXPECT_NE(trace.find("Command '"), std::string::npos);
    EXPECT_NE(trace.find("Did not find command file: nosuch.cmd.json"), std::string::npos);
    std::filesystem::remove_all(logs);
    std::filesystem::remove_all(run.dir);
}

TEST(CommandLine, LogDirectoryThatCannotBeMade) {
    // Below a file, and a file itself (which exists, but takes no trace log).
    for (const std::string logs : {"blocker/logs", "blocker"}) {
        RunOptions options;
        options.args = {"-d", logs};
        options.files = {{"blocker", "a file, not a directory"}};
        const RunResult run = RunBrantix(options);
        const std::string dir = std::filesystem::canonical(run.dir).string();
        ExpectUsageFailure(run, true, {"Failed to make log directory: " + dir + "/" + logs}, 16);
        // The trace log stays in the working directory.
        const Lines trace = run.Lines("brantix.trace.log");
        ASSERT_FALSE(trace.empty());
        EXPECT_TRUE(std::regex_match(trace[0], std::regex(STAMP + "Command '.* -d " + logs + "'")))
            << trace[0];
        EXPECT_EQ(FilesIn(run.dir), InputsPlusTraceLog(options));
        EXPECT_EQ(run.Read("blocker"), "a file, not a directory");
    }

    // An unknown argument is reported before the directory failure.
    RunOptions options;
    options.args = {"-d", "blocker/logs", "--bogus"};
    options.files = {{"blocker", "a file, not a directory"}};
    ExpectUsageFailure(RunBrantix(options), true, {"Invalid parameter on command line: '--bogus'", ""}, 16);
}

TEST(CommandLine, DebugSwitchShowsFileDetail) {
    struct Case {
        std::vector<std::string> args;
        bool debug;
    };
    const std::vector<Case> cases = {{{"read", "-x"}, true}, {{"read", "-v"}, true}, {{"read"}, false}};
    for (const auto& c : cases) {
        RunOptions options;
        options.args = c.args;
        options.files = {{"read.cmd.json", CommandFile("read", {}, {"fail limit"})}};
        const RunResult run = RunBrantix(options);
        EXPECT_EQ(run.exit_code, 16);
        const std::regex line(
            R"(Read JSON data from file 'read\.cmd\.json' in \d+\.\d{3} (Milli)?[Ss]econds.*)");
        bool onConsole = false;
        for (const auto& text : run.ConsoleLines()) {
            onConsole = onConsole || std::regex_match(text, line);
        }
        bool inFile = false;
        for (const auto& text : run.Lines("brantix.trace.log")) {
            inFile = inFile || (text.size() > 27 && std::regex_match(text.substr(27), line));
        }
        EXPECT_EQ(onConsole, c.debug) << run.console;
        EXPECT_EQ(inFile, c.debug);
    }
}

TEST(CommandLine, ExportWritesTheCatalogueThenGoesOn) {
    RunOptions options;
    options.args = {"--export"};
    const RunResult run = RunBrantix(options);
    ExpectUsageFailure(run, true, {"Did not find command file: read.cmd.json", ""}, 16);
    EXPECT_EQ(FilesIn(run.dir),
              (std::set<std::string>{"brantix.trace.log", "ALL.filter.json", "parameter_list.json"}));

    orka::ExpandParameterCatalogue();
    ASSERT_FALSE(orka::PARAMETER_INFO.empty());
    Json::Value filter;
    Json::Value list;
    orka::ReadJsonFile((run.dir / "ALL.filter.json").string(), filter);
    orka::ReadJsonFile((run.dir / "parameter_list.json").string(), list);
    ASSERT_EQ(filter.getMemberNames(), std::vector<std::string>{"filter"});
    ASSERT_EQ(list.getMemberNames(), std::vector<std::string>{"parameters"});
    ASSERT_EQ(filter["filter"].size(), 1137u);
    ASSERT_EQ(filter["filter"].size(), orka::PARAMETER_INFO.size());
    ASSERT_EQ(list["parameters"].size(), orka::PARAMETER_INFO.size());
    Json::ArrayIndex i = 0;
    for (const auto& [name, info] : orka::PARAMETER_INFO) {
        EXPECT_EQ(name.find('#'), std::string::npos);
        EXPECT_EQ(filter["filter"][i].asString(), name);
        Json::Value entry;
        entry["name"] = name;
        entry["description"] = info.description;
        entry["source"] = info.source;
        EXPECT_EQ(list["parameters"][i], entry);
        ++i;
    }

    // Run from a directory holding a command file, the run carries on past the export.
    options.files = {{"read.cmd.json", CommandFile("read", {}, {"rules file"})}};
    const RunResult goesOn = RunBrantix(options);
    ExpectUsageFailure(goesOn, true,
                       {"Invalid cmd file, missing parameter 'rules file' required for 'read' cmd type ", ""},
                       16, "read.cmd.json");
    EXPECT_TRUE(goesOn.Exists("ALL.filter.json"));
    EXPECT_TRUE(goesOn.Exists("parameter_list.json"));
}

}  // namespace
