// The front end: command line, command file, dispatch to the command type,
// run result and return code, usage texts and the parameter export.
#include "brantix.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <vector>

#include "orka.h"
#include "orka_data.h"
#include "orka_linux.h"
#include "orka_nvme.h"
#include "orka_settings.h"

const std::string APP_NAME = "brantix";
const std::string APP_VERSION = "0.9.8.0";
volatile std::sig_atomic_t GLOBAL_EXIT_GRACEFULLY = 0;

namespace {

const std::string BUILD_DATE = BUILD_DATE_TEXT;
const std::string APP_COPYRIGHT = "Copyright (c) 2026 the brantix authors";
const std::string APP_SITE = "https://brantix.example.org";
const std::string APPHEADER_LINE(128, '-');

struct CommandLine {
    std::string text;
    std::string cmdFile = "read";
    std::string logDirectory = ".";
    std::string drive = "*";
    // The options given that replace a command file key, in the order of the option table, with
    // the value each sets.
    std::map<const orka::CommandLineOption*, Json::Value> overrides;
    std::string pendingError;
};

// Writes the whole (expanded) catalogue as a filter of every name and as a
// list of names with their descriptions and sources, into the current directory.
void ExportParameters() {
    Json::Value filter;
    filter["filter"] = Json::Value(Json::arrayValue);
    Json::Value list;
    list["parameters"] = Json::Value(Json::arrayValue);
    for (const auto& [name, info] : orka::PARAMETER_INFO) {
        if (name.find('#') != std::string::npos) {
            continue;
        }
        filter["filter"].append(name);
        Json::Value entry;
        entry["name"] = name;
        entry["description"] = info.description;
        entry["source"] = info.source;
        list["parameters"].append(entry);
    }
    orka::WriteJsonFile("ALL.filter.json", filter);
    orka::WriteJsonFile("parameter_list.json", list);
}

// The value of a numeric option: -1 for "not given", else a whole number that fits in 32 bits, and
// for a count at least 1.
Json::Value NumberValue(const std::string& option, const std::string& text, orka::OptionKind kind) {
    if (text == "-1") {
        return Json::Value();
    }
    const bool digits = !text.empty() && text.size() <= 10 &&
                        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    const unsigned long long value = digits ? std::stoull(text) : 0;
    if (!digits || value > 0xFFFFFFFFull || (kind == orka::OptionKind::count && value == 0)) {
        throw orka::UsageError("Invalid value for " + option + ": '" + text + "'");
    }
    return Json::Value(static_cast<Json::UInt>(value));
}

const orka::CommandLineOption* FindOption(const std::string& arg) {
    for (const auto& option : orka::CommandLineOptions()) {
        if (arg == option.short_name || arg == option.long_name) {
            return &option;
        }
    }
    return nullptr;
}

// Walks the arguments left to right. Help and usage requests, missing and bad values throw at once;
// anything not understood is only remembered.
void ParseArguments(const std::vector<std::string>& args, CommandLine& line) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const orka::CommandLineOption* option = arg.empty() ? nullptr : FindOption(arg);
        if (i == 0 && arg.rfind("-", 0) != 0) {
            line.cmdFile = arg;
            continue;
        }
        if (option == nullptr) {
            line.pendingError = "Invalid parameter on command line: '" + arg + "'\n";
            continue;
        }
        std::string text;
        if (option->kind == orka::OptionKind::text || option->kind == orka::OptionKind::number ||
            option->kind == orka::OptionKind::count) {
            if (i + 1 >= args.size()) {
                throw orka::UsageError(arg + " is missing a value");
            }
            text = args[++i];
        }
        if (!option->setting.empty()) {
            Json::Value value = true;
            if (option->kind == orka::OptionKind::text) {
                value = text;
            } else if (option->kind != orka::OptionKind::flag) {
                value = NumberValue(arg, text, option->kind);
            }
            // An empty text or -1 leaves the command file's value in place.
            if (!value.isNull() && value != "") {
                line.overrides[option] = value;
            }
        } else if (option->long_name == "--dir") {
            line.logDirectory = text;
        } else if (option->long_name == "--nvme") {
            line.drive = text;
        } else if (option->long_name == "--export") {
            orka::ExpandParameterCatalogue();
            ExportParameters();
        } else if (option->long_name == "--help") {
            throw orka::UsageError("help");
        } else if (option->long_name == "--usage") {
            throw orka::UsageError("usage");
        } else if (arg == "-v") {
            orka::SetLogSeverity(orka::Severity::verbose);
        } else if (arg == "-x") {
            orka::SetLogSeverity(orka::Severity::debug);
        }
    }
}

}  // namespace

