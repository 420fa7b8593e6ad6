// Each row below names one brantix parameter, where the other client shows the same field, which bits of it
// matter and how brantix writes such a value. The rows cover each kind of field (each structure and client,
// whole values, bits and bit groups, parameters that depend on the NVMe version) and each way of writing a
// value once or twice, not every parameter: the decoders' own tests cover their tables rule by rule. The
// value texts are made with the shared library's own formatters: what is checked is that brantix took the
// right bytes and bits from the right command, not how a number is spelt (the formatters have unit tests of
// their own).
//
// Ways in which the other clients show a value, undone here:
// - nvme-cli prints 128-bit counters and capacities as decimal strings, and 32-bit values of all ones in
//   the error log as -1.
// - nvme-cli's fw-log shows a slot revision as the 64-bit number of its 8 bytes followed by the text.
#include "support/crosscheck.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "orka_nvme.h"

namespace crosscheck {

namespace {

using Bits = unsigned long long;

enum class Source { kIdCtrl, kIdNs, kSmartLog, kFwLog, kFeature };

struct Shown {
    bool source = false;   // the client's file is there
    bool present = false;  // and shows the field
    Wide number = 0;
    std::string text;
};

using S = const Shown&;
using Format = std::string (*)(S shown, Bits bits);

// How brantix writes the selected bits.
struct F {
    static std::string Text(S shown, Bits) { return shown.text; }
    static std::string Decimal(S, Bits v) { return std::to_string(v); }
    static std::string Number(S, Bits v) { return orka::ToNumberString(v); }
    static std::string Big(S shown, Bits) { return orka::ToBigNumberString(orka::uint128(shown.text)); }
    static std::string BigMinutes(S shown, Bits v) { return Big(shown, v) + " Min"; }
    static std::string PlusOne(S, Bits v) { return orka::ToNumberString(v + 1); }
    static std::string Hex2(S, Bits v) { return orka::ToHexString(v, 2); }
    static std::string Hex4(S, Bits v) { return orka::ToHexString(v, 4); }
    static std::string Supported(S, Bits v) { return orka::ToSupported(v); }
    static std::string Yes(S, Bits v) { return orka::ToYes(v); }
    static std::string Enabled(S, Bits v) { return orka::ToEnabled(v); }
    static std::string Power2(S, Bits v) { return orka::ToPowerOfTwo(static_cast<unsigned int>(v)); }
    static std::string TransferSize(S s, Bits v) { return v == 0 ? "Unrestricted" : Power2(s, v); }
    static std::string MultipleOrSingle(S, Bits v) { return v == 1 ? "Multiple" : "Single"; }
    static std::string SlotReadStatus(S, Bits v) { return v == 1 ? "Read only" : "Read/Write"; }
    static std::string Temp(S, Bits v) { return orka::ToTemp(static_cast<unsigned short>(v)); }
    static std::string Kelvin(S s, Bits v) { return v == 0 ? "Not Reported" : Temp(s, v); }
    static std::string Percent(S, Bits v) { return std::to_string(v) + " %"; }
    static std::string Minutes(S, Bits v) { return orka::ToNumberString(v) + " Min"; }
    static std::string Version(S, Bits v) {
        return orka::GetReportedNvmeVersion(static_cast<unsigned long>(v));
    }
    static std::string Pending(S, Bits v) { return v == 0 ? "Not Reported" : std::to_string(v); }
    static std::string Burst(S s, Bits v) { return v == 7 ? "No Limit" : Power2(s, v); }
    static std::string Recovery(S, Bits v) {
        return v == 0 ? "No Timeout" : orka::ToNumberString(v * 100) + " mS";
    }
    static std::string Aggregation(S, Bits v) {
        return v == 0 ? "No Delay" : std::to_string(v * 100) + " uS";
    }
    static std::string Origin(S, Bits v) { return v != 0 ? "Host Programmed" : "Controller Reset"; }
    static std::string Stopped(S, Bits v) { return v == 1 ? "True" : "False"; }
    static std::string Submission(S, Bits v) {
        const char* const words[] = {"No Restriction", "Same Namespace Restriction",
                                     "Any Namespace Restriction"};
        return v < 3 ? words[v] : "Reserved";
    }
    static std::string Oui(S, Bits v) {
        const unsigned char bytes[] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                                       static_cast<unsigned char>(v >> 16)};
        return orka::GetIeeeOui(bytes);
    }
    static std::string Slot(S, Bits v) {
        std::string text;
        for (int byte = 0; byte < 8 && v != 0; ++byte) {
            text += static_cast<char>((v >> (8 * byte)) & 0xFF);
        }
        return text;
    }
};

struct Row {
    std::string name;  // brantix parameter
    Source source;
    std::string key;  // JSON member, or the feature file's suffix ("01", "04-under")
    unsigned int shift;
    unsigned int width;  // 0: the whole value
    Format format;
    // A parameter added only from this NVMe version on, unless its bits are set.
    unsigned long since = 0;
};

constexpr Source CTRL = Source::kIdCtrl;
constexpr Source NS = Source::kIdNs;
constexpr Source SMART = Source::kSmartLog;
constexpr Source FW = Source::kFwLog;
constexpr Source FEATURE = Source::kFeature;
constexpr unsigned long V13 = 0x10300;
constexpr unsigned long V14 = 0x10400;

const Row ROWS[] = {
    // Identify Controller
    {"PCI Vendor ID (VID)", CTRL, "vid", 0, 0, F::Hex4},
    {"Model Number (MN)", CTRL, "mn", 0, 0, F::Text},
    {"IEEE OUI Identifier (IEEE)", CTRL, "ieee", 0, 0, F::Oui},
    {"NVM Subsystem Controllers", CTRL, "cmic", 1, 1, F::MultipleOrSingle},
    {"Maximum Data Transfer Size (MDTS)", CTRL, "mdts", 0, 0, F::TransferSize},
    {"Version (VER)", CTRL, "ver", 0, 0, F::Version},
    {"Device Self-test Command", CTRL, "oacs", 4, 1, F::Supported, V13},
    {"Abort Command Limit (ACL)", CTRL, "acl", 0, 0, F::PlusOne},
    {"Firmware Slot 1 Read Status", CTRL, "frmw", 0, 1, F::SlotReadStatus},
    {"Firmware Slots", CTRL, "frmw", 1, 3, F::Decimal},
    {"Warning Composite Temperature Threshold (WCTEMP)", CTRL, "wctemp", 0, 0, F::Kelvin},
    {"Maximum Submission Queue Entry Size", CTRL, "sqes", 4, 4, F::Power2},
    {"Verify NVM Command", CTRL, "oncs", 7, 1, F::Supported, V14},
    // Identify Namespace 1
    {"Namespace 1 Size in LBA (NSZE)", NS, "nsze", 0, 0, F::Number},
    // SMART / health
    {"Available Space Below Threshold", SMART, "critical_warning", 0, 1, F::Yes},
    {"Composite Temperature", SMART, "temperature", 0, 0, F::Temp},
    {"Available Spare", SMART, "avail_spare", 0, 0, F::Percent},
    {"Data Units Read", SMART, "data_units_read", 0, 0, F::Big},
    {"Controller Busy Time", SMART, "controller_busy_time", 0, 0, F::BigMinutes},
    {"Warning Composite Temperature Time", SMART, "warning_temp_time", 0, 0, F::Minutes},
    // Firmware slots
    {"Firmware Active Slot", FW, "Active Firmware Slot (afi)", 0, 3, F::Decimal},
    {"Firmware Pending Slot", FW, "Active Firmware Slot (afi)", 4, 3, F::Pending},
    // Features
    {"Arbitration Burst (AB)", FEATURE, "01", 0, 3, F::Burst},
    {"Time Limited Error Recovery (TLER)", FEATURE, "05", 0, 16, F::Recovery},
    {"Deallocated or Unwritten Logical Block Error Enable (DULBE)", FEATURE, "05", 16, 1, F::Enabled},
    {"Aggregation Time (TIME)", FEATURE, "08", 8, 8, F::Aggregation},
    {"SMART Critical Warning Notices Enable", FEATURE, "0B", 0, 8, F::Hex2},
    {"Timestamp Origin", FEATURE, "0E", 49, 3, F::Origin},
    {"Timestamp Stopped", FEATURE, "0E", 48, 1, F::Stopped}};

// The feature file for a dump: "Feature 04h: Sensor 2 Under Threshold" -> "04-s2-under".
std::string FeatureFile(const std::string& dump) {
    std::string file = dump.substr(8, 2);
    const auto sensor = dump.find("Sensor ");
    if (sensor != std::string::npos) {
        file += "-s" + dump.substr(sensor + 7, dump.find(' ', sensor + 7) - sensor - 7);
    }
    return dump.find("Under") != std::string::npos ? file + "-under" : file;
}

// Each effect brantix shows for a command, its bits in the effects dword and how brantix writes them.
const struct {
    const char* name;
    unsigned int shift, width;
    Format format;
} EFFECTS[] = {{"Supported", 0, 1, F::Yes},
               {"Logical Block Content Change (LBCC)", 1, 1, F::Yes},
               {"Command Submission and Execution (CSE)", 16, 3, F::Submission},
               {"UUID Selection Supported", 19, 1, F::Supported}};

class Comparison {
  public:
    explicit Comparison(const std::string& results) : results_(results) {
        info_ = ReadJson(results + "/read-all/nvme.info.json");
        brantix_ = info_["nvme"]["parameters"];
        const char* const files[] = {"id-ctrl", "id-ns", "smart-log", "fw-log"};
        for (int source = 0; source < 4; ++source) {
            const std::string path = results + "/" + files[source] + ".out";
            present_[source] = static_cast<bool>(std::ifstream(path));
            documents_[source] = ReadJson(path);
        }
        // fw-log's one member is named after the controller.
        const Json::Value& firmware = documents_[3];
        documents_[3] = firmware.isObject() && firmware.size() == 1 ? firmware[firmware.getMemberNames()[0]]
                                                                    : Json::Value();
    }

