// The self-test command type: starts the drive's short or extended device
// self-test and follows it through the self-test log (06h) to its end.
#include <chrono>

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

constexpr unsigned short DEVICE_SELF_TEST = 0x14;
constexpr unsigned int ABORT_SELF_TEST = 0x0F;
constexpr unsigned int OACS_SELF_TEST = 0x10;
constexpr unsigned int RESULT_PASSED = 0;
constexpr unsigned int RESULT_ABORTED = 1;
const char* const LOG_6_FAILED = "Failed to read log page 6 for status update";

// The newest result entry comes first.
unsigned int NewestResult(const orka::ORKA_NVME_LOGPAGE_06_DATA& log) {
    return orka::GetBits(log.RESULT[0].STATUS, orka::SELF_TEST_RESULT);
}

std::string ResultText(unsigned int result) {
    std::string text = "Reserved";
    if (result == RESULT_PASSED) {
        text = "Passed";
    } else if (result >= 5 && result <= 7) {
        text = "Failed";
    } else if (result <= 9) {
        text = "Aborted";
    } else if (result == 15) {
        text = "Entry not used";
    }
    return text + " (" + std::to_string(result) + ")";
}

class SelfTestRun {
  public:
    SelfTestRun(const Json::Value& settings, orka::NVME_ID fd)
        : settings_(settings),
          fd_(fd),
          file_(settings["common"]["log directory"].asString() + "/selftest.summary.json"),
          summary_(NewOperationSummary(settings)),
          commands_(summary_["command times"]),
          details_(summary_["selftest details"]) {}

    int Run();

  private:
    int Finish(int rc, const std::string& message) { return LogResult(summary_, rc, message, file_); }
    // One sample of the self-test log; false when it could not be read.
    bool Sample(Json::Value& report);
    // The SMART snapshot when "read smart data" is set; returns the
    // temperature for the console line.
    std::string AddSmart(Json::Value& report);
    // Sends the abort and checks what the log shows after it; a return code
    // other than 0 ends the command.
    int Abort(const std::string& reason);

    const Json::Value& settings_;
    orka::NVME_ID fd_;
    std::string file_;
    Json::Value summary_;
    Json::Value& commands_;
    Json::Value& details_;
    orka::ORKA_NVME_LOGPAGE_06_DATA log_{};
    unsigned int errors_ = 0;
};

bool SelfTestRun::Sample(Json::Value& report) {
    report["timestamp"] = orka::GetTimestamp(false);
    Json::Value none;
    const bool read = orka::ReadLogPage(0x06, orka::LOGPAGE_06_LENGTH, fd_,
                                        reinterpret_cast<unsigned char*>(&log_), commands_, none, 0) == 0;
    if (read) {
        report["percent complete"] = log_.CDSTC;
    } else {
        AddMessage(report, LOG_6_FAILED);
        ++errors_;
    }
    return read;
}

std::string SelfTestRun::AddSmart(Json::Value& report) {
    std::string temperature;
    if (settings_["read smart data"].asBool()) {
        AddSmartSnapshot(fd_, report, commands_, temperature);
    }
    return temperature.empty() ? "" : "  Temp: " + temperature;
}

int SelfTestRun::Abort(const std::string& reason) {
    Json::Value none;
    if (orka::NvmeAdminCommand(fd_, "Abort Self-Test", commands_, none, DEVICE_SELF_TEST,
                               orka::ALL_NAMESPACES, ABORT_SELF_TEST, 0, 0, 0, 0, 0, nullptr, nullptr, 0,
                               false) != 0) {
        return 34;
    }
    Json::Value report;
    report["timestamp"] = orka::GetTimestamp(false);
    report["message"] = reason;
    if (orka::ReadLogPage(0x06, orka::LOGPAGE_06_LENGTH, fd_, reinterpret_cast<unsigned char*>(&log_),
                          commands_, none, 0) != 0) {
        details_["status"].append(report);
        return 36;
    }
    report["percent complete"] = log_.CDSTC;
    const auto check = [&](bool passed, const std::string& message) {
        if (!passed) {
            LOG_ERROR << message;
            AddMessage(report, message);
            ++errors_;
        }
    };
    check(log_.CDSTO == 0, "Operation field is not 'No device self-test operation in progress'");
    check(NewestResult(log_) == RESULT_ABORTED,
          "Result status field is not 'Operation was aborted by a Device Self-test command'");
    details_["status"].append(report);
    return 0;
}

