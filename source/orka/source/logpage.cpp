// Log page reading.
#include "logpage.h"

#include "nvme_admin_command.h"
#include "orka_nvme.h"

namespace orka {

int ReadLogPage(unsigned int logId, unsigned int length, int fd, unsigned char* buffer, Json::Value& commands,
                Json::Value& record, unsigned char lsp) {
    // The dword count is length / 4 itself, not the zero-based count less one: the command asks
    // for one dword more than the buffer the pass-through is given. Drives answer with the
    // transfer length, so this is kept as it has always been.
    const unsigned int dwords = length / 4;
    const unsigned int cdw10 =
        logId | ((static_cast<unsigned int>(lsp) << 8) & 0xF00) | ((dwords & 0xFFFF) << 16);
    const unsigned int cdw11 = dwords >> 16;
    return NvmeAdminCommand(fd, "Get Log Page " + ToHexString(logId, 2), commands, record, 0x02,
                            ALL_NAMESPACES, cdw10, cdw11, 0, 0, 0, 0, buffer, nullptr, length, false);
}

}  // namespace orka