    Outcome Run() {
        if (brantix_.isNull()) {
            outcome_.differences.push_back("brantix shows no parameters");
            return outcome_;
        }
        for (const Row& row : ROWS) {
            CompareRow(row);
        }
        // The sensors' thresholds are among the feature dumps; no drive has a slot 8, and neither client
        // shows one.
        for (const std::string n : {"1", "2", "3", "4", "5", "6", "7", "8"}) {
            CompareRow({"Temperature Sensor " + n, SMART, "temperature_sensor_" + n, 0, 0, F::Temp});
            CompareRow({"Firmware Slot " + n + " Revision", FW, "Firmware Rev Slot " + n, 0, 0, F::Slot});
        }
        CompareFeatureDumps(info_, results_, outcome_);
        CompareCommands();
        CompareErrors();
        return outcome_;
    }

  private:
    Shown Find(const Row& row) const {
        Shown shown;
        if (row.source == Source::kFeature) {
            const std::string text = ReadFile(results_ + "/feature-" + row.key + ".out");
            const Feature feature = ReadFeature(text);
            shown.source = !text.empty();
            shown.present = feature.present;
            // The timestamp feature's value is its data, little-endian.
            shown.number = feature.bytes.empty() ? feature.dword : 0;
            for (size_t i = std::min<size_t>(feature.bytes.size(), 8); i > 0; --i) {
                shown.number = shown.number << 8 | static_cast<unsigned char>(feature.bytes[i - 1]);
            }
            return shown;
        }
        const auto source = static_cast<int>(row.source);
        const Json::Value& value = documents_[source][row.key];
        shown.source = present_[source];
        shown.present = !value.isNull();
        shown.number = ClientNumber(value);
        shown.text = value.isString() ? value.asString() : Decimal(shown.number);
        return shown;
    }

