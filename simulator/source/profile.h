// Drive profiles: a readable JSON description of one or more simulated NVMe
// drives, turned into the raw structures a drive returns.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace brantix_sim {

using Bytes = std::vector<uint8_t>;

struct ProfileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct PciFunction {
    std::string address;  // domain:bus:device.function
    std::string vendor;   // "0x1b96"
    std::string device;
    std::string max_link_speed;
    std::string max_link_width;
    std::string current_link_speed;
    std::string current_link_width;
    std::string secondary_bus_number;  // upstream port only
};

struct Namespace {
    uint32_t nsid = 1;
    Bytes identify;        // 4096 bytes
    uint64_t sectors = 0;  // size in 512-byte sectors
};

// One fault: a command that fails, matched by opcode and optionally by log
// identifier, feature identifier or Identify CNS, after a number of matching calls.
struct Fault {
    int opcode = -1;
    int log = -1;
    int feature = -1;
    int cns = -1;
    unsigned after = 0;  // the first `after` matching calls succeed
    int error = 0;       // errno to fail the ioctl with
    int status = 0;      // NVMe status returned instead
    int signal = 0;      // raised in the calling process once the command has completed normally
    std::string Key() const;
};

struct HostUse {
    std::string device;  // block device name
    std::string on;      // mount point; empty for a swap area
    std::string type;    // file system type
    std::string via;     // a device-mapper device on `device` that holds the file system ("dm-0")
    bool IsSwap() const { return on.empty(); }
};

struct FeatureValue {
    uint32_t dw0 = 0;
    Bytes buffer;  // for features with a data buffer
};

// How a command failed when a drive was captured: an errno of the ioctl or an NVMe status.
struct RecordedFailure {
    int error = 0;
    int status = 0;
};

struct Drive {
    unsigned controller = 0;
    unsigned subsystem = 0;  // N of nvme-subsys<N>: the controller's own number unless the profile says
    std::string transport = "pcie";  // sysfs "transport": pcie, tcp, rdma, fc, loop
    std::string address;             // sysfs "address": the PCI address, or "traddr=...,trsvcid=..."
    std::string state = "live";      // sysfs "state"; any other state makes opening fail with EAGAIN
    // Block devices another program holds open exclusively ("nvme0n1").
    std::vector<std::string> held;
    PciFunction pci;
    PciFunction upstream;
    Bytes identify_controller;  // 4096 bytes
    std::vector<Namespace> namespaces;
    std::map<unsigned, Bytes> logs;             // log identifier -> page image
    std::map<unsigned, FeatureValue> features;  // feature identifier -> value
    std::map<unsigned, uint32_t> thresholds;    // (TMPSEL << 4 | THSEL) -> threshold
    // Device self-test: how many reads of the self-test log a test takes, and
    // its result code.
    unsigned self_test_polls = 3;
    int self_test_seconds = -1;  // when not negative: the test's duration instead

    unsigned self_test_result = 0;
    unsigned self_test_segment = 0;
    bool self_test_backwards = false;  // the second read shows less completion than the first
    uint64_t power_on_hours = 0;
    // Sanitize: reads of the sanitize status log until the end and the outcome
    // ("completed", "no-deallocate", "failed", "backwards").
    unsigned sanitize_polls = 3;
    int sanitize_seconds = -1;
    std::string sanitize_outcome = "completed";
    // The host's use of the drive: mounted file systems and active swap areas
    // on its namespaces ("nvme0n1") or their partitions ("nvme0n1p2").
    std::vector<HostUse> host_use;
    // The kernel's transfer limit of the drive's queue in KiB (sysfs
    // queue/max_hw_sectors_kb), 0: not shown. Transfers above it or above
    // MDTS fail with EINVAL, as the kernel refuses them.
    unsigned max_hw_sectors_kb = 0;
    uint64_t MaxTransfer() const;  // bytes, 0: no limit
    int open_error = 0;            // errno that opening the device fails with
    int vanish_after = -1;         // the device disappears after this many commands
    std::vector<Fault> faults;

