// The simulated controller: answers admin commands from a drive profile and
// keeps operation state (self-test, sanitize, event log context) in files so
// that it lasts from one process to the next.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "profile.h"

namespace brantix_sim {

struct AdminCommand {
    uint8_t opcode = 0;
    uint32_t nsid = 0;
    uint32_t cdw10 = 0, cdw11 = 0, cdw12 = 0, cdw13 = 0, cdw14 = 0, cdw15 = 0;
    uint32_t data_len = 0;
    uint8_t* data = nullptr;
};

// What the ioctl hands back: `ret` is 0, a positive NVMe status or -1 with
// `error`; `result` is completion dword 0.
struct Answer {
    int ret = 0;
    int error = 0;
    uint32_t result = 0;
};

struct Context {
    const Profile* profile = nullptr;
    std::string state_dir;
    std::string journal;            // empty: no journal
    std::vector<Fault> run_faults;  // from BRANTIX_SIM_FAULTS
    int run_open_error = 0;
    int run_vanish_after = -1;
};

Answer RunAdminCommand(const Context& context, const Drive& drive, AdminCommand& command);

// errno that opening the device fails with now, 0 when it opens.
int OpenError(const Context& context, const Drive& drive);

// NVMe status values as the driver returns them (DNR set where the standard
// has the command not retried).
constexpr int STATUS_INVALID_OPCODE = 0x4001;
constexpr int STATUS_INVALID_FIELD = 0x4002;
constexpr int STATUS_INVALID_NAMESPACE = 0x400B;
constexpr int STATUS_SEQUENCE_ERROR = 0x400C;
constexpr int STATUS_SANITIZE_IN_PROGRESS = 0x001D;
constexpr int STATUS_INVALID_LOG_PAGE = 0x4109;
// Data SGL Length Invalid, with More and Do Not Retry, as the kernel's own target answers a
// transfer length that disagrees with the command's dword count.
constexpr int STATUS_DATA_LENGTH_INVALID = 0x600F;
constexpr int STATUS_SELF_TEST_IN_PROGRESS = 0x011D;

}  // namespace brantix_sim
