// The one path by which admin commands reach a drive: fill the kernel's
// pass-through block, send it, time it, log it and keep a record of it.
#include "nvme_admin_command.h"

#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>

#include "orka.h"
#include "orka_nvme.h"

static_assert(sizeof(nvme_admin_cmd) == 72, "the kernel's admin command block is 72 bytes");
static_assert(NVME_IOCTL_ADMIN_CMD == 0xC0484E41, "admin pass-through request number");

namespace orka {

namespace {

// Generic command status values (status code type 0), by status code.
struct StatusName {
    unsigned int code;
    const char* name;
};
constexpr StatusName GENERIC_STATUS_NAMES[] = {
    {0x00, "Successful Completion"},
    {0x01, "Invalid Command Opcode"},
    {0x02, "Invalid Field in Command"},
    {0x03, "Command ID Conflict"},
    {0x04, "Data Transfer Error"},
    {0x05, "Commands Aborted due to Power Loss Notification"},
    {0x06, "Internal Error"},
    {0x07, "Command Abort Requested"},
    {0x08, "Command Aborted due to SQ Deletion"},
    {0x09, "Command Aborted due to Failed Fused Command"},
    {0x0A, "Command Aborted due to Missing Fused Command"},
    {0x0B, "Invalid Namespace or Format"},
    {0x0C, "Command Sequence Error"},
    {0x0D, "Invalid SGL Segment Descriptor"},
    {0x0E, "Invalid Number of SGL Descriptors"},
    {0x0F, "Data SGL Length Invalid"},
    {0x10, "Metadata SGL Length Invalid"},
    {0x11, "SGL Descriptor Type Invalid"},
    {0x12, "Invalid Use of Controller Memory Buffer"},
    {0x13, "PRP Offset Invalid"},
    {0x14, "Atomic Write Unit Exceeded"},
    {0x15, "Operation Denied"},
    {0x16, "SGL Offset Invalid"},
    {0x18, "Host Identifier Inconsistent Format"},
    {0x19, "Keep Alive Timer Expired"},
    {0x1A, "Keep Alive Timeout Invalid"},
    {0x1B, "Command Aborted due to Preempt and Abort"},
    {0x1C, "Sanitize Failed"},
    {0x1D, "Sanitize In Progress"},
    {0x1E, "SGL Data Block Granularity Invalid"},
    {0x1F, "Command Not Supported for Queue in CMB"},
    {0x20, "Namespace is Write Protected"},
    {0x21, "Command Interrupted"},
    {0x22, "Transient Transport Error"},
    {0x80, "LBA Out of Range"},
    {0x81, "Capacity Exceeded"},
    {0x82, "Namespace Not Ready"},
    {0x83, "Reservation Conflict"},
    {0x84, "Format In Progress"},
};

constexpr unsigned int STATUS_CODE_MASK = 0xFF;
constexpr unsigned int STATUS_CODE_TYPE_MASK =
    0x700;  // bits 10:8; retry delay, More and DNR above are not part of it

// Type and code of the statuses that say a command is not offered.
constexpr unsigned int INVALID_COMMAND_OPCODE = 0x001;
constexpr unsigned int INVALID_FIELD = 0x002;
constexpr unsigned int INVALID_LOG_PAGE = 0x109;

}  // namespace

std::string NvmeStatusName(unsigned int status) {
    if ((status & STATUS_CODE_TYPE_MASK) == 0) {
        for (const StatusName& entry : GENERIC_STATUS_NAMES) {
            if (entry.code == (status & STATUS_CODE_MASK)) {
                return entry.name;
            }
        }
    }
    if ((status & (STATUS_CODE_TYPE_MASK | STATUS_CODE_MASK)) == INVALID_LOG_PAGE) {
        return "Invalid Log Page";
    }
    return "Unknown status";
}

bool IsNotOfferedStatus(unsigned int status) {
    const unsigned int code = status & (STATUS_CODE_TYPE_MASK | STATUS_CODE_MASK);
    return code == INVALID_COMMAND_OPCODE || code == INVALID_FIELD || code == INVALID_LOG_PAGE;
}

bool IsNotSupported(const Json::Value& command) {
    const unsigned int status = command["nvme status"].asUInt();
    return status != 0 && command["allowed"].asBool() && IsNotOfferedStatus(status);
}

void BuildAdminCommand(nvme_admin_cmd& cmd, unsigned short opcode, unsigned int nsid, unsigned int cdw10,
                       unsigned int cdw11, unsigned int cdw12, unsigned int cdw13, unsigned int cdw14,
                       unsigned int cdw15, unsigned char* data, unsigned int data_len) {
    std::memset(&cmd, 0, sizeof(cmd));
    cmd.opcode = static_cast<__u8>(opcode & 0xFF);
    cmd.nsid = nsid;
    cmd.addr = static_cast<__u64>(reinterpret_cast<std::uintptr_t>(data));
    cmd.data_len = data_len;
    cmd.cdw10 = cdw10;
    cmd.cdw11 = cdw11;
    cmd.cdw12 = cdw12;
    cmd.cdw13 = cdw13;
    cmd.cdw14 = cdw14;
    cmd.cdw15 = cdw15;
}

int NvmeAdminCommand(NVME_ID fd, const std::string& name, Json::Value& commands, Json::Value& more_commands,
                     unsigned short opcode, unsigned int nsid, unsigned int cdw10, unsigned int cdw11,
                     unsigned int cdw12, unsigned int cdw13, unsigned int cdw14, unsigned int cdw15,
                     unsigned char* data, unsigned int* result, unsigned int data_len, bool allowed,
                     bool optional) {
    return LINUX_ADMIN_COMMAND(fd, name, opcode, static_cast<int>(nsid), static_cast<int>(cdw10),
                               static_cast<int>(cdw11), static_cast<int>(cdw12), static_cast<int>(cdw13),
                               static_cast<int>(cdw14), static_cast<int>(cdw15), static_cast<int>(data_len),
                               data, result, commands, more_commands, allowed, optional);
}

}  // namespace orka

