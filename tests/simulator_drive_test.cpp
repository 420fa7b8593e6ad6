// The simulated controller, driven in-process through the pass-through ioctl
// as the tool drives a real one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/nvme_ioctl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <vector>

#include "support/simulator.h"

namespace {

using testing_support::UseProfile;

// What a failed command leaves in the result field: the caller's value.
constexpr uint32_t UNTOUCHED = 99;

struct Reply {
    int ret = 0;
    int error = 0;
    uint32_t result = 0;
    bool operator==(const Reply& other) const {
        return ret == other.ret && error == other.error && result == other.result;
    }
};

std::ostream& operator<<(std::ostream& out, const Reply& reply) {
    return out << "{ret " << reply.ret << ", errno " << reply.error << ", result " << reply.result << "}";
}

struct Command {
    uint8_t opcode = 0;
    uint32_t nsid = 0;
    uint32_t cdw10 = 0;
    uint32_t cdw11 = 0;
    uint32_t cdw12 = 0;
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
    Reply reply;
    reply.ret = ioctl(fd, NVME_IOCTL_ADMIN_CMD, &cmd);
    reply.error = reply.ret < 0 ? errno : 0;
    reply.result = cmd.result;
    return reply;
}

// Get Log Page as the tool builds it: a dword count of length / 4 (not one
// less) and exactly `length` bytes of buffer.
Reply ReadLog(int fd, unsigned lid, std::vector<uint8_t>& buffer, unsigned lsp = 0) {
    const uint32_t dwords = static_cast<uint32_t>(buffer.size() / 4);
    return Send(fd, {0x02, 0xFFFFFFFF, lid | ((lsp << 8) & 0xF00) | ((dwords & 0xFFFF) << 16), dwords >> 16},
                buffer.data(), static_cast<uint32_t>(buffer.size()));
}

uint32_t Le(const std::vector<uint8_t>& data, size_t offset, size_t size) {
    uint32_t value = 0;
    for (size_t i = 0; i < size; ++i) {
        value |= static_cast<uint32_t>(data.at(offset + i)) << (8 * i);
    }
    return value;
}

// A copy of a shipped profile with some drive settings replaced.
std::string VariantProfile(const std::string& name, const std::map<std::string, Json::Value>& settings) {
    Json::Value source = testing_support::ProfileSource(name);
    for (const auto& [key, value] : settings) {
        source["drives"][0][key] = value;
    }
    const auto path = testing_support::MakeTempDir("profile") / (name + "-variant.json");
    std::ofstream(path) << source.toStyledString();
    return path.string();
}

class SimulatedDrive : public ::testing::Test {
  protected:
    void TearDown() override {
        Close();
        testing_support::StopSimulation();
    }
    void Close() {
        if (fd_ > 0) {
            close(fd_);
        }
        fd_ = -1;
    }
    // Closes the drive opened before, if any, and opens `device` under `profile`.
    int Open(const std::string& profile, const std::string& faults = "", const char* device = "/dev/nvme0") {
        Close();
        UseProfile(profile, faults);
        fd_ = open(device, O_RDWR);
        EXPECT_GT(fd_, 0) << strerror(errno);
        return fd_;
    }
    int fd_ = -1;
};

TEST_F(SimulatedDrive, IdentifyAnswersPerNamespaceAndRefusesTheRest) {
    const int fd = Open("dual-namespace", "", "/dev/nvme1");
    std::vector<uint8_t> data(4096, 0xEE);
    EXPECT_EQ(Send(fd, {0x06, 3, 0}, data.data(), 4096), (Reply{0x400B, 0, 0}));
    EXPECT_EQ(Send(fd, {0x06, 0, 2}, data.data(), 4096), Reply{});
    EXPECT_EQ(Le(data, 0, 4), 1u);
    EXPECT_EQ(Le(data, 4, 4), 2u);
    EXPECT_EQ(Le(data, 8, 4), 0u);
    EXPECT_EQ(Send(fd, {0x06, 0, 0x10}, data.data(), 4096), (Reply{0x4002, 0, 0}));
    EXPECT_EQ(Send(fd, {0x99, 0, 0}), (Reply{0x4001, 0, 0}));
}

TEST_F(SimulatedDrive, LogPageTransferStopsAtTheBufferLengthAndHonoursTheOffset) {
    const int fd = Open("rich-1.4");
    // A dword count one larger than the buffer: the drive may not write past it.
    std::vector<uint8_t> guarded(520, 0xAA);
    nvme_admin_cmd cmd{};
    cmd.opcode = 0x02;
    cmd.nsid = 0xFFFFFFFF;
    cmd.cdw10 = 0x02 | (128u << 16);
    cmd.addr = reinterpret_cast<uintptr_t>(guarded.data());
    cmd.data_len = 512;
    ASSERT_EQ(ioctl(fd, NVME_IOCTL_ADMIN_CMD, &cmd), 0);
    EXPECT_EQ(Le(guarded, 1, 2), 318u);
    EXPECT_EQ(std::vector<uint8_t>(guarded.begin() + 512, guarded.end()), std::vector<uint8_t>(8, 0xAA));
    // Offset 512 of the event log: the first event's header.
    std::vector<uint8_t> event(24, 0);
    ASSERT_EQ(Send(fd, {0x02, 0xFFFFFFFF, 0x0D | (1u << 8) | (5u << 16)}, event.data(), 24), Reply{});
    ASSERT_EQ(Send(fd, {0x02, 0xFFFFFFFF, 0x0D | (5u << 16), 0, 512}, event.data(), 24), Reply{});
    EXPECT_EQ(event[0], 0x01);  // SMART snapshot
    EXPECT_EQ(event[2], 21);
    std::vector<uint8_t> page(512, 0);
    EXPECT_EQ(ReadLog(fd, 0x0A, page), (Reply{0x4109, 0, 0}));
}

TEST_F(SimulatedDrive, PersistentEventLogNeedsAContext) {
    const int fd = Open("rich-1.4");
    std::vector<uint8_t> scratch(512, 0);
    std::vector<uint8_t> page(262144, 0);
    const struct {
        unsigned lsp;
        bool whole;
        Reply reply;
    } steps[] = {
        {0, true, {0x400C, 0, 0}},  // no context yet
        {2, false, {}},             // release: allowed at any time
        {1, true, {}},              // establish and read
        {0, true, {}},              // read within the context
        {2, false, {}},
        {0, false, {0x400C, 0, 0}},
    };
    for (const auto& step : steps) {
        EXPECT_EQ(ReadLog(fd, 0x0D, step.whole ? page : scratch, step.lsp), step.reply) << "lsp " << step.lsp;
    }
    EXPECT_EQ(page[0], 0x0D);
    EXPECT_EQ(Le(page, 44, 4), 1234u);  // power cycle count
    // A whole-page read uses the upper dword count: 262144 / 4 = 0x10000.
    const auto journal = testing_support::Journal();
    ASSERT_EQ(journal.size(), 6u);
    EXPECT_EQ(journal[2]["cdw10"].asUInt(), 0x10Du);
    EXPECT_EQ(journal[2]["cdw11"].asUInt(), 1u);
    EXPECT_EQ(journal[1]["cdw10"].asUInt(), 0x0080020Du);
}

TEST_F(SimulatedDrive, SanitizeActionsAgainstTheAdvertisedCapabilities) {
    const struct {
        const char* profile;
        uint32_t action;
        Reply reply;
    } cases[] = {
        {"rich-1.4", 3, {}},           {"rich-1.4", 5, {0x4002, 0, 0}},    {"faulty", 2, {}},
        {"faulty", 4, {0x4002, 0, 0}}, {"plain-1.2.1", 2, {0x4001, 0, 0}},
    };
    for (const auto& c : cases) {
        const int fd = Open(c.profile);
        EXPECT_EQ(Send(fd, {0x84, 0xFFFFFFFF, c.action}), c.reply) << c.profile << " action " << c.action;
    }
}

TEST_F(SimulatedDrive, OperationsByDurationInsteadOfPolls) {
    // A duration of 0 ends at the first read; an hour does not end within a
    // few reads and shows no progress yet. Neither depends on timing.
    const struct {
        int seconds;
        uint8_t operation;
        uint8_t completion;
        uint32_t sstat;
    } cases[] = {{0, 0, 0, 0x101}, {3600, 1, 0, 2}};
    for (const auto& c : cases) {
        Json::Value timing(Json::objectValue);
        timing["seconds"] = c.seconds;
        const std::string variant = VariantProfile("rich-1.4", {{"self-test", timing}, {"sanitize", timing}});
        const int fd = Open(variant);
        ASSERT_EQ(Send(fd, {0x14, 0xFFFFFFFF, 1}), Reply{});
        ASSERT_EQ(Send(fd, {0x84, 0xFFFFFFFF, 4}), Reply{});
        std::vector<uint8_t> log(564, 0);
        std::vector<uint8_t> sanitize(512, 0);
        for (int read = 0; read < 3; ++read) {
            ASSERT_EQ(ReadLog(fd, 0x06, log), Reply{});
            ASSERT_EQ(ReadLog(fd, 0x81, sanitize), Reply{});
        }
        EXPECT_EQ(log[0], c.operation) << c.seconds;
        EXPECT_EQ(log[1], c.completion) << c.seconds;
        EXPECT_EQ(Le(sanitize, 2, 2), c.sstat) << c.seconds;
    }
}

TEST_F(SimulatedDrive, CommandFaultsFailAsConfigured) {
    const struct {
        const char* faults;
        Command command;
        std::vector<Reply> replies;  // for repeated sends
    } cases[] = {
        {"opcode=6,errno=5", {0x06, 0, 1}, {{-1, EIO, UNTOUCHED}}},
        {"opcode=2,log=2,status=0x4002", {0x02, 0xFFFFFFFF, 0x03 | (128u << 16)}, {{}}},
        {"opcode=2,log=2,after=2,errno=5",
         {0x02, 0xFFFFFFFF, 0x02 | (128u << 16)},
         {{}, {}, {-1, EIO, UNTOUCHED}, {-1, EIO, UNTOUCHED}}},
        {"opcode=0x0a,feature=1,errno=22", {0x0A, 1, 0x02}, {{0, 0, 0x61}}},
        {"vanish=2", {0x06, 0, 1}, {{}, {}, {-1, ENODEV, UNTOUCHED}}},
    };
    for (const auto& c : cases) {
        const int fd = Open("rich-1.4", c.faults);
        std::vector<uint8_t> data(4096, 0);
        for (size_t i = 0; i < c.replies.size(); ++i) {
            EXPECT_EQ(Send(fd, c.command, data.data(), 512), c.replies[i]) << c.faults << " send " << i;
        }
    }
}

TEST_F(SimulatedDrive, DeviceOpenFaults) {
    UseProfile("rich-1.4", "open=13");
    errno = 0;
    EXPECT_EQ(open("/dev/nvme0", O_RDWR), -1);
    EXPECT_EQ(errno, EACCES);
    const int fd = Open("rich-1.4", "vanish=1");
    EXPECT_EQ(Send(fd, {0x06, 0, 1}).ret, 0);
    errno = 0;
    EXPECT_EQ(open("/dev/nvme0", O_RDWR), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(SimulatedDrive, FaultyProfileCarriesItsOwnFaults) {
    const int fd = Open("faulty");
    std::vector<uint8_t> page(512, 0);
    EXPECT_EQ(ReadLog(fd, 0x03, page), (Reply{-1, EIO, UNTOUCHED}));
    EXPECT_EQ(ReadLog(fd, 0x02, page), Reply{});
    EXPECT_EQ(page[0], 0x0D);
    EXPECT_EQ(Send(fd, {0x0A, 1, 0x08}), (Reply{0x4002, 0, 0}));
    EXPECT_EQ(Send(fd, {0x0A, 1, 0x0B}), (Reply{-1, EINVAL, UNTOUCHED}));
}

TEST_F(SimulatedDrive, JournalRecordsEveryCommandAndItsAnswer) {
    const int fd = Open("plain-1.2.1", "opcode=0x0a,feature=7,errno=5");
    std::vector<uint8_t> data(4096, 0);
    Send(fd, {0x06, 1, 0}, data.data(), 4096);
    Send(fd, {0x0A, 1, 0x07}, nullptr, 0);
    nvme_passthru_cmd64 wide{};
    wide.opcode = 0x0A;
    wide.nsid = 1;
    wide.cdw10 = 0x06;
    ASSERT_EQ(ioctl(fd, NVME_IOCTL_ADMIN64_CMD, &wide), 0);
    EXPECT_EQ(wide.result, 1u);
    std::vector<std::string> lines;
    for (const auto& record : testing_support::Journal()) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        lines.push_back(Json::writeString(builder, record));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{
                         R"({"cdw10":0,"cdw11":0,"cdw12":0,"cdw13":0,"cdw14":0,"cdw15":0,"data_len":4096,)"
                         R"("device":"/dev/nvme0","errno":0,"nsid":1,"opcode":6,"result":0,"return":0})",
                         R"({"cdw10":7,"cdw11":0,"cdw12":0,"cdw13":0,"cdw14":0,"cdw15":0,"data_len":0,)"
                         R"("device":"/dev/nvme0","errno":5,"nsid":1,"opcode":10,"result":0,"return":-1})",
                         R"({"cdw10":6,"cdw11":0,"cdw12":0,"cdw13":0,"cdw14":0,"cdw15":0,"data_len":0,)"
                         R"("device":"/dev/nvme0","errno":0,"nsid":1,"opcode":10,"result":1,"return":0})",
                     }));
}

}  // namespace
