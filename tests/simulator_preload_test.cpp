// The simulator's preload mechanics, seen from inside a process: the sysfs
// paths and the device it serves, through the ways the tool reaches them.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "orka_linux.h"
#include "support/simulator.h"

namespace {

using testing_support::Journal;
using testing_support::ReadFile;
using testing_support::UseProfile;

std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        names.push_back(entry.path().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class SimulatedPreload : public ::testing::Test {
  protected:
    void TearDown() override { testing_support::StopSimulation(); }
};

TEST_F(SimulatedPreload, BlockListingHoldsOnlySimulatedNamespaces) {
    UseProfile("dual-namespace");
    EXPECT_EQ(Listing("/sys/block/"), (std::vector<std::string>{"/sys/block/nvme0n1", "/sys/block/nvme0n2",
                                                                "/sys/block/nvme1n1", "/sys/block/nvme1n2"}));
    auto drives = orka::GetNvmeDriveList();
    std::sort(drives.begin(), drives.end());
    EXPECT_EQ(drives, (std::vector<std::string>{"0", "0", "1", "1"}));
}

TEST_F(SimulatedPreload, ProfileWithoutDrivesListsNothing) {
    UseProfile("no-drives");
    EXPECT_EQ(Listing("/sys/block/"), std::vector<std::string>{});
    EXPECT_EQ(orka::GetNvmeDriveList(), std::vector<std::string>{});
}

TEST_F(SimulatedPreload, SysfsFilesCarryTheProfileValues) {
    UseProfile("plain-1.2.1");
    const struct {
        const char* path;
        const char* content;
    } cases[] = {
        {"/sys/block/nvme0n1/size", "1953525168\n"},
        {"/sys/block/nvme0n1/device/model", "Brantix Sim Plain 1TB\n"},
        {"/sys/class/nvme/nvme0/firmware_rev", "P1.2.1A\n"},
        {"/sys/bus/pci/devices/0000:01:00.0/max_link_speed", "8.0 GT/s PCIe\n"},
        {"/sys/bus/pci/devices/0000:00:1c.0/secondary_bus_number", "1\n"},
        {"/sys/class/dmi/id/product_name", "Simulated Workstation\n"},
        {"//sys//block/./nvme0n1/size", "1953525168\n"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ReadFile(c.path), c.content) << c.path;
    }
}

TEST_F(SimulatedPreload, PciDeviceIsALinkBelowItsUpstreamPort) {
    UseProfile("plain-1.2.1");
    char target[256] = {};
    ASSERT_GT(readlink("/sys/bus/pci/devices/0000:01:00.0", target, sizeof target - 1), 0);
    EXPECT_EQ(std::string(target), "../../../devices/pci0000:00/0000:00:1c.0/0000:01:00.0");
    EXPECT_EQ(ReadFile("/sys/bus/pci/devices/0000:01:00.0/../secondary_bus_number"), "1\n");
}

TEST_F(SimulatedPreload, DeviceIsACharacterDeviceThatOpensReadWrite) {
    UseProfile("plain-1.2.1");
    struct stat info {};
    ASSERT_EQ(stat("/dev/nvme0", &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode));
    const int fd = open("/dev/nvme0", O_RDWR);
    ASSERT_GT(fd, 0);
    ASSERT_EQ(fstat(fd, &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode));
    EXPECT_EQ(close(fd), 0);
    // A controller the profile does not have is left to the real system.
    errno = 0;
    EXPECT_EQ(open("/dev/nvme7", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(SimulatedPreload, OtherIoctlsOnTheDeviceAreRefusedAndOtherDescriptorsPassThrough) {
    UseProfile("plain-1.2.1");
    const int fd = open("/dev/nvme0", O_RDWR);
    ASSERT_GT(fd, 0);
    errno = 0;
    EXPECT_EQ(ioctl(fd, NVME_IOCTL_RESET), -1);
    EXPECT_EQ(errno, ENOTTY);
    close(fd);
    // Once closed, the same descriptor number is an ordinary file again.
    const int other = open("/dev/null", O_RDWR);
    nvme_admin_cmd cmd{};
    errno = 0;
    EXPECT_EQ(ioctl(other, NVME_IOCTL_ADMIN_CMD, &cmd), -1);
    EXPECT_EQ(errno, ENOTTY);
    close(other);
    EXPECT_EQ(Journal().size(), 0u);
}

TEST_F(SimulatedPreload, InertWithoutAProfile) {
    testing_support::StopSimulation();
    struct stat info {};
    EXPECT_EQ(stat("/dev/nvme0", &info), -1);
    for (const auto& name : Listing("/sys/block/")) {
        EXPECT_EQ(name.find("/sys/block/nvme"), std::string::npos) << name;
    }
}

}  // namespace

namespace {

// scripts/with-simulator, as a user runs it.
TEST(SimulatorScript, RunsACommandWithAProfileByNameOrPath) {
    const std::string script = std::string(BRANTIX_SOURCE_DIR) + "/scripts/with-simulator";
    const auto dir = testing_support::MakeTempDir("script");
    const std::string output = (dir / "out.txt").string();
    const struct {
        std::string profile;
        std::string file;
        int status;
        std::string content;
    } cases[] = {
        {"plain-1.2.1", "/sys/class/nvme/nvme0/serial", 0, "PLN121000001\n"},
        {testing_support::ProfilePath("dual-namespace"), "/sys/class/nvme/nvme1/model", 0,
         "Brantix Sim Dual 1\n"},
        {"no-such-profile", "/sys/class/nvme/nvme0/serial", 2, ""},
    };
    for (const auto& c : cases) {
        const std::string command = "env -u LD_PRELOAD -u BRANTIX_SIM_PROFILE BRANTIX_SIM_LIBRARY='" +
                                    std::string(BRANTIX_SIM_LIBRARY) + "' '" + script + "' '" + c.profile +
                                    "' -- cat " + c.file + " > '" + output + "' 2>/dev/null";
        const int status = std::system(command.c_str());
        EXPECT_EQ(WEXITSTATUS(status), c.status) << c.profile;
        EXPECT_EQ(ReadFile(output), c.content) << c.profile;
    }
}

}  // namespace
