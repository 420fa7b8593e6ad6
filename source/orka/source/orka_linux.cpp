// Linux host platform: drive discovery, device handles, directories and host facts.
#include "orka_linux.h"

#include <fcntl.h>
#include <limits.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

#include "orka.h"
#include "orka_nvme.h"

namespace orka {

namespace {

const std::string CLASS_NVME = "/sys/class/nvme/";
const std::string CLASS_BLOCK = "/sys/class/block/";
const std::string CLASS_SUBSYSTEM = "/sys/class/nvme-subsystem/";

bool AllDigits(const std::string& text) {
    if (text.empty()) {
        return false;
    }
    for (const char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c))) {
            return false;
        }
    }
    return true;
}

// The first line of a sysfs file with surrounding blanks removed; "N/A" stays "N/A".
std::string ReadTrimmed(const std::string& path) {
    std::string text = GetLinuxInfo(path);
    Trim(text);
    return text;
}

std::vector<std::string> FolderEntries(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        names.push_back(entry->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The path with every symbolic link along it followed. Folders on the way
// need not exist, so that two paths of sysfs compare by the object they name.
std::string FollowLinks(const std::string& path) {
    namespace fs = std::filesystem;
    std::vector<std::string> rest;  // components still to walk, the next one last
    const auto push = [&rest](const fs::path& more) {
        std::vector<std::string> parts;
        for (const auto& part : more) {
            if (!part.empty() && part != "/") {
                parts.push_back(part.string());
            }
        }
        rest.insert(rest.end(), parts.rbegin(), parts.rend());
    };
    push(path);
    fs::path done = "/";
    for (int links = 0; !rest.empty();) {
        const std::string part = rest.back();
        rest.pop_back();
        if (part == ".") {
            continue;
        }
        if (part == "..") {
            done = done.parent_path();
            continue;
        }
        const fs::path next = done / part;
        std::error_code error;
        if (!fs::is_symlink(fs::symlink_status(next, error))) {
            done = next;
            continue;
        }
        const fs::path target = fs::read_symlink(next, error);
        if (error || ++links > 40) {
            return "";
        }
        if (target.is_absolute()) {
            done = "/";
        }
        push(target);
    }
    return done.string();
}

// A block device as sysfs shows it: its folder and the object its "device"
// link names (a controller, a subsystem; nothing for partitions).
struct SysfsBlock {
    std::string name;
    std::string folder;
    std::string device;
};

std::vector<SysfsBlock> ListBlockDevices() {
    std::vector<SysfsBlock> blocks;
    for (const auto& name : FolderEntries(CLASS_BLOCK)) {
        const std::string folder = FollowLinks(CLASS_BLOCK + name);
        blocks.push_back({name, folder, FollowLinks(folder + "/device")});
    }
    return blocks;
}

// The folder of the subsystem that links to the controller folder `controller`.
std::string SubsystemFolder(const std::string& controller) {
    for (const auto& subsystem : FolderEntries(CLASS_SUBSYSTEM)) {
        const std::string folder = FollowLinks(CLASS_SUBSYSTEM + subsystem);
        for (const auto& entry : FolderEntries(folder)) {
            std::error_code error;
            if (std::filesystem::is_symlink(std::filesystem::symlink_status(folder + "/" + entry, error)) &&
                FollowLinks(folder + "/" + entry) == controller) {
                return folder;
            }
        }
    }
    return "";
}

void AddOnce(std::vector<std::string>& names, const std::string& name) {
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(name);
    }
}

// The namespace block devices and path nodes of one controller: the block
// devices whose "device" is the controller, and the subsystem's heads with
// the namespace identifier of one of its hidden paths.
void AddControllerNamespaces(const std::string& drive, const std::vector<SysfsBlock>& blocks,
                             NvmeBlockDevices& devices) {
    const std::string controller = FollowLinks(CLASS_NVME + "nvme" + drive);
    std::error_code error;
    if (controller.empty() || !std::filesystem::is_directory(controller, error)) {
        return;
    }
    std::vector<std::string> path_nsids;
    for (const auto& block : blocks) {
        if (block.device != controller) {
            continue;
        }
        if (ReadTrimmed(block.folder + "/hidden") == "1" || ReadTrimmed(block.folder + "/dev") == "N/A") {
            AddOnce(devices.paths, block.name);
            path_nsids.push_back(ReadTrimmed(block.folder + "/nsid"));
        } else {
            AddOnce(devices.namespaces, block.name);
        }
    }
    const std::string subsystem = path_nsids.empty() ? "" : SubsystemFolder(controller);
    for (const auto& block : blocks) {
        if (!subsystem.empty() && block.device == subsystem &&
            std::find(path_nsids.begin(), path_nsids.end(), ReadTrimmed(block.folder + "/nsid")) !=
                path_nsids.end()) {
            AddOnce(devices.namespaces, block.name);
        }
    }
}

// Major:minor of a file's device or, for a block device node, of the node.
std::string FileDeviceNumber(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        return "";
    }
    const dev_t device = S_ISBLK(info.st_mode) ? info.st_rdev : info.st_dev;
    return std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

// Adds what is stacked on the devices found so far: holders (device mapper,
// md), loop devices whose backing file lies on one of them or is one of them,
// and the partitions of these, until nothing new turns up.
void AddStackedDevices(const std::vector<SysfsBlock>& blocks, NvmeBlockDevices& devices) {
    std::map<std::string, std::string> folders;  // name -> sysfs folder
    for (const auto& block : blocks) {
        folders[block.name] = block.folder;
    }
    std::vector<std::string> queue = devices.namespaces;
    queue.insert(queue.end(), devices.partitions.begin(), devices.partitions.end());
    std::map<std::string, std::string> numbers;  // major:minor -> name
    std::vector<std::string> seen = queue;
    const auto add = [&](const std::string& name, const std::string& on) {
        if (std::find(seen.begin(), seen.end(), name) == seen.end()) {
            seen.push_back(name);
            queue.push_back(name);
            devices.stacked.emplace_back(name, on);
        }
    };
    for (bool grown = true; grown;) {
        grown = false;
        while (!queue.empty()) {
            const std::string name = queue.front();
            queue.erase(queue.begin());
            const std::string folder =
                folders.count(name) != 0 ? folders[name] : FollowLinks(CLASS_BLOCK + name);
            const std::string number = ReadTrimmed(folder + "/dev");
            if (number != "N/A") {
                numbers[number] = name;
            }
            for (const auto& holder : FolderEntries(folder + "/holders")) {
                add(holder, name);
            }
            // Partitions of a stacked device (md0p1, loop0p1).
            for (const auto& entry : FolderEntries(folder)) {
                if (ReadTrimmed(folder + "/" + entry + "/partition") != "N/A") {
                    add(entry, name);
                }
            }
        }
        for (const auto& block : blocks) {
            std::string backing = ReadTrimmed(block.folder + "/loop/backing_file");
            if (backing == "N/A" || std::find(seen.begin(), seen.end(), block.name) != seen.end()) {
                continue;
            }
            const std::string deleted = " (deleted)";
            if (backing.size() > deleted.size() &&
                backing.compare(backing.size() - deleted.size(), deleted.size(), deleted) == 0) {
                backing.erase(backing.size() - deleted.size());
            }
            const auto on = numbers.find(FileDeviceNumber(backing));
            if (on != numbers.end()) {
                add(block.name, on->second);
                grown = true;
            }
        }
    }
}

}  // namespace

