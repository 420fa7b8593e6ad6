// The read command type: samples of a drive's whole information at a fixed rate, each checked
// against the rules and compared with a reference, kept as information files and summarised.
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "brantix.h"
#include "operation.h"
#include "orka.h"
#include "orka_data.h"
#include "orka_linux.h"
#include "orka_metrics.h"
#include "orka_nvme.h"

namespace {

using Clock = std::chrono::system_clock;

// The parameters every sample record carries, under their own names.
const char* const SAMPLE_VALUES[] = {"Composite Temperature",
                                     "Percentage Used",
                                     "Data Read",
                                     "Data Written",
                                     "Warning Composite Temperature Time",
                                     "Critical Composite Temperature Time",
                                     "Thermal Management Temperature 1 Time",
                                     "Thermal Management Temperature 2 Time",
                                     "Controller Busy Time",
                                     "Host Timestamp"};

// Sleeps until `wake`, waking early once a signal has asked the run to end.
void SleepUntilOrInterrupted(const orka::TimePoint& wake) {
    constexpr auto STEP = std::chrono::milliseconds(100);
    while (GLOBAL_EXIT_GRACEFULLY == 0 && Clock::now() + STEP < wake) {
        std::this_thread::sleep_for(STEP);
    }
    if (GLOBAL_EXIT_GRACEFULLY == 0) {
        std::this_thread::sleep_until(wake);
    }
}

// The named parameter of a sample, or null; reads without adding members.
const Json::Value* FindParameter(const Json::Value& info, const std::string& name) {
    if (!info.isObject() || !info["nvme"].isObject()) {
        return nullptr;
    }
    const Json::Value& parameters = info["nvme"]["parameters"];
    return parameters.isObject() && parameters.isMember(name) ? &parameters[name] : nullptr;
}

Json::Value ParameterValue(const Json::Value& info, const std::string& name) {
    const Json::Value* parameter = FindParameter(info, name);
    return parameter != nullptr ? (*parameter)["value"] : Json::Value();
}

// One sample's record in the summary. The information is only read, never copied.
Json::Value GetSampleInfo(int rc, const std::string& message, const Json::Value& info,
                          const orka::TimePoint& start, const std::string& timestamp) {
    Json::Value sample;
    sample["message"] = message;
    sample["return code"] = rc;
    sample["timestamp"] = timestamp;
    sample["run time"] = orka::GetHiResDiffTimeString(start, 2);
    if (!info.isNull()) {
        for (const char* name : SAMPLE_VALUES) {
            sample[name] = ParameterValue(info, name);
        }
        if (FindParameter(info, "Timestamp") != nullptr) {
            sample["Drive Timestamp"] = ParameterValue(info, "Timestamp");
        }
        if (FindParameter(info, "Current Power State (PS)") != nullptr) {
            sample["Current Power State"] = ParameterValue(info, "Current Power State (PS)");
        }
    }
    return sample;
}

// "NVMe 0 : Vendor Model 512GB" with the PCI location "Bus 1, device 0, function 0" becomes
// "NVMe 0 [1:0:0] - Vendor Model 512GB". A text of another shape is left as it is.
void AddPciLocationToDescription(Json::Value& parameters) {
    if (!parameters.isMember("Unique Description") || !parameters.isMember("PCI Location")) {
        return;
    }
    Json::Value& value = parameters["Unique Description"]["value"];
    const std::string description = value.asString();
    const std::string location = parameters["PCI Location"]["value"].asString();
    const auto colon = description.find(':');
    const auto comma = location.find(',');
    const auto device = location.find(", device");
    const auto function = location.find(", fun");
    const auto blank = location.rfind(' ');
    if (colon == std::string::npos || colon < 1 || comma == std::string::npos || comma < 4 ||
        device == std::string::npos || function == std::string::npos || function < device + 9 ||
        blank == std::string::npos) {
        return;
    }
    value = description.substr(0, colon - 1) + " [" + location.substr(4, comma - 4) + ":" +
            location.substr(device + 9, function - device - 9) + ":" + location.substr(blank + 1) + "] - " +
            description.substr(std::min(colon + 2, description.size()));
}

void MarkFailed(std::string& text, unsigned int sample, const std::string& what) {
    text = text.empty() ? "Sample " + std::to_string(sample) + " failed " + what : text + " and " + what;
}

std::string AbsolutePath(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
}

// The metrics file of this run: made by Read once the setting is checked, or at the end of a
// run that stopped before Read got that far.
std::unique_ptr<orka::RunMetrics> RUN_METRICS;

// The drive's path as far as the run resolved it.
std::string DevicePath(const Json::Value& settings) {
    const Json::Value& common = settings["common"];
    return common.isMember("nvme path") ? common["nvme path"].asString()
                                        : "/dev/nvme" + common["drive"].asString();
}

// A metrics file that cannot be replaced is reported; the run itself goes on.
template <typename Step>
void UpdateMetrics(const Step& step) {
    try {
        step(*RUN_METRICS);
    } catch (const orka::OrkaError& error) {
        LOG_ERROR << " Failed writing metrics file: " << error.what();
    }
}

// The run's command records ("command times") wait in a file beside the summary rather than in
// memory: a long run sends tens of thousands of commands. Each sample's records are moved there
// as soon as it is done, and the summary is written with them spliced in, formatted as the JSON
// writer would have formatted them in place.
class CommandTimesSpool {
  public:
    explicit CommandTimesSpool(const std::string& summary_path)
        : path_(summary_path + ".commands-" + std::to_string(::getpid())), out_(path_, std::ios::trunc) {
        if (!out_.is_open()) {
            throw orka::OrkaError("Could not open file to write JSON data to '" + path_ +
                                  "': " + std::strerror(errno != 0 ? errno : EACCES));
        }
    }
    ~CommandTimesSpool() { std::remove(path_.c_str()); }
    CommandTimesSpool(const CommandTimesSpool&) = delete;
    CommandTimesSpool& operator=(const CommandTimesSpool&) = delete;

