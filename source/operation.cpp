// Steps shared by the self-test and sanitize command types.
#include "operation.h"

#include <thread>

#include "brantix.h"
#include "logpage.h"
#include "orka_data.h"
#include "orka_nvme.h"

namespace {

// Data units of 512,000 bytes as decimal gigabytes.
std::string DataUnitsText(const unsigned char* bytes) {
    const orka::float128 units(orka::To128bitNumber(bytes));
    return orka::ToBigFloatNumberString(units * 512 / 1000 / 1000, 3) + " GB";
}

// Only raises the flag: the loops report the signal when they see it, so no logging (which allocates
// and locks) runs inside the handler.
void OnInterrupt(int signal) {
    GLOBAL_EXIT_GRACEFULLY = signal;
}

}  // namespace

Json::Value NewOperationSummary(const Json::Value& settings) {
    Json::Value summary;
    summary["_cmd"]["begin time"] = orka::GetTimestamp(false);
    summary["_settings"] = settings;
    summary["command times"] = Json::Value(Json::arrayValue);
    return summary;
}

void PrintOperationBanner(const Json::Value& settings, const std::string& begin,
                          const std::string& estimate) {
    LOG_INFO << " ---- " << settings["short description"].asString() << " ----";
    LOG_INFO << " Begin Time:         " << begin;
    LOG_INFO << " Estimated Run Time: " << estimate;
    LOG_INFO << " Log Directory:      " << settings["common"]["log directory"].asString();
}

void AddMessage(Json::Value& report, const std::string& message) {
    const std::string before = report["message"].asString();
    report["message"] = before.empty() ? message : before + "; " + message;
}

bool AddSmartSnapshot(int fd, Json::Value& report, Json::Value& commands, std::string& temperature) {
    orka::ORKA_NVME_LOGPAGE_02_DATA log{};
    Json::Value none;
    if (orka::ReadLogPage(0x02, orka::LOGPAGE_02_LENGTH, fd, reinterpret_cast<unsigned char*>(&log), commands,
                          none, 0) != 0) {
        AddMessage(report, "Failed to read log page 2 for status update");
        temperature.clear();
        return false;
    }
    temperature = orka::ToTemp(log.CTEMP.get());
    report["Composite Temperature"] = temperature;
    report["Percentage Used"] = std::to_string(log.PUSED) + " %";
    report["Power On Hours"] = orka::ToBigNumberString(orka::To128bitNumber(log.POH));
    report["Data Read"] = DataUnitsText(log.DUR);
    report["Data Written"] = DataUnitsText(log.DUW);
    report["Warning Composite Temperature Time"] = orka::ToNumberString(log.WCTT.get()) + " Min";
    report["Critical Composite Temperature Time"] = orka::ToNumberString(log.CCTT.get()) + " Min";
    report["Thermal Management Temperature 1 Time"] = orka::ToNumberString(log.TTTMT1.get()) + " Sec";
    report["Thermal Management Temperature 2 Time"] = orka::ToNumberString(log.TTTMT2.get()) + " Sec";
    return true;
}

void AddRunTimes(Json::Value& details, const orka::TimePoint& begin) {
    const orka::TimePoint now = std::chrono::system_clock::now();
    details["end time"] = orka::GetTimestamp(false);
    details["run time"] = orka::GetHiResDiffTimeString(begin, 3);
    details["run time in ms"] =
        static_cast<Json::UInt64>(std::chrono::duration_cast<std::chrono::milliseconds>(now - begin).count());
}

orka::TimePoint PollSchedule::WaitForNextPoll() {
    due_ += std::chrono::seconds(1);
    std::this_thread::sleep_until(due_);
    return due_;
}

InterruptFlag::InterruptFlag() : previous_() {
    GLOBAL_EXIT_GRACEFULLY = 0;
    for (std::size_t i = 0; i < std::size(SIGNALS); ++i) {
        previous_[i] = std::signal(SIGNALS[i], OnInterrupt);
    }
}

InterruptFlag::~InterruptFlag() {
    for (std::size_t i = 0; i < std::size(SIGNALS); ++i) {
        std::signal(SIGNALS[i], previous_[i] == SIG_ERR ? SIG_DFL : previous_[i]);
    }
}

std::string InterruptFlag::Description() {
    const int signal = GLOBAL_EXIT_GRACEFULLY;
    if (signal == SIGTERM) {
        return " <SIGTERM> detected, gracefully exiting";
    }
    return signal == SIGHUP ? " <SIGHUP> detected, gracefully exiting"
                            : " <CTRL C> detected, gracefully exiting";
}

bool InterruptFlag::Raised() {
    return GLOBAL_EXIT_GRACEFULLY != 0;
}

bool FailedPolls::GiveUp() {
    if (++count_ < MAX_FAILED_POLLS_IN_A_ROW) {
        return false;
    }
    LOG_ERROR << " Giving up: " << log_ << " could not be read " << count_ << " times in a row";
    return true;
}
