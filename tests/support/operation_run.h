// Runs of the self-test and sanitize command types on the simulated demo
// drive, and the checks every such run shares.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace testing_support {

struct OperationCase {
    std::string name;
    std::string command_file;  // under commands/, without ".cmd.json"
    std::string settings;      // JSON object merged over the command file
    std::string drive_patch;   // BRANTIX_SIM_DRIVE
    std::string faults;        // BRANTIX_SIM_FAULTS
    int exit_code;
    std::string message;     // "_cmd" / "message"
    std::string commands;    // cdw10 of every command with the operation's opcode, as "1,15"
    int final_code;          // the details' "return code"; -1: not checked
    std::string note;        // a message one of the details' samples carries; empty: none
    bool interrupt = false;  // Ctrl-C once the journal shows the first command with the operation's opcode
};

struct OperationRun {
    Json::Value summary;
    Json::Value details;
    std::vector<Json::Value> journal;
};

// Runs the case with the simulator's clock sped up, then checks the exit
// code, the result record, the commands sent, that the command records match
// the journal one by one, and the note.
OperationRun RunOperation(const OperationCase& c, unsigned int opcode, const std::string& summary_file,
                          const std::string& details_key);

// Number of journaled Get Log Page commands for `log`.
unsigned int LogReads(const std::vector<Json::Value>& journal, unsigned int log);

}  // namespace testing_support
