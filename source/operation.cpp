// Steps shared by the self-test and sanitize command types.
#include "operation.h"

#include <cstring>
#include <thread>

#include "brantix.h"
#include "logpage.h"
#include "orka_data.h"
#include "orka_nvme.h"

namespace {

template <typename T>
T FieldAt(const unsigned char* bytes, std::size_t offset) {
    T field;
    std::memcpy(&field, bytes + offset, sizeof field);
    return field;
}

// Data units of 512,000 bytes as decimal gigabytes.
std::string DataUnitsText(const unsigned char* bytes) {
    const orka::float128 units(orka::To128bitNumber(bytes));
    return orka::ToBigFloatNumberString(units * 512 / 1000 / 1000, 3) + " GB";
}

void OnInterrupt(int) {
    GLOBAL_EXIT_GRACEFULLY = 1;
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
    unsigned char log[orka::LOGPAGE_02_LENGTH] = {};
    Json::Value none;
    if (orka::ReadLogPage(0x02, orka::LOGPAGE_02_LENGTH, fd, log, commands, none, 0) != 0) {
        AddMessage(report, "Failed to read log page 2 for status update");
        temperature.clear();
        return false;
    }
    temperature = orka::ToTemp(FieldAt<orka::le16>(log, 1).get());
    report["Composite Temperature"] = temperature;
    report["Percentage Used"] = std::to_string(log[5]) + " %";
    report["Power On Hours"] = orka::ToBigNumberString(orka::To128bitNumber(log + 128));
    report["Data Read"] = DataUnitsText(log + 32);
    report["Data Written"] = DataUnitsText(log + 48);
    report["Warning Composite Temperature Time"] =
        orka::ToNumberString(FieldAt<orka::le32>(log, 192).get()) + " Min";
    report["Critical Composite Temperature Time"] =
        orka::ToNumberString(FieldAt<orka::le32>(log, 196).get()) + " Min";
    report["Thermal Management Temperature 1 Time"] =
        orka::ToNumberString(FieldAt<orka::le32>(log, 224).get()) + " Sec";
    report["Thermal Management Temperature 2 Time"] =
        orka::ToNumberString(FieldAt<orka::le32>(log, 228).get()) + " Sec";
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

InterruptFlag::InterruptFlag() : previous_(std::signal(SIGINT, OnInterrupt)) {
    GLOBAL_EXIT_GRACEFULLY = 0;
}

InterruptFlag::~InterruptFlag() {
    std::signal(SIGINT, previous_ == SIG_ERR ? SIG_DFL : previous_);
}

bool InterruptFlag::Raised() {
    return GLOBAL_EXIT_GRACEFULLY != 0;
}