    void CompareRow(const Row& row) {
        const Shown shown = Find(row);
        const bool ours = brantix_.isMember(row.name);
        if (!shown.source) {
            return;
        }
        if (!shown.present) {
            // What the other client could not read, brantix must not show either (an empty firmware
            // slot is shown as an empty revision, which nvme-cli leaves out).
            if (ours && !brantix_[row.name]["value"].asString().empty()) {
                outcome_.differences.push_back(row.name + ": only brantix shows it");
            }
            return;
        }
        Wide bits = shown.number >> row.shift;
        if (row.width != 0) {
            bits &= (Wide{1} << row.width) - 1;
        }
        if (!ours && bits == 0 && documents_[0]["ver"].asUInt() < row.since) {
            return;
        }
        Expect(outcome_, row.name, ours ? brantix_[row.name]["value"].asString() : "(none)",
               row.format(shown, static_cast<Bits>(bits)),
               row.source == FEATURE ? "nvme get-feature" : "nvme-cli");
    }

    // brantix's command log against the supported commands of nvme-cli's effects-log (command set 0), in
    // opcode order, admin first. (The error and self-test lists are checked entry by entry on the
    // simulator's drives by the decoders' tests.)
    void CompareCommands() {
        const Json::Value effects = ReadJson(results_ + "/effects-log.out");
        if (effects.isNull()) {
            return;
        }
        std::vector<std::pair<std::string, Bits>> commands;
        std::string counts;
        const char* const sets[][2] = {{"admin_cmd_set", "Admin Command "}, {"io_cmd_set", "IO Command "}};
        for (const auto& [set, type] : sets) {
            // Members are named "ACS_<opcode> (...)" and "IOCS_<opcode> (...)"; bit 0 is "supported".
            std::map<Wide, Bits> supported;
            for (const std::string& key : effects[0][set].getMemberNames()) {
                if ((effects[0][set][key].asUInt64() & 1U) != 0) {
                    supported[ParseNumber(key.substr(key.find('_') + 1))] = effects[0][set][key].asUInt64();
                }
            }
            for (const auto& [opcode, dword] : supported) {
                commands.emplace_back(type + Decimal(opcode), dword);
            }
            counts += (counts.empty() ? "" : " ") + std::to_string(supported.size());
        }
        Expect(outcome_, "supported commands (admin, IO)",
               brantix_["Supported Admin Commands"]["value"].asString() + " " +
                   brantix_["Supported IO Commands"]["value"].asString(),
               counts);
        const Json::Value& ours = info_["nvme"]["command log"];
        Expect(outcome_, "command log entries", std::to_string(ours.size()), std::to_string(commands.size()));
        for (Json::ArrayIndex i = 0; i < ours.size() && i < commands.size(); ++i) {
            const auto& [type, dword] = commands[i];
            Expect(outcome_, "command log " + std::to_string(i), ours[i]["Type"].asString(), type);
            for (const auto& effect : EFFECTS) {
                Expect(outcome_, type + " " + effect.name, ours[i][effect.name].asString(),
                       effect.format({}, dword >> effect.shift & ((1ULL << effect.width) - 1)));
            }
        }
    }

