// Linux host platform: drive discovery, device handles, directories and host facts.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace orka {

// The drive handle: a file descriptor of /dev/nvme<N> opened read-write.
using NVME_ID = int;

// Drive numbers from the entries of /sys/block/, in listing order, one per
// namespace block device (not sorted, not de-duplicated).
std::vector<std::string> GetNvmeDriveList();
// The drive number of one /sys/block/ entry path ("/sys/block/nvme1n2" gives
// "1"); false for entries that are not NVMe block devices.
bool DriveNumberFromBlockPath(const std::string& path, std::string& drive);

NVME_ID GetNvmeId(std::string path, bool flag);
void CloseNvmeId(NVME_ID id);

int SetHighPriority();
int SetTimerResolution(unsigned int milliseconds);
int MakeDirectoryTree(const std::string& path);

std::string GetUsername();
std::string GetHostname();
std::string GetDirectory();
std::string GetDocumentsFolder();
std::string GetLinuxInfo(std::string path);
std::string GetLinuxOsName(std::string path);
std::string GetLinuxOsVersion(std::string path);
void GetSystemInfo(Json::Value& info, std::string device, bool extended);

}  // namespace orka
