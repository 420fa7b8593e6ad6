// The simulator's preload mechanics, seen from inside a process: the sysfs
// paths and the device it serves, through the calls the tool reaches them by.
// How self-tests and sanitize operations advance, and how injected faults fail
// commands, is exercised by the end-to-end runs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "support/simulator.h"

namespace {

using testing_support::ReadFile;

class SimulatedPreload : public ::testing::Test {
  protected:
    void TearDown() override { testing_support::StopSimulation(); }
};

TEST_F(SimulatedPreload, PathsAreMatchedWhateverTheirSpelling) {
    testing_support::UseProfile("plain-1.2.1");
    EXPECT_EQ(ReadFile("/sys/bus/pci/devices/0000:01:00.0/../secondary_bus_number"), "1\n");
    char target[256] = {};
    ASSERT_GT(readlink("/sys/bus/pci/devices/0000:01:00.0", target, sizeof target - 1), 0);
    EXPECT_EQ(std::string(target), "../../../devices/pci0000:00/0000:00:1c.0/0000:01:00.0");
}

TEST_F(SimulatedPreload, DeviceIsACharacterDeviceAndOnlyAdminCommandsAreAnswered) {
    testing_support::UseProfile("plain-1.2.1");
    struct stat info {};
    ASSERT_EQ(stat("/dev/nvme0", &info), 0);
    EXPECT_TRUE(S_ISCHR(info.st_mode));
    const int fd = open("/dev/nvme0", O_RDWR);
    ASSERT_GT(fd, 0);
    errno = 0;
    EXPECT_EQ(ioctl(fd, NVME_IOCTL_RESET), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(close(fd), 0);
    EXPECT_EQ(testing_support::Journal().size(), 0u);
    // A controller the profile does not have is left to the real system.
    errno = 0;
    EXPECT_EQ(open("/dev/nvme7", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

// Get Log Page as the tool sends it: the drive writes no further than the length asked for, and
// reads the event log only within a context: established (lsp 1), read (0), released (2).
TEST_F(SimulatedPreload, LogPagesHonourTheLengthAndTheEventLogContext) {
    testing_support::UseProfile("rich-1.4");
    const int fd = open("/dev/nvme0", O_RDWR);
    ASSERT_GT(fd, 0);
    const auto read = [fd](std::vector<uint8_t>& data, uint32_t cdw10, uint32_t offset, uint32_t length) {
        nvme_admin_cmd cmd{};
        cmd.opcode = 0x02;
        cmd.nsid = 0xFFFFFFFF;
        cmd.cdw10 = cdw10;
        cmd.cdw12 = offset;
        cmd.addr = reinterpret_cast<uintptr_t>(data.data());
        cmd.data_len = length;
        return ioctl(fd, NVME_IOCTL_ADMIN_CMD, &cmd);
    };
    // The dword count is zero-based; one that disagrees with the transfer length is refused, as a
    // strict controller does, and nothing is written.
    std::vector<uint8_t> guarded(520, 0xAA);
    EXPECT_EQ(read(guarded, 0x02 | (128u << 16), 0, 512), 0x600F);
    EXPECT_EQ(guarded, std::vector<uint8_t>(520, 0xAA));
    ASSERT_EQ(read(guarded, 0x02 | (127u << 16), 0, 512), 0);
    EXPECT_EQ(guarded[1] | guarded[2] << 8, 318);  // SMART composite temperature
    EXPECT_EQ(std::vector<uint8_t>(guarded.begin() + 512, guarded.end()), std::vector<uint8_t>(8, 0xAA));
    std::vector<uint8_t> event(24);
    std::vector<int> replies;
    for (const auto& [lsp, offset] :
         {std::pair<uint32_t, uint32_t>{0, 0}, {1, 0}, {0, 512}, {0, 1u << 20}, {2, 0}, {0, 0}}) {
        replies.push_back(read(event, 0x0D | lsp << 8 | 5u << 16, offset, 24));
    }
    // A piece that starts past the end of the log is refused.
    EXPECT_EQ(replies, (std::vector<int>{0x400C, 0, 0, 0x4002, 0, 0x400C}));
    close(fd);
}

// Other programs under the simulator, those linked with libselinux too (ls, stat, smartctl) (its constructor
// reaches the hooks before the simulator's own constructors have run): they see the drive, /dev listings and
// globbing show it, and smartctl reads the demo drive's model and serial.
TEST(SimulatorUnderPrograms, ListingsGlobbingAndSmartctlSeeTheDrive) {
    const testing_support::TempFolder folder("programs");
    const std::string state = folder.Path("state");
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"ls", "/dev/nvme0"}, "/dev/nvme0\n"},
        {{"sh", "-c", "ls /dev | grep -x nvme0; echo /dev/nvme*"}, "nvme0\n/dev/nvme0\n"},
    };
    for (const auto& [command, output] : cases) {
        SCOPED_TRACE(command.back());
        const auto run = testing_support::RunUnderSimulator("demo", command, state);
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.output, output);
    }
    const auto smart =
        testing_support::RunUnderSimulator("demo", {"smartctl", "-x", "-j", "/dev/nvme0"}, state);
    ASSERT_EQ(smart.exit_code, 0) << smart.output.substr(0, 2000);
    const Json::Value report = testing_support::ParseJson(smart.output);
    EXPECT_EQ(report["model_name"].asString() + "|" + report["serial_number"].asString(),
              "Brantix Sim Rich 2TB NVMe 1.4|RICH14000000000042");
}

}  // namespace