    // Each entry of brantix's error log against nvme-cli's entry with the same error count (nvme-cli may
    // have read the log later, with more entries).
    void CompareErrors() {
        const Json::Value shown = ReadJson(results_ + "/error-log.out")["errors"];
        std::map<Wide, Json::Value> entries;
        for (const Json::Value& entry : shown) {
            entries[ClientNumber(entry["error_count"])] = entry;
        }
        const auto number = [](const Json::Value& value, Wide none, const char* words) {
            const Wide n = ClientNumber(value);
            return n == none ? std::string(words) : orka::ToNumberString(static_cast<unsigned long long>(n));
        };
        for (const Json::Value& ours : info_["nvme"]["error log"]) {
            const std::string count = ours["Error Count"].asString();
            std::string actual;
            for (const char* name : {"Submission Queue ID", "Command ID", "Phase Tag", "Status Field",
                                     "Byte Location", "Bit Location", "LBA", "Namespace"}) {
                actual += ours[name].asString() + ";";
            }
            std::string digits = count;
            orka::RemoveCommas(digits);
            const auto found = entries.find(ParseNumber(digits));
            if (found == entries.end()) {
                outcome_.differences.push_back("error " + count + ": only brantix shows it");
                continue;
            }
            const Json::Value& entry = found->second;
            const Wide location = ClientNumber(entry["parm_error_location"]);
            const Bits sqid = static_cast<Bits>(ClientNumber(entry["sqid"]));
            const Bits cmdid = static_cast<Bits>(ClientNumber(entry["cmdid"]));
            const std::string expected =
                (sqid > 65534 ? "Not Specific" : orka::ToNumberString(sqid)) + ";" +
                (cmdid > 65534 ? "Not Specific" : orka::ToNumberString(cmdid)) + ";" +
                orka::ToHexString(static_cast<Bits>(ClientNumber(entry["phase_tag"])), 1) + ";" +
                orka::ToHexString(static_cast<Bits>(ClientNumber(entry["status_field"])), 4) + ";" +
                (location == 0xFFFF ? "Not Specific;Not Specific"
                                    : std::to_string(static_cast<Bits>(location & 0xFF)) + ";" +
                                          std::to_string(static_cast<Bits>(location >> 8 & 7))) +
                ";" + number(entry["lba"], ~0ULL, "Not Applicable") + ";" +
                number(entry["nsid"], 0xFFFFFFFFULL, "Not Applicable") + ";";
            Expect(outcome_, "error " + count + " (SQID;CID;phase;status;byte;bit;LBA;NSID)", actual,
                   expected);
        }
    }

