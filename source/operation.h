// Steps shared by the command types that start an operation on the drive and
// follow it to its end (self-test and sanitize).
#pragma once

#include <json/json.h>

#include <chrono>
#include <csignal>
#include <string>
#include <utility>

#include "orka.h"

// A new summary: "_cmd" / "begin time", "_settings" and an empty "command times".
Json::Value NewOperationSummary(const Json::Value& settings);

// The banner with the begin time, the run-time estimate and the log directory.
void PrintOperationBanner(const Json::Value& settings, const std::string& begin, const std::string& estimate);

// Adds `message` to the report's "message", after any message already there.
void AddMessage(Json::Value& report, const std::string& message);

// Reads the SMART / Health log and adds its snapshot values to `report`;
// `temperature` receives the composite temperature. On a failed read the
// report gets the message "Failed to read log page 2 for status update",
// `temperature` is left empty and the result is false.
bool AddSmartSnapshot(int fd, Json::Value& report, Json::Value& commands, std::string& temperature);

// Adds "end time", "run time" and "run time in ms" to `details`.
void AddRunTimes(Json::Value& details, const orka::TimePoint& begin);

// Polls once a second on absolute due times, counted from the start of the
// operation, so that the polls do not drift.
class PollSchedule {
  public:
    explicit PollSchedule(const orka::TimePoint& start) : start_(start), due_(start) {}
    // Sleeps until the next poll is due and returns that due time.
    orka::TimePoint WaitForNextPoll();
    const orka::TimePoint& Start() const { return start_; }

  private:
    orka::TimePoint start_;
    orka::TimePoint due_;
};

// Points SIGINT, SIGTERM and SIGHUP at GLOBAL_EXIT_GRACEFULLY (which takes the
// signal's number) while it lives; the previous handlers come back afterwards.
class InterruptFlag {
  public:
    InterruptFlag();
    ~InterruptFlag();
    InterruptFlag(const InterruptFlag&) = delete;
    InterruptFlag& operator=(const InterruptFlag&) = delete;
    static bool Raised();
    // The console line for the signal that was raised.
    static std::string Description();

  private:
    static constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};
    void (*previous_[3])(int);
};

// A log page read that keeps failing is given up after this many reads in a
// row, so that a drive that stops answering does not keep the tool polling.
constexpr unsigned int MAX_FAILED_POLLS_IN_A_ROW = 10;

// Counts the polls of one log that failed in a row; a poll that succeeds starts the count again.
class FailedPolls {
  public:
    explicit FailedPolls(std::string log) : log_(std::move(log)) {}
    // Counts one more failed poll; true, with the reason logged, when polling should stop.
    bool GiveUp();
    void Reset() { count_ = 0; }

  private:
    std::string log_;
    unsigned int count_ = 0;
};
