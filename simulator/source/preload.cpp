// The preload side of the simulator: the libc entry points through which a
// program reaches sysfs and /dev/nvme<N>. Paths that the profile owns go to a
// generated tree of real files; /dev/nvme<N> opens /dev/null and its ioctls are
// answered here. Everything else goes straight through to the next definition
// (libc, or a sanitizer runtime loaded before this library).
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/nvme_ioctl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "drive.h"
#include "profile.h"

namespace brantix_sim {
namespace {

// Depth of simulator code on this thread: file access made by the simulator
// itself is never redirected.
__thread int guard_depth = 0;

struct Guard {
    Guard() { ++guard_depth; }
    ~Guard() { --guard_depth; }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
};

template <typename Function>
Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

#define NEXT(name)                                                  \
    static const auto next_##name = Next<decltype(&::name)>(#name); \
    if (next_##name == nullptr) {                                   \
        errno = ENOSYS;                                             \
        return {};                                                  \
    }

struct Simulation {
    std::string key;  // the environment this simulation was built from
    std::unique_ptr<Profile> profile;
    Context context;
    std::string root;                 // generated tree standing for the owned paths
    std::vector<std::string> owned;   // path prefixes served from `root`
    std::map<int, unsigned> devices;  // open descriptor -> controller
    // Namespace block devices and partitions with a /dev node, and whether an
    // exclusive open of one fails as busy.
    std::map<std::string, bool> block_nodes;
};

std::mutex simulation_mutex;
Simulation* simulation = nullptr;

std::string Env(const char* name) {
    const char* value = getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

uint64_t Hash(const std::string& text) {
    uint64_t hash = 1469598103934665603ull;
    for (unsigned char c : text) {
        hash = (hash ^ c) * 1099511628211ull;
    }
    return hash;
}

std::string HexText(uint64_t value) {
    char text[17];
    snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::string TempDir() {
    const std::string dir = Env("TMPDIR");
    return dir.empty() ? "/tmp" : dir;
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary);
    out << content;
}

void MakeDirs(const std::string& path) {
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0755);
        if (slash == std::string::npos) {
            break;
        }
    }
}

std::string BusOf(const std::string& address) {
    // domain:bus:device.function -> domain:bus
    const auto colon = address.rfind(':');
    return colon == std::string::npos ? address : address.substr(0, colon);
}

void WritePciFiles(const std::string& dir, const PciFunction& pci, bool upstream) {
    MakeDirs(dir);
    WriteFile(dir + "/vendor", pci.vendor + "\n");
    WriteFile(dir + "/device", pci.device + "\n");
    WriteFile(dir + "/max_link_speed", pci.max_link_speed + "\n");
    WriteFile(dir + "/max_link_width", pci.max_link_width + "\n");
    WriteFile(dir + "/current_link_speed", pci.current_link_speed + "\n");
    WriteFile(dir + "/current_link_width", pci.current_link_width + "\n");
    if (upstream) {
        WriteFile(dir + "/secondary_bus_number", pci.secondary_bus_number + "\n");
    }
}

// Mount tables write blanks, tabs, newlines and backslashes as octal escapes.
std::string MountEscape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\\') {
            char octal[8];
            snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned char>(c));
            escaped += octal;
        } else {
            escaped += c;
        }
    }
    return escaped;
}

// A link at `link` (a path below /sys, as "sys/...") to `target` (the same),
// written relative as sysfs writes its links.
void Link(const std::string& build, const std::string& target, const std::string& link) {
    const std::string relative =
        std::filesystem::path(target).lexically_relative(std::filesystem::path(link).parent_path()).string();
    MakeDirs(build + "/" + std::filesystem::path(link).parent_path().string());
    symlink(relative.c_str(), (build + "/" + link).c_str());
}

// A block device folder `folder` (as "sys/devices/..."), listed in
// /sys/block and /sys/class/block.
void ListBlock(const std::string& build, const std::string& folder, const std::string& name) {
    Link(build, folder, "sys/block/" + name);
    Link(build, folder, "sys/class/block/" + name);
}

// The sysfs folder of a controller: below its PCI function, or among the
// fabrics controllers.
std::string ControllerFolder(const Drive& drive) {
    const std::string name = "nvme" + std::to_string(drive.controller);
    if (!drive.Pcie()) {
        return "sys/devices/virtual/nvme-fabrics/ctl/" + name;
    }
    return "sys/devices/pci" + BusOf(drive.upstream.address) + "/" + drive.upstream.address + "/" +
           drive.pci.address + "/nvme/" + name;
}

std::string SubsystemFolder(const Drive& drive) {
    return "sys/devices/virtual/nvme-subsystem/nvme-subsys" + std::to_string(drive.subsystem);
}

// The namespace files of a disk, a head or a path, and its "device" link.
void WriteNamespace(const std::string& build, const std::string& folder, const Drive& drive,
                    const Namespace& ns, const std::string& device) {
    MakeDirs(build + "/" + folder + "/queue");
    WriteFile(build + "/" + folder + "/size", std::to_string(ns.sectors) + "\n");
    WriteFile(build + "/" + folder + "/nsid", std::to_string(ns.nsid) + "\n");
    WriteFile(build + "/" + folder + "/hidden", "0\n");
    if (drive.max_hw_sectors_kb != 0) {
        WriteFile(build + "/" + folder + "/queue/max_hw_sectors_kb",
                  std::to_string(drive.max_hw_sectors_kb) + "\n");
    }
    Link(build, device, folder + "/device");
}

