// The simulated controller, driven in-process through the pass-through ioctl
// as the tool drives a real one. How self-tests and sanitize operations advance,
// and how injected faults fail commands, is exercised by the end-to-end runs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <tuple>
#include <vector>

#include "support/simulator.h"

namespace {

using testing_support::UseProfile;

// What a failed command leaves in the result field: the caller's value.
constexpr uint32_t UNTOUCHED = 99;

// The ioctl's return value, errno and the command's result field.
using Reply = std::tuple<int, int, uint32_t>;
const Reply OK{0, 0, 0};

struct Command {
    uint8_t opcode;
    uint32_t nsid, cdw10, cdw11 = 0, cdw12 = 0;
};

Reply Send(int fd, const Command& c, void* data = nullptr, uint32_t length = 0) {
    nvme_admin_cmd cmd{};
    cmd.opcode = c.opcode;
    cmd.nsid = c.nsid;
    cmd.cdw10 = c.cdw10;
    cmd.cdw11 = c.cdw11;
    cmd.cdw12 = c.cdw12;
    cmd.addr = reinterpret_cast<uintptr_t>(data);
    cmd.data_len = length;
    cmd.result = UNTOUCHED;  // a completed command replaces it, a failed one leaves it
    errno = 0;
    const int ret = ioctl(fd, NVME_IOCTL_ADMIN_CMD, &cmd);
    return {ret, ret < 0 ? errno : 0, cmd.result};
}

uint32_t Le(const std::vector<uint8_t>& data, size_t offset, size_t size) {
    uint32_t value = 0;
    for (size_t i = 0; i < size; ++i) {
        value |= static_cast<uint32_t>(data.at(offset + i)) << (8 * i);
    }
    return value;
}

class SimulatedDrive : public ::testing::Test {
  protected:
    void TearDown() override {
        if (fd_ > 0) {
            close(fd_);
        }
        fd_ = -1;
        testing_support::StopSimulation();
    }
    // Closes the drive opened before, if any, and opens drive 0 of `profile`.
    int Open(const std::string& profile, const std::string& faults = "") {
        TearDown();
        UseProfile(profile, faults);
        fd_ = open("/dev/nvme0", O_RDWR);
        EXPECT_GT(fd_, 0) << strerror(errno);
        return fd_;
    }
    int fd_ = -1;
};

TEST_F(SimulatedDrive, LogPagesHonourLengthOffsetAndTheEventLogContext) {
    const int fd = Open("rich-1.4");
    // A dword count one larger than the buffer: the drive may not write past it.
    std::vector<uint8_t> guarded(520, 0xAA);
    ASSERT_EQ(Send(fd, {0x02, 0xFFFFFFFF, 0x02 | (128u << 16)}, guarded.data(), 512), OK);
    EXPECT_EQ(Le(guarded, 1, 2), 318u);  // SMART composite temperature
    EXPECT_EQ(std::vector<uint8_t>(guarded.begin() + 512, guarded.end()), std::vector<uint8_t>(8, 0xAA));
    // The event log reads only within a context: established (1), read (0), released (2).
    const struct {
        unsigned lsp;
        uint32_t offset;
        Reply reply;
    } steps[] = {{0, 0, {0x400C, 0, 0}}, {1, 0, OK}, {0, 512, OK}, {2, 0, OK}, {0, 0, {0x400C, 0, 0}}};
    for (const auto& step : steps) {
        std::vector<uint8_t> event(24, 0);
        EXPECT_EQ(Send(fd, {0x02, 0xFFFFFFFF, 0x0D | (step.lsp << 8) | (5u << 16), 0, step.offset},
                       event.data(), 24),
                  step.reply)
            << "lsp " << step.lsp;
    }
}

}  // namespace