std::string ExamplesFolder() {
    std::error_code error;
    const std::filesystem::path binary = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string folder = binary.parent_path().lexically_normal().string();
    const std::string tree = BRANTIX_BUILD_TREE;
    if (!error && folder.rfind(tree + "/", 0) == 0) {
        return BRANTIX_REPOSITORY_EXAMPLES;
    }
    return (binary.parent_path().parent_path() / "share" / "brantix").lexically_normal().string();
}

std::string FindInputFile(const std::string& name, std::string& looked) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(name, ignored)) {
        return name;
    }
    const std::string here = std::filesystem::absolute(name).lexically_normal().string();
    if (std::filesystem::path(name).is_absolute()) {
        looked = here;
        return "";
    }
    const std::string example = (std::filesystem::path(ExamplesFolder()) / name).lexically_normal().string();
    if (std::filesystem::is_regular_file(example, ignored)) {
        return example;
    }
    looked = here + " and " + example;
    return "";
}

namespace {

// The absolute form of a directory given on the command line, without a
// trailing separator or "." and ".." steps.
std::string AbsoluteDirectory(const std::string& directory) {
    std::string path = std::filesystem::absolute(directory).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

// The bit of a command type in the key and option tables; 0 for a type no run reaches.
unsigned int CommandBit(const std::string& type) {
    if (type == "read") {
        return orka::READ_COMMAND;
    }
    if (type == "self-test") {
        return orka::SELF_TEST_COMMAND;
    }
    return type == "sanitize" ? orka::SANITIZE_COMMAND : 0;
}

// The options and merged settings a command type may not be combined with.
void RefuseOtherOptions(const std::string& type, const Json::Value& settings, const CommandLine& line) {
    if (type != "read") {
        for (const char* key : {"rules file", "compare file"}) {
            if (settings.isMember(key) && settings[key] != Json::Value("")) {
                throw orka::UsageError("Command type " + type + " does not use " + key);
            }
        }
    }
    for (const auto& [option, value] : line.overrides) {
        if ((option->commands & CommandBit(type)) == 0) {
            throw orka::UsageError("Command type " + type + " does not use " + option->long_name);
        }
    }
}

// The value as one line of JSON text.
std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, value);
}

// What a value of the type must be, or empty when `value` is one.
std::string TypeFault(orka::SettingType type, const Json::Value& value) {
    switch (type) {
        case orka::SettingType::boolean:
            return value.isBool() ? "" : "true or false";
        case orka::SettingType::number:
            return value.isUInt() ? "" : "an unsigned number";
        case orka::SettingType::count:
            return !value.isUInt() ? "an unsigned number" : value.asUInt() == 0 ? "1 or more" : "";
        case orka::SettingType::text:
            return value.isString() ? "" : "a string";
        case orka::SettingType::object:
            return value.isObject() ? "" : "an object";
    }
    return "";
}

// The optimal string alignment distance: edits, with a swap of two neighbours counting as one.
std::size_t EditDistance(const std::string& a, const std::string& b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                d[i][j] = i + j;
                continue;
            }
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