// The kernel's NVMe objects: each controller's folder with its attributes,
// its subsystem with links to its controllers, and the namespace block
// devices: a controller's own disks, or with multipath in a multi-controller
// subsystem the subsystem's heads and a hidden path per controller (no "dev",
// no /dev node). Block device numbers are counted through the profile under
// the extended block major, partitions the profile mentions included, as
// the kernel does for NVMe. The host's mount table and swap list hold the
// simulated host's own entries (a root file system on another disk) and what
// the profile mounts or swaps, directly or through a device-mapper device
// stacked on a namespace or partition ("via").
void WriteNvmeTree(const std::string& build, const Profile& profile) {
    MakeDirs(build + "/sys/class/block");
    MakeDirs(build + "/proc/self");
    std::string mountinfo =
        "21 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
        "22 21 0:21 / /proc rw,nosuid,nodev,noexec,relatime shared:12 - proc proc rw\n"
        "23 21 0:20 / /sys rw,nosuid,nodev,noexec,relatime shared:2 - sysfs sysfs rw\n";
    std::string mounts =
        "/dev/sda1 / ext4 rw,relatime 0 0\nproc /proc proc rw,nosuid,nodev,noexec,relatime 0 0\n"
        "sysfs /sys sysfs rw,nosuid,nodev,noexec,relatime 0 0\n";
    std::string swaps = "Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n";
    unsigned minor = 0;
    unsigned mount_id = 30;
    unsigned mapper_minor = 0;
    std::map<std::string, std::string> numbers;  // block device -> major:minor
    for (const auto& drive : profile.drives) {
        const std::string name = "nvme" + std::to_string(drive.controller);
        const std::string controller = ControllerFolder(drive);
        const std::string subsystem = SubsystemFolder(drive);
        const std::string model = drive.IdentifyText(24, 40) + "\n";
        std::string nqn = drive.IdentifyText(768, 256);
        if (nqn.empty()) {
            nqn = "nqn.2014.08.org.nvmexpress:" + drive.pci.vendor.substr(2) + drive.pci.vendor.substr(2) +
                  drive.IdentifyText(4, 20) + drive.IdentifyText(24, 40);
        }
        const std::string folder = build + "/" + controller;
        MakeDirs(folder);
        WriteFile(folder + "/address", drive.address + "\n");
        WriteFile(folder + "/model", model);
        WriteFile(folder + "/serial", drive.IdentifyText(4, 20) + "\n");
        WriteFile(folder + "/firmware_rev", drive.IdentifyText(64, 8) + "\n");
        WriteFile(folder + "/subsysnqn", nqn + "\n");
        WriteFile(folder + "/transport", drive.transport + "\n");
        WriteFile(folder + "/state", drive.state + "\n");
        WriteFile(folder + "/dev", "240:" + std::to_string(drive.controller) + "\n");
        WriteFile(folder + "/cntlid",
                  std::to_string(drive.identify_controller[78] | drive.identify_controller[79] << 8) + "\n");
        Link(build, controller, "sys/class/nvme/" + name);
        struct stat info;
        if (stat((build + "/" + subsystem).c_str(), &info) != 0) {
            MakeDirs(build + "/" + subsystem);
            WriteFile(build + "/" + subsystem + "/subsysnqn", nqn + "\n");
            WriteFile(build + "/" + subsystem + "/model", model);
            WriteFile(build + "/" + subsystem + "/serial", drive.IdentifyText(4, 20) + "\n");
            WriteFile(build + "/" + subsystem + "/firmware_rev", drive.IdentifyText(64, 8) + "\n");
            WriteFile(build + "/" + subsystem + "/subsystype", "nvm\n");
            WriteFile(build + "/" + subsystem + "/iopolicy", "numa\n");
            Link(build, subsystem, "sys/class/nvme-subsystem/nvme-subsys" + std::to_string(drive.subsystem));
        }
        Link(build, controller, subsystem + "/" + name);
        for (const auto& ns : drive.namespaces) {
            const std::string disk_name = profile.NamespaceName(drive, ns);
            std::string disk = controller + "/" + disk_name;
            if (profile.Heads(drive)) {
                const std::string path = controller + "/" + profile.PathName(drive, ns);
                WriteNamespace(build, path, drive, ns, controller);
                WriteFile(build + "/" + path + "/hidden", "1\n");
                ListBlock(build, path, profile.PathName(drive, ns));
                disk = subsystem + "/" + disk_name;
                if (numbers.count(disk_name) != 0) {
                    continue;  // the head exists through another controller
                }
                WriteNamespace(build, disk, drive, ns, subsystem);
            } else {
                WriteNamespace(build, disk, drive, ns, controller);
            }
            numbers[disk_name] = "259:" + std::to_string(minor++);
            WriteFile(build + "/" + disk + "/dev", numbers[disk_name] + "\n");
            ListBlock(build, disk, disk_name);
            for (const auto& use : drive.host_use) {
                if (use.device.compare(0, disk_name.size() + 1, disk_name + "p") != 0 ||
                    numbers.count(use.device) != 0) {
                    continue;
                }
                numbers[use.device] = "259:" + std::to_string(minor++);
                const std::string part = disk + "/" + use.device;
                MakeDirs(build + "/" + part);
                WriteFile(build + "/" + part + "/dev", numbers[use.device] + "\n");
                WriteFile(build + "/" + part + "/partition", use.device.substr(disk_name.size() + 1) + "\n");
                Link(build, part, "sys/class/block/" + use.device);
            }
        }
        for (const auto& use : drive.host_use) {
            if (use.IsSwap()) {
                swaps += "/dev/" + use.device + "                          partition\t8388604\t\t0\t\t-2\n";
                continue;
            }
            std::string number = numbers[use.device];
            std::string source = "/dev/" + use.device;
            if (!use.via.empty()) {
                // A device-mapper device stacked on the namespace or partition holds the file system.
                number = "254:" + std::to_string(mapper_minor++);
                source = "/dev/mapper/" + use.via;
                MakeDirs(build + "/sys/class/block/" + use.via);
                WriteFile(build + "/sys/class/block/" + use.via + "/dev", number + "\n");
                char target[PATH_MAX] = {};
                const std::string device_link = build + "/sys/class/block/" + use.device;
                const ssize_t length = readlink(device_link.c_str(), target, sizeof target - 1);
                const std::string device_folder =
                    length > 0
                        ? std::filesystem::path("sys/class/block").append(target).lexically_normal().string()
                        : "sys/class/block/" + use.device;
                Link(build, "sys/class/block/" + use.via, device_folder + "/holders/" + use.via);
            }
            const std::string id = std::to_string(mount_id++);
            mountinfo += id + " 21 " + number + " / " + MountEscape(use.on) + " rw,relatime shared:" + id +
                         " - " + use.type + " " + source + " rw\n";
            mounts += source + " " + MountEscape(use.on) + " " + use.type + " rw,relatime 0 0\n";
        }
    }
    WriteFile(build + "/proc/self/mountinfo", mountinfo);
    WriteFile(build + "/proc/self/mounts", mounts);
    WriteFile(build + "/proc/mounts", mounts);
    WriteFile(build + "/proc/swaps", swaps);
}