int SelfTestRun::Run() {
    orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA controller{};
    Json::Value none;
    if (orka::ReadIdentifyController(fd_, controller, commands_, none) != 0) {
        throw orka::OrkaError("Failed to read Identify Controller");
    }
    const bool extended = settings_["extended self-test"].asBool();
    if ((controller.OACS.get() & OACS_SELF_TEST) == 0) {
        return Finish(30, "Device does NOT support self-test");
    }
    if (extended && controller.EDSTT.get() == 0) {
        return Finish(32, "Device extended self-test duration (EDSTT) is 0");
    }
    const unsigned int code = extended ? 2 : 1;
    // Settings that cannot be read stop the run here, before a test is started that nothing would follow.
    const auto interval = std::chrono::seconds(settings_["display sample interval in sec"].asUInt());
    const unsigned int abort_time = settings_["abort time"].asUInt();
    details_["run time estimate"] =
        extended ? std::to_string(controller.EDSTT.get()) + " Minutes" : "< 2 minutes";
    const orka::TimePoint begin = std::chrono::system_clock::now();
    details_["begin time"] = orka::GetTimestamp(false);
    details_["status"] = Json::Value(Json::arrayValue);
    PrintOperationBanner(settings_, details_["begin time"].asString(),
                         details_["run time estimate"].asString());

    Json::Value first;
    Sample(first);
    LOG_INFO << " " << first["percent complete"].asUInt() << "% complete at start" << AddSmart(first);
    details_["status"].append(first);

    if (orka::NvmeAdminCommand(fd_, "Start Extended Self-Test", commands_, none, DEVICE_SELF_TEST,
                               orka::ALL_NAMESPACES, code, 0, 0, 0, 0, 0, nullptr, nullptr, 0, false) != 0) {
        return Finish(31, "Self-test did NOT start");
    }
    PollSchedule polls(std::chrono::system_clock::now());
    const orka::TimePoint abort_due = polls.Start() + std::chrono::seconds(abort_time);
    orka::TimePoint next_display = polls.Start() + interval;
    unsigned int last_completion = 0;
    FailedPolls failed_polls("the self-test log");
    for (;;) {
        const orka::TimePoint due = polls.WaitForNextPoll();
        if (InterruptFlag::Raised() || (abort_time != 0 && due >= abort_due)) {
            const bool interrupted = InterruptFlag::Raised();
            const std::string reason = interrupted ? "Interrupted: self-test aborted" : "Abort time reached";
            LOG_INFO << " " << reason;
            const int rc = Abort(reason);
            if (rc == 34) {
                return Finish(34, "Self-test did NOT abort");
            }
            if (rc == 36) {
                return Finish(36, "Log Page 6 read failed after abort test");
            }
            break;
        }
        Json::Value report;
        if (!Sample(report)) {
            details_["status"].append(report);
            if (failed_polls.GiveUp()) {
                break;
            }
            continue;
        }
        failed_polls.Reset();
        if (log_.CDSTO != code) {
            if (NewestResult(log_) != RESULT_PASSED) {
                const std::string message = "Self-test ended with result " + ResultText(NewestResult(log_));
                LOG_ERROR << message;
                AddMessage(report, message);
                ++errors_;
            }
            AddSmart(report);
            details_["status"].append(report);
            break;
        }
        const unsigned int completion = log_.CDSTC;
        if (completion < last_completion) {
            const std::string message =
                "Progress must increase.  Last progress: " + std::to_string(last_completion) +
                " Current progress: " + std::to_string(completion);
            LOG_ERROR << message;
            AddMessage(report, message);
            ++errors_;
        }
        last_completion = completion;
        // Samples go into the summary with the progress lines, and whenever something went wrong.
        if (due >= next_display) {
            next_display += interval;
            LOG_INFO << " " << completion << "% complete after "
                     << orka::GetHiResDiffTimeString(polls.Start(), 3) << AddSmart(report);
            details_["status"].append(report);
        } else if (report.isMember("message")) {
            details_["status"].append(report);
        }
    }

    AddRunTimes(details_, begin);
    const unsigned int result = NewestResult(log_);
    details_["return code"] = result;
    details_["log page 6 result"] = ResultText(result);
    details_["log page 6 power on hours"] = orka::ToBigNumberString(orka::uint128(log_.RESULT[0].POH.get()));
    LOG_INFO << " Self-Test Result:   " << ResultText(result);
    LOG_INFO << " End Time:           " << details_["end time"].asString();
    LOG_INFO << " Run Time:           " << details_["run time"].asString();
    LOG_INFO << " Summary File        " << file_;
    return errors_ == 0 ? Finish(0, " SELF-TEST PASSED") : Finish(33, " SELF-TEST FAILED");
}

}  // namespace

int SelfTest(const Json::Value& settings) {
    try {
        InterruptFlag interrupt;
        const orka::NVME_ID fd = orka::GetNvmeId(settings["common"]["nvme path"].asString(), false);
        int rc = 0;
        try {
            rc = SelfTestRun(settings, fd).Run();
        } catch (...) {
            orka::CloseNvmeId(fd);
            throw;
        }
        orka::CloseNvmeId(fd);
        return rc;
    } catch (const orka::UsageError&) {
        throw;
    } catch (const orka::OrkaError&) {
        throw;
    } catch (...) {
        orka::RethrowWithOrigin("SelfTest", "source/selftest", __LINE__);
    }
}