// Warns of every key no command type knows, naming the nearest key of this command type when one
// is close enough to be a slip of the keyboard. The run goes on.
void WarnOfUnknownKeys(const Json::Value& file, const std::string& type) {
    const auto& keys = orka::CommandFileKeys();
    for (const auto& name : file.getMemberNames()) {
        if (std::any_of(keys.begin(), keys.end(), [&name](const auto& key) { return key.name == name; })) {
            continue;
        }
        std::string nearest;
        std::size_t best = 2 + name.size() / 4;
        for (const auto& key : keys) {
            const std::size_t distance = EditDistance(name, key.name);
            if ((key.commands & CommandBit(type)) != 0 && distance < best) {
                best = distance;
                nearest = key.name;
            }
        }
        LOG_WARNING << "'" << name << "' is not a " << type << " setting"
                    << (nearest.empty() ? "" : "; did you mean '" + nearest + "'?");
    }
}

// One line for each key of the command type that is missing or holds a value of the wrong type.
std::string KeyFaults(const Json::Value& file, const std::string& type) {
    std::string faults;
    for (const auto& key : orka::CommandFileKeys()) {
        if ((key.commands & CommandBit(type)) == 0) {
            continue;
        }
        if (!file.isMember(key.name)) {
            if (key.required) {
                faults += "Invalid cmd file, missing parameter '" + key.name + "' required for '" + type +
                          "' cmd type \n";
            }
            continue;
        }
        const std::string fault = TypeFault(key.type, file[key.name]);
        if (!fault.empty()) {
            faults += "'" + key.name + "' must be " + fault + ", not " + JsonText(file[key.name]) + "\n";
        }
    }
    return faults;
}

// The drive number of an --nvme value: "1", "nvme1" and "/dev/nvme1" all name
// controller 1; "*" is kept for ResolveDrive.
std::string DriveNumber(const std::string& value) {
    if (value == "*") {
        return value;
    }
    std::string number = value;
    for (const std::string prefix : {"/dev/nvme", "nvme"}) {
        if (number.compare(0, prefix.size(), prefix) == 0) {
            number.erase(0, prefix.size());
            break;
        }
    }
    const bool digits =
        !number.empty() && number.size() < 10 && number.find_first_not_of("0123456789") == std::string::npos;
    if (!digits) {
        throw orka::UsageError("Invalid drive for --nvme: '" + value +
                               "' (give the controller as 1, nvme1 or /dev/nvme1, or * for the first one)");
    }
    return std::to_string(std::stoul(number));
}

// Resolves "*" to the lowest-numbered controller that is live and checks a
// named drive against the controller list. A named drive is used unchecked
// when listing fails. A sanitize erases the drive, so it never runs on "*".
std::string ResolveDrive(const std::string& requested, bool named_only) {
    std::string drive = DriveNumber(requested);
    if (named_only && drive == "*") {
        throw orka::UsageError("Sanitize needs the drive named with --nvme (it erases all data)");
    }
    try {
        const std::vector<std::string> drives = orka::GetNvmeDriveList();
        if (drives.empty()) {
            throw orka::OrkaError("No NVMe drives found");
        }
        if (drive == "*") {
            // A controller that is connecting, resetting or being deleted cannot be opened.
            const auto live = std::find_if(drives.begin(), drives.end(), [](const std::string& number) {
                return orka::GetControllerAttribute(number, "state") == "live";
            });
            if (live == drives.end()) {
                throw orka::OrkaError("No NVMe drive is live");
            }
            drive = *live;
        }
        if (std::find(drives.begin(), drives.end(), drive) == drives.end()) {
            throw orka::UsageError("NVMe drive " + drive + " was not found");
        }
    } catch (const orka::OrkaError& error) {
        if (drive == "*") {
            throw orka::OrkaError(
                "Failed to get list of NVMe drives from OS and NVMe drive not specified (eg: --nvme 0)\n "
                "Error "
                "Message: " +
                std::string(error.what()));
        }
    }
    return drive;
}

