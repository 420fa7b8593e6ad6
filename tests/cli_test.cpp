// The command line, command file checks, usage texts, trace log placement and
// return codes, seen from outside: the real binary run in a fresh directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <set>

#include "orka.h"
#include "orka_nvme.h"
#include "orka_settings.h"
#include "support/simulator.h"

namespace {

using testing_support::CommandFile;
using testing_support::RunResult;
using Files = std::map<std::string, std::string>;

const std::string DASHES(128, '-');
const std::string HEADER = DASHES +
                           R"(
 brantix 0\.9\.8\.0 - \d{4}-\d\d-\d\d - Copyright \(c\) 2026 the brantix authors - website: https://brantix\.example\.org
)" + DASHES + "\n";
const std::regex STAMP(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]  )");

RunResult Brantix(const std::string& args, const Files& files = {}) {
    testing_support::RunOptions options;
    options.args = testing_support::Words(args);
    options.files = files;
    return testing_support::RunBrantix(options);
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

// The messages of a trace log, each of its lines but empty ones checked for its time stamp.
std::string Messages(const RunResult& run, const std::string& name) {
    std::string text;
    for (const auto& line : testing_support::Lines(run.Read(name))) {
        EXPECT_TRUE(line.empty() || std::regex_match(line.substr(0, 27), STAMP)) << line;
        text += line.substr(std::min<std::size_t>(27, line.size())) + "\n";
    }
    return text;
}

const std::string& UsageText() {
    static const std::string text = Brantix("-u").console;
    return text;
}

// --usage and -h print their texts and pass, writing no file; a help request wins over an unknown argument
// before it and ends parsing before a missing value.
TEST(CommandLine, UsageAndHelpPrintTheirTextsAndPass) {
    const std::string syntax =
        " brantix <command file> [-n,--nvme #] [-d,--dir <directory>] [COMMAND-OPTIONS] [-x,-v,-h,-u] "
        "[--export]";
    const std::string help = Brantix("-h").console;
    for (const auto& [args, text] : std::vector<std::pair<std::string, std::string>>{
             {"--usage", UsageText()}, {"-u -d", UsageText()}, {"-h", help}, {"read --bogus -h", help}}) {
        SCOPED_TRACE(args);
        const RunResult run = Brantix(args);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.console, text);
        EXPECT_EQ(FilesIn(run.dir), std::set<std::string>{});
    }
    for (const auto& text : {UsageText(), help}) {
        EXPECT_EQ(text.substr(0, syntax.size() + 3), " \n" + syntax + "\n");
        EXPECT_EQ(text.substr(text.size() - 2), " \n");
    }
    EXPECT_TRUE(testing_support::HasLine(
        UsageText(),
        "   -n, --nvme  #                   Physical drive number. Example: 0 for nvme0 or "
        "PHYSICALDRIVE0 (default: *)"));
    EXPECT_TRUE(testing_support::HasLine(help,
                                         "                                   The file to compare must a "
                                         "nvme.info.json file"));
    EXPECT_EQ(std::count(UsageText().begin(), UsageText().end(), '\n'), 20);
    EXPECT_TRUE(testing_support::HasLine(help, std::string(41, ' ') + BRANTIX_SOURCE_DIR + "/commands"));
    EXPECT_EQ(std::count(help.begin(), help.end(), '\n'), 57);
}

std::string Invalid(const std::string& argument) {
    return "Invalid parameter on command line: '" + argument + "'\n";
}

std::string Missing(const std::string& key, const std::string& type) {
    return "Invalid cmd file, missing parameter '" + key + "' required for '" + type + "' cmd type ";
}

