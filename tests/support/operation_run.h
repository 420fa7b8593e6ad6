// Runs of the self-test and sanitize command types under the simulator, and
// the checks they share.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "support/simulator.h"

namespace testing_support {

struct OperationCase {
    std::string name;
    std::string command_file;  // under commands/, without ".cmd.json"
    std::string settings;      // JSON object merged over the command file
    std::string drive_patch;   // BRANTIX_SIM_DRIVE
    std::string faults;        // BRANTIX_SIM_FAULTS
};

// Runs one case on the demo drive with the simulator's clock sped up; with
// `interrupt_opcode` set, Ctrl-C follows the first command of that opcode.
SimulatedRun RunOperation(const OperationCase& c, int interrupt_opcode = -1);

// cdw10 of every journaled command with `opcode`, as "1,15".
std::string Cdw10List(const std::vector<Json::Value>& journal, unsigned int opcode);

// Number of journaled Get Log Page commands for `log`.
unsigned int LogReads(const std::vector<Json::Value>& journal, unsigned int log);

// The summary's command records against the simulator's journal: one record
// per command, in order, with the command's name and its return code.
void ExpectCommandTimesMatchJournal(const Json::Value& summary, const std::vector<Json::Value>& journal);

}  // namespace testing_support