void LogLines(const std::vector<std::string>& lines) {
    for (const auto& text : lines) {
        LOG_INFO << text;
    }
}

}  // namespace

void GetAppParameters(unsigned int argc, const char** argv, Json::Value& settings) {
    CommandLine line;
    std::vector<std::string> args(argv + 1, argv + argc);
    line.text = argv[0];

    orka::InitTraceLog();
    for (const auto& arg : args) {
        line.text += " " + arg;
    }
    ParseArguments(args, line);
    // The numbered names are made only for a run that goes on: a request for the usage texts
    // ends inside ParseArguments and needs no catalogue.
    orka::ExpandParameterCatalogue();

    const std::string logDirectory = AbsoluteDirectory(line.logDirectory);
    // A path that exists but takes no files (a regular file, a folder without
    // write access) counts as a log directory that could not be made.
    const int madeError = orka::MakeDirectoryTree(logDirectory);
    std::string directoryFault = madeError == 0 ? "" : std::strerror(madeError);
    if (directoryFault.empty()) {
        const std::string traceFile = (std::filesystem::path(logDirectory) / "brantix.trace.log").string();
        errno = 0;
        if (orka::SwitchTraceLogFile(traceFile)) {
            orka::TRACELOG_NAME = traceFile;
        } else {
            directoryFault = std::strerror(errno != 0 ? errno : EACCES);
        }
    }

    FILE_LOG_INFO << "Command '" << line.text << "'";
    LOG_INFO << APPHEADER_LINE;
    LOG_INFO << " " << APP_NAME << " " << APP_VERSION << " - " << BUILD_DATE << " - " << APP_COPYRIGHT
             << " - website: " << APP_SITE;
    LOG_INFO << APPHEADER_LINE;

    if (!line.pendingError.empty()) {
        throw orka::UsageError(line.pendingError);
    }
    if (!directoryFault.empty()) {
        throw orka::UsageError("Failed to make log directory: " + logDirectory + ": " + directoryFault);
    }

    std::string cmdFileName = line.cmdFile;
    if (cmdFileName.find(".cmd.json") == std::string::npos) {
        cmdFileName += ".cmd.json";
    }
    std::string looked;
    const std::string found = FindInputFile(cmdFileName, looked);
    if (found.empty()) {
        throw orka::UsageError("Did not find command file: " + cmdFileName + " (looked for " + looked +
                               ")\n");
    }
    cmdFileName = found;
    Json::Value cmdFile;
    std::string fault = orka::ParseJsonFile(cmdFileName, cmdFile);
    // Every key lookup below needs an object; anything else is no command file.
    if (fault.empty() && !cmdFile.isObject()) {
        fault = "not a JSON object";
    }
    if (!fault.empty()) {
        throw orka::UsageError("Failed to parse JSON in command file: " + cmdFileName + ": " + fault);
    }
    LOG_INFO << " Command file:   " << std::filesystem::absolute(cmdFileName).lexically_normal().string();

    settings = cmdFile;
    settings["_input"]["cmd file"] = cmdFile;
    settings["_input"]["command line"] = line.text;
    settings["_input"]["cmd file name"] = cmdFileName;
    if (!settings["common"].isObject()) {
        settings["common"] = Json::Value(Json::objectValue);
    }
    settings["common"]["log directory"] = logDirectory;
    settings["common"]["drive"] = line.drive;
    for (const auto& [option, value] : line.overrides) {
        settings[option->setting] = value;
    }

    // Every check of the command file ends here, before the drive is looked for.
    if (cmdFile.isMember("command type") && !cmdFile["command type"].isString()) {
        throw orka::UsageError("'command type' must be a string, not " + JsonText(cmdFile["command type"]));
    }
    const std::string type = cmdFile["command type"].asString();
    if (CommandBit(type) == 0) {
        throw orka::UsageError("cmd file contains illegal cmd type: " + type);
    }
    RefuseOtherOptions(type, settings, line);
    WarnOfUnknownKeys(cmdFile, type);
    const std::string faults = KeyFaults(cmdFile, type);
    if (!faults.empty()) {
        throw orka::UsageError(faults);
    }

    const std::string drive = ResolveDrive(line.drive, type == "sanitize");
    settings["common"]["drive"] = drive;
    settings["common"]["nvme path"] = "/dev/nvme" + drive;
    LOG_INFO << " NVMe:            " << settings["common"]["nvme path"].asString();
}

