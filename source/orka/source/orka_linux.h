// Linux host platform: drive discovery, device handles, directories and host facts.
#pragma once

#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

namespace orka {

// The drive handle: a file descriptor of /dev/nvme<N> opened read-write.
using NVME_ID = int;

// The controllers the kernel lists in /sys/class/nvme/ (nvme<N>, character
// device /dev/nvme<N>) as drive numbers, each once, in numeric order.
std::vector<std::string> GetNvmeDriveList();
// A sysfs attribute of controller `drive` (/sys/class/nvme/nvme<N>/<name>)
// with its blanks trimmed: "state", "transport", "address", "subsysnqn",
// "model". "N/A" when the file cannot be read.
std::string GetControllerAttribute(const std::string& drive, const std::string& name);

// The block devices that belong to a controller, found through sysfs links
// (each block device's "device" link, the subsystem's links to its
// controllers, "holders" and loop devices' backing files), never through the
// numbers in their names. Names as in /sys/class/block ("nvme1n1").
struct NvmeBlockDevices {
    // Namespace block devices reached through the controller: its own disks,
    // or with native multipath the subsystem's heads over its paths.
    std::vector<std::string> namespaces;
    // Hidden multipath path nodes of the controller (nvme<S>c<C>n<M>), no /dev node.
    std::vector<std::string> paths;
    // Partitions of the namespace block devices.
    std::vector<std::string> partitions;
    // Devices stacked on any of the above, with the device each is stacked on:
    // holders (device mapper, md) and loop devices backed by a file on them.
    std::vector<std::pair<std::string, std::string>> stacked;
};
// The block devices of controller `drive`; with `whole_subsystem` those of
// every controller of its subsystem (the same subsysnqn) as well, so that a
// namespace is found whichever controller or path it is reached through.
NvmeBlockDevices GetNvmeBlockDevices(const std::string& drive, bool whole_subsystem);

NVME_ID GetNvmeId(std::string path, bool flag);
void CloseNvmeId(NVME_ID id);

// What stops drive `drive` (N of /dev/nvme<N>) from being erased: the first
// block device of its subsystem (GetNvmeBlockDevices with the whole
// subsystem) that holds a mounted file system or an active swap area, or that
// cannot be opened exclusively (O_EXCL fails with EBUSY), as a text such as
// "/dev/nvme0n1p2 is mounted on /boot". Devices are matched by their
// major:minor numbers from sysfs. Empty when the drive is not in use; a mount
// table that cannot be read, or a device that cannot be opened for another
// reason than its absence, counts as in use.
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
