// The trace file's line layout and the two-logger wiring.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "orka.h"
#include "support/brantix_run.h"

namespace {

// The lines of a trace file with "<stamp>" for the time stamp and "<line>"
// for the source line number.
std::vector<std::string> Lines(const std::string& path) {
    static const std::regex stamp(R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\])");
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        line = std::regex_replace(line, stamp, "<stamp>");
        lines.push_back(std::regex_replace(line, std::regex(R"(@\d+\] )"), "@<line>] "));
    }
    return lines;
}

TEST(TraceLog, FileHoldsEveryLineAndTheConsoleOnlyItsOwn) {
    const testing_support::TempFolder folder("trace");
    orka::TRACELOG_NAME = folder.Path("first.trace.log");
    orka::InitTraceLog();
    orka::SetLogSeverity(orka::Severity::verbose);
    testing::internal::CaptureStdout();
    FILE_LOG_INFO << "file only";
    LOG_INFO << "info line";
    LOG_DEBUG << "debug line";
    LOG_ERROR << "error line";
    LOG_VERBOSE << "verbose line";
    LOG_FATAL << "fatal line";
    // At info, debug and verbose records are dropped by both loggers.
    orka::SetLogSeverity(orka::Severity::info);
    LOG_DEBUG << "hidden";
    LOG_VERBOSE << "hidden";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info line\ndebug line\nerror line\nverbose line\nfatal line\n");
    EXPECT_EQ(Lines(orka::TRACELOG_NAME), (std::vector<std::string>{
                                              "<stamp>  file only",
                                              "<stamp>  info line",
                                              "<stamp>  debug line",
                                              "<stamp>  ERROR [TestBody@<line>] error line",
                                              "<stamp>  VERB  [TestBody@<line>] verbose line",
                                              "<stamp>  FATAL [TestBody@<line>] fatal line",
                                          }));
}

}  // namespace
