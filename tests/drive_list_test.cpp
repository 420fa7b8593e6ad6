// Drive numbers from /sys/block/ entry paths.
#include <gtest/gtest.h>

#include <vector>

#include "orka_linux.h"

namespace {

TEST(DriveList, DriveNumberFromBlockPath) {
    struct Case {
        std::string path;
        bool nvme;
        std::string drive;
    };
    const std::vector<Case> cases = {
        {"/sys/block/nvme0n1", true, "0"},
        {"/sys/block/nvme1n2", true, "1"},
        {"/sys/block/nvme12n1", true, "12"},
        // Multipath controller nodes are cut at the first "n" after the prefix.
        {"/sys/block/nvme0c0n1", true, "0c0"},
        {"/sys/block/nvme3", true, "3"},
        {"/sys/block/sda", false, "untouched"},
        {"/sys/block/loop0", false, "untouched"},
        {"/sys/block/nvm", false, "untouched"},
        {"/dev/nvme0n1", false, "untouched"},
        {"/sys/class/block/nvme0n1", false, "untouched"},
    };
    for (const auto& c : cases) {
        std::string drive = "untouched";
        EXPECT_EQ(orka::DriveNumberFromBlockPath(c.path, drive), c.nvme) << c.path;
        EXPECT_EQ(drive, c.drive) << c.path;
    }
}

}  // namespace
