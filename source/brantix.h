// The front end: command line, command file, run result, usage texts, and the
// command type entry points it dispatches to.
#pragma once

#include <json/json.h>

#include <csignal>
#include <functional>
#include <string>

extern const std::string APP_NAME;
extern const std::string APP_VERSION;

// Builds the settings object from the command line and the command file.
void GetAppParameters(unsigned int argc, const char** argv, Json::Value& settings);
// The folder of the example command and rules files: <binary's folder>/../share/brantix, or the
// repository's commands/ folder for a binary in the build tree.
std::string ExamplesFolder();
// `name` as found: the path itself when it exists (relative to the current folder), else the file of
// that name in the examples folder. Empty when neither exists; `looked` then names both places.
std::string FindInputFile(const std::string& name, std::string& looked);
// Prints the brief usage text (false) or the verbose help (true).
void DisplayUsage(bool verbose);
// Writes a summary document to a path.
using SummaryWriter = std::function<void(const std::string& path, const Json::Value& summary)>;
// Completes the summary's "_cmd" record, writes the summary file (with `write`, by default
// orka::WriteJsonFile) and returns rc.
int LogResult(Json::Value& summary, int rc, const std::string& message, const std::string& file,
              const SummaryWriter& write = nullptr);

// Set to 1 by the interrupt handler of a command type; its loop reads it and ends cleanly.
extern volatile std::sig_atomic_t GLOBAL_EXIT_GRACEFULLY;

// Command types; each returns the run's return code.
int Read(Json::Value& settings);
// Writes the read's metrics file, if the settings name one, with the run's exit code: called
// once at the end of every run, however it ended.
void FinishRunMetrics(const Json::Value& settings, int rc);
int SelfTest(const Json::Value& settings);
int Sanitize(Json::Value& settings);
int Format(Json::Value& settings);
int Update(Json::Value& settings);