    std::string results_;
    Json::Value info_;
    Json::Value brantix_;
    bool present_[4] = {};
    Json::Value documents_[4];
    Outcome outcome_;
};

}  // namespace

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

Json::Value ReadJson(const std::string& path) {
    Json::Value value;
    std::istringstream in(ReadFile(path));
    Json::CharReaderBuilder builder;
    std::string errors;
    return Json::parseFromStream(builder, in, &value, &errors) ? value : Json::Value();
}

Wide ParseNumber(const std::string& text) {
    const bool hex = text.compare(0, 2, "0x") == 0;
    Wide result = 0;
    for (size_t i = hex ? 2 : 0; i < text.size(); ++i) {
        const auto digit = std::string("0123456789abcdef").find(static_cast<char>(std::tolower(text[i])));
        if (digit >= (hex ? 16U : 10U)) {
            break;
        }
        result = result * (hex ? 16 : 10) + digit;
    }
    return result;
}

Wide ClientNumber(const Json::Value& value) {
    if (value.isString()) {
        return ParseNumber(value.asString());
    }
    return value.isInt64() && value.asInt64() < 0 ? static_cast<uint32_t>(value.asInt64()) : value.asUInt64();
}

Feature ReadFeature(const std::string& text) {
    Feature feature;
    const std::string marker = "Current value:";
    const auto at = text.find(marker);
    if (at == std::string::npos) {
        return feature;
    }
    feature.present = true;
    const std::string value = text.substr(at + marker.size(), 10);
    feature.dword =
        static_cast<unsigned long long>(ParseNumber(value.compare(0, 2, "0x") == 0 ? value : "0x" + value));
    // Data rows: "0000: b3 d4 ... \"text\"".
    std::istringstream lines(text.substr(at));
    for (std::string line; std::getline(lines, line);) {
        if (line.size() > 6 && line[4] == ':' && std::isxdigit(static_cast<unsigned char>(line[0]))) {
            std::istringstream bytes(line.substr(5));
            for (std::string byte; bytes >> byte && byte.size() == 2 && byte[0] != '"';) {
                feature.bytes += static_cast<char>(static_cast<unsigned char>(ParseNumber("0x" + byte)));
            }
        }
    }
    return feature;
}

void CompareFeatureDumps(const Json::Value& info, const std::string& results, Outcome& outcome) {
    const Json::Value controller = ReadJson(results + "/id-ctrl.out");
    for (const auto& key : info["raw hex data"].getMemberNames()) {
        // The timestamp moves on between two reads.
        if (key.compare(0, 8, "Feature ") != 0 || key.compare(0, 11, "Feature 0Eh") == 0) {
            continue;
        }
        const std::string file = results + "/feature-" + FeatureFile(key) + ".out";
        if (!std::ifstream(file)) {
            continue;
        }
        const Feature feature = ReadFeature(ReadFile(file));
        const Bits dword = feature.dword;
        std::string bytes = {static_cast<char>(dword), static_cast<char>(dword >> 8),
                             static_cast<char>(dword >> 16), static_cast<char>(dword >> 24)};
        // Data buffers as long as brantix dumps them: the power states but the last, all of them, the host
        // memory buffer's descriptor.
        const std::map<std::string, unsigned int> buffers = {
            {"Feature 0Ch: Autonomous Power State Transition Buffer", controller["npss"].asUInt() * 8},
            {"Feature 0Ch: Autonomous Power State Transition States",
             std::min(controller["npss"].asUInt() + 1, 32U) * 8},
            {"Feature 0Dh: Host Memory Buffer Data Buffer", 16}};
        if (buffers.count(key) != 0) {
            bytes = feature.bytes.substr(0, buffers.at(key));
        }
        Json::Value expected;
        orka::FormatHexData(bytes.data(), static_cast<unsigned int>(bytes.size()), expected);
        Expect(outcome, key, info["raw hex data"][key].toStyledString(), expected.toStyledString(),
               "nvme get-feature");
    }
}

std::string Decimal(const Wide& value) {
    return value.str();
}

void Expect(Outcome& outcome, const std::string& what, const std::string& actual, const std::string& expected,
            const std::string& client) {
    if (actual == expected) {
        ++outcome.same;
    } else {
        outcome.differences.push_back(what + ": brantix \"" + actual + "\", " + client + " \"" + expected +
                                      "\"");
    }
}

Outcome CompareWithClients(const std::string& results) {
    return Comparison(results).Run();
}

}  // namespace crosscheck
