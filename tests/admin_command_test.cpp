// The admin command block and the records kept for every command sent.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "nvme_admin_command.h"

namespace {

using Block = std::array<unsigned char, 72>;

void PutLe(Block& block, size_t offset, uint64_t value, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) {
        block[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
}

struct BuildCase {
    const char* label;
    unsigned short opcode;
    unsigned int nsid;
    unsigned int cdw[6];
    bool with_buffer;
    unsigned int data_len;
    unsigned char expected_opcode;
};

TEST(AdminCommandBlock, OnlyTheCommandFieldsAreSetAtTheirOffsets) {
    static unsigned char buffer[4096];
    const BuildCase cases[] = {
        {"identify controller", 0x06, 0, {1, 0, 0, 0, 0, 0}, true, 4096, 0x06},
        {"get log page", 0x02, 0xFFFFFFFF, {0x007F0002, 0, 0, 0, 0, 0}, true, 512, 0x02},
        {"self-test, no buffer", 0x14, 0xFFFFFFFF, {1, 0, 0, 0, 0, 0}, false, 0, 0x14},
        {"every dword distinct",
         0x0A,
         1,
         {0x11111111, 0x22222222, 0x33333333, 0x44444444, 0x55555555, 0xFFFFFFFF},
         true,
         7,
         0x0A},
        {"only the opcode's low byte", 0x1C4, 2, {0, 0, 0, 0, 0, 0}, false, 0, 0xC4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        unsigned char* data = c.with_buffer ? buffer : nullptr;

        Block expected{};
        expected[0] = c.expected_opcode;
        PutLe(expected, 4, c.nsid, 4);
        PutLe(expected, 24, static_cast<uint64_t>(reinterpret_cast<uintptr_t>(data)), 8);
        PutLe(expected, 36, c.data_len, 4);
        for (size_t i = 0; i < 6; ++i) {
            PutLe(expected, 40 + 4 * i, c.cdw[i], 4);
        }

        nvme_admin_cmd cmd;
        std::memset(&cmd, 0xA5, sizeof(cmd));  // what the block held before must not survive
        orka::BuildAdminCommand(cmd, c.opcode, c.nsid, c.cdw[0], c.cdw[1], c.cdw[2], c.cdw[3], c.cdw[4],
                                c.cdw[5], data, c.data_len);
        ASSERT_EQ(sizeof(cmd), expected.size());
        Block actual;
        std::memcpy(actual.data(), &cmd, actual.size());
        for (size_t offset = 0; offset < actual.size(); ++offset) {
            EXPECT_EQ(actual[offset], expected[offset]) << "byte " << offset;
        }
    }
}

}  // namespace
