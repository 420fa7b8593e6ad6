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

// What stops drive `drive` (N of /dev/nvme<N>) from being erased: the first
// of its namespaces, their partitions or the devices stacked on them that
// holds a mounted file system or an active swap area, as a text such as
// "/dev/nvme0n1p2 is mounted on /boot". Devices are matched by their
// major:minor numbers from sysfs. Empty when the drive is not in use; a mount
// table that cannot be read counts as in use.
std::string FindDriveInUse(const std::string& drive);

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
// The value of the first line of `path` that begins with `key`: the text after
// the first ':' with blanks trimmed ("N/A" when no such line or file).
std::string GetLinuxInfoField(const std::string& path, const std::string& key);
void GetSystemInfo(Json::Value& info, std::string device, bool extended);

// Helpers of GetSystemInfo, open for testing.

// True for a /sys/block/ name of a whole namespace device, nvme<N>n<M> (not a
// partition nvme<N>n<M>p<P>, not a multipath path nvme<N>c<X>n<M>); `drive`
// receives N.
bool IsNvmeNamespaceDevice(const std::string& name, std::string& drive);
// A PCI address domain:bus:device.function as "Bus <bus>, device <device>,
// function <function>"; "N/A" for any other text.
std::string PciLocationText(const std::string& address);
// A link speed file text ("8.0 GT/s PCIe") as "Gen3 8.0GT/s"; "N/A" for any
// speed outside the table.
std::string PciSpeedText(const std::string& speed);
// Numeric link speed times lane count, one decimal, + " GT/s" ("8.0 GT/s PCIe"
// and "4" give "32.0 GT/s"); "N/A" when either cannot be read as a number.
std::string PciBandwidthText(const std::string& speed, const std::string& width);
// Size of a block device given as 512-byte sectors, in decimal gigabytes
// (10^9 bytes) rounded to the nearest whole number; "N/A" when not a number.
std::string SectorsToGigabytes(const std::string& sectors);

}  // namespace orka
