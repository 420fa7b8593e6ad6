// Compares what brantix decoded inside the test machine with what nvme-cli
// and smartctl decoded from the same controller in the same boot.
//
//   brantix_vm_crosscheck RESULTS_DIR
//
// RESULTS_DIR is the folder the machine sent back (see guest.sh): brantix's
// information file read-all/nvme.info.json, nvme-cli's JSON (id-ctrl.out,
// id-ns.out, smart-log.out, error-log.out, fw-log.out, effects-log.out), its
// get-feature text (feature-XX.out) and smartctl's JSON (smartctl.out).
//
// Each row below names one brantix parameter, where the other tool shows the
// same field, which bits of it matter and how brantix writes such a value.
// The value texts are made with the shared library's own formatters: what is
// checked is that brantix took the right bytes and bits from the right
// command on a real kernel, not how a number is spelt (the formatters have
// unit tests of their own).
//
// Ways in which the other tools show a value, undone by the readers here:
// - nvme-cli prints 128-bit counters and capacities as decimal strings.
// - nvme-cli's get-feature has no JSON output; its "Current value:" line is
//   read, where a value of 0 is printed without "0x".
// - nvme-cli's fw-log shows a slot revision as the 64-bit number of its 8
//   bytes followed by the text.
// - smartctl shows the composite temperature in degrees Celsius.
//
// The host facts of read-system/nvme.info.json are checked against the sysfs
// files the machine's busybox read (sysfs.txt): QEMU's controller and its
// root port (vendor 1B36h), a link speed and a link width; its sizes and
// drive overview against nvme-cli's namespace list (nvme-list.out).
#include <json/json.h>

#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "orka.h"
#include "orka_linux.h"
#include "orka_nvme.h"

namespace {

using Wide = unsigned __int128;

enum class Source { kIdCtrl, kIdNs, kSmartLog, kSmartctl, kFwLog, kFeature };

struct Shown {
    bool present = false;
    Wide number = 0;
    std::string text;
};

struct Row {
    const char* name;  // brantix parameter
    Source source;
    const char* key;  // JSON member, or the feature file's suffix ("01", "04-under")
    unsigned int shift;
    unsigned int width;  // 0: the whole value
    std::string (*format)(const Shown& shown, unsigned long long bits);
};

// Formats: how brantix writes the selected bits.
std::string Text(const Shown& shown, unsigned long long) {
    return shown.text;
}
std::string Decimal(const Shown&, unsigned long long v) {
    return std::to_string(v);
}
std::string Number(const Shown&, unsigned long long v) {
    return orka::ToNumberString(v);
}
std::string Big(const Shown& shown, unsigned long long) {
    return orka::ToBigNumberString(orka::uint128(shown.text));
}
std::string PlusOne(const Shown&, unsigned long long v) {
    return orka::ToNumberString(v + 1);
}
std::string Hex2(const Shown&, unsigned long long v) {
    return orka::ToHexString(v, 2);
}
std::string Hex4(const Shown&, unsigned long long v) {
    return orka::ToHexString(v, 4);
}
std::string Supported(const Shown&, unsigned long long v) {
    return orka::ToSupported(v);
}
std::string Yes(const Shown&, unsigned long long v) {
    return orka::ToYes(v);
}
std::string Enabled(const Shown&, unsigned long long v) {
    return orka::ToEnabled(v);
}
std::string PowerOfTwo(const Shown&, unsigned long long v) {
    return orka::ToPowerOfTwo(static_cast<unsigned int>(v));
}
std::string TransferSize(const Shown&, unsigned long long v) {
    return v == 0 ? "Unrestricted" : orka::ToPowerOfTwo(static_cast<unsigned int>(v));
}
std::string MultipleOrSingle(const Shown&, unsigned long long v) {
    return v == 1 ? "Multiple" : "Single";
}
std::string SlotReadStatus(const Shown&, unsigned long long v) {
    return v == 1 ? "Read only" : "Read/Write";
}
std::string Kelvin(const Shown&, unsigned long long v) {
    return v == 0 ? "Not Reported" : orka::ToTemp(static_cast<unsigned short>(v));
}
std::string KelvinAlways(const Shown&, unsigned long long v) {
    return orka::ToTemp(static_cast<unsigned short>(v));
}
std::string Celsius(const Shown&, unsigned long long v) {
    return orka::ToNumberString(static_cast<int>(v)) + " C";
}
std::string Percent(const Shown&, unsigned long long v) {
    return std::to_string(v) + " %";
}
std::string Minutes(const Shown&, unsigned long long v) {
    return orka::ToNumberString(v) + " Min";
}
std::string BigMinutes(const Shown& shown, unsigned long long v) {
    return Big(shown, v) + " Min";
}
std::string Version(const Shown&, unsigned long long v) {
    return orka::GetNvmeVersion(static_cast<unsigned long>(v));
}
std::string Oui(const Shown&, unsigned long long v) {
    const unsigned char bytes[] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                                   static_cast<unsigned char>(v >> 16)};
    return orka::GetIeeeOui(bytes);
}
std::string Slot(const Shown&, unsigned long long v) {
    std::string text;
    for (int byte = 0; byte < 8; ++byte) {
        text += static_cast<char>((v >> (8 * byte)) & 0xFF);
    }
    return v == 0 ? "" : text;
}
std::string Pending(const Shown&, unsigned long long v) {
    return v == 0 ? "Not Reported" : std::to_string(v);
}
std::string ArbitrationBurst(const Shown&, unsigned long long v) {
    return v == 7 ? "No Limit" : orka::ToPowerOfTwo(static_cast<unsigned int>(v));
}
std::string ErrorRecoveryTime(const Shown&, unsigned long long v) {
    return v == 0 ? "No Timeout" : orka::ToNumberString(v * 100) + " mS";
}
std::string AggregationTime(const Shown&, unsigned long long v) {
    return v == 0 ? "No Delay" : std::to_string(v * 100) + " uS";
}
std::string TimestampOrigin(const Shown&, unsigned long long v) {
    return v != 0 ? "Host Programmed" : "Controller Reset";
}
std::string TimestampStopped(const Shown&, unsigned long long v) {
    return v == 1 ? "True" : "False";
}

