// The front end's drive resolution, run end to end on simulated hosts.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/simulator.h"

namespace {

using testing_support::RunBrantixOnProfile;
using testing_support::RunOptions;
using Lines = std::vector<std::string>;

RunOptions Options(std::vector<std::string> args, const std::string& file = "read.cmd.json") {
    RunOptions options;
    options.args = std::move(args);
    options.files[file] = testing_support::ReadFile(std::string(BRANTIX_SOURCE_DIR) + "/commands/" + file);
    return options;
}

const std::string NO_DRIVES =
    "Failed to get list of NVMe drives from OS and NVMe drive not specified (eg: --nvme 0)";

TEST(DriveResolution, ResolvedDriveOrFailureEndsTheConsole) {
    const std::string nvme = " NVMe:            /dev/nvme";
    // A read of no samples opens the resolved drive and sends it nothing.
    const Lines no_samples = {" No errors found on 0 samples", " ", "[PASS] brantix returned 0"};
    const struct {
        const char* profile;
        std::vector<std::string> args;
        std::string file;
        std::string drive_line;  // the line after the command file's, when a drive was resolved
        Lines tail;              // the last lines of the console
        int rc;
    } cases[] = {
        {"plain-1.2.1", {"read", "-s", "0"}, "read.cmd.json", nvme + "0", no_samples, 0},
        {"dual-namespace", {"read", "-n", "1", "-s", "0"}, "read.cmd.json", nvme + "1", no_samples, 0},
        // A failing drive list is ignored when a drive is named explicitly.
        {"no-drives",
         {"read", "--nvme", "3", "-s", "0"},
         "read.cmd.json",
         nvme + "3",
         {"Failed to open file descriptor for NVME drive '/dev/nvme3'", "[FAIL] brantix returned 17"},
         17},
        // -s -1 and -i -1 count as not given, so a self-test run is not refused for them.
        {"no-drives",
         {"selftest-short", "-n", "3", "-s", "-1", "-i", "-1"},
         "selftest-short.cmd.json",
         nvme + "3",
         {nvme + "3", "Failed to open file descriptor for NVME drive '/dev/nvme3'",
          "[FAIL] brantix returned 17"},
         17},
        {"plain-1.2.1",
         {"read", "--nvme", "5"},
         "read.cmd.json",
         "",
         {"USAGE ERROR", "NVMe drive 5 was not found", "[FAIL] brantix returned 19"},
         19},
        {"no-drives",
         {"read"},
         "read.cmd.json",
         "",
         {NO_DRIVES, " Error Message: No NVMe drives found", "[FAIL] brantix returned 18"},
         18},
    };
    for (const auto& c : cases) {
        const auto run = RunBrantixOnProfile(c.profile, Options(c.args, c.file));
        const Lines lines = run.ConsoleLines();
        ASSERT_GE(lines.size(), c.tail.size() + 1) << run.console;
        EXPECT_EQ(Lines(lines.end() - static_cast<long>(c.tail.size()), lines.end()), c.tail) << run.console;
        EXPECT_EQ(run.exit_code, c.rc) << c.profile;
        // Nothing is sent to a drive by the front end.
        EXPECT_EQ(run.Journal().size(), 0u) << c.profile;
        // The command file was read first: its line stands just before the resolution.
        const std::string file_line =
            " Command file:   " + std::filesystem::canonical(run.dir).string() + "/" + c.file;
        const auto file_at = std::find(lines.begin(), lines.end(), file_line);
        ASSERT_NE(file_at, lines.end()) << run.console;
        if (c.rc != 19) {
            EXPECT_EQ(*(file_at + 1), c.drive_line.empty() ? c.tail.front() : c.drive_line) << run.console;
        } else {
            EXPECT_EQ(std::find(lines.begin(), lines.end(), nvme + "5"), lines.end()) << run.console;
        }
        // A run that fails before any command leaves only its trace log behind; a read its summary.
        for (const auto& entry : std::filesystem::recursive_directory_iterator(run.dir)) {
            const std::string name = entry.path().filename().string();
            EXPECT_TRUE(entry.path() == run.journal_path || name == c.file || name == "brantix.trace.log" ||
                        (c.rc == 0 && name == "read.summary.json"))
                << entry.path();
        }
    }
}

// In-process: the first entry the simulated /sys/block/ yields is the drive
// that "*" resolves to, whatever the listing order.
TEST(SimulatedDriveResolution, StarIsTheFirstListedDrive) {
    testing_support::UseProfile("dual-namespace");
    std::string first;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block/")) {
        first = entry.path().filename().string();
        break;
    }
    testing_support::StopSimulation();
    ASSERT_EQ(first.substr(0, 4), "nvme");
    const std::string drive = first.substr(4, first.find('n', 4) - 4);
    const auto lines = RunBrantixOnProfile("dual-namespace", Options({"read"})).ConsoleLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), " NVMe:            /dev/nvme" + drive), lines.end());
}

}  // namespace