// The namespace block devices and partitions with a /dev node; the kernel
// refuses an exclusive open of one that is mounted, swapped on or held, and
// of the disk of such a partition.
void NoteBlockNodes(Simulation& sim) {
    const Profile& profile = *sim.profile;
    for (const auto& drive : profile.drives) {
        for (const auto& ns : drive.namespaces) {
            sim.block_nodes.emplace(profile.NamespaceName(drive, ns), false);
        }
    }
    for (const auto& drive : profile.drives) {
        for (const auto& use : drive.host_use) {
            sim.block_nodes[use.device] = true;
            const std::string disk = use.device.substr(0, use.device.rfind('p'));
            if (sim.block_nodes.count(disk) != 0) {
                sim.block_nodes[disk] = true;
            }
        }
        for (const auto& held : drive.held) {
            sim.block_nodes[held] = true;
        }
    }
}

// Builds the tree that stands for the owned sysfs paths, once per profile
// content, inside the state folder: it goes with a run's own state folder and
// is reused with the default one. Concurrent builders race harmlessly through
// a rename.
void BuildTree(Simulation& sim) {
    NoteBlockNodes(sim);
    const Profile& profile = *sim.profile;
    std::string state = sim.context.state_dir;
    if (state.empty() || state[0] != '/') {
        char cwd[PATH_MAX];
        state = std::string(getcwd(cwd, sizeof cwd) != nullptr ? cwd : "") + "/" + state;
    }
    sim.root = state + "/tree-" + HexText(Hash("9\n" + profile.text));
    sim.owned = {"/sys/block",
                 "/sys/class/nvme",
                 "/sys/class/nvme-subsystem",
                 "/sys/devices/virtual/nvme-subsystem",
                 "/sys/devices/virtual/nvme-fabrics",
                 "/sys/class/dmi/id/bios_version",
                 "/sys/class/dmi/id/board_vendor",
                 "/sys/class/dmi/id/product_name",
                 "/sys/class/block",
                 "/proc/self/mountinfo",
                 "/proc/self/mounts",
                 "/proc/mounts",
                 "/proc/swaps"};
    for (const auto& drive : profile.drives) {
        if (!drive.Pcie()) {
            continue;
        }
        const std::string tree =
            "/sys/devices/pci" + BusOf(drive.upstream.address) + "/" + drive.upstream.address;
        sim.owned.push_back(tree);
        sim.owned.push_back("/sys/bus/pci/devices/" + drive.pci.address);
        sim.owned.push_back("/sys/bus/pci/devices/" + drive.upstream.address);
    }
    struct stat info;
    if (stat(sim.root.c_str(), &info) == 0) {
        return;
    }
    const std::string build = sim.root + ".build-" + std::to_string(getpid());
    MakeDirs(build + "/sys/block");
    MakeDirs(build + "/sys/class/nvme");
    MakeDirs(build + "/sys/class/nvme-subsystem");
    MakeDirs(build + "/sys/class/dmi/id");
    MakeDirs(build + "/sys/bus/pci/devices");
    WriteFile(build + "/sys/class/dmi/id/bios_version", profile.host.bios_version + "\n");
    WriteFile(build + "/sys/class/dmi/id/board_vendor", profile.host.board_vendor + "\n");
    WriteFile(build + "/sys/class/dmi/id/product_name", profile.host.product_name + "\n");
    for (const auto& drive : profile.drives) {
        if (!drive.Pcie()) {
            continue;
        }
        const std::string port = "devices/pci" + BusOf(drive.upstream.address) + "/" + drive.upstream.address;
        WritePciFiles(build + "/sys/" + port, drive.upstream, true);
        WritePciFiles(build + "/sys/" + port + "/" + drive.pci.address, drive.pci, false);
        symlink(("../../../" + port + "/" + drive.pci.address).c_str(),
                (build + "/sys/bus/pci/devices/" + drive.pci.address).c_str());
        symlink(("../../../" + port).c_str(),
                (build + "/sys/bus/pci/devices/" + drive.upstream.address).c_str());
    }
    WriteNvmeTree(build, profile);
    if (rename(build.c_str(), sim.root.c_str()) != 0) {
        // Someone else finished first: drop this copy.
        const std::string command = "rm -rf '" + build + "'";
        const int ignored = system(command.c_str());
        (void)ignored;
    }
}

