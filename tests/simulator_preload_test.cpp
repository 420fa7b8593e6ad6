// The simulator's preload mechanics, seen from inside a process: the sysfs
// paths and the device it serves, through the calls the tool reaches them by.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

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

}  // namespace