// The console of a refused run: the header, the command file line once it has been read, any warning, the
// brief usage, "USAGE ERROR", the message and the verdict; only the trace log is written, the inputs stay as
// they were, and the simulated drive never sees a command.
TEST(CommandLine, RefusedRunsReportUsageErrorsAndWriteOnlyTheTraceLog) {
    const std::string read = CommandFile("read");
    const std::string selftest = CommandFile("selftest-short");
    const std::string sanitize = CommandFile("sanitize-crypto");
    const auto typed = [](const std::string& type) {
        return CommandFile("read", {R"({"command type": ")" + type + "\"}"});
    };
    const std::string blocked = "Failed to make log directory: <dir>/blocker/logs: Not a directory";
    const struct {
        std::string args;
        std::string message;  // <dir> for the run's folder
        std::string file = "";
        std::string content = "";
        bool read = false;  // the command file was read before the error
        bool header = true;
        std::string warning = "";
    } cases[] = {
        {"--bogus", Invalid("--bogus")},
        // the last bad argument wins; only the first argument names the command file
        {"read -q --what", Invalid("--what"), "read.cmd.json", read},
        {"-e mytest", Invalid("mytest"), "mytest.cmd.json", read},
        {"-x -d", "-d is missing a value", "", "", false, false},
        {"none", "Did not find command file: none.cmd.json (looked for <dir>/none.cmd.json and " +
                     std::string(BRANTIX_SOURCE_DIR) + "/commands/none.cmd.json)\n"},
        // Below a file, a file itself, and an unknown argument reported before the directory failure.
        {"-d blocker/logs", blocked, "blocker", "a file"},
        {"-d blocker/logs --bogus", Invalid("--bogus"), "blocker", "a file"},
        {"fmt", "cmd file contains illegal cmd type: format", "fmt.cmd.json", typed("format"), true},
        {"upper", "cmd file contains illegal cmd type: Read", "upper.cmd.json", typed("Read"), true},
        {"",
         Missing("high priority", "read") + "\n" + Missing("read log page 0Dh", "read") + "\n" +
             Missing("samples", "read") + "\n",
         "read.cmd.json", CommandFile("read", {}, {"samples", "read log page 0Dh", "high priority"}), true},
        {"-e", "Command type read does not use --extended", "read.cmd.json", read, true},
        {"st -r rules", "Command type self-test does not use rules file", "st.cmd.json", selftest, true},
        {"sz -c x.json -s 2", "Command type sanitize does not use compare file", "sz.cmd.json", sanitize,
         true},
        {"st", "Command type self-test does not use compare file", "st.cmd.json",
         CommandFile("selftest-short", {R"({"compare file": "old.json"})"}), true},
        {"st -s 3", "Command type self-test does not use --samples", "st.cmd.json", selftest, true},
        {"st --metrics m.prom", "Command type self-test does not use --metrics", "st.cmd.json", selftest,
         true},
        {"sz.cmd.json --interval 0", "Command type sanitize does not use --interval", "sz.cmd.json", sanitize,
         true},
        {"sz", Missing("sanitize type", "sanitize") + "\n", "sz.cmd.json",
         CommandFile("sanitize-block", {}, {"sanitize type"}), true},
        // Every missing key and value of the wrong type at once, in table order; unknown keys only warn.
        {"bad",
         "'log hex data' must be true or false, not \"yes\"\n'samples' must be an unsigned number, not "
         "\"3\"\n" +
             Missing("fail limit", "read") + "\n",
         "bad.cmd.json",
         CommandFile("read", {R"({"samples": "3", "log hex data": "yes", "sampels": 2, "zzz": 1})"},
                     {"fail limit"}),
         true, true,
         "'sampels' is not a read setting; did you mean 'samples'?\n'zzz' is not a read setting\n"},
        {"", "'samples' must be 1 or more, not 0\n'interval in ms' must be an unsigned number, not 1.5\n",
         "read.cmd.json", CommandFile("read", {R"({"samples": 0, "interval in ms": 1.5})"}), true},
        {"st",
         "'abort time' must be an unsigned number, not -1\n'read smart data' must be true or false, not "
         "[1]\n",
         "st.cmd.json", CommandFile("selftest-short", {R"({"abort time": -1, "read smart data": [1]})"}),
         true},
        {"x", "'command type' must be a string, not {}", "x.cmd.json",
         CommandFile("read", {R"({"command type": {}})"}), true},
        {"--samples abc", "Invalid value for --samples: 'abc'", "", "", false, false},
        {"-s 0", "Invalid value for -s: '0'", "", "", false, false},
        {"-i 1.5", "Invalid value for -i: '1.5'", "", "", false, false},
        {"-i 4294967296", "Invalid value for -i: '4294967296'", "", "", false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const Files inputs = c.file.empty() ? Files{} : Files{{c.file, c.content}};
        testing_support::RunOptions options;
        options.args = testing_support::Words(c.args);
        options.files = inputs;
        const auto run = testing_support::RunBrantixOnProfile("demo", options);
        const std::string dir = std::filesystem::canonical(run.dir).string();
        const std::string tail = (c.read ? " Command file:   " + dir + "/" + c.file + "\n" : "") + c.warning +
                                 UsageText() + "USAGE ERROR\n" + testing_support::WithDir(c.message, dir) +
                                 "\n[FAIL] brantix returned 16\n";
        std::smatch header;
        const bool headed = std::regex_search(run.console, header, std::regex("^" + HEADER));
        EXPECT_EQ(headed, c.header) << run.console;
        EXPECT_EQ(run.console.substr(headed ? header.length() : 0), tail);
        EXPECT_EQ(run.exit_code, 16);
        EXPECT_TRUE(run.Journal().empty());
        std::set<std::string> files{"brantix.trace.log"};
        for (const auto& [name, content] : inputs) {
            files.insert(name);
            EXPECT_EQ(run.Read(name), content);
        }
        EXPECT_EQ(FilesIn(run.dir), files);
    }
}