std::string DefaultStateDir(const std::string& profile_path) {
    char resolved[PATH_MAX];
    const std::string absolute =
        realpath(profile_path.c_str(), resolved) != nullptr ? resolved : profile_path;
    return TempDir() + "/brantix-sim-state-" + std::to_string(getuid()) + "-" + HexText(Hash(absolute));
}

// The simulation for the current environment, or null when inert. Rebuilt
// whenever one of the BRANTIX_SIM_* variables changes. Call under the mutex.
Simulation* Current() {
    const std::string profile_path = Env("BRANTIX_SIM_PROFILE");
    if (profile_path.empty()) {
        return nullptr;
    }
    const std::string key = profile_path + "\n" + Env("BRANTIX_SIM_STATE") + "\n" +
                            Env("BRANTIX_SIM_JOURNAL") + "\n" + Env("BRANTIX_SIM_FAULTS") + "\n" +
                            Env("BRANTIX_SIM_DRIVE");
    if (simulation != nullptr && simulation->key == key) {
        return simulation;
    }
    auto* fresh = new Simulation;
    fresh->key = key;
    try {
        fresh->profile = std::make_unique<Profile>(LoadProfile(profile_path, Env("BRANTIX_SIM_DRIVE")));
        fresh->context.profile = fresh->profile.get();
        fresh->context.state_dir = Env("BRANTIX_SIM_STATE");
        if (fresh->context.state_dir.empty()) {
            fresh->context.state_dir = DefaultStateDir(profile_path);
        }
        MakeDirs(fresh->context.state_dir);
        fresh->context.journal = Env("BRANTIX_SIM_JOURNAL");
        ParseFaults(Env("BRANTIX_SIM_FAULTS"), fresh->context.run_faults, fresh->context.run_open_error,
                    fresh->context.run_vanish_after);
        BuildTree(*fresh);
    } catch (const std::exception& error) {
        fprintf(stderr, "brantix simulator: %s\n", error.what());
        fresh->profile = std::make_unique<Profile>();
        fresh->context.profile = fresh->profile.get();
        fresh->owned.clear();
    }
    if (simulation != nullptr) {
        fresh->devices = simulation->devices;  // descriptors stay open across a switch
        delete simulation;
    }
    simulation = fresh;
    return simulation;
}

// Collapses repeated slashes and "." components.
std::string Tidy(const char* path) {
    std::string tidy;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/' && !tidy.empty() && tidy.back() == '/') {
            continue;
        }
        if (*p == '.' && !tidy.empty() && tidy.back() == '/' && (p[1] == '/' || p[1] == '\0')) {
            continue;
        }
        tidy += *p;
    }
    if (tidy.size() > 1 && tidy.back() == '/') {
        tidy.pop_back();
    }
    return tidy;
}

bool Below(const std::string& path, const std::string& prefix) {
    return path.compare(0, prefix.size(), prefix) == 0 &&
           (path.size() == prefix.size() || path[prefix.size()] == '/');
}

// What a path stands for under the simulation.
struct Target {
    enum { kThrough, kTree, kDevice, kBlock } kind = kThrough;
    std::string path;  // kTree: the path in the generated tree
    const Drive* drive = nullptr;
    bool busy = false;  // kBlock: an exclusive open fails with EBUSY
};