void DisplayUsage(bool verbose) {
    LogLines({" ",
              " brantix <command file> [-n,--nvme #] [-d,--dir <directory>] [COMMAND-OPTIONS] [-x,-v,-h,-u] "
              "[--export]",
              " "});
    if (!verbose) {
        LogLines({
            "   <command file>                  Path to command file with or without .cmd.json extension "
            "(default: "
            "read)",
            "   -n, --nvme  #                   Physical drive number. Example: 0 for nvme0 or "
            "PHYSICALDRIVE0 "
            "(default: *)",
            "   -d, --dir  <log directory>      Directory to log results (default: .)",
            " ",
            "   -r, --rules <rules file>        Path to rules file with or without .rules.json extension",
            "   -c, --compare <compare file>    Path to file to compare.  Must include full name with "
            "extension.",
            "   --metrics <metrics file>        Path to metrics file for node-exporter's textfile collector",
            "   -i, --interval <interval>       Interval in mS between read samples.",
            "   -s, --samples <samples>         Number of read samples.",
            " ",
            "   -e, --extended                  Run extended self-test ",
            " ",
            "   -u, --usage                     Display this usage information",
            "   -h, --help                      Display verbose help information",
            "   -x                              Extra logging for debug",
            "   -v                              Verbose logging",
        });
    } else {
        LogLines({
            "    <command file>                 Path command file with or without .cmd.json extension",
            "                                   Example: brantix.exe read ",
            "                                         Runs read.cmd.json from local directory",
            "   -n, --nvme #                    Physical drive number. Example: 0 for nvme0 or "
            "PHYSICALDRIVE0 "
            "(default: *)",
            "                                   Specifying * reads the first nvme drive reported by the OS",
            "                                   Example: -n 0",
            "                                      In Windows reads PHYSICALDRIVE0, in linux reads nvme0",
            "   -d, --dir  <log directory>      Directory to log results",
            "                                   The default log directory is the local directory: .",
            "                                   Example: brantix  read ",
            "                                         Logs to: .",
            R"(                                   Example: brantix read  --dir \results\mylog)",
            R"(                                         In Windows logs to: \results\mylog)",
            " ",
            "  COMMAND-OPTIONS for read command type:",
            " ",
            "   -r, --rules <rules file>        Path to rules file with or without .rules.json extension",
            "                                   Only applies to command type read",
            "                                   Overides the rules file specified in cmd file",
            "                                   Example: brantix read  -rules new-drive ",
            "                                         Uses new-drive.rules.json in local directory",
            "   -c, --compare <compare file>    Path to file to compare.  Must include full name with "
            "extension.",
            "                                   The file to compare must a nvme.info.json file",
            "                                   Only applies to command type read",
            "                                   Overides the compare file specified in cmd file",
            "                                   Linux Example: --compare ./compare_files/nvme.info.json",
            R"(                                   Windows Example: --compare \dravoint\results\verify-new-drive-001\nvme.info.json)",
            "   --metrics <metrics file>        Path to metrics file in the Prometheus text format",
            "                                   Only applies to command type read",
            "                                   Overides the metrics file specified in cmd file",
            "                                   Example: --metrics "
            "/var/lib/prometheus/node-exporter/brantix-nvme1.prom",
            "   -i, --interval <interval>       Interval in mS between read samples",
            "                                   Only applies to command type read when reading more than 1 "
            "sample",
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
            "                                   Command and rules files not found in the current directory",
            "                                   are taken from the examples folder:",
            "                                         " + ExamplesFolder(),
            "   -x                              Extra logging for debug to console and brantix.trace.log",
            "   -v                              Verbose logging to console and brantix.trace.log",
            " ",
            "   --export                        Export parameter list to parameter_list.json and "
            "ALL.filter.json",
        });
    }
    LOG_INFO << " ";
}