    // Moves the records out of `records`, leaving it an empty array.
    void Take(Json::Value& records) {
        for (const Json::Value& record : records) {
            // Elements of a member's array stand two tabs deep in the summary.
            std::string text = Json::writeString(writer_, record);
            for (std::size_t line = text.find('\n'); line != std::string::npos;
                 line = text.find('\n', line + 3)) {
                text.insert(line + 1, "\t\t");
            }
            out_ << (count_++ == 0 ? "\t\t" : ",\n\t\t") << text;
        }
        records = Json::Value(Json::arrayValue);
        if (!out_) {
            throw orka::OrkaError("Failed writing JSON data to '" + path_ + "'");
        }
    }

    // Writes `summary` to `path` with the spooled records as its "command times".
    void WriteSummary(const std::string& path, const Json::Value& summary) {
        out_.flush();
        Json::Value shell = summary;
        shell["command times"] = "spooled";
        const std::string text = Json::writeString(writer_, shell);
        // The one member of that name at the top level, one tab deep.
        const std::string member = "\n\t\"command times\" : ";
        const std::string quoted = member + "\"spooled\"";
        std::size_t at = text.find(quoted);
        if (at == std::string::npos) {
            throw orka::OrkaError("Failed writing JSON data to '" + path + "'");
        }
        at += member.size();
        const std::size_t end = at + quoted.size() - member.size();
        orka::WriteFileByRename(path, [&](std::ostream& file) {
            file << text.substr(0, at);
            if (count_ == 0) {
                file << "[]";
            } else {
                std::ifstream spooled(path_);
                file << "\n\t[\n" << spooled.rdbuf() << "\n\t]";
            }
            file << text.substr(end);
        });
    }

  private:
    std::string path_;
    std::ofstream out_;
    Json::StreamWriterBuilder writer_;
    std::size_t count_ = 0;
};

}  // namespace

