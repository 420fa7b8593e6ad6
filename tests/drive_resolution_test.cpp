// The front end's drive resolution, run end to end on simulated hosts.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "orka_data.h"
#include "support/simulator.h"

namespace {

using testing_support::RunBrantixOnProfile;
using testing_support::RunOptions;

// A complete read command file: every required key present.
std::string ReadCommandFile() {
    Json::Value file(Json::objectValue);
    for (const auto& key : orka::READINFO_PARAMETERS) {
        file[key] = false;
    }
    file["command type"] = "read";
    file["short description"] = "drive resolution";
    return file.toStyledString();
}

RunOptions Options(std::vector<std::string> args) {
    RunOptions options;
    options.args = std::move(args);
    options.files["read.cmd.json"] = ReadCommandFile();
    return options;
}

bool HasLine(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(DriveResolution, ResolvedDriveIsShownAndTheRunGoesOn) {
    const struct {
        const char* profile;
        std::vector<std::string> args;
        const char* device_line;
    } cases[] = {
        {"plain-1.2.1", {"read"}, " NVMe:            /dev/nvme0"},
        {"plain-1.2.1", {"read", "--nvme", "0"}, " NVMe:            /dev/nvme0"},
        {"dual-namespace", {"read", "-n", "1"}, " NVMe:            /dev/nvme1"},
        // A failing drive list is ignored when a drive is named explicitly.
        {"no-drives", {"read", "--nvme", "3"}, " NVMe:            /dev/nvme3"},
    };
    for (const auto& c : cases) {
        const auto run = RunBrantixOnProfile(c.profile, Options(c.args));
        const auto lines = run.ConsoleLines();
        EXPECT_TRUE(HasLine(lines, c.device_line)) << c.profile << "\n" << run.console;
        // This build has no read command yet: the run ends after the front end.
        EXPECT_TRUE(HasLine(lines, "Command type read is not available in this build")) << run.console;
        EXPECT_TRUE(HasLine(lines, "[FAIL] brantix returned 17")) << run.console;
        EXPECT_EQ(run.exit_code, 17) << c.profile;
    }
}

TEST(DriveResolution, DriveNotOnTheHostIsAUsageErrorWithCode19) {
    const auto run = RunBrantixOnProfile("plain-1.2.1", Options({"read", "--nvme", "5"}));
    const auto lines = run.ConsoleLines();
    EXPECT_EQ(run.exit_code, 19) << run.console;
    EXPECT_TRUE(HasLine(lines, "USAGE ERROR")) << run.console;
    EXPECT_TRUE(HasLine(lines, "NVMe drive 5 was not found")) << run.console;
    EXPECT_TRUE(HasLine(lines, "[FAIL] brantix returned 19")) << run.console;
    EXPECT_FALSE(HasLine(lines, " NVMe:            /dev/nvme5")) << run.console;
}

TEST(DriveResolution, HostWithoutDrivesFailsToResolveTheFirstDrive) {
    const auto run = RunBrantixOnProfile("no-drives", Options({"read"}));
    const auto lines = run.ConsoleLines();
    EXPECT_EQ(run.exit_code, 17) << run.console;
    EXPECT_TRUE(HasLine(
        lines, "Failed to get list of NVMe drives from OS and NVMe drive not specified (eg: --nvme 0)"))
        << run.console;
    EXPECT_TRUE(HasLine(lines, " Error Message: No NVMe drives found")) << run.console;
    EXPECT_TRUE(HasLine(lines, "[FAIL] brantix returned 17")) << run.console;
    // No admin command reaches any drive.
    EXPECT_EQ(run.Journal().size(), 0u);
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
    const auto run = RunBrantixOnProfile("dual-namespace", Options({"read"}));
    EXPECT_TRUE(HasLine(run.ConsoleLines(), " NVMe:            /dev/nvme" + drive)) << run.console;
}

}  // namespace