int LogResult(Json::Value& summary, int rc, const std::string& message, const std::string& file,
              const SummaryWriter& write) {
    LOG_INFO << " ";
    if (rc == 0) {
        summary["_cmd"]["result"] = "PASS";
        if (!message.empty()) {
            LOG_INFO << message;
        }
    } else {
        summary["_cmd"]["result"] = "FAIL";
        if (!message.empty()) {
            LOG_ERROR << message;
        }
    }
    if (!message.empty()) {
        LOG_INFO << " ";
    }
    summary["_cmd"]["return code"] = rc;
    summary["_cmd"]["message"] = message;
    summary["_cmd"]["end time"] = orka::GetTimestamp(false);
    if (write) {
        write(file, summary);
    } else {
        orka::WriteJsonFile(file, summary);
    }
    return rc;
}

int main(int argc, const char** argv) {
    // A write past the file size limit then fails with EFBIG, which the file writers report,
    // rather than ending the process half way through a file.
    std::signal(SIGXFSZ, SIG_IGN);
    int rc = 0;
    Json::Value settings;
    try {
        GetAppParameters(static_cast<unsigned int>(argc), argv, settings);
        if (settings["high priority"].asBool()) {
            orka::SetHighPriority();
        }
        if (settings["high resolution timer"].asBool()) {
            orka::SetTimerResolution(4);
        }
        const std::string type = settings["command type"].asString();
        if (type == "read") {
            rc = Read(settings);
        } else if (type == "self-test") {
            rc = SelfTest(settings);
        } else if (type == "sanitize") {
            rc = Sanitize(settings);
        } else if (type == "format") {
            rc = Format(settings);
        } else if (type == "update") {
            rc = Update(settings);
        } else {
            // The command file check refuses these already; kept as a second guard.
            rc = 17;
            LOG_FATAL << "Illegal cmd type: " << type;
        }
    } catch (const orka::UsageError& error) {
        const std::string message = error.what();
        if (message == "help") {
            DisplayUsage(true);
            return 0;
        }
        if (message == "usage") {
            DisplayUsage(false);
            return 0;
        }
        DisplayUsage(false);
        LOG_ERROR << "USAGE ERROR";
        LOG_ERROR << message;
        rc = message.find("was not found") != std::string::npos ? 19 : 16;
    } catch (const orka::OrkaError& error) {
        const std::string message = error.what();
        LOG_ERROR << message;
        // No drive listed, whether or not the drive list's failure was wrapped, has its own code.
        const std::string none = "No NVMe drives found";
        const bool no_drives = message.size() >= none.size() &&
                               message.compare(message.size() - none.size(), none.size(), none) == 0;
        rc = no_drives ? 18 : 17;
    } catch (const std::exception& error) {
        LOG_ERROR << "\nUnhandled Exception:";
        LOG_ERROR << error.what();
        LOG_ERROR << " @ Main:  source/brantix " << __LINE__;
        rc = 17;
    } catch (...) {
        LOG_ERROR << "\nUnhandled Exception:";
        LOG_ERROR << " Unknown exception type";
        LOG_ERROR << " @ Main:  source/brantix " << __LINE__;
        rc = 17;
    }
    FinishRunMetrics(settings, rc);
    if (rc == 0) {
        LOG_INFO << "[PASS] " << APP_NAME << " returned " << rc;
    } else {
        LOG_FATAL << "[FAIL] " << APP_NAME << " returned " << rc;
    }
    // A run refused before its log directory was known leaves its trace in the current folder, beside
    // (never over) a trace log already there.
    orka::WriteHeldTraceLog();
    return rc;
}