int LINUX_ADMIN_COMMAND(orka::NVME_ID fd, std::string name, int opcode, int nsid, int cdw10, int cdw11,
                        int cdw12, int cdw13, int cdw14, int cdw15, int data_len, unsigned char* data,
                        unsigned int* result, Json::Value& commands, Json::Value& more_commands, bool allowed,
                        bool optional) {
    try {
        int rc = 0;
        LOG_VERBOSE << "Running NVMe Admin " << name
                    << " command using ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd)";
        LOG_VERBOSE << "cmd.opcode = " << opcode;
        LOG_VERBOSE << "cmd.nsid = " << nsid;
        LOG_VERBOSE << "cmd.addr = "
                    << "(address of buffer)";
        LOG_VERBOSE << "cmd.data_len = " << data_len;
        LOG_VERBOSE << "cdw10 = " << cdw10;
        LOG_VERBOSE << "cdw11 = " << cdw11;
        LOG_VERBOSE << "file_descriptor = " << fd;

        nvme_admin_cmd cmd;
        orka::BuildAdminCommand(cmd, static_cast<unsigned short>(opcode), static_cast<unsigned int>(nsid),
                                static_cast<unsigned int>(cdw10), static_cast<unsigned int>(cdw11),
                                static_cast<unsigned int>(cdw12), static_cast<unsigned int>(cdw13),
                                static_cast<unsigned int>(cdw14), static_cast<unsigned int>(cdw15), data,
                                static_cast<unsigned int>(data_len));

        const auto start = std::chrono::system_clock::now();
        const int status = ioctl(fd, NVME_IOCTL_ADMIN_CMD, &cmd);
        const int error = errno;
        const auto end = std::chrono::system_clock::now();
        const float milliseconds =
            static_cast<float>(std::chrono::duration<double, std::milli>(end - start).count());

        // Failed requests are logged at debug level when the caller allows them, as an error otherwise.
        const auto failure_severity = allowed ? orka::Severity::debug : orka::Severity::error;
        int nvme_status = 0;
        if (status == -1) {
            rc = error;
            ORKA_LOG_TO(orka::CONSOLE_LOGGER, failure_severity)
                << " FAILED " << name << " ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd) failed with code "
                << error << " '" << std::strerror(error) << "'. Completed in " << milliseconds << " mS";
        } else if (status > 0 && optional && orka::IsNotOfferedStatus(static_cast<unsigned int>(status))) {
            rc = status;
            nvme_status = status;
            allowed = true;
            FILE_LOG_INFO << name << " not supported by the drive ("
                          << orka::NvmeStatusName(static_cast<unsigned int>(status)) << ")";
        } else if (status > 0) {
            // The controller completed the command with an error status: the data buffer and
            // completion dword hold nothing the caller may use.
            rc = status;
            nvme_status = status;
            ORKA_LOG_TO(orka::CONSOLE_LOGGER, failure_severity)
                << " FAILED " << name << " completed with NVMe status " << orka::ToHexString(status, 4)
                << " (" << orka::NvmeStatusName(static_cast<unsigned int>(status)) << ")";
        } else {
            LOG_VERBOSE << name << " read in " << milliseconds << " mS";
            if (result != nullptr) {
                *result = cmd.result;
            }
        }

        Json::Value record(Json::objectValue);
        record["timestamp"] = orka::GetTimestamp(false);
        record["admin command"] = name;
        record["return code"] = rc;
        record["nvme status"] = nvme_status;
        record["bytes returned"] = "N/A";
        record["time in ms"] = milliseconds;
        record["allowed"] = allowed;
        if (!commands.isNull()) {
            commands.append(record);
        }
        if (!more_commands.isNull()) {
            more_commands.append(record);
        }
        return rc;
    } catch (...) {
        orka::RethrowWithOrigin("LINUX_ADMIN_COMMAND", "source/orka/source/nvme_admin_command", __LINE__);
    }
}
