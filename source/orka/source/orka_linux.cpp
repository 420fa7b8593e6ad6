// Linux host platform: drive discovery, device handles and directories.
#include "orka_linux.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "orka.h"

namespace orka {

namespace {
const std::string BLOCK_PREFIX = "/sys/block/nvme";
}

bool DriveNumberFromBlockPath(const std::string& path, std::string& drive) {
    if (path.compare(0, BLOCK_PREFIX.size(), BLOCK_PREFIX) != 0) {
        return false;
    }
    drive = path.substr(BLOCK_PREFIX.size());
    const auto cut = drive.find('n');
    if (cut != std::string::npos) {
        drive.erase(cut);
    }
    return true;
}

std::vector<std::string> GetNvmeDriveList() {
    std::vector<std::string> drives;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/block/")) {
        std::string drive;
        if (DriveNumberFromBlockPath(entry.path().string(), drive)) {
            drives.push_back(drive);
        }
    }
    return drives;
}

NVME_ID GetNvmeId(std::string path, bool /*flag*/) {
    const int fd = open(path.c_str(), O_RDWR);
    // A descriptor of 0 is treated as a failure too.
    if (fd > 0) {
        LOG_VERBOSE << "Opened file descriptor " << fd << " for NVMe " << path;
        return fd;
    }
    throw OrkaError("Failed to open file descriptor for NVME drive '" + path + "'");
}

void CloseNvmeId(NVME_ID id) { close(id); }

int SetHighPriority() { return 1; }

int SetTimerResolution(unsigned int /*milliseconds*/) { return 1; }

int MakeDirectoryTree(const std::string& path) {
    if (mkdir(path.c_str(), 0755) == 0) {
        return 0;
    }
    const int error = errno;
    if (error == EEXIST) {
        return 0;
    }
    if (error == ENOENT) {
        const auto slash = path.rfind('/');
        if (slash == std::string::npos) {
            return error;
        }
        MakeDirectoryTree(path.substr(0, slash));
        return mkdir(path.c_str(), 0755);
    }
    return error;
}

}  // namespace orka