// The trace is held until the log directory (made with its parents) is known and then starts afresh there;
// an earlier trace log in the working directory survives byte for byte, and a run refused before it knows its
// log directory keeps its trace beside that one. The console has no command line; -x and -v add file detail
// to both.
TEST(CommandLine, TraceLogMovesIntoTheLogDirectory) {
    const std::string earlier = "[2020-01-01 00:00:00.000]  an earlier run\n";
    const std::regex detail(
        "(^|\n)Read JSON data from file 'read\\.cmd\\.json' in \\d+\\.\\d{3} (Milli)?[Ss]econds");
    for (const auto& [dir, flag] : std::vector<std::pair<std::string, std::string>>{
             {"logs/run/one", " -x"}, {"logs", ""}, {"logs", " -v"}}) {
        SCOPED_TRACE(dir + flag);
        const RunResult run =
            Brantix("-d " + dir + flag, {{"read.cmd.json", CommandFile("read", {}, {"samples"})},
                                         {"logs/brantix.trace.log", earlier},
                                         {"brantix.trace.log", earlier}});
        EXPECT_EQ(run.exit_code, 16);
        const std::string trace = Messages(run, dir + "/brantix.trace.log");
        EXPECT_TRUE(std::regex_search(trace, std::regex("^Command '" + std::string(BRANTIX_BINARY) + " -d " +
                                                        dir + flag + "'\n" + HEADER)))
            << trace;
        EXPECT_TRUE(
            std::regex_search(trace, std::regex(R"(\nFATAL \[\w+@\d+\] \[FAIL\] brantix returned 16\n$)")))
            << trace;
        EXPECT_EQ(std::regex_search(trace, detail), !flag.empty());
        EXPECT_EQ(std::regex_search(run.console, detail), !flag.empty());
        EXPECT_EQ(run.Read("logs/brantix.trace.log") == earlier, dir != "logs");
        EXPECT_EQ(run.console.find("Command '"), std::string::npos);
        EXPECT_EQ(run.Read("brantix.trace.log"), earlier);
        EXPECT_EQ(FilesIn(run.dir),
                  (std::set<std::string>{"brantix.trace.log", "read.cmd.json", "logs/brantix.trace.log",
                                         dir + "/brantix.trace.log"}));
    }
    const RunResult refused = Brantix("-d blocker/logs", {{"brantix.trace.log", earlier}, {"blocker", ""}});
    EXPECT_EQ(refused.Read("brantix.trace.log"), earlier);
    EXPECT_TRUE(
        std::regex_search(Messages(refused, "brantix.trace-1.log"),
                          std::regex("^Command '" + std::string(BRANTIX_BINARY) + " -d blocker/logs'\n")));
    EXPECT_EQ(FilesIn(refused.dir),
              (std::set<std::string>{"blocker", "brantix.trace.log", "brantix.trace-1.log"}));
}

// --export writes the catalogue in catalogue order, then the run goes on.
TEST(CommandLine, ExportWritesTheCatalogueThenGoesOn) {
    const RunResult run = Brantix("--export", {{"read.cmd.json", CommandFile("read", {}, {"rules file"})}});
    EXPECT_EQ(run.exit_code, 16);
    EXPECT_TRUE(testing_support::HasLine(run.console, Missing("rules file", "read")));
    orka::ExpandParameterCatalogue();
    Json::Value filter;
    Json::Value list;
    orka::ReadJsonFile((run.dir / "ALL.filter.json").string(), filter);
    orka::ReadJsonFile((run.dir / "parameter_list.json").string(), list);
    ASSERT_GT(orka::PARAMETER_INFO.size(), 100u);
    EXPECT_EQ(filter["filter"].size() + list["parameters"].size(), 2 * orka::PARAMETER_INFO.size());
    Json::ArrayIndex i = 0;
    for (const auto& [name, info] : orka::PARAMETER_INFO) {
        const Json::Value& entry = list["parameters"][i];
        EXPECT_EQ(name.find('#'), std::string::npos);
        EXPECT_EQ(filter["filter"][i++].asString() + "|" + entry["name"].asString() + "|" +
                      entry["description"].asString() + "|" + entry["source"].asString(),
                  name + "|" + name + "|" + info.description + "|" + info.source);
    }
}