constexpr Source CTRL = Source::kIdCtrl;
constexpr Source NS = Source::kIdNs;
constexpr Source SMART = Source::kSmartLog;
constexpr Source SMARTCTL = Source::kSmartctl;
constexpr Source FW = Source::kFwLog;
constexpr Source FEATURE = Source::kFeature;

const Row ROWS[] = {
    // Identify Controller
    {"PCI Vendor ID (VID)", CTRL, "vid", 0, 0, Hex4},
    {"PCI Subsystem Vendor ID (SSVID)", CTRL, "ssvid", 0, 0, Hex4},
    {"Serial Number (SN)", CTRL, "sn", 0, 0, Text},
    {"Model Number (MN)", CTRL, "mn", 0, 0, Text},
    {"Firmware Revision (FR)", CTRL, "fr", 0, 0, Text},
    {"Recommended Arbitration Burst (RAB)", CTRL, "rab", 0, 0, PowerOfTwo},
    {"IEEE OUI Identifier (IEEE)", CTRL, "ieee", 0, 0, Oui},
    {"NVM Subsystem PCIe Ports", CTRL, "cmic", 0, 1, MultipleOrSingle},
    {"NVM Subsystem Controllers", CTRL, "cmic", 1, 1, MultipleOrSingle},
    {"Maximum Data Transfer Size (MDTS)", CTRL, "mdts", 0, 0, TransferSize},
    {"Controller ID (CNTLID)", CTRL, "cntlid", 0, 0, Decimal},
    {"Version (VER)", CTRL, "ver", 0, 0, Version},
    {"Namespace Attribute Notices", CTRL, "oaes", 8, 1, Supported},
    {"Firmware Activation Notices", CTRL, "oaes", 9, 1, Supported},
    {"Format NVM Command", CTRL, "oacs", 1, 1, Supported},
    {"Firmware Commit and Image Download Commands", CTRL, "oacs", 2, 1, Supported},
    {"Namespace Management and Attachment Commands", CTRL, "oacs", 3, 1, Supported},
    {"Device Self-test Command", CTRL, "oacs", 4, 1, Supported},
    {"Doorbell Buffer Config Command", CTRL, "oacs", 8, 1, Supported},
    {"Abort Command Limit (ACL)", CTRL, "acl", 0, 0, PlusOne},
    {"Asynchronous Event Request Limit (AERL)", CTRL, "aerl", 0, 0, PlusOne},
    {"Firmware Slot 1 Read Status", CTRL, "frmw", 0, 1, SlotReadStatus},
    {"Firmware Slots", CTRL, "frmw", 1, 3, Decimal},
    {"Firmware Activation Without Reset", CTRL, "frmw", 4, 1, Supported},
    {"SMART/Health Log Page per Namespace", CTRL, "lpa", 0, 1, Supported},
    {"Commands Supported and Effects Log Page", CTRL, "lpa", 1, 1, Supported},
    {"Extended Data for Get Log Page", CTRL, "lpa", 2, 1, Supported},
    {"Error Log Page Entries (ELPE)", CTRL, "elpe", 0, 0, PlusOne},
    {"Number of Power States Support (NPSS)", CTRL, "npss", 0, 0, PlusOne},
    {"Autonomous Power State Transition", CTRL, "apsta", 0, 1, Supported},
    {"Warning Composite Temperature Threshold (WCTEMP)", CTRL, "wctemp", 0, 0, Kelvin},
    {"Critical Composite Temperature Threshold (CCTEMP)", CTRL, "cctemp", 0, 0, Kelvin},
    {"Crypto Erase Sanitize", CTRL, "sanicap", 0, 1, Supported},
    {"Block Erase Sanitize", CTRL, "sanicap", 1, 1, Supported},
    {"Overwrite Sanitize", CTRL, "sanicap", 2, 1, Supported},
    {"Maximum Submission Queue Entry Size", CTRL, "sqes", 4, 4, PowerOfTwo},
    {"Required Submission Queue Entry Size", CTRL, "sqes", 0, 4, PowerOfTwo},
    {"Maximum Completion Queue Entry Size", CTRL, "cqes", 4, 4, PowerOfTwo},
    {"Required Completion Queue Entry Size", CTRL, "cqes", 0, 4, PowerOfTwo},
    {"Number of Namespaces (NN)", CTRL, "nn", 0, 0, Decimal},
    {"Compare NVM Command", CTRL, "oncs", 0, 1, Supported},
    {"Write Uncorrectable NVM Command", CTRL, "oncs", 1, 1, Supported},
    {"Dataset Management NVM Command", CTRL, "oncs", 2, 1, Supported},
    {"Write Zeroes NVM Command", CTRL, "oncs", 3, 1, Supported},
    {"Save/Select Fields in Features Command", CTRL, "oncs", 4, 1, Supported},
    {"Reservations", CTRL, "oncs", 5, 1, Supported},
    {"Timestamp Feature", CTRL, "oncs", 6, 1, Supported},
    {"Verify NVM Command", CTRL, "oncs", 7, 1, Supported},
    {"Format All Namespaces", CTRL, "fna", 0, 1, Supported},
    {"Secure Erase All Namespaces", CTRL, "fna", 1, 1, Supported},
    // Identify Namespace 1
    {"Namespace 1 Size in LBA (NSZE)", NS, "nsze", 0, 0, Number},
    {"Namespace 1 Capacity (NCAP)", NS, "ncap", 0, 0, Number},
    {"Namespace 1 Utilization (NUSE)", NS, "nuse", 0, 0, Number},
    {"Namespace 1 Thin Provisioning", NS, "nsfeat", 0, 1, Supported},
    {"Namespace 1 Logical Block Error", NS, "nsfeat", 2, 1, Supported},
    {"Namespace 1 Number of LBA Formats (NLBAF)", NS, "nlbaf", 0, 0, PlusOne},
    {"Namespace 1 Active LBA Format", NS, "flbas", 0, 4, Decimal},
    {"Namespace 1 Metadata Transfer Extended LBA", NS, "mc", 0, 1, Supported},
    {"Namespace 1 Metadata Transfer Buffer", NS, "mc", 1, 1, Supported},
    {"Namespace 1 Protection Type 1", NS, "dpc", 0, 1, Supported},
    {"Namespace 1 Protection Type 3", NS, "dpc", 2, 1, Supported},
    {"Namespace 1 Protection Last", NS, "dpc", 4, 1, Supported},
    {"Namespace 1 Shared", NS, "nmic", 0, 1, Supported},
    {"Namespace 1 Persist Through Power Loss", NS, "rescap", 0, 1, Supported},
    // SMART / health, as nvme-cli shows it
    {"Available Space Below Threshold", SMART, "critical_warning", 0, 1, Yes},
    {"Temperature Over/Under Threshold", SMART, "critical_warning", 1, 1, Yes},
    {"NVM Subsystem Unreliable", SMART, "critical_warning", 2, 1, Yes},
    {"Media in Read-only", SMART, "critical_warning", 3, 1, Yes},
    {"Volatile Memory Backup Failed", SMART, "critical_warning", 4, 1, Yes},
    {"Composite Temperature", SMART, "temperature", 0, 0, KelvinAlways},
    {"Available Spare", SMART, "avail_spare", 0, 0, Percent},
    {"Available Spare Threshold", SMART, "spare_thresh", 0, 0, Percent},
    {"Percentage Used", SMART, "percent_used", 0, 0, Percent},
    {"Data Units Read", SMART, "data_units_read", 0, 0, Big},
    {"Data Units Written", SMART, "data_units_written", 0, 0, Big},
    {"Host Read Commands", SMART, "host_read_commands", 0, 0, Big},
    {"Host Write Commands", SMART, "host_write_commands", 0, 0, Big},
    {"Controller Busy Time", SMART, "controller_busy_time", 0, 0, BigMinutes},
    {"Power Cycles", SMART, "power_cycles", 0, 0, Big},
    {"Power On Hours", SMART, "power_on_hours", 0, 0, Big},
    {"Unsafe Shutdowns", SMART, "unsafe_shutdowns", 0, 0, Big},
    {"Media and Data Integrity Errors", SMART, "media_errors", 0, 0, Big},
    {"Number of Error Information Log Entries", SMART, "num_err_log_entries", 0, 0, Big},
    {"Warning Composite Temperature Time", SMART, "warning_temp_time", 0, 0, Minutes},
    {"Critical Composite Temperature Time", SMART, "critical_comp_time", 0, 0, Minutes},
    // SMART / health, as smartctl shows it
    {"Composite Temperature", SMARTCTL, "temperature", 0, 0, Celsius},
    {"Available Spare", SMARTCTL, "available_spare", 0, 0, Percent},
    {"Percentage Used", SMARTCTL, "percentage_used", 0, 0, Percent},
    {"Power Cycles", SMARTCTL, "power_cycles", 0, 0, Number},
    {"Power On Hours", SMARTCTL, "power_on_hours", 0, 0, Number},
    {"Unsafe Shutdowns", SMARTCTL, "unsafe_shutdowns", 0, 0, Number},
    {"Media and Data Integrity Errors", SMARTCTL, "media_errors", 0, 0, Number},
    // Firmware slots
    {"Firmware Active Slot", FW, "Active Firmware Slot (afi)", 0, 3, Decimal},
    {"Firmware Pending Slot", FW, "Active Firmware Slot (afi)", 4, 3, Pending},
    {"Firmware Slot 1 Revision", FW, "Firmware Rev Slot 1", 0, 0, Slot},
    // Features
    {"Arbitration Burst (AB)", FEATURE, "01", 0, 3, ArbitrationBurst},
    {"Low Priority Weight (LPW)", FEATURE, "01", 8, 8, PlusOne},
    {"Medium Priority Weight (MPW)", FEATURE, "01", 16, 8, PlusOne},
    {"High Priority Weight (HPW)", FEATURE, "01", 24, 8, PlusOne},
    {"Current Power State (PS)", FEATURE, "02", 0, 5, Decimal},
    {"Workload Hint (WH)", FEATURE, "02", 5, 3, Decimal},
    {"Composite Temperature Over Threshold", FEATURE, "04", 0, 16, KelvinAlways},
    {"Composite Temperature Under Threshold", FEATURE, "04-under", 0, 16, KelvinAlways},
    {"Time Limited Error Recovery (TLER)", FEATURE, "05", 0, 16, ErrorRecoveryTime},
    {"Deallocated or Unwritten Logical Block Error Enable (DULBE)", FEATURE, "05", 16, 1, Enabled},
    {"Volatile Write Cache Enable (WCE)", FEATURE, "06", 0, 1, Enabled},
    {"Aggregation Time (TIME)", FEATURE, "08", 8, 8, AggregationTime},
    {"Aggregation Threshold (THR)", FEATURE, "08", 0, 8, PlusOne},
    {"Disable Normal (DN)", FEATURE, "0A", 0, 1, Supported},
    {"SMART Critical Warning Notices Enable", FEATURE, "0B", 0, 8, Hex2},
    {"Namespace Attribute Notices Enable", FEATURE, "0B", 8, 1, Enabled},
    {"Timestamp Origin", FEATURE, "0E", 49, 3, TimestampOrigin},
    {"Timestamp Stopped", FEATURE, "0E", 48, 1, TimestampStopped},
};