Target Resolve(const char* path) {
    Target target;
    if (guard_depth > 0 || path == nullptr || path[0] != '/' ||
        (strncmp(path, "/sys/", 5) != 0 && strncmp(path, "/dev/nvme", 9) != 0 &&
         strncmp(path, "/proc/", 6) != 0 && strncmp(path, "//", 2) != 0)) {
        return target;
    }
    Guard guard;
    std::lock_guard<std::mutex> lock(simulation_mutex);
    Simulation* sim = Current();
    if (sim == nullptr) {
        return target;
    }
    const std::string tidy = Tidy(path);
    if (tidy.compare(0, 9, "/dev/nvme") == 0) {
        const auto node = sim->block_nodes.find(tidy.substr(5));
        if (node != sim->block_nodes.end()) {
            target.kind = Target::kBlock;
            target.busy = node->second;
            return target;
        }
        const std::string number = tidy.substr(9);
        if (!number.empty() && number.size() < 6 &&
            number.find_first_not_of("0123456789") == std::string::npos) {
            target.drive = sim->profile->FindDrive(static_cast<unsigned>(std::stoul(number)));
            if (target.drive != nullptr) {
                target.kind = Target::kDevice;
            }
        }
        return target;
    }
    for (const auto& prefix : sim->owned) {
        if (Below(tidy, prefix)) {
            target.kind = Target::kTree;
            target.path = sim->root + tidy;
            return target;
        }
    }
    return target;
}

int OpenDevice(const Target& target, int flags) {
    Guard guard;
    int error;
    {
        std::lock_guard<std::mutex> lock(simulation_mutex);
        error = OpenError(simulation->context, *target.drive);
    }
    if (error != 0) {
        errno = error;
        return -1;
    }
    NEXT(open);
    const int fd = next_open("/dev/null", (flags & (O_ACCMODE | O_CLOEXEC | O_NONBLOCK)));
    if (fd >= 0) {
        std::lock_guard<std::mutex> lock(simulation_mutex);
        simulation->devices[fd] = target.drive->controller;
    }
    return fd;
}

// A namespace block device node: /dev/null underneath, busy to an exclusive open when in use.
int OpenBlock(const Target& target, int flags) {
    if (target.busy && (flags & O_EXCL) != 0) {
        errno = EBUSY;
        return -1;
    }
    Guard guard;
    NEXT(open);
    return next_open("/dev/null", flags & (O_ACCMODE | O_CLOEXEC | O_NONBLOCK));
}

const char* DevicePath() {
    return "/dev/null";
}

template <typename Call>
auto WithPath(const char* path, Call call) {
    const Target target = Resolve(path);
    switch (target.kind) {
        case Target::kTree:
            return call(target.path.c_str());
        case Target::kDevice:
        case Target::kBlock:
            return call(DevicePath());
        default:
            return call(path);
    }
}

int AnswerIoctl(int fd, unsigned long request, void* argument, bool& handled) {
    handled = false;
    if (guard_depth > 0) {
        return 0;
    }
    Guard guard;
    std::lock_guard<std::mutex> lock(simulation_mutex);
    if (simulation == nullptr) {
        return 0;
    }
    const auto found = simulation->devices.find(fd);
    if (found == simulation->devices.end()) {
        return 0;
    }
    handled = true;
    const Drive* drive = simulation->profile->FindDrive(found->second);
    if (drive == nullptr) {
        errno = ENODEV;
        return -1;
    }
    AdminCommand command;
    uint32_t* result = nullptr;
    if (request == NVME_IOCTL_ADMIN_CMD) {
        auto* cmd = static_cast<nvme_admin_cmd*>(argument);
        command = AdminCommand{cmd->opcode,   cmd->nsid,
                               cmd->cdw10,    cmd->cdw11,
                               cmd->cdw12,    cmd->cdw13,
                               cmd->cdw14,    cmd->cdw15,
                               cmd->data_len, reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(cmd->addr))};
        result = &cmd->result;
    } else if (request == NVME_IOCTL_ADMIN64_CMD) {
        auto* cmd = static_cast<nvme_passthru_cmd64*>(argument);
        command = AdminCommand{cmd->opcode,   cmd->nsid,
                               cmd->cdw10,    cmd->cdw11,
                               cmd->cdw12,    cmd->cdw13,
                               cmd->cdw14,    cmd->cdw15,
                               cmd->data_len, reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(cmd->addr))};
        const Answer answer = RunAdminCommand(simulation->context, *drive, command);
        if (answer.ret >= 0) {
            cmd->result = answer.result;
        }
        errno = answer.error;
        return answer.ret;
    } else {
        errno = ENOTTY;
        return -1;
    }
    const Answer answer = RunAdminCommand(simulation->context, *drive, command);
    if (answer.ret >= 0) {
        *result = answer.result;
    }
    if (answer.ret < 0) {
        errno = answer.error;
    }
    return answer.ret;
}

void ForgetDescriptor(int fd) {
    if (guard_depth > 0) {
        return;
    }
    Guard guard;
    std::lock_guard<std::mutex> lock(simulation_mutex);
    if (simulation != nullptr) {
        simulation->devices.erase(fd);
    }
}

// BRANTIX_SIM_TIME_SCALE: from its first reading on, the process's wall and
// monotonic clocks run this many times faster than real time, and its sleeps
// are as much shorter. A program that polls once a second then gets through a
// simulated operation quickly. The scale is per process: each process anchors
// its clocks at its own first reading.
double TimeScale() {
    const char* text = getenv("BRANTIX_SIM_TIME_SCALE");
    const double scale = text == nullptr ? 1.0 : strtod(text, nullptr);
    return scale > 1.0 ? scale : 1.0;
}

