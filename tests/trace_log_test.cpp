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
    // Held until the file is known, then written there first, over the earlier file.
    EXPECT_EQ(testing_support::ReadFile(orka::TRACELOG_NAME), "an earlier run\n");
    ASSERT_TRUE(orka::SwitchTraceLogFile(orka::TRACELOG_NAME));
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
    orka::InitTraceLog();  // a second start in the process holds its records afresh
    LOG_INFO << "second";
    EXPECT_EQ(orka::WriteHeldTraceLog(), folder.Path("first.trace-1.log"));
    EXPECT_EQ(testing_support::TraceLines(folder.Path("first.trace-1.log")),
              std::vector<std::string>{"<stamp>  second"});
}

}  // namespace
