// The sanitize command type: starts a block erase, overwrite or crypto erase
// and follows it through the Sanitize Status log (81h) to its end.
#include <chrono>
#include <cstring>

#include "brantix.h"
#include "identify_controller.h"
#include "logpage.h"
#include "nvme_admin_command.h"
#include "operation.h"
#include "orka.h"
#include "orka_data.h"
#include "orka_linux.h"
#include "orka_nvme.h"

namespace {

constexpr unsigned short SANITIZE_OPCODE = 0x84;
const char* const LOG_81_FAILED = "Failed to read log page 81 for status update";

// A "sanitize type", the action that starts it and the SANICAP bit that
// advertises it.
struct SanitizeAction {
    const char* type;
    unsigned int action;
    unsigned int sanicap_bit;
    int unsupported_rc;
    const char* unsupported_message;
};

constexpr SanitizeAction ACTIONS[] = {
    {"block", 2, 1, 40, "Device does NOT support block erase"},
    {"overwrite", 3, 2, 42, "Device does NOT support overwrite"},
    {"crypto", 4, 0, 41, "Device does NOT support crypto erase"},
};

const SanitizeAction& FindAction(const std::string& type) {
    for (const auto& action : ACTIONS) {
        if (type == action.type) {
            return action;
        }
    }
    throw orka::UsageError("Unsupported sanitize type: " + type);
}

std::string StatusText(unsigned int status) {
    static const char* const TEXTS[] = {"Never sanitized", "Completed", "In progress", "Failed",
                                        "Completed with no-deallocate"};
    const std::string text = status < 5 ? TEXTS[status] : "Reserved";
    return text + " (" + std::to_string(status) + ")";
}

// Integer arithmetic throughout: the figure stays 0 until the progress
// reaches 65535 and is then 100.
unsigned int PercentOf(const orka::ORKA_NVME_LOGPAGE_81_DATA& log) {
    return 100 * (log.SPROG.get() / 65535u);
}

class SanitizeRun {
  public:
    SanitizeRun(Json::Value& settings, const SanitizeAction& action)
        : settings_(settings),
          action_(action),
          file_(settings["common"]["log directory"].asString() + "/sanitize.summary.json"),
          summary_(NewOperationSummary(settings)),
          commands_(summary_["command times"]),
          details_(summary_["sanitize details"]) {
        details_["run time estimate"] = "N/A";
        details_["status"] = Json::Value(Json::arrayValue);
    }

    // Runs the command on the open drive `fd`.
    int Run(orka::NVME_ID fd);
    int Finish(int rc, const std::string& message) { return LogResult(summary_, rc, message, file_); }

  private:
    // Reads the status log into log_ and fills a report from it; false when
    // the log could not be read (the report then says so).
    bool ReadStatus(Json::Value& report);
    // Adds the SMART values when asked and appends the report; returns the
    // temperature text for the console line.
    std::string Append(Json::Value& report);
    void PrintEnd();