// Self-test and sanitize runs: an action the controller does not advertise
// (the Identify Controller bit, as nvme-cli read it) must end with brantix's
// failure code and message; an advertised one must pass.
struct Action {
    const char* step;  // folder the run logged into, and "brantix-" + step in codes
    const char* summary;
    const char* field;
    unsigned int bit;
    int refused_code;
    const char* refused_message;
    const char* passed_message;
};

const Action ACTIONS[] = {
    {"selftest-short", "selftest.summary.json", "oacs", 4, 30, "Device does NOT support self-test",
     " SELF-TEST PASSED"},
    {"selftest-extended", "selftest.summary.json", "oacs", 4, 30, "Device does NOT support self-test",
     " SELF-TEST PASSED"},
    {"sanitize-block", "sanitize.summary.json", "sanicap", 1, 40, "Device does NOT support block erase",
     " SANITIZE PASSED"},
    {"sanitize-overwrite", "sanitize.summary.json", "sanicap", 2, 42, "Device does NOT support overwrite",
     " SANITIZE PASSED"},
    {"sanitize-crypto", "sanitize.summary.json", "sanicap", 0, 41, "Device does NOT support crypto erase",
     " SANITIZE PASSED"},
};

const char* SourceName(Source source) {
    switch (source) {
        case Source::kSmartctl:
            return "smartctl";
        case Source::kFeature:
            return "nvme get-feature";
        default:
            return "nvme-cli";
    }
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// Null when the file is missing or is not JSON (said on stderr).
Json::Value ReadJson(const std::string& path) {
    Json::Value value;
    if (!std::ifstream(path)) {
        return value;
    }
    std::istringstream in(ReadFile(path));
    Json::CharReaderBuilder builder;
    std::string errors;
    if (!Json::parseFromStream(builder, in, &value, &errors)) {
        std::cerr << "cannot read " << path << ": " << errors;
    }
    return value;
}

Wide ParseNumber(const std::string& text, unsigned int base) {
    Wide result = 0;
    for (const char c : text) {
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0'
                          : std::isxdigit(static_cast<unsigned char>(c))
                              ? std::tolower(static_cast<unsigned char>(c)) - 'a' + 10
                              : -1;
        if (digit < 0 || static_cast<unsigned int>(digit) >= base) {
            break;
        }
        result = result * base + static_cast<unsigned int>(digit);
    }
    return result;
}

Shown FromJson(const Json::Value& value) {
    Shown shown;
    if (value.isNull()) {
        return shown;
    }
    shown.present = true;
    if (value.isString()) {
        shown.text = value.asString();
        shown.number = ParseNumber(shown.text, 10);
    } else if (value.isIntegral()) {
        shown.number = value.asUInt64();
        shown.text = std::to_string(value.asUInt64());
    }
    return shown;
}

// One get-feature output: the "Current value:" dword or, for a feature with
// data, the first 8 bytes of the hex dump that follows it, little-endian.
Shown FromFeature(const std::string& path) {
    Shown shown;
    const std::string text = ReadFile(path);
    const std::string marker = "Current value:";
    const auto at = text.find(marker);
    if (at == std::string::npos) {
        return shown;
    }
    shown.present = true;
    std::string value = text.substr(at + marker.size(), text.find('\n', at) - at - marker.size());
    if (value.compare(0, 2, "0x") == 0) {
        value = value.substr(2);
    }
    shown.number = ParseNumber(value, 16);
    // Data bytes: "0000: b3 d4 ..." rows; the first 8 bytes are enough here.
    const auto dump = text.find("\n0000:", at);
    if (dump != std::string::npos) {
        std::istringstream bytes(text.substr(dump + 6, 3 * 8));
        Wide data = 0;
        unsigned int index = 0;
        for (std::string byte; bytes >> byte && index < 8; ++index) {
            data |= ParseNumber(byte, 16) << (8 * index);
        }
        shown.number = data;
    }
    return shown;
}

class CrossCheck {
  public:
    explicit CrossCheck(const std::string& results)
        : results_(results),
          brantix_document_(ReadJson(results + "/read-all/nvme.info.json")),
          brantix_(brantix_document_["nvme"]["parameters"]),
          controller_(ReadJson(results + "/id-ctrl.out")),
          name_space_(ReadJson(results + "/id-ns.out")),
          smart_(ReadJson(results + "/smart-log.out")),
          smartctl_(ReadJson(results + "/smartctl.out")["nvme_smart_health_information_log"]),
          firmware_(ReadJson(results + "/fw-log.out")["nvme0"]) {}

    Shown Find(const Row& row) const {
        switch (row.source) {
            case Source::kIdCtrl:
                return FromJson(controller_[row.key]);
            case Source::kIdNs:
                return FromJson(name_space_[row.key]);
            case Source::kSmartLog:
                return FromJson(smart_[row.key]);
            case Source::kSmartctl:
                return FromJson(smartctl_[row.key]);
            case Source::kFwLog:
                return FromJson(firmware_[row.key]);
            case Source::kFeature:
                return FromFeature(results_ + "/feature-" + row.key + ".out");
        }
        return {};
    }

    // Returns the number of disagreements.
    int Run() const {
        int differences = CheckHostFacts() + CheckActions() + CheckRulesRun();
        if (brantix_.isNull()) {
            std::cout << "crosscheck: brantix wrote no information file; only the kernel's PCI facts were "
                         "checked\n";
            return differences;
        }
        int same = 0;
        for (const Row& row : ROWS) {
            const Shown shown = Find(row);
            const bool ours = brantix_.isMember(row.name);
            if (!shown.present) {
                // A feature the controller refused must not appear either.
                if (ours) {
                    std::cout << "DIFF " << row.name << ": only brantix shows it\n";
                    ++differences;
                }
                continue;
            }
            Wide bits = shown.number >> row.shift;
            if (row.width != 0) {
                bits &= (Wide{1} << row.width) - 1;
            }
            const std::string expected = row.format(shown, static_cast<unsigned long long>(bits));
            const std::string actual = ours ? brantix_[row.name]["value"].asString() : "(none)";
            if (actual != expected) {
                std::cout << "DIFF " << row.name << ": brantix \"" << actual << "\", "
                          << SourceName(row.source) << " \"" << expected << "\"\n";
                ++differences;
            } else {
                ++same;
            }
        }
        differences += CheckErrorLog() + CheckEffectsLog();
        std::cout << "crosscheck: " << same << " values agree, " << differences << " differ\n";
        return differences;
    }

  private:
    // One "<function> <file> <text>" line per sysfs file read in the machine.
    std::map<std::string, std::string> ReadSysfs() const {
        std::map<std::string, std::string> files;
        std::istringstream lines(ReadFile(results_ + "/sysfs.txt"));
        for (std::string line; std::getline(lines, line);) {
            const auto second = line.find(' ', line.find(' ') + 1);
            if (second != std::string::npos) {
                files[line.substr(0, second)] = line.substr(second + 1);
            }
        }
        return files;
    }

    int CheckHostFacts() const {
        auto sysfs = ReadSysfs();
        int differences = 0;
        const auto expect = [&differences](const std::string& what, const std::string& actual,
                                           const std::string& expected) {
            if (actual != expected) {
                std::cout << "DIFF " << what << ": \"" << actual << "\", expected \"" << expected << "\"\n";
                ++differences;
            }
        };
        expect("controller vendor in sysfs", sysfs["controller vendor"], "0x1b36");
        expect("root port vendor in sysfs", sysfs["port vendor"], "0x1b36");
        if (orka::PciSpeedText(sysfs["controller current_link_speed"]) == "N/A" ||
            sysfs["controller current_link_width"].find_first_not_of("0123456789") != std::string::npos ||
            sysfs["controller current_link_width"].empty() || sysfs["controller current_link_width"] == "0") {
            std::cout << "DIFF the controller's link has no speed or width in sysfs\n";
            ++differences;
        }

        const Json::Value info = ReadJson(results_ + "/read-system/nvme.info.json");
        if (info.isNull()) {
            return differences;
        }
        const Json::Value& parameters = info["nvme"]["parameters"];
        // sysfs writes "0x000c"; brantix keeps the "0x" and upper-cases the digits.
        const auto hex_id = [](const std::string& text) {
            std::string digits = text.rfind("0x", 0) == 0 ? text.substr(2) : text;
            orka::UpperCase(digits);
            return "0x" + digits;
        };
        const auto value = [&parameters](const char* name) { return parameters[name]["value"].asString(); };
        expect("PCI Device ID", value("PCI Device ID"), hex_id(sysfs["controller device"]));
        expect("PCI Width", value("PCI Width"), "x" + sysfs["controller current_link_width"]);
        expect("PCI Rated Width", value("PCI Rated Width"), "x" + sysfs["controller max_link_width"]);
        expect("PCI Speed", value("PCI Speed"), orka::PciSpeedText(sysfs["controller current_link_speed"]));
        expect("PCI Rated Speed", value("PCI Rated Speed"),
               orka::PciSpeedText(sysfs["controller max_link_speed"]));
        expect("PCI Location", value("PCI Location"), orka::PciLocationText(sysfs["controller address"]));
        expect("Root PCI Vendor ID", value("Root PCI Vendor ID"), hex_id(sysfs["port vendor"]));
        expect("Root PCI Device ID", value("Root PCI Device ID"), hex_id(sysfs["port device"]));
        expect("Root PCI Location", value("Root PCI Location"), orka::PciLocationText(sysfs["port address"]));
        expect("PCI Bandwidth", value("PCI Bandwidth"),
               orka::PciBandwidthText(sysfs["controller current_link_speed"],
                                      sysfs["controller current_link_width"]));
        expect(
            "PCI Rated Bandwidth", value("PCI Rated Bandwidth"),
            orka::PciBandwidthText(sysfs["controller max_link_speed"], sysfs["controller max_link_width"]));

        // The size and model as nvme-cli lists the namespace: the drive
        // overview rounds to whole gigabytes, "Size" counts bytes.
        const Json::Value listed = ReadJson(results_ + "/nvme-list.out")["Devices"][0];
        const unsigned long long bytes = listed["PhysicalSize"].asUInt64();
        expect("Size", value("Size"), std::to_string(bytes) + " Bytes");
        expect("Size in GB", value("Size in GB"),
               orka::ToFixedString(static_cast<double>(bytes) / 1e9, 1) + " GB");
        const Json::Value& drives = info["_metadata"]["system"]["nvme list"];
        expect("drive overview", drives.size() == 1 ? drives[0].asString() : "",
               "DRIVE 0 : " + orka::LookupPciVendor(sysfs["controller vendor"]) + " " +
                   listed["ModelNumber"].asString() + " " + std::to_string((bytes + 500000000) / 1000000000) +
                   "GB");
        return differences;
    }

    // The exit code of each step inside the machine ("NAME CODE" lines).
    std::map<std::string, std::string> ReadCodes() const {
        std::map<std::string, std::string> codes;
        std::istringstream lines(ReadFile(results_ + "/codes"));
        for (std::string name, code; lines >> name >> code;) {
            codes[name] = code;
        }
        return codes;
    }

    int CheckActions() const {
        auto codes = ReadCodes();
        int differences = 0;
        for (const Action& action : ACTIONS) {
            const std::string step = std::string("brantix-") + action.step;
            const bool supported = ((controller_[action.field].asUInt64() >> action.bit) & 1U) != 0;
            const int code = supported ? 0 : action.refused_code;
            const Json::Value result = ReadJson(results_ + "/" + action.step + "/" + action.summary)["_cmd"];
            const std::string shown =
                codes[step] + " " + result["return code"].asString() + " " + result["message"].asString();
            const std::string expected = std::to_string(code) + " " + std::to_string(code) + " " +
                                         (supported ? action.passed_message : action.refused_message);
            if (shown == expected) {
                std::cout << "same " << action.step << ": " << shown << "\n";
            } else {
                std::cout << "DIFF " << action.step << " (exit code, return code, message): \"" << shown
                          << "\", expected \"" << expected << "\"\n";
                ++differences;
            }
        }
        return differences;
    }

    // The three samples of read-rules against commands/health.rules.json:
    // each breaks the rules nvme-cli's values break, and none differs from
    // the first sample. QEMU's controller reports an available spare of 0 %.
    int CheckRulesRun() const {
        std::string expected_names;
        if (smart_["avail_spare"].asUInt() <= 10) {
            expected_names += "Available Spare;";
        }
        const std::string verdict = expected_names.empty() ? "PASSED" : "failed verify";
        int differences = 0;
        const Json::Value details = ReadJson(results_ + "/read-rules/read.summary.json")["read details"];
        for (Json::Value::ArrayIndex i = 0; i < 3; ++i) {
            const std::string sample = std::to_string(i + 1);
            const Json::Value info = ReadJson(results_ + "/read-rules/nvme.info.sample-" + sample + ".json");
            std::string names;
            for (const Json::Value& violation : info["rule violations"]) {
                names += violation["name"].asString() + ";";
            }
            const std::string message = details["sample"][i]["message"].asString();
            const std::string shown = message + " [" + names + "]";
            const std::string expected =
                (verdict == "PASSED" ? verdict : "Sample " + sample + " " + verdict) + " [" + expected_names +
                "]";
            if (shown != expected) {
                std::cout << "DIFF read-rules sample " << sample << ": \"" << shown << "\", expected \""
                          << expected << "\"\n";
                ++differences;
            }
        }
        const std::string mismatches =
            details["static mismatches"].asString() + " " + details["counter mismatches"].asString();
        if (mismatches != "0 0") {
            std::cout << "DIFF read-rules mismatches with the first sample (static, counter): " << mismatches
                      << "\n";
            ++differences;
        }
        return differences;
    }

    // Commands supported and effects: one line per supported command in
    // brantix's command log against nvme-cli's effects-log (command set 0),
    // whose members are named "ACS_<opcode> (...)" and "IOCS_<opcode> (...)".
    int CheckEffectsLog() const {
        const auto line = [](const std::string& type, unsigned long long bits) {
            static const char* const kExecution[] = {"No Restriction", "Same Namespace Restriction",
                                                     "Any Namespace Restriction"};
            const unsigned long long cse = (bits >> 16) & 7U;
            return type + ": " + orka::ToYes((bits >> 1) & 1U) + " " + orka::ToYes((bits >> 2) & 1U) + " " +
                   orka::ToYes((bits >> 3) & 1U) + " " + orka::ToYes((bits >> 4) & 1U) + " " +
                   orka::ToSupported((bits >> 19) & 1U) + " " + (cse < 3 ? kExecution[cse] : "Reserved");
        };
        std::map<std::string, std::string> expected;
        std::map<std::string, std::string> actual;
        unsigned int counts[2] = {0, 0};
        const Json::Value log = ReadJson(results_ + "/effects-log.out")[0];
        const struct {
            const char* set;
            const char* prefix;
            const char* type;
        } sets[] = {{"admin_cmd_set", "ACS_", "Admin Command "}, {"io_cmd_set", "IOCS_", "IO Command "}};
        for (unsigned int set = 0; set < 2; ++set) {
            const Json::Value& commands = log[sets[set].set];
            for (const std::string& key : commands.getMemberNames()) {
                const unsigned long long bits = commands[key].asUInt64();
                if ((bits & 1U) != 0) {
                    const std::string type =
                        sets[set].type + std::to_string(static_cast<unsigned long long>(ParseNumber(
                                             key.substr(std::string(sets[set].prefix).size()), 10)));
                    expected[type] = line(type, bits);
                    ++counts[set];
                }
            }
        }
        for (const Json::Value& entry : brantix_document_["nvme"]["command log"]) {
            const std::string type = entry["Type"].asString();
            actual[type] = type + ": " + entry["Logical Block Content Change (LBCC)"].asString() + " " +
                           entry["Namespace Capability Change (NCC)"].asString() + " " +
                           entry["Namespace Inventory Change (NIC)"].asString() + " " +
                           entry["Controller Capability Change (CCC)"].asString() + " " +
                           entry["UUID Selection Supported"].asString() + " " +
                           entry["Command Submission and Execution (CSE)"].asString();
        }
        expected["counts"] = std::to_string(counts[0]) + " " + std::to_string(counts[1]);
        actual["counts"] = brantix_["Supported Admin Commands"]["value"].asString() + " " +
                           brantix_["Supported IO Commands"]["value"].asString();
        int differences = 0;
        for (const auto& [type, text] : expected) {
            if (actual[type] != text) {
                std::cout << "DIFF command log " << type << ": brantix \"" << actual[type]
                          << "\", nvme-cli \"" << text << "\"\n";
                ++differences;
            }
        }
        for (const auto& [type, text] : actual) {
            if (expected.count(type) == 0) {
                std::cout << "DIFF command log " << type << ": only brantix shows it\n";
                ++differences;
            }
        }
        return differences;
    }

    // brantix visits the error entries below ELPE taken as a count and lists
    // those with a non-zero error count.
    int CheckErrorLog() const {
        const Json::Value entries = ReadJson(results_ + "/error-log.out")["errors"];
        const Json::Value::ArrayIndex visited = controller_["elpe"].asUInt();
        int listed = 0;
        for (Json::Value::ArrayIndex i = 0; i < entries.size() && i < visited; ++i) {
            listed += entries[i]["error_count"].asUInt64() != 0 ? 1 : 0;
        }
        const std::string expected = std::to_string(listed);
        const std::string actual = brantix_["Total Errors"]["value"].asString();
        if (actual != expected) {
            std::cout << "DIFF Total Errors: brantix \"" << actual << "\", nvme-cli \"" << expected << "\"\n";
            return 1;
        }
        return 0;
    }

    std::string results_;
    Json::Value brantix_document_;
    Json::Value brantix_;
    Json::Value controller_;
    Json::Value name_space_;
    Json::Value smart_;
    Json::Value smartctl_;
    Json::Value firmware_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: brantix_vm_crosscheck RESULTS_DIR\n";
        return 2;
    }
    return CrossCheck(argv[1]).Run() == 0 ? 0 : 1;
}