    // A drive replayed from an information file: it answers only what the capture holds; any other
    // command gets the failure the capture recorded for the command of that name, else Invalid Field.
    bool replay = false;
    std::map<std::string, RecordedFailure> recorded;  // by the command's name in the capture
    bool active_list_held = false;
    Bytes active_list;  // Identify CNS 02h as captured
    // The later captures of a sequence: the n-th Identify Controller and the commands after it are
    // answered from capture n, the last one standing for every later sample.
    std::vector<Drive> samples;

    bool Pcie() const { return transport == "pcie"; }
    // CMIC bit 1: the subsystem may hold more than one controller.
    bool MultiController() const {
        return identify_controller.size() > 76 && (identify_controller[76] & 2) != 0;
    }
    uint16_t Sanicap() const;
    uint16_t Oacs() const;
    std::string IdentifyText(size_t offset, size_t length) const;
};

struct Host {
    std::string bios_version = "1.0.0";
    std::string board_vendor = "Simulated Boards";
    std::string product_name = "Simulated Host";
};

struct Profile {
    std::string path;
    std::string text;  // the file's content
    Host host;
    // The kernel's native multipath (nvme_core.multipath): on, a namespace of
    // a multi-controller subsystem is a head over one hidden path per controller.
    bool multipath = true;
    std::vector<Drive> drives;

    // Whether `drive`'s namespaces are heads in the subsystem's folder.
    bool Heads(const Drive& drive) const { return multipath && drive.MultiController(); }
    // The block device of a namespace as the kernel names it: nvme<S>n<M> after
    // the subsystem with multipath on, nvme<C>n<M> after the controller without.
    std::string NamespaceName(const Drive& drive, const Namespace& ns) const;
    // The hidden path node of a head through `drive`: nvme<S>c<C>n<M>.
    std::string PathName(const Drive& drive, const Namespace& ns) const;

    const Drive* FindDrive(unsigned controller) const;
};

// Reads and encodes a profile. `drive_patch`, when not empty, is a JSON object
// merged into every drive before it is encoded (objects member by member, any
// other value replaced). Throws ProfileError.
Profile LoadProfile(const std::string& path, const std::string& drive_patch = "");
Profile ParseProfile(const std::string& text, const std::string& path, const std::string& drive_patch = "");

// One drive as a profile describes it (`index`: its place in "drives"). Throws ProfileError.
Drive ParseDrive(const Json::Value& source, unsigned index);

// The size in 512-byte sectors of a namespace, from its Identify Namespace data.
uint64_t NamespaceSectors(const Bytes& identify);

// Captures: an information file written with "log hex data" as a replayed drive. The file is taken
// as a capture when its root has no "drives"; `host` receives the captured host's DMI texts.
// Throws ProfileError naming the first problem.
bool IsCapture(const Json::Value& root);
Drive ParseCapture(const Json::Value& root, Host& host);
// The bytes of a hex dump as the tool writes it: one text per 16 bytes.
Bytes ParseHexDump(const Json::Value& lines, const std::string& where);

// Parses faults of the form "opcode=0x02,log=0x02,after=1,errno=5;open=13".
// Entries "open=<errno>" and "vanish=<count>" apply to every drive.
void ParseFaults(const std::string& text, std::vector<Fault>& faults, int& open_error, int& vanish_after);

// A self-test log with no current operation and every result entry unused.
Bytes EmptySelfTestLog();

// Field encoding, exposed for tests: writes `value` into `image`.
struct Field {
    const char* name;
    uint32_t offset;
    uint32_t size;  // bytes
    enum Kind { kInt, kAscii, kAsciiNul, kBytes } kind = kInt;
    uint8_t shift = 0;
    uint8_t bits = 0;  // 0: the whole field
};
// A table of fields: a view of a constant array. The tables are constant
// data, ready before any constructor runs: the preload library's hooks are
// called from other libraries' constructors (libselinux's, for one) before
// the library's own have run.
class FieldTable {
  public:
    template <size_t N>
    constexpr FieldTable(const Field (&fields)[N]) : begin_(fields), size_(N) {}
    const Field* begin() const { return begin_; }
    const Field* end() const { return begin_ + size_; }

  private:
    const Field* begin_;
    size_t size_;
};
void EncodeFields(const Json::Value& source, FieldTable table, Bytes& image, size_t base,
                  const std::string& where);

}  // namespace brantix_sim