std::vector<std::string> GetNvmeDriveList() {
    std::vector<unsigned long> numbers;
    for (const auto& name : FolderEntries(CLASS_NVME)) {
        if (name.compare(0, 4, "nvme") == 0 && AllDigits(name.substr(4)) && name.size() < 14) {
            numbers.push_back(std::stoul(name.substr(4)));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    std::vector<std::string> drives;
    for (const unsigned long number : numbers) {
        drives.push_back(std::to_string(number));
    }
    return drives;
}

namespace {

// What a user can do about a drive that would not open, by the reason the system gave.
std::string OpenHint(int error, const std::string& path) {
    switch (error) {
        case EACCES:
        case EPERM:
            return " (run as root or as a user allowed to open " + path + " read-write)";
        case ENOENT:
        case ENODEV:
        case ENXIO:
            return " (the controller is gone; /sys/class/nvme lists those present)";
        case EAGAIN:
            return " (the controller is not live: it is resetting, connecting or being removed)";
        case EBUSY:
            return " (another program holds it)";
        default:
            return "";
    }
}

}  // namespace

std::string GetControllerAttribute(const std::string& drive, const std::string& name) {
    return ReadTrimmed(CLASS_NVME + "nvme" + drive + "/" + name);
}

NvmeBlockDevices GetNvmeBlockDevices(const std::string& drive, bool whole_subsystem) {
    NvmeBlockDevices devices;
    const std::vector<SysfsBlock> blocks = ListBlockDevices();
    AddControllerNamespaces(drive, blocks, devices);
    const std::string nqn = GetControllerAttribute(drive, "subsysnqn");
    if (whole_subsystem && nqn != "N/A" && !nqn.empty()) {
        for (const auto& other : GetNvmeDriveList()) {
            if (other != drive && GetControllerAttribute(other, "subsysnqn") == nqn) {
                AddControllerNamespaces(other, blocks, devices);
            }
        }
    }
    for (const auto& name : devices.namespaces) {
        const std::string folder = FollowLinks(CLASS_BLOCK + name);
        for (const auto& entry : FolderEntries(folder)) {
            if (ReadTrimmed(folder + "/" + entry + "/partition") != "N/A") {
                AddOnce(devices.partitions, entry);
            }
        }
    }
    AddStackedDevices(blocks, devices);
    return devices;
}

NVME_ID GetNvmeId(std::string path, bool /*flag*/) {
    const int fd = open(path.c_str(), O_RDWR);
    const int error = errno;
    if (fd > 0) {
        LOG_VERBOSE << "Opened file descriptor " << fd << " for NVMe " << path;
        return fd;
    }
    std::string reason;
    if (fd == 0) {
        // Descriptor 0 belongs to standard input; a drive is never used through it.
        close(fd);
        reason = "it was opened as standard input, which is closed";
    } else {
        reason = std::strerror(error) + OpenHint(error, path);
    }
    throw OrkaError("Failed to open file descriptor for NVME drive '" + path + "': " + reason);
}

void CloseNvmeId(NVME_ID id) {
    close(id);
}

namespace {

// Block devices by "major:minor": "/dev/<name>", with the device it is
// stacked on for stacked devices ("/dev/dm-0 on /dev/nvme0n1p3").
using BlockDevices = std::map<std::string, std::string>;

std::string DeviceNumberFile(const std::string& folder) {
    std::string number = GetLinuxInfo(folder + "/dev");
    Trim(number);
    return number == "N/A" ? "" : number;
}

// "major:minor" of a device path: the node itself when it is a block device,
// else the sysfs entry of its name.
std::string DeviceNumberOfPath(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) == 0 && S_ISBLK(info.st_mode)) {
        return std::to_string(major(info.st_rdev)) + ":" + std::to_string(minor(info.st_rdev));
    }
    if (path.compare(0, 5, "/dev/") != 0) {
        return "";
    }
    return DeviceNumberFile("/sys/class/block/" + path.substr(path.rfind('/') + 1));
}

// Mount table fields escape blanks and backslashes as octal.
std::string Unescape(const std::string& text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && std::isdigit(static_cast<unsigned char>(text[i + 1]))) {
            plain += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

// The subsystem's block devices by number, each with its label.
BlockDevices SubsystemBlockDevices(const NvmeBlockDevices& found) {
    BlockDevices devices;
    std::map<std::string, std::string> labels;
    for (const auto* names : {&found.namespaces, &found.partitions}) {
        for (const auto& name : *names) {
            labels[name] = "/dev/" + name;
        }
    }
    for (const auto& [name, on] : found.stacked) {
        labels[name] = "/dev/" + name + " on " + labels[on];
    }
    for (const auto& [name, label] : labels) {
        const std::string number = DeviceNumberFile(CLASS_BLOCK + name);
        if (!number.empty()) {
            devices[number] = label;
        }
    }
    return devices;
}

// The first device that another program or the kernel holds: opening it with
// O_EXCL fails with EBUSY. A device without a node is skipped; one that cannot
// be opened for any other reason counts as in use, since it cannot be checked.
std::string FindHeldDevice(const NvmeBlockDevices& found) {
    std::vector<std::pair<std::string, std::string>> devices;
    for (const auto* names : {&found.namespaces, &found.partitions}) {
        for (const auto& name : *names) {
            devices.emplace_back(name, "/dev/" + name);
        }
    }
    for (const auto& [name, on] : found.stacked) {
        devices.emplace_back(name, "/dev/" + name + " on /dev/" + on);
    }
    for (const auto& [name, label] : devices) {
        const int fd = open(("/dev/" + name).c_str(), O_RDONLY | O_EXCL | O_CLOEXEC | O_NONBLOCK);
        if (fd >= 0) {
            close(fd);
            continue;
        }
        const int error = errno;
        if (error == EBUSY) {
            return label + " is in use: it cannot be opened exclusively";
        }
        if (error != ENOENT && error != ENXIO && error != ENODEV) {
            return label + " cannot be checked for use: " + std::strerror(error);
        }
    }
    return "";
}

}  // namespace

std::string FindDriveInUse(const std::string& drive) {
    const NvmeBlockDevices found = GetNvmeBlockDevices(drive, true);
    const BlockDevices devices = SubsystemBlockDevices(found);
    std::ifstream mounts("/proc/self/mountinfo");
    if (!mounts) {
        return "the mount table /proc/self/mountinfo cannot be read";
    }
    for (std::string line; std::getline(mounts, line);) {
        // id parent major:minor root mount-point options [optional...] - type source options
        std::istringstream fields(line);
        std::string id, parent, number, root, point, word, source;
        fields >> id >> parent >> number >> root >> point;
        while (fields >> word && word != "-") {
        }
        fields >> word >> source;
        auto found = devices.find(number);
        if (found == devices.end() && !source.empty() && source[0] == '/') {
            found = devices.find(DeviceNumberOfPath(source));
        }
        if (found != devices.end()) {
            return found->second + " is mounted on " + Unescape(point);
        }
    }
    std::ifstream swaps("/proc/swaps");
    std::string line;
    std::getline(swaps, line);  // column titles
    while (std::getline(swaps, line)) {
        std::istringstream fields(line);
        std::string path;
        fields >> path;
        const auto found = devices.find(DeviceNumberOfPath(Unescape(path)));
        if (found != devices.end()) {
            return found->second + " is an active swap area";
        }
    }
    return FindHeldDevice(found);
}

int SetHighPriority() {
    return 1;
}

int SetTimerResolution(unsigned int /*milliseconds*/) {
    return 1;
}

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

// ---------------------------------------------------------------------------
// Host facts
// ---------------------------------------------------------------------------

namespace {

const std::string PCI_DEVICES = "/sys/bus/pci/devices/";

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

// A hexadecimal identifier from sysfs ("0x8086") with upper-case digits and the
// "0x" prefix kept as it is written everywhere else: "0x8086", "0x43B0".
std::string ReadHexId(const std::string& path) {
    std::string text = ReadTrimmed(path);
    if (text != "N/A") {
        UpperCase(text);
        if (text.size() > 1 && text[0] == '0' && text[1] == 'X') {
            text[1] = 'x';
        }
    }
    return text;
}

// The text between the first two double quotes of the first line of an
// os-release file that begins with `key`; "N/A" when there is no such line or
// it holds fewer than two quotes.
std::string QuotedValue(const std::string& path, const std::string& key) {
    std::ifstream in(path);
    if (!in) {
        return "N/A";
    }
    for (std::string line; std::getline(in, line);) {
        if (!StartsWith(line, key)) {
            continue;
        }
        const auto open = line.find('"');
        if (open == std::string::npos) {
            return "N/A";
        }
        const auto close = line.find('"', open + 1);
        if (close == std::string::npos) {
            return "N/A";
        }
        return line.substr(open + 1, close - open - 1);
    }
    return "N/A";
}

// The address of the port above a PCI function: the path component before the
// last one in the target of its /sys/bus/pci/devices/ link (for example
// ../../../devices/pci0000:00/0000:00:1d.0/0000:3d:00.0 gives 0000:00:1d.0).
// The link is read as it is, not resolved.
std::string UpstreamPortAddress(const std::string& address) {
    char target[PATH_MAX];
    const ssize_t length = readlink((PCI_DEVICES + address).c_str(), target, sizeof(target) - 1);
    if (length <= 0) {
        return "N/A";
    }
    std::string link(target, static_cast<size_t>(length));
    while (link.size() > 1 && link.back() == '/') {
        link.pop_back();
    }
    const std::string parent = std::filesystem::path(link).parent_path().filename().string();
    return parent.empty() || parent == ".." || parent == "." || parent == "/" ? "N/A" : parent;
}

// A controller on PCI Express; a controller that does not say counts as one.
bool IsPcie(const std::string& transport) {
    return transport == "pcie" || transport == "N/A";
}

// One line of the drive overview per controller: its model, the total size of
// the namespaces reached through it, and their block devices. A PCI Express
// controller shows its vendor, any other its transport.
void AddDriveOverview(Json::Value& list) {
    for (const auto& drive : GetNvmeDriveList()) {
        const NvmeBlockDevices devices = GetNvmeBlockDevices(drive, false);
        unsigned long long sectors = 0;
        std::string names;
        for (const auto& name : devices.namespaces) {
            const std::string size = ReadTrimmed(CLASS_BLOCK + name + "/size");
            if (AllDigits(size) && size.size() < 19) {
                sectors += std::stoull(size);
            }
            names += (names.empty() ? "" : ", ") + name;
        }
        const std::string transport = GetControllerAttribute(drive, "transport");
        std::string line = "DRIVE " + drive;
        if (IsPcie(transport)) {
            const std::string address = GetControllerAttribute(drive, "address");
            line += " : " + LookupPciVendor(ReadTrimmed(PCI_DEVICES + address + "/vendor")) + " ";
        } else {
            line += " [" + transport + "] : ";
        }
        line += GetControllerAttribute(drive, "model") + " " + SectorsToGigabytes(std::to_string(sectors)) +
                "GB : " + (names.empty() ? "no block devices" : names);
        LOG_INFO << line;
        list.append(line);
    }
}

// The PCI link of the drive under test, from the sysfs files of its function
// and of the port above it.
void AddPciParameters(Json::Value& parameters, const std::string& device) {
    const std::string address = GetControllerAttribute(device, "address");
    const std::string function = PCI_DEVICES + address + "/";

    const std::string max_width = ReadTrimmed(function + "max_link_width");
    const std::string width = ReadTrimmed(function + "current_link_width");
    const std::string max_speed = ReadTrimmed(function + "max_link_speed");
    const std::string speed = ReadTrimmed(function + "current_link_speed");

    AddParameter(parameters, "PCI Device ID", ReadHexId(function + "device"));
    AddParameter(parameters, "PCI Rated Width", max_width == "N/A" ? max_width : "x" + max_width);
    AddParameter(parameters, "PCI Width", width == "N/A" ? width : "x" + width);
    AddParameter(parameters, "PCI Rated Bandwidth", PciBandwidthText(max_speed, max_width));
    AddParameter(parameters, "PCI Bandwidth", PciBandwidthText(speed, width));
    AddParameter(parameters, "PCI Rated Speed", PciSpeedText(max_speed));
    AddParameter(parameters, "PCI Speed", PciSpeedText(speed));
    AddParameter(parameters, "PCI Location", PciLocationText(address));

    const std::string root = address == "N/A" ? address : UpstreamPortAddress(address);
    const std::string port = PCI_DEVICES + root + "/";
    // The port's secondary bus is the drive's bus; it is only traced.
    LOG_VERBOSE << "Upstream port " << root << " secondary bus number "
                << ReadTrimmed(port + "secondary_bus_number");
    AddParameter(parameters, "Root PCI Vendor ID", ReadHexId(port + "vendor"));
    AddParameter(parameters, "Root PCI Device ID", ReadHexId(port + "device"));
    AddParameter(parameters, "Root PCI Location", PciLocationText(root));
}

}  // namespace

std::string GetUsername() {
    return "NA";
}

std::string GetHostname() {
    char name[256] = {};
    if (gethostname(name, sizeof(name)) != 0) {
        return "N/A";
    }
    name[sizeof(name) - 1] = '\0';
    return name;
}

std::string GetDirectory() {
    try {
        return std::string("NA");
    } catch (...) {
        return "Unknown";
    }
}

std::string GetDocumentsFolder() {
    std::string home;
    if (const char* variable = std::getenv("HOME"); variable != nullptr) {
        home = variable;
    } else if (const passwd* entry = getpwuid(getuid()); entry != nullptr && entry->pw_dir != nullptr) {
        home = entry->pw_dir;
    }
    return home + "/Documents";
}

std::string GetLinuxInfo(std::string path) {
    std::ifstream in(path);
    if (!in) {
        return "N/A";
    }
    std::string line;
    std::getline(in, line);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

std::string GetLinuxOsName(std::string path) {
    return QuotedValue(path, "PRETTY_NAME");
}

std::string GetLinuxOsVersion(std::string path) {
    return QuotedValue(path, "VERSION=");
}

std::string GetLinuxInfoField(const std::string& path, const std::string& key) {
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        const auto colon = line.find(':');
        if (StartsWith(line, key) && colon != std::string::npos) {
            std::string value = line.substr(colon + 1);
            Trim(value);
            return value;
        }
    }
    return "N/A";
}

std::string PciLocationText(const std::string& address) {
    const auto last_colon = address.rfind(':');
    const auto dot = address.rfind('.');
    if (last_colon == std::string::npos || dot == std::string::npos || dot < last_colon) {
        return "N/A";
    }
    // The bus follows the domain's colon when there is a domain.
    const auto domain_colon = last_colon == 0 ? std::string::npos : address.rfind(':', last_colon - 1);
    const auto bus_start = domain_colon == std::string::npos ? 0 : domain_colon + 1;
    const std::string bus = address.substr(bus_start, last_colon - bus_start);
    const std::string device = address.substr(last_colon + 1, dot - last_colon - 1);
    const std::string function = address.substr(dot + 1);
    if (bus.empty() || device.empty() || function.empty()) {
        return "N/A";
    }
    return "Bus " + bus + ", device " + device + ", function " + function;
}

std::string PciSpeedText(const std::string& speed) {
    static const std::map<std::string, std::string> GENERATIONS = {
        {"32.0 GT/s PCIe", "Gen5 32.0GT/s"}, {"16.0 GT/s PCIe", "Gen4 16.0GT/s"},
        {"8.0 GT/s PCIe", "Gen3 8.0GT/s"},   {"5.0 GT/s PCIe", "Gen2 5.0GT/s"},
        {"2.5 GT/s PCIe", "Gen1 2.5GT/s"},
    };
    const auto entry = GENERATIONS.find(speed);
    return entry == GENERATIONS.end() ? "N/A" : entry->second;
}

std::string PciBandwidthText(const std::string& speed, const std::string& width) {
    std::istringstream speed_in(speed);
    std::istringstream width_in(width);
    double rate = 0;
    unsigned long lanes = 0;
    if (!(speed_in >> rate) || !(width_in >> lanes) || !AllDigits(width)) {
        return "N/A";
    }
    std::ostringstream out;
    out << std::fixed << std::setprecision(1) << rate * static_cast<double>(lanes) << " GT/s";
    return out.str();
}

std::string SectorsToGigabytes(const std::string& sectors) {
    if (!AllDigits(sectors) || sectors.size() > 19) {
        return "N/A";
    }
    const unsigned long long count = std::stoull(sectors);
    // 512-byte sectors; 10^9 bytes are 1953125 sectors.
    return std::to_string((count + 1953125 / 2) / 1953125);
}

// `extended` adds three host facts to the system block: "kernel release"
// (/proc/sys/kernel/osrelease), "processor" (the first "model name" of
// /proc/cpuinfo) and "memory" (MemTotal of /proc/meminfo, as the kernel
// writes it, for example "16318324 kB").
void GetSystemInfo(Json::Value& info, std::string device, bool extended) {
    const auto start = std::chrono::system_clock::now();
    Json::Value& system = info["_metadata"]["system"];
    system["hostname"] = GetHostname();
    system["username"] = GetUsername();
    system["working directory"] = GetDirectory();
    system["date"] = GetTimestamp(false);
    system["nvme list"] = Json::Value(Json::arrayValue);
    system["os"] = GetLinuxOsName("/etc/os-release");
    system["os version"] = GetLinuxOsVersion("/etc/os-release");
    system["bios version"] = GetLinuxInfo("/sys/class/dmi/id/bios_version");
    system["manufacturer"] = GetLinuxInfo("/sys/class/dmi/id/board_vendor");
    system["model"] = GetLinuxInfo("/sys/class/dmi/id/product_name");
    system["uuid"] = GetLinuxInfo("/etc/machine-id");
    if (extended) {
        system["kernel release"] = GetLinuxInfo("/proc/sys/kernel/osrelease");
        system["processor"] = GetLinuxInfoField("/proc/cpuinfo", "model name");
        system["memory"] = GetLinuxInfoField("/proc/meminfo", "MemTotal");
    }

    LOG_INFO << "Date:              " << system["date"].asString();
    LOG_INFO << "Hostname:          " << system["hostname"].asString();
    LOG_INFO << "User:              " << system["username"].asString();
    LOG_INFO << "Working Directory: " << system["working directory"].asString();

    AddDriveOverview(system["nvme list"]);
    // Fabrics controllers have no PCI link.
    if (IsPcie(GetControllerAttribute(device, "transport"))) {
        AddPciParameters(info["nvme"]["parameters"], device);
    }

    LOG_INFO << "System info read in " << GetHiResDiffTimeString(start, 3);
}

}  // namespace orka
