// The trace file's line layout and the two-logger wiring.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "orka.h"
#include "support/brantix_run.h"

namespace {

std::vector<std::string> ReadLines(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(TraceLog, LinesCarrySeverityAndOriginOnlyForDiagnosticSeverities) {
    const auto dir = testing_support::MakeTempDir("trace");
    orka::TRACELOG_NAME = (dir / "first.trace.log").string();
    orka::InitTraceLog();
    orka::SetLogSeverity(orka::Severity::verbose);
    FILE_LOG_INFO << "file only";
    LOG_INFO << "info line";
    LOG_DEBUG << "debug line";
    LOG_ERROR << "error line";
    LOG_WARNING << "warning line";
    LOG_VERBOSE << "verbose line";
    LOG_FATAL << "fatal line";

    const auto lines = ReadLines(orka::TRACELOG_NAME);
    ASSERT_EQ(lines.size(), 7u);
    const std::string stamp = R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\]  )";
    const std::string origin = R"(\[[A-Za-z_0-9]+@\d+\] )";
    EXPECT_TRUE(std::regex_match(lines[0], std::regex(stamp + "file only")));
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(stamp + "info line")));
    EXPECT_TRUE(std::regex_match(lines[2], std::regex(stamp + "debug line")));
    EXPECT_TRUE(std::regex_match(lines[3], std::regex(stamp + "ERROR " + origin + "error line")));
    EXPECT_TRUE(std::regex_match(lines[4], std::regex(stamp + "WARN  " + origin + "warning line")));
    EXPECT_TRUE(std::regex_match(lines[5], std::regex(stamp + "VERB  " + origin + "verbose line")));
    EXPECT_TRUE(std::regex_match(lines[6], std::regex(stamp + "FATAL " + origin + "fatal line")));

    // At info, debug and verbose records are dropped by both loggers.
    orka::SetLogSeverity(orka::Severity::info);
    LOG_DEBUG << "hidden";
    LOG_VERBOSE << "hidden";
    EXPECT_EQ(ReadLines(orka::TRACELOG_NAME).size(), 7u);

    // Switching the file deletes an old file of the new name and writes there.
    const std::string second = (dir / "second.trace.log").string();
    std::ofstream(second) << "stale\n";
    orka::SwitchTraceLogFile(second);
    LOG_INFO << "after switch";
    const auto moved = ReadLines(second);
    ASSERT_EQ(moved.size(), 1u);
    EXPECT_TRUE(std::regex_match(moved[0], std::regex(stamp + "after switch")));
    EXPECT_EQ(ReadLines(orka::TRACELOG_NAME).size(), 7u);
    std::filesystem::remove_all(dir);
}

}  // namespace