// The key rows of a document's command file tables as "section|key|type": the section from the last
// "Keys of ..." line up to the next heading, the type from the next table cell or the brackets; a range "X
// 01h" ... "X 18h" stands for every key between.
std::set<std::string> DocumentedKeys(const std::string& file) {
    const std::regex heading("Keys of `?([a-z-]+)");
    const std::regex row(R"(^\|? ?("[^|(]*") (?:\| |\()(\w+))");
    const std::regex range(R"x("(.*) ([0-9A-F]{2})h" \.\.\. ".* ([0-9A-F]{2})h")x");
    const std::regex quoted("\"([^\"]+)\"");
    std::set<std::string> keys;
    std::string section;
    std::smatch match;
    std::smatch span;
    for (const auto& line : testing_support::Lines(testing_support::ReadFile(file))) {
        if (std::regex_search(line, match, heading) || line.rfind('#', 0) == 0) {
            section = match.empty() ? "" : match[1].str();
        } else if (!section.empty() && std::regex_search(line, match, row)) {
            const std::string names = match[1];
            const std::string prefix = section + "|";
            const bool ranged = std::regex_search(names, span, range);
            for (int id = ranged ? std::stoi(span[2], nullptr, 16) : 1;
                 ranged && id <= std::stoi(span[3], nullptr, 16); ++id) {
                char key[80];
                std::snprintf(key, sizeof key, "%s %02Xh|", span[1].str().c_str(), id);
                keys.insert(prefix + key + match[2].str());
            }
            for (std::sregex_iterator it(names.begin(), names.end(), quoted), end; !ranged && it != end;
                 ++it) {
                keys.insert(prefix + (*it)[1].str() + "|" + match[2].str());
            }
        }
    }
    return keys;
}

// The README's and the man page's key tables list exactly the keys the command file check knows, each
// under its command types and with its type; the bash completion offers exactly the options the parser knows.
TEST(CommandLine, DocumentationAgreesWithTheKeyAndOptionTables) {
    const std::string words[] = {"boolean", "unsigned", "unsigned", "string", "object"};  // by SettingType
    const std::pair<unsigned int, std::string> sections[] = {{orka::READ_COMMAND, "read"},
                                                             {orka::SELF_TEST_COMMAND, "self-test"},
                                                             {orka::SANITIZE_COMMAND, "sanitize"}};
    std::set<std::string> expected;
    for (const auto& key : orka::CommandFileKeys()) {
        for (const auto& [bit, section] : sections) {
            if (key.commands == orka::ALL_COMMANDS || (key.commands & bit) != 0) {
                expected.insert((key.commands == orka::ALL_COMMANDS ? "every" : section) + "|" + key.name +
                                "|" + words[static_cast<int>(key.type)]);
            }
        }
    }
    const std::string source = BRANTIX_SOURCE_DIR;
    EXPECT_EQ(DocumentedKeys(source + "/README.md"), expected);
    EXPECT_EQ(DocumentedKeys(source + "/doc/brantix.1.md"), expected);

    std::set<std::string> options;
    for (const auto& option : orka::CommandLineOptions()) {
        for (const auto& name : {option.short_name, option.long_name}) {
            if (!name.empty()) {
                options.insert(name);
            }
        }
    }
    std::smatch match;
    const std::string completion = testing_support::ReadFile(source + "/packaging/brantix.bash-completion");
    ASSERT_TRUE(std::regex_search(completion, match, std::regex(R"x(local options="([^"]*)")x")));
    const std::string listed = match[1];
    const std::regex option("-[-a-z]+");
    EXPECT_EQ(std::set<std::string>(std::sregex_token_iterator(listed.begin(), listed.end(), option),
                                    std::sregex_token_iterator()),
              options);
}

}  // namespace
