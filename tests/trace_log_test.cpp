// The trace file's line layout and the two-logger wiring.
#include <gtest/gtest.h>

#include "orka.h"
#include "support/simulator.h"

namespace {

TEST(TraceLog, FileHoldsEveryLineAndTheConsoleOnlyItsOwn) {
    const testing_support::TempFolder folder("trace");
    orka::TRACELOG_NAME = folder.Write("first.trace.log", "an earlier run\n");
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
    EXPECT_EQ(testing_support::TraceLines(orka::TRACELOG_NAME),
              (std::vector<std::string>{
                  "<stamp>  file only",
                  "<stamp>  info line",
                  "<stamp>  debug line",
                  "<stamp>  ERROR [TestBody@<line>] error line",
                  "<stamp>  VERB  [TestBody@<line>] verbose line",
                  "<stamp>  FATAL [TestBody@<line>] fatal line",
              }));
    orka::InitTraceLog();  // a second start in the process begins a fresh file
    EXPECT_EQ(testing_support::ReadFile(orka::TRACELOG_NAME), "");
}

}  // namespace