constexpr int64_t NS = 1000000000;

int64_t ToNs(const timespec& ts) {
    return static_cast<int64_t>(ts.tv_sec) * NS + ts.tv_nsec;
}

timespec FromNs(int64_t ns) {
    timespec ts{};
    ts.tv_sec = static_cast<time_t>(ns / NS);
    ts.tv_nsec = static_cast<long>(ns % NS);
    return ts;
}

// The real reading at which a clock was anchored; null for clocks kept real.
std::atomic<int64_t>* AnchorOf(clockid_t clock) {
    static std::atomic<int64_t> realtime{0};
    static std::atomic<int64_t> monotonic{0};
    if (clock == CLOCK_REALTIME) {
        return &realtime;
    }
    if (clock == CLOCK_MONOTONIC) {
        return &monotonic;
    }
    return nullptr;
}

int RealClock(clockid_t clock, timespec* ts) {
    using Function = int (*)(clockid_t, timespec*);
    static const auto next = Next<Function>("clock_gettime");
    if (next == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    return next(clock, ts);
}

int64_t Anchor(clockid_t clock, int64_t real) {
    std::atomic<int64_t>* anchor = AnchorOf(clock);
    int64_t expected = 0;
    anchor->compare_exchange_strong(expected, real);
    return anchor->load();
}

int64_t Scaled(int64_t ns, double scale) {
    return static_cast<int64_t>(static_cast<double>(ns) * scale);
}

mode_t ModeOf(int flags, va_list args) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(args, int)) : 0;
}

// A listing of /dev: the real entries, then a character device entry for each
// simulated controller the real folder lacks.
struct DeviceListing {
    std::vector<std::string> missing;  // "nvme<N>" not yet returned
    struct dirent entry;
    struct dirent64 entry64;
};

// Guards the listings alone: a listing is read while the simulation is locked
// too (a folder of captures is listed while the profile loads).
std::mutex listing_mutex;

// Open listings of /dev by stream, made on first use (never in a constructor).
std::map<DIR*, DeviceListing>& DeviceListings() {
    static auto* listings = new std::map<DIR*, DeviceListing>();
    return *listings;
}

// Starts the listing of `stream` when `path` is /dev and drives are simulated.
void WatchDeviceFolder(const char* path, DIR* stream) {
    if (guard_depth > 0 || stream == nullptr || path == nullptr || Tidy(path) != "/dev") {
        return;
    }
    Guard guard;
    std::vector<std::string> missing;
    {
        std::lock_guard<std::mutex> lock(simulation_mutex);
        Simulation* sim = Current();
        if (sim == nullptr) {
            return;
        }
        for (const auto& drive : sim->profile->drives) {
            missing.push_back("nvme" + std::to_string(drive.controller));
        }
    }
    std::lock_guard<std::mutex> lock(listing_mutex);
    DeviceListings()[stream].missing = missing;
}

// The next entry of a watched listing: `real` (the C library's next entry,
// or null at the end) or, after the end, a simulated controller.
template <typename Entry>
Entry* NextDeviceEntry(DIR* stream, Entry* real, Entry DeviceListing::*slot) {
    std::lock_guard<std::mutex> lock(listing_mutex);
    auto& listings = DeviceListings();
    const auto found = listings.find(stream);
    if (found == listings.end()) {
        return real;
    }
    auto& missing = found->second.missing;
    if (real != nullptr) {
        missing.erase(std::remove(missing.begin(), missing.end(), std::string(real->d_name)), missing.end());
        return real;
    }
    if (missing.empty()) {
        return nullptr;
    }
    Entry& entry = found->second.*slot;
    memset(&entry, 0, sizeof entry);
    entry.d_ino = 1;
    entry.d_type = DT_CHR;
    entry.d_reclen = sizeof entry;
    snprintf(entry.d_name, sizeof entry.d_name, "%s", missing.front().c_str());
    missing.erase(missing.begin());
    return &entry;
}

}  // namespace
}  // namespace brantix_sim

using namespace brantix_sim;

#define OPEN_BODY(name, ...)                                                      \
    const Target target = Resolve(path);                                          \
    if (target.kind == Target::kDevice) {                                         \
        return OpenDevice(target, flags);                                         \
    }                                                                             \
    if (target.kind == Target::kBlock) {                                          \
        return OpenBlock(target, flags);                                          \
    }                                                                             \
    NEXT(name);                                                                   \
    const char* real = target.kind == Target::kTree ? target.path.c_str() : path; \
    return next_##name(__VA_ARGS__);

