// Helpers for tests that work against the drive simulator.
//
// In-process tests (suite names beginning with "Simulated") run in a second
// registration of brantix_tests with the simulator preloaded; UseProfile
// switches it to a profile. Binary runs (RunBrantixOnProfile) preload the
// simulator into the child themselves and work in any suite.
#pragma once

#include <json/json.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/brantix_run.h"

namespace testing_support {

// The profile file for a name under simulator/profiles/ ("rich-1.4"), or the
// argument itself when it is a path.
std::string ProfilePath(const std::string& name);

// The parsed source of a profile (the JSON file as written).
Json::Value ProfileSource(const std::string& name);

// Points the preloaded simulator at a profile, with a fresh state directory
// and a fresh, empty journal; `faults` is the per-run fault list
// (BRANTIX_SIM_FAULTS). Throws when the simulator is not preloaded.
void UseProfile(const std::string& name, const std::string& faults = "");

// Makes the preloaded simulator inert again.
void StopSimulation();

// The admin commands the simulator received since UseProfile, one object per
// command: "device", "opcode", "nsid", "cdw10".."cdw15", "data_len",
// "return", "errno", "result".
std::vector<Json::Value> Journal();

struct SimulatedRun : RunResult {
    std::filesystem::path journal_path;
    std::vector<Json::Value> Journal() const;
};

// Runs the brantix binary under the simulator with `profile`, in a fresh
// temporary directory, with fresh simulator state and journal.
SimulatedRun RunBrantixOnProfile(const std::string& profile, RunOptions options,
                                 const std::string& faults = "");
// The same, sending SIGINT once the journal shows `count` commands with `opcode`.
SimulatedRun RunBrantixInterrupted(const std::string& profile, RunOptions options, unsigned int opcode,
                                   unsigned int count = 1);

// Runs a command under the simulator, with the state folder `state_dir`, and
// returns its exit code and standard output (standard error is dropped).
using CommandResult = ProcessResult;
CommandResult RunUnderSimulator(const std::string& profile, const std::vector<std::string>& command,
                                const std::string& state_dir);

// The lines of a trace file with "<stamp>" for the time stamp and "<line>" for
// the source line number.
std::vector<std::string> TraceLines(const std::string& path);

// Reads one JSON document from text; throws when it is not valid JSON.
Json::Value ParseJson(const std::string& text);

// commands/<name>.cmd.json with the members of each JSON object in `changes`
// set over it in turn (an empty text changes nothing) and the keys in
// `removed` taken out, as text.
std::string CommandFile(const std::string& name, const std::vector<std::string>& changes = {},
                        const std::vector<std::string>& removed = {});

}  // namespace testing_support
