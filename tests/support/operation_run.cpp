#include "support/operation_run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/simulator.h"

namespace testing_support {

namespace {

// The name a command record must carry for a journaled command.
std::string CommandName(const Json::Value& command) {
    const unsigned int cdw10 = command["cdw10"].asUInt();
    static const char* const HEX = "0123456789ABCDEF";
    switch (command["opcode"].asUInt()) {
        case 0x02:
            return std::string("Get Log Page 0x") + HEX[(cdw10 >> 4) & 0xF] + HEX[cdw10 & 0xF];
        case 0x14:
            return cdw10 == 0x0F ? "Abort Self-Test" : "Start Extended Self-Test";
        case 0x84:
            return "Start Sanitize";
        default:
            return "Identify Controller";
    }
}

}  // namespace

OperationRun RunOperation(const OperationCase& c, unsigned int opcode, const std::string& summary_file,
                          const std::string& details_key) {
    RunOptions options;
    options.files["test.cmd.json"] = CommandFile(c.command_file, {c.settings});
    options.args = {"test", "-d", "out"};
    options.env = {{"BRANTIX_SIM_TIME_SCALE", "50"}, {"BRANTIX_SIM_DRIVE", c.drive_patch}};
    const auto run = c.interrupt ? RunBrantixInterrupted("demo", options, opcode)
                                 : RunBrantixOnProfile("demo", options, c.faults);
    OperationRun result{Json::Value(), Json::Value(), run.Journal()};
    EXPECT_EQ(run.exit_code, c.exit_code) << run.console;
    if (!run.Exists("out/" + summary_file)) {
        ADD_FAILURE() << "no summary file\n" << run.console;
        return result;
    }
    result.summary = ParseJson(run.Read("out/" + summary_file));
    result.details = result.summary[details_key];
    const Json::Value& cmd = result.summary["_cmd"];
    EXPECT_EQ(cmd["return code"].asInt(), c.exit_code);
    EXPECT_EQ(cmd["result"].asString(), c.exit_code == 0 ? "PASS" : "FAIL");
    EXPECT_EQ(cmd["message"].asString(), c.message);
    std::string sent;
    for (const auto& command : result.journal) {
        if (command["opcode"].asUInt() == opcode) {
            sent += (sent.empty() ? "" : ",") + command["cdw10"].asString();
        }
    }
    EXPECT_EQ(sent, c.commands);
    const Json::Value& records = result.summary["command times"];
    EXPECT_EQ(records.size(), result.journal.size());
    for (Json::ArrayIndex i = 0; i < records.size() && i < result.journal.size(); ++i) {
        const Json::Value& command = result.journal[i];
        const int answer = command["return"].asInt();
        EXPECT_EQ(records[i]["admin command"].asString(), CommandName(command)) << i;
        EXPECT_EQ(records[i]["return code"].asInt(), answer == -1 ? command["errno"].asInt() : answer) << i;
    }
    bool noted = c.note.empty();
    for (const auto& sample : result.details["status"]) {
        noted = noted || sample["message"].asString().find(c.note) != std::string::npos;
    }
    EXPECT_TRUE(noted) << c.note << "\n" << result.details["status"];
    if (c.final_code >= 0) {
        EXPECT_EQ(result.details["return code"].asInt(), c.final_code);
    }
    return result;
}

unsigned int LogReads(const std::vector<Json::Value>& journal, unsigned int log) {
    unsigned int count = 0;
    for (const auto& command : journal) {
        count += command["opcode"].asUInt() == 0x02 && (command["cdw10"].asUInt() & 0xFF) == log ? 1 : 0;
    }
    return count;
}

}  // namespace testing_support
