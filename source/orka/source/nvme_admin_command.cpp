// The one path by which admin commands reach a drive: fill the kernel's
// pass-through block, send it, time it, log it and keep a record of it.
#include "nvme_admin_command.h"

#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>

#include "orka.h"

static_assert(sizeof(nvme_admin_cmd) == 72, "the kernel's admin command block is 72 bytes");
static_assert(NVME_IOCTL_ADMIN_CMD == 0xC0484E41, "admin pass-through request number");

namespace orka {

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
                     unsigned char* data, unsigned int* result, unsigned int data_len, bool allowed) {
    return LINUX_ADMIN_COMMAND(fd, name, opcode, static_cast<int>(nsid), static_cast<int>(cdw10),
                               static_cast<int>(cdw11), static_cast<int>(cdw12), static_cast<int>(cdw13),
                               static_cast<int>(cdw14), static_cast<int>(cdw15), static_cast<int>(data_len),
                               data, result, commands, more_commands, allowed);
}

}  // namespace orka

int LINUX_ADMIN_COMMAND(orka::NVME_ID fd, std::string name, int opcode, int nsid, int cdw10, int cdw11,
                        int cdw12, int cdw13, int cdw14, int cdw15, int data_len, unsigned char* data,
                        unsigned int* result, Json::Value& commands, Json::Value& more_commands,
                        bool allowed) {
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

        if (status == -1) {
            rc = error;
            // Optional commands may be rejected by a drive: then only a debug line is left.
            const auto severity = allowed ? orka::Severity::debug : orka::Severity::error;
            ORKA_LOG_TO(orka::CONSOLE_LOGGER, severity)
                << " FAILED " << name << " ioctl(file_descriptor,NVME_IOCTL_ADMIN_CMD,cmd) failed with code "
                << error << " '" << std::strerror(error) << "'. Completed in " << milliseconds << " mS";
        } else {
            // A positive return is an NVMe status from the controller; it is not inspected here.
            LOG_VERBOSE << name << " read in " << milliseconds << " mS";
            if (result != nullptr) {
                *result = cmd.result;
            }
        }

        Json::Value record(Json::objectValue);
        record["timestamp"] = orka::GetTimestamp(false);
        record["admin command"] = name;
        record["return code"] = rc;
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
