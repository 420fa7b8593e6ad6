#include "support/operation_run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace testing_support {

SimulatedRun RunOperation(const OperationCase& c, int interrupt_opcode) {
    std::ifstream in(std::string(BRANTIX_SOURCE_DIR) + "/commands/" + c.command_file + ".cmd.json");
    std::ostringstream text;
    text << in.rdbuf();
    Json::Value settings = ParseJson(text.str());
    const Json::Value overrides = ParseJson(c.settings.empty() ? "{}" : c.settings);
    for (const auto& key : overrides.getMemberNames()) {
        settings[key] = overrides[key];
    }
    RunOptions options;
    options.files["test.cmd.json"] = settings.toStyledString();
    options.args = {"test", "-d", "out"};
    options.env["BRANTIX_SIM_TIME_SCALE"] = "50";
    options.env["BRANTIX_SIM_DRIVE"] = c.drive_patch;
    if (interrupt_opcode >= 0) {
        return RunBrantixInterrupted("demo", options, static_cast<unsigned int>(interrupt_opcode));
    }
    return RunBrantixOnProfile("demo", options, c.faults);
}

std::string Cdw10List(const std::vector<Json::Value>& journal, unsigned int opcode) {
    std::string list;
    for (const auto& command : journal) {
        if (command["opcode"].asUInt() == opcode) {
            list += (list.empty() ? "" : ",") + command["cdw10"].asString();
        }
    }
    return list;
}

unsigned int LogReads(const std::vector<Json::Value>& journal, unsigned int log) {
    unsigned int count = 0;
    for (const auto& command : journal) {
        count += command["opcode"].asUInt() == 0x02 && (command["cdw10"].asUInt() & 0xFF) == log ? 1 : 0;
    }
    return count;
}

void ExpectCommandTimesMatchJournal(const Json::Value& summary, const std::vector<Json::Value>& journal) {
    const Json::Value& records = summary["command times"];
    ASSERT_EQ(records.size(), journal.size());
    for (Json::ArrayIndex i = 0; i < records.size(); ++i) {
        const unsigned int opcode = journal[i]["opcode"].asUInt();
        const unsigned int cdw10 = journal[i]["cdw10"].asUInt();
        std::string name = "Identify Controller";
        if (opcode == 0x02) {
            static const char* const HEX = "0123456789ABCDEF";
            name = std::string("Get Log Page 0x") + HEX[(cdw10 >> 4) & 0xF] + HEX[cdw10 & 0xF];
        } else if (opcode == 0x14) {
            name = cdw10 == 0x0F ? "Abort Self-Test" : "Start Extended Self-Test";
        } else if (opcode == 0x84) {
            name = "Start Sanitize";
        }
        EXPECT_EQ(records[i]["admin command"].asString(), name) << i;
        const int answer = journal[i]["return"].asInt();
        EXPECT_EQ(records[i]["return code"].asInt(), answer == -1 ? journal[i]["errno"].asInt() : answer)
            << i;
    }
}

}  // namespace testing_support