    Json::Value& settings_;
    const SanitizeAction& action_;
    std::string file_;
    Json::Value summary_;
    Json::Value& commands_;
    Json::Value& details_;
    orka::NVME_ID fd_ = -1;
    orka::ORKA_NVME_LOGPAGE_81_DATA log_{};
    orka::TimePoint begin_;
    unsigned int errors_ = 0;
};

bool SanitizeRun::ReadStatus(Json::Value& report) {
    report["timestamp"] = orka::GetTimestamp(false);
    Json::Value none;
    if (orka::ReadLogPage(0x81, orka::LOGPAGE_81_LENGTH, fd_, reinterpret_cast<unsigned char*>(&log_),
                          commands_, none, 0) != 0) {
        std::memset(&log_, 0, sizeof log_);
        report["percent complete"] = 0;
        report["message"] = LOG_81_FAILED;
        ++errors_;
        return false;
    }
    const unsigned int sstat = log_.SSTAT.get();
    report["percent complete"] = PercentOf(log_);
    report["message"] = "";
    report["status"] = orka::GetBits(sstat, orka::SSTAT_STATUS);
    report["global data erase"] = orka::GetBits(sstat, orka::SSTAT_GDE) == 1;
    report["sanitize command"] = orka::ToHexString(log_.SCDW10.get(), 8);
    const std::pair<const char*, unsigned int> estimates[] = {{"block erase seconds", log_.ETBE.get()},
                                                              {"crypto erase seconds", log_.ETCE.get()},
                                                              {"overwrite seconds", log_.ETO.get()}};
    for (const auto& [name, seconds] : estimates) {
        if (seconds != orka::SANITIZE_NO_ESTIMATE) {
            report[name] = seconds;
        }
    }
    const unsigned int mine = action_.action == 2   ? log_.ETBE.get()
                              : action_.action == 3 ? log_.ETO.get()
                                                    : log_.ETCE.get();
    if (details_["run time estimate"].asString() == "N/A" && mine != orka::SANITIZE_NO_ESTIMATE) {
        details_["run time estimate"] = orka::MillisecondsToTimeString(mine * 1000.0, 3);
    }
    return true;
}

std::string SanitizeRun::Append(Json::Value& report) {
    std::string temperature;
    if (settings_["read smart data"].asBool()) {
        AddSmartSnapshot(fd_, report, commands_, temperature);
    }
    details_["status"].append(report);
    return temperature.empty() ? "" : "  Temp: " + temperature;
}

void SanitizeRun::PrintEnd() {
    AddRunTimes(details_, begin_);
    LOG_INFO << " End Time:           " << details_["end time"].asString();
    LOG_INFO << " Run Time:           " << details_["run time"].asString();
    LOG_INFO << " Summary File        " << file_;
}

int SanitizeRun::Run(orka::NVME_ID fd) {
    fd_ = fd;
    // Never erase a drive the host is using, whatever the drive offers: a
    // mounted file system, an active swap area or an exclusive holder on any
    // namespace of its subsystem, through whichever controller or path.
    const std::string in_use = orka::FindDriveInUse(settings_["common"]["drive"].asString());
    if (!in_use.empty()) {
        return Finish(43, "Sanitize did NOT start: " + in_use);
    }
    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA controller{};
    Json::Value none;
    // Without the controller's data its sanitize capabilities are unknown, not absent.
    if (orka::ReadIdentifyController(fd_, controller, commands_, none) != 0) {
        throw orka::OrkaError("Failed to read Identify Controller");
    }
    if (((controller.SANICAP.get() >> action_.sanicap_bit) & 1) == 0) {
        return Finish(action_.unsupported_rc, action_.unsupported_message);
    }

    begin_ = std::chrono::system_clock::now();
    details_["begin time"] = orka::GetTimestamp(false);
    Json::Value first;
    ReadStatus(first);
    Append(first);
    PrintOperationBanner(settings_, details_["begin time"].asString(),
                         details_["run time estimate"].asString());

    PollSchedule polls(std::chrono::system_clock::now());
    const auto interval = std::chrono::seconds(settings_["display sample interval in sec"].asUInt());
    orka::TimePoint next_report = polls.Start() + interval;
    // Ctrl-C before the start leaves the drive's data alone: the sanitize is never sent.
    if (InterruptFlag::Raised()) {
        PrintEnd();
        return Finish(43, "Sanitize did NOT start: interrupted");
    }
    if (orka::NvmeAdminCommand(fd_, "Start Sanitize", commands_, none, SANITIZE_OPCODE, orka::ALL_NAMESPACES,
                               action_.action, 0, 0, 0, 0, 0, nullptr, nullptr, 0, false) != 0) {
        return Finish(43, "Sanitize did NOT start");
    }
    unsigned int last_percent = 0;
    FailedPolls failed_polls("the sanitize status log");
    unsigned int status = orka::SANITIZE_IN_PROGRESS;
    for (;;) {
        const orka::TimePoint due = polls.WaitForNextPoll();
        if (InterruptFlag::Raised()) {
            LOG_WARNING << " Interrupted: the drive goes on sanitizing until the operation ends";
            // Where the operation stands as the monitoring ends.
            Json::Value report;
            ReadStatus(report);
            Append(report);
            PrintEnd();
            return Finish(44, "Sanitize monitoring was interrupted; the drive goes on sanitizing");
        }
        Json::Value report;
        if (!ReadStatus(report)) {
            Append(report);
            if (failed_polls.GiveUp()) {
                break;
            }
            continue;
        }
        failed_polls.Reset();
        status = orka::GetBits(log_.SSTAT.get(), orka::SSTAT_STATUS);
        const unsigned int percent = PercentOf(log_);
        if (status != orka::SANITIZE_IN_PROGRESS) {
            if (status != orka::SANITIZE_COMPLETED && status != orka::SANITIZE_COMPLETED_NO_DEALLOCATE) {
                const std::string message = "Sanitize ended with status " + StatusText(status);
                LOG_ERROR << message;
                AddMessage(report, message);
                ++errors_;
            }
            Append(report);
            break;
        }
        if (due < next_report) {
            continue;
        }
        next_report += interval;
        if (last_percent > percent) {
            const std::string message =
                "Progress must increase.  Last progress: " + std::to_string(last_percent) +
                " Current progress: " + std::to_string(percent);
            LOG_ERROR << message;
            AddMessage(report, message);
            ++errors_;
        }
        last_percent = percent;
        const std::string temperature = Append(report);
        LOG_INFO << " " << percent << "% complete after " << orka::GetHiResDiffTimeString(polls.Start(), 3)
                 << temperature;
    }
    details_["return code"] = status;
    LOG_INFO << " Sanitize Result:    " << StatusText(status);
    PrintEnd();
    return errors_ == 0 ? Finish(0, " SANITIZE PASSED") : Finish(44, " SANITIZE FAILED");
}

}  // namespace

int Sanitize(Json::Value& settings) {
    try {
        const SanitizeAction& action = FindAction(settings["sanitize type"].asString());
        InterruptFlag interrupt;
        SanitizeRun run(settings, action);
        orka::NVME_ID fd = -1;
        int rc = 0;
        try {
            fd = orka::GetNvmeId(settings["common"]["nvme path"].asString(), false);
            rc = run.Run(fd);
        } catch (const orka::UsageError&) {
            throw;
        } catch (const std::exception& error) {
            // A drive that cannot be opened or answered nothing is an operational failure.
            rc = run.Finish(17, error.what());
        }
        if (fd >= 0) {
            orka::CloseNvmeId(fd);
        }
        return rc;
    } catch (const orka::UsageError&) {
        throw;
    } catch (...) {
        orka::RethrowWithOrigin("Sanitize", "source/sanitize", __LINE__);
    }
}