extern "C" {

// Lets a program find out that the simulator is preloaded.
__attribute__((visibility("default"))) int brantix_sim_loaded = 1;

int open(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeOf(flags, args);
    va_end(args);
    OPEN_BODY(open, real, flags, mode)
}

int open64(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeOf(flags, args);
    va_end(args);
    OPEN_BODY(open64, real, flags, mode)
}

int openat(int dirfd, const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeOf(flags, args);
    va_end(args);
    OPEN_BODY(openat, dirfd, real, flags, mode)
}

int openat64(int dirfd, const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = ModeOf(flags, args);
    va_end(args);
    OPEN_BODY(openat64, dirfd, real, flags, mode)
}

int __open_2(const char* path, int flags) {
    OPEN_BODY(__open_2, real, flags)
}
int __open64_2(const char* path, int flags) {
    OPEN_BODY(__open64_2, real, flags)
}
int __openat_2(int dirfd, const char* path, int flags) {
    OPEN_BODY(__openat_2, dirfd, real, flags)
}
int __openat64_2(int dirfd, const char* path, int flags){OPEN_BODY(__openat64_2, dirfd, real, flags)}

FILE* fopen(const char* path, const char* mode) {
    NEXT(fopen);
    const Target target = Resolve(path);
    if (target.kind == Target::kDevice) {
        const int fd = OpenDevice(target, O_RDWR);
        return fd < 0 ? nullptr : fdopen(fd, mode);
    }
    return next_fopen(target.kind == Target::kTree ? target.path.c_str() : path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    NEXT(fopen64);
    const Target target = Resolve(path);
    if (target.kind == Target::kDevice) {
        const int fd = OpenDevice(target, O_RDWR);
        return fd < 0 ? nullptr : fdopen(fd, mode);
    }
    return next_fopen64(target.kind == Target::kTree ? target.path.c_str() : path, mode);
}

int stat(const char* path, struct stat* buf) __THROW {
    NEXT(stat);
    return WithPath(path, [&](const char* p) { return next_stat(p, buf); });
}
int stat64(const char* path, struct stat64* buf) __THROW {
    NEXT(stat64);
    return WithPath(path, [&](const char* p) { return next_stat64(p, buf); });
}
int lstat(const char* path, struct stat* buf) __THROW {
    NEXT(lstat);
    return WithPath(path, [&](const char* p) { return next_lstat(p, buf); });
}
int lstat64(const char* path, struct stat64* buf) __THROW {
    NEXT(lstat64);
    return WithPath(path, [&](const char* p) { return next_lstat64(p, buf); });
}
int fstatat(int dirfd, const char* path, struct stat* buf, int flags) __THROW {
    NEXT(fstatat);
    return WithPath(path, [&](const char* p) { return next_fstatat(dirfd, p, buf, flags); });
}
int fstatat64(int dirfd, const char* path, struct stat64* buf, int flags) __THROW {
    NEXT(fstatat64);
    return WithPath(path, [&](const char* p) { return next_fstatat64(dirfd, p, buf, flags); });
}
int statx(int dirfd, const char* path, int flags, unsigned int mask, struct statx* buf) __THROW {
    NEXT(statx);
    return WithPath(path, [&](const char* p) { return next_statx(dirfd, p, flags, mask, buf); });
}

// Entry points of binaries built against older C libraries.
int __xstat(int version, const char* path, struct stat* buf) {
    using Function = int (*)(int, const char*, struct stat*);
    static const auto next = Next<Function>("__xstat");
    if (next == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    return WithPath(path, [&](const char* p) { return next(version, p, buf); });
}
int __xstat64(int version, const char* path, struct stat64* buf) {
    using Function = int (*)(int, const char*, struct stat64*);
    static const auto next = Next<Function>("__xstat64");
    if (next == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    return WithPath(path, [&](const char* p) { return next(version, p, buf); });
}
int __lxstat(int version, const char* path, struct stat* buf) {
    using Function = int (*)(int, const char*, struct stat*);
    static const auto next = Next<Function>("__lxstat");
    if (next == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    return WithPath(path, [&](const char* p) { return next(version, p, buf); });
}
int __lxstat64(int version, const char* path, struct stat64* buf) {
    using Function = int (*)(int, const char*, struct stat64*);
    static const auto next = Next<Function>("__lxstat64");
    if (next == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    return WithPath(path, [&](const char* p) { return next(version, p, buf); });
}

DIR* opendir(const char* path) {
    NEXT(opendir);
    DIR* stream = WithPath(path, [&](const char* p) { return next_opendir(p); });
    WatchDeviceFolder(path, stream);
    return stream;
}

struct dirent* readdir(DIR* stream) {
    NEXT(readdir);
    return NextDeviceEntry(stream, next_readdir(stream), &DeviceListing::entry);
}

struct dirent64* readdir64(DIR* stream) {
    NEXT(readdir64);
    return NextDeviceEntry(stream, next_readdir64(stream), &DeviceListing::entry64);
}

int closedir(DIR* stream) {
    NEXT(closedir);
    {
        std::lock_guard<std::mutex> lock(listing_mutex);
        DeviceListings().erase(stream);
    }
    return next_closedir(stream);
}

int scandir(const char* path, struct dirent*** list, int (*filter)(const struct dirent*),
            int (*compare)(const struct dirent**, const struct dirent**)) {
    NEXT(scandir);
    return WithPath(path, [&](const char* p) { return next_scandir(p, list, filter, compare); });
}

int scandir64(const char* path, struct dirent64*** list, int (*filter)(const struct dirent64*),
              int (*compare)(const struct dirent64**, const struct dirent64**)) {
    NEXT(scandir64);
    return WithPath(path, [&](const char* p) { return next_scandir64(p, list, filter, compare); });
}

ssize_t readlink(const char* path, char* buf, size_t size) __THROW {
    NEXT(readlink);
    return WithPath(path, [&](const char* p) { return next_readlink(p, buf, size); });
}

ssize_t readlinkat(int dirfd, const char* path, char* buf, size_t size) __THROW {
    NEXT(readlinkat);
    return WithPath(path, [&](const char* p) { return next_readlinkat(dirfd, p, buf, size); });
}

char* realpath(const char* path, char* resolved) __THROW {
    NEXT(realpath);
    const Target target = Resolve(path);
    if (target.kind != Target::kTree) {
        return next_realpath(path, resolved);
    }
    char* answer = next_realpath(target.path.c_str(), resolved);
    if (answer != nullptr) {
        // Report the path as the program knows it, without the tree's folder.
        const std::string& root = simulation->root;
        if (strncmp(answer, root.c_str(), root.size()) == 0) {
            memmove(answer, answer + root.size(), strlen(answer + root.size()) + 1);
        }
    }
    return answer;
}

int access(const char* path, int mode) __THROW {
    NEXT(access);
    return WithPath(path, [&](const char* p) { return next_access(p, mode); });
}

int faccessat(int dirfd, const char* path, int mode, int flags) __THROW {
    NEXT(faccessat);
    return WithPath(path, [&](const char* p) { return next_faccessat(dirfd, p, mode, flags); });
}

ssize_t getxattr(const char* path, const char* name, void* value, size_t size) __THROW {
    NEXT(getxattr);
    return WithPath(path, [&](const char* p) { return next_getxattr(p, name, value, size); });
}

ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) __THROW {
    NEXT(lgetxattr);
    return WithPath(path, [&](const char* p) { return next_lgetxattr(p, name, value, size); });
}

ssize_t listxattr(const char* path, char* list, size_t size) __THROW {
    NEXT(listxattr);
    return WithPath(path, [&](const char* p) { return next_listxattr(p, list, size); });
}

ssize_t llistxattr(const char* path, char* list, size_t size) __THROW {
    NEXT(llistxattr);
    return WithPath(path, [&](const char* p) { return next_llistxattr(p, list, size); });
}

int ioctl(int fd, unsigned long request, ...) __THROW {
    va_list args;
    va_start(args, request);
    void* argument = va_arg(args, void*);
    va_end(args);
    bool handled = false;
    const int saved = errno;
    const int answer = AnswerIoctl(fd, request, argument, handled);
    if (handled) {
        if (answer >= 0) {
            errno = saved;
        }
        return answer;
    }
    NEXT(ioctl);
    return next_ioctl(fd, request, argument);
}

int clock_gettime(clockid_t clock, struct timespec* ts) __THROW {
    const int answer = RealClock(clock, ts);
    const double scale = TimeScale();
    if (answer != 0 || scale == 1.0 || AnchorOf(clock) == nullptr) {
        return answer;
    }
    const int64_t real = ToNs(*ts);
    const int64_t anchor = Anchor(clock, real);
    *ts = FromNs(anchor + Scaled(real - anchor, scale));
    return 0;
}

int gettimeofday(struct timeval* tv, void* tz) __THROW {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return -1;
    }
    tv->tv_sec = now.tv_sec;
    tv->tv_usec = now.tv_nsec / 1000;
    if (tz != nullptr) {
        memset(tz, 0, sizeof(struct timezone));
    }
    return 0;
}

time_t time(time_t* out) __THROW {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr) {
        *out = now.tv_sec;
    }
    return now.tv_sec;
}

int nanosleep(const struct timespec* request, struct timespec* remaining) {
    NEXT(nanosleep);
    const double scale = TimeScale();
    if (scale == 1.0 || request == nullptr) {
        return next_nanosleep(request, remaining);
    }
    const timespec shorter = FromNs(Scaled(ToNs(*request), 1.0 / scale));
    timespec left{};
    const int answer = next_nanosleep(&shorter, &left);
    if (answer != 0 && remaining != nullptr) {
        *remaining = FromNs(Scaled(ToNs(left), scale));
    }
    return answer;
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec* request, struct timespec* remaining) {
    NEXT(clock_nanosleep);
    const double scale = TimeScale();
    if (scale == 1.0 || request == nullptr || AnchorOf(clock) == nullptr) {
        return next_clock_nanosleep(clock, flags, request, remaining);
    }
    if ((flags & TIMER_ABSTIME) != 0) {
        timespec now{};
        RealClock(clock, &now);
        const int64_t anchor = Anchor(clock, ToNs(now));
        const timespec real = FromNs(anchor + Scaled(ToNs(*request) - anchor, 1.0 / scale));
        return next_clock_nanosleep(clock, flags, &real, remaining);
    }
    const timespec shorter = FromNs(Scaled(ToNs(*request), 1.0 / scale));
    timespec left{};
    const int answer = next_clock_nanosleep(clock, flags, &shorter, &left);
    if (answer == EINTR && remaining != nullptr) {
        *remaining = FromNs(Scaled(ToNs(left), scale));
    }
    return answer;
}

int close(int fd) {
    ForgetDescriptor(fd);
    NEXT(close);
    return next_close(fd);
}

}  // extern "C"
