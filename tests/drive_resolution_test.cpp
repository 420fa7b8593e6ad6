// The front end's drive resolution, run end to end on simulated hosts.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/simulator.h"

namespace {

using testing_support::RunBrantixOnProfile;

testing_support::RunOptions Options(const std::string& args, const std::string& file = "read") {
    testing_support::RunOptions options;
    options.args = testing_support::Words(args);
    options.files[file + ".cmd.json"] = testing_support::CommandFile(file);
    return options;
}

TEST(DriveResolution, ResolvedDriveOrFailureEndsTheConsole) {
    const std::string nvme = " NVMe:            /dev/nvme";
    const std::string passed = " No errors found on 0 samples\n \n[PASS] brantix returned 0\n";
    const std::string unopened = "Failed to open file descriptor for NVME drive '/dev/nvme3'\n";
    const struct {
        const char* profile;
        std::string args;
        std::string file;
        std::string drive;  // the line after the command file's, when a drive was resolved
        std::string tail;   // the end of the console
        int rc;
    } cases[] = {
        // A read of no samples opens the resolved drive and sends it nothing.
        {"plain-1.2.1", "read -s 0", "read", nvme + "0", passed, 0},
        {"dual-namespace", "read -n 1 -s 0", "read", nvme + "1", passed, 0},
        // A failing drive list is ignored when a drive is named explicitly.
        {"no-drives", "read --nvme 3 -s 0", "read", nvme + "3", unopened + "[FAIL] brantix returned 17\n",
         17},
        // -s -1 and -i -1 count as not given, so a self-test run is not refused for them.
        {"no-drives", "selftest-short -n 3 -s -1 -i -1", "selftest-short", nvme + "3",
         nvme + "3\n" + unopened + "[FAIL] brantix returned 17\n", 17},
        {"plain-1.2.1", "read --nvme 5", "read", "",
         "USAGE ERROR\nNVMe drive 5 was not found\n[FAIL] brantix returned 19\n", 19},
        {"no-drives", "read", "read", "",
         "Failed to get list of NVMe drives from OS and NVMe drive not specified (eg: --nvme 0)\n"
         " Error Message: No NVMe drives found\n[FAIL] brantix returned 18\n",
         18},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const auto run = RunBrantixOnProfile(c.profile, Options(c.args, c.file));
        EXPECT_EQ(run.exit_code, c.rc);
        ASSERT_GE(run.console.size(), c.tail.size());
        EXPECT_EQ(run.console.substr(run.console.size() - c.tail.size()), c.tail) << run.console;
        // The command file is read first; the resolution follows its line.
        const std::string file_line =
            " Command file:   " + std::filesystem::canonical(run.dir).string() + "/" + c.file + ".cmd.json\n";
        const auto at = run.console.find(file_line);
        ASSERT_NE(at, std::string::npos) << run.console;
        const std::string after = run.console.substr(at + file_line.size());
        if (!c.drive.empty()) {
            EXPECT_EQ(after.substr(0, c.drive.size() + 1), c.drive + "\n");
        } else {
            EXPECT_EQ(after.find(nvme), std::string::npos);
            EXPECT_TRUE(c.rc == 19 || after == c.tail);
        }
        // Nothing is sent to a drive by the front end; only a read leaves its summary beside the trace log.
        EXPECT_EQ(run.Journal().size(), 0u);
        EXPECT_EQ(run.Exists("read.summary.json"), c.rc == 0);
        EXPECT_TRUE(run.Exists("brantix.trace.log"));
    }
}

// The first entry the simulated /sys/block/ yields is the drive that "*" resolves to, whatever the order.
TEST(SimulatedDriveResolution, StarIsTheFirstListedDrive) {
    testing_support::UseProfile("dual-namespace");
    const std::filesystem::directory_iterator listing("/sys/block/");
    const std::string first =
        listing == std::filesystem::directory_iterator() ? "" : listing->path().filename().string();
    testing_support::StopSimulation();
    ASSERT_EQ(first.substr(0, 4), "nvme");
    const std::string drive = first.substr(4, first.find('n', 4) - 4);
    const auto run = RunBrantixOnProfile("dual-namespace", Options("read"));
    EXPECT_TRUE(testing_support::HasLine(run.console, " NVMe:            /dev/nvme" + drive)) << run.console;
}

}  // namespace
