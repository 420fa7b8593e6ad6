// The front end: command line, command file, dispatch to the command type,
// run result and return code, usage texts and the parameter export.
#include "brantix.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "orka.h"
#include "orka_data.h"
#include "orka_linux.h"
#include "orka_nvme.h"

const std::string APP_NAME = "brantix";
const std::string APP_VERSION = "0.9.8.0";
volatile std::sig_atomic_t GLOBAL_EXIT_GRACEFULLY = 0;

namespace {

const std::string BUILD_DATE = BUILD_DATE_TEXT;
const std::string APP_COPYRIGHT = "Copyright (c) 2026 the brantix authors";
const std::string APP_SITE = "https://brantix.example.org";
const std::string APPHEADER_LINE(128, '-');

// A value not given on the command line.
constexpr int NOT_GIVEN = -1;

struct CommandLine {
    std::string text;
    std::string cmdFile = "read";
    std::string compareFile;
    std::string rulesFile;
    std::string metricsFile;
    std::string logDirectory = ".";
    std::string drive = "*";
    int samples = NOT_GIVEN;
    int interval = NOT_GIVEN;
    bool extended = false;
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

// Walks the arguments left to right. Help and usage requests and missing
// values throw at once; anything not understood is only remembered.
void ParseArguments(const std::vector<std::string>& args, CommandLine& line) {
    const auto valueOf = [&args](std::size_t& i) -> const std::string& {
        if (i + 1 >= args.size()) {
            throw orka::UsageError(args[i] + " is missing a value");
        }
        return args[++i];
    };
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (i == 0 && arg.rfind("-", 0) != 0) {
            line.cmdFile = arg;
        } else if (arg == "--dir" || arg == "-d") {
            line.logDirectory = valueOf(i);
        } else if (arg == "--nvme" || arg == "-n") {
            line.drive = valueOf(i);
        } else if (arg == "--compare" || arg == "-c") {
            line.compareFile = valueOf(i);
        } else if (arg == "--rules" || arg == "-r") {
            line.rulesFile = valueOf(i);
        } else if (arg == "--metrics") {
            line.metricsFile = valueOf(i);
        } else if (arg == "--samples" || arg == "-s") {
            line.samples = std::stoi(valueOf(i), nullptr, 10);
        } else if (arg == "--interval" || arg == "-i") {
            line.interval = std::stoi(valueOf(i), nullptr, 10);
        } else if (arg == "--extended" || arg == "-e") {
            line.extended = true;
        } else if (arg == "--export") {
            orka::ExpandParameterCatalogue();
            ExportParameters();
        } else if (arg == "--help" || arg == "-h") {
            throw orka::UsageError("help");
        } else if (arg == "--usage" || arg == "-u") {
            throw orka::UsageError("usage");
        } else if (arg == "-v") {
            orka::SetLogSeverity(orka::Severity::verbose);
        } else if (arg == "-x") {
            orka::SetLogSeverity(orka::Severity::debug);
        } else {
            line.pendingError = "Invalid parameter on command line: '" + arg + "'\n";
        }
    }
}

// The absolute form of a directory given on the command line, without a
// trailing separator or "." and ".." steps.
std::string AbsoluteDirectory(const std::string& directory) {
    std::string path = std::filesystem::absolute(directory).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

// The settings a command type may not be combined with.
void RefuseReadOptions(const std::string& type, const Json::Value& settings, const CommandLine& line) {
    if (!settings["rules file"].asString().empty()) {
        throw orka::UsageError("Command type " + type + " does not use rules file");
    }
    if (!settings["compare file"].asString().empty()) {
        throw orka::UsageError("Command type " + type + " does not use compare file");
    }
    if (!line.metricsFile.empty()) {
        throw orka::UsageError("Command type " + type + " does not use --metrics");
    }
    if (line.samples != NOT_GIVEN) {
        throw orka::UsageError("Command type " + type + " does not use --samples");
    }
    if (line.interval != NOT_GIVEN) {
        throw orka::UsageError("Command type " + type + " does not use --interval");
    }
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

void LogLines(const std::vector<const char*>& lines) {
    for (const char* text : lines) {
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
    bool directoryMade = orka::MakeDirectoryTree(logDirectory) == 0;
    if (directoryMade) {
        const std::string traceFile = (std::filesystem::path(logDirectory) / "brantix.trace.log").string();
        directoryMade = orka::SwitchTraceLogFile(traceFile);
        if (directoryMade) {
            orka::TRACELOG_NAME = traceFile;
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
    if (!directoryMade) {
        throw orka::UsageError("Failed to make log directory: " + logDirectory);
    }

    std::string cmdFileName = line.cmdFile;
    if (cmdFileName.find(".cmd.json") == std::string::npos) {
        cmdFileName += ".cmd.json";
    }
    if (!std::filesystem::exists(cmdFileName)) {
        throw orka::UsageError("Did not find command file: " + cmdFileName + "\n");
    }
    Json::Value cmdFile;
    try {
        orka::ReadJsonFile(cmdFileName, cmdFile);
    } catch (...) {
        throw orka::UsageError("Failed to parse JSON in command file: " + cmdFileName);
    }
    // Every key lookup below needs an object; anything else is no command file.
    if (!cmdFile.isObject()) {
        throw orka::UsageError("Failed to parse JSON in command file: " + cmdFileName);
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
    if (!line.compareFile.empty()) {
        settings["compare file"] = line.compareFile;
    }
    if (!line.rulesFile.empty()) {
        settings["rules file"] = line.rulesFile;
    }
    if (!line.metricsFile.empty()) {
        settings["metrics file"] = line.metricsFile;
    }
    if (line.samples != NOT_GIVEN) {
        settings["samples"] = line.samples;
    }
    if (line.interval != NOT_GIVEN) {
        settings["interval in ms"] = line.interval;
    }
    if (line.extended) {
        settings["extended self-test"] = true;
    }

    const Json::Value& file = cmdFile;
    const std::string type = file["command type"].asString();
    const std::vector<std::string>* required = nullptr;
    if (type == "read") {
        required = &orka::READINFO_PARAMETERS;
        if (line.extended) {
            throw orka::UsageError("Command type read does not use --extended");
        }
    } else if (type == "self-test") {
        required = &orka::SELFTEST_PARAMETERS;
        RefuseReadOptions(type, settings, line);
    } else if (type == "sanitize") {
        required = &orka::SANITIZE_PARAMETERS;
        RefuseReadOptions(type, settings, line);
    } else {
        throw orka::UsageError("cmd file contains illegal cmd type: " + type);
    }

    std::string missing;
    for (const auto& key : *required) {
        if (!cmdFile.isMember(key)) {
            missing +=
                "Invalid cmd file, missing parameter '" + key + "' required for '" + type + "' cmd type \n";
        }
    }
    if (!missing.empty()) {
        throw orka::UsageError(missing);
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
    return rc;
}