int Read(Json::Value& settings) {
    LOG_VERBOSE << "read command started...";
    // Ctrl-C, SIGTERM (a service stopped) and SIGHUP (a closed terminal) end the run after the sample in
    // hand, with the summary written and no temporary file left.
    InterruptFlag interrupt;

    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA controller{};
    Json::Value summary;
    summary["command times"] = Json::Value(Json::arrayValue);
    summary["_cmd"]["begin time"] = orka::GetTimestamp(false);
    summary["_settings"] = settings;
    Json::Value& details = summary["read details"];
    details["sample"] = Json::Value(Json::arrayValue);
    details["static mismatches"] = 0;
    details["counter mismatches"] = 0;

    std::string rules_file = settings["rules file"].asString();
    if (!rules_file.empty()) {
        if (rules_file.find(".rules.json") == std::string::npos) {
            rules_file += ".rules.json";
        }
        std::string looked;
        const std::string found = FindInputFile(rules_file, looked);
        if (found.empty()) {
            throw orka::UsageError("Failed to find rules file: " + rules_file + " (looked for " + looked +
                                   ")");
        }
        rules_file = AbsolutePath(found);
        settings["rules file"] = rules_file;
        orka::LoadRulesFile(rules_file, settings["rules"]);
    }

    Json::Value reference;
    std::string compare_file = settings["compare file"].asString();
    if (!compare_file.empty()) {
        compare_file = AbsolutePath(compare_file);
        if (!std::filesystem::exists(compare_file)) {
            throw orka::UsageError("Failed to find compare file: " + compare_file);
        }
        settings["compare file"] = compare_file;
        std::string fault = orka::ParseJsonFile(compare_file, reference);
        const Json::Value& file = reference;
        if (!fault.empty()) {
            fault = "not JSON: " + fault;
        } else if (!file.isObject() || !file["_metadata"].isObject() ||
                   file["_metadata"]["file type"] != "nvme info") {
            fault = "not a drive information file (its \"_metadata\" has no \"file type\" \"nvme info\")";
        } else if (!file["nvme"].isObject() || !file["nvme"]["parameters"].isObject()) {
            fault = "no \"nvme\" / \"parameters\" object";
        }
        if (!fault.empty()) {
            throw orka::UsageError("Invalid compare file: " + compare_file + ": " + fault);
        }
    }
    const Json::Value rules = settings["rules"];

    // The metrics file is replaced after every sample; its folder must be there from the start.
    std::string metrics_file;
    if (settings.isMember("metrics file")) {
        if (!settings["metrics file"].isString()) {
            throw orka::UsageError("Invalid metrics file: the setting 'metrics file' is not a string");
        }
        metrics_file = settings["metrics file"].asString();
    }
    if (!metrics_file.empty()) {
        metrics_file = AbsolutePath(metrics_file);
        if (!std::filesystem::is_directory(std::filesystem::path(metrics_file).parent_path())) {
            throw orka::UsageError("Failed to find folder of metrics file: " + metrics_file);
        }
        settings["metrics file"] = metrics_file;
        RUN_METRICS = std::make_unique<orka::RunMetrics>(metrics_file, DevicePath(settings));
    }

    const std::filesystem::path log_directory = settings["common"]["log directory"].asString();
    const std::string summary_path = AbsolutePath((log_directory / "read.summary.json").string());
    summary["_settings"].removeMember("compare file");
    summary["_settings"].removeMember("rules");

    CommandTimesSpool command_times(summary_path);
    // Every sample allocates and frees the same large buffers: keep the heap instead of returning
    // it to the system and faulting it back in on the next sample.
    mallopt(M_MMAP_THRESHOLD, 16 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 64 * 1024 * 1024);

    const unsigned int samples = settings["samples"].asUInt();
    const unsigned int interval = settings["interval in ms"].asUInt();
    const unsigned int log_rate = settings["log sample rate"].asUInt();
    const unsigned int display_rate = settings["display sample rate"].asUInt();
    const unsigned int fail_limit = settings["fail limit"].asUInt();
    const std::string compare_type = settings["compare type"].asString();
    const bool system_data = settings["read system data"].asBool();
    const bool extended_system_data = settings["read extended system data"].asBool();
    const std::string drive = settings["common"]["drive"].asString();
    const orka::NVME_ID fd = orka::GetNvmeId(settings["common"]["nvme path"].asString(), false);

    LOG_INFO << " ";
    LOG_INFO << " ---- " << settings["short description"].asString() << " ----";
    LOG_INFO << "";
    LOG_INFO << " Begin Time:         " << summary["_cmd"]["begin time"].asString();
    if (samples != 1) {
        LOG_INFO << " Estimated Run Time: " << orka::MillisecondsToTimeString(interval * samples, 2);
        LOG_INFO << " Samples:            " << samples;
        LOG_INFO << " Sample Interval:    " << interval << "mS";
    }
    if (!reference.isNull()) {
        LOG_INFO << " Compare File:       " << compare_file;
    }
    if (!rules.isNull()) {
        LOG_INFO << " Rules File:         " << settings["rules file"].asString();
    }
    if (!metrics_file.empty()) {
        LOG_INFO << " Metrics File:       " << metrics_file;
    }
    LOG_INFO << " Log Directory:      " << log_directory.string();

    details["begin time"] = orka::GetTimestamp(false);
    const orka::TimePoint loop_start = Clock::now();
    orka::TimePoint wake = loop_start + std::chrono::milliseconds(interval);
    std::string timestamp = orka::GetTimestamp(false);
    unsigned int errors = 0;
    unsigned int completed = 0;
    bool has_temperature = false;
    Json::Value& sample_records = details["sample"];

    for (unsigned int sample = 1; sample <= samples; ++sample) {
        Json::Value info;
        std::string failure;
        const orka::TimePoint sample_start = Clock::now();

        if (system_data) {
            orka::GetSystemInfo(info, drive, extended_system_data);
        }
        const bool read = orka::GetNvmeInfo(fd, controller, settings, summary["command times"], info);
        if (!read) {
            MarkFailed(failure, sample, "read");
        }
        Json::Value& parameters = info["nvme"]["parameters"];
        AddPciLocationToDescription(parameters);
        if (sample == 1) {
            has_temperature = parameters.isMember("Composite Temperature");
            if (has_temperature) {
                LOG_INFO << " Device Temp:        "
                         << parameters["Composite Temperature"]["value"].asString();
            }
            LOG_INFO << "";
        }
        orka::SampleOutcome outcome;
        if (!rules.isNull()) {
            outcome.rules_passed = orka::VerifyNvmeInfo(info, rules);
            if (!*outcome.rules_passed) {
                MarkFailed(failure, sample, "verify");
            }
        }
        if (!reference.isNull()) {
            outcome.compare_passed = orka::CompareNvmeInfo(reference, info, compare_type);
            outcome.static_mismatches = info["static mismatches"].size();
            outcome.counter_mismatches = info["counter mismatches"].size();
            if (!*outcome.compare_passed) {
                MarkFailed(failure, sample, "compare");
                details["static mismatches"] =
                    details["static mismatches"].asUInt() + info["static mismatches"].size();
                details["counter mismatches"] =
                    details["counter mismatches"].asUInt() + info["counter mismatches"].size();
            }
        } else {
            // Later samples are compared with this one as it was collected, before the annotation.
            reference = info;
            for (const auto& name : parameters.getMemberNames()) {
                Json::Value& parameter = parameters[name];
                parameter["compare type"] = orka::GetCompareType("default", parameter["name"].asString(),
                                                                 parameter["source"].asString(), true);
            }
        }

        const bool interrupted = GLOBAL_EXIT_GRACEFULLY != 0;
        if (interrupted) {
            LOG_INFO << " ";
            LOG_INFO << InterruptFlag::Description();
        }
        const bool failed = !failure.empty();
        if (interrupted || (failed && errors < fail_limit) || sample == 1 || sample == samples ||
            (log_rate != 0 && sample % log_rate == 0)) {
            const std::string name =
                samples == 1 ? "nvme.info.json" : "nvme.info.sample-" + std::to_string(sample) + ".json";
            orka::WriteJsonFile((log_directory / name).string(), info);
        }
        sample_records.append(failed ? GetSampleInfo(1, failure, info, sample_start, timestamp)
                                     : GetSampleInfo(0, "PASSED", info, sample_start, timestamp));
        if (RUN_METRICS) {
            outcome.passed = !failed;
            outcome.duration_seconds = std::chrono::duration<double>(Clock::now() - sample_start).count();
            UpdateMetrics([&](orka::RunMetrics& metrics) { metrics.Sample(info, outcome, read); });
        }
        command_times.Take(summary["command times"]);
        if (interrupted) {
            break;
        }

        errors += failed ? 1 : 0;
        SleepUntilOrInterrupted(wake);
        wake += std::chrono::milliseconds(interval);
        timestamp = orka::GetTimestamp(false);
        if (display_rate != 0 && sample % display_rate == 0) {
            std::string line = std::to_string(sample);
            line.insert(0, line.size() < 6 ? 6 - line.size() : 0, ' ');
            line += " samples completed in " + orka::GetHiResDiffTimeString(loop_start, 2);
            if (has_temperature) {
                line += "   (Device Temp " + ParameterValue(info, "Composite Temperature").asString() + ")";
            }
            LOG_INFO << line;
        }
        ++completed;
    }

    orka::CloseNvmeId(fd);
    details["end time"] = orka::GetTimestamp(false);
    details["run time"] = orka::GetHiResDiffTimeString(loop_start, 2);
    LOG_INFO << " ";
    LOG_INFO << " End Time:           " << details["end time"].asString();
    LOG_INFO << " Run Time:           " << details["run time"].asString();
    LOG_INFO << " Summary File        " << summary_path;

    const SummaryWriter write = [&command_times](const std::string& path, const Json::Value& document) {
        command_times.WriteSummary(path, document);
    };
    if (errors == 0) {
        return LogResult(summary, 0,
                         samples == 1 ? " No errors found "
                                      : " No errors found on " + std::to_string(completed) + " samples",
                         summary_path, write);
    }
    const std::string message = samples == 1 ? " Found errors"
                                             : " Found errors on " + std::to_string(errors) + " samples of " +
                                                   std::to_string(completed) + " total samples";
    return LogResult(summary, errors < fail_limit ? 21 : 22, message, summary_path, write);
}

void FinishRunMetrics(const Json::Value& settings, int rc) {
    if (!RUN_METRICS) {
        // The run ended before Read checked the setting: a read's command file with a metrics file.
        if (!settings.isObject() || settings["command type"] != "read" ||
            !settings["metrics file"].isString() || settings["metrics file"].asString().empty()) {
            return;
        }
        RUN_METRICS = std::make_unique<orka::RunMetrics>(AbsolutePath(settings["metrics file"].asString()),
                                                         DevicePath(settings));
    }
    const double now = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
    UpdateMetrics([&](orka::RunMetrics& metrics) { metrics.Finish(rc, now); });
}
