// Replay of a captured drive: an information file written with "log hex data" holds every page the
// drive returned as a hex dump under "raw hex data", the failed commands under "_metadata" /
// "commands" and the host's sysfs facts among its parameters. Here it becomes a Drive whose images are
// the captured bytes.
#include <algorithm>
#include <cstdio>
#include <set>

#include "profile.h"

namespace brantix_sim {

namespace {

// Where a byte's two hex digits and its text character stand in a dump line.
size_t HexColumn(size_t k) {
    return 11 + 3 * k + (k >= 8 ? 4 : 0);
}
size_t TextColumn(size_t k) {
    return 70 + 2 * k + (k >= 8 ? 4 : 0);
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string Hex4(size_t value) {
    char text[8];
    snprintf(text, sizeof text, "0x%04zX", value & 0xFFFF);
    return text;
}

// A member of an object; null for anything else, so that a file of another shape cannot throw.
const Json::Value& Member(const Json::Value& value, const char* key) {
    static const Json::Value NOTHING;
    return value.isObject() && value.isMember(key) ? value[key] : NOTHING;
}

std::string Value(const Json::Value& parameters, const char* name) {
    const Json::Value& parameter = Member(parameters, name);
    return Member(parameter, "value").isString() ? parameter["value"].asString() : "";
}

bool Known(const std::string& text) {
    return !text.empty() && text != "N/A";
}

// Sysfs texts back from the parameters that show them.
std::string SpeedFile(const std::string& shown) {
    static const char* const SPEEDS[][2] = {{"Gen5 32.0GT/s", "32.0 GT/s PCIe"},
                                            {"Gen4 16.0GT/s", "16.0 GT/s PCIe"},
                                            {"Gen3 8.0GT/s", "8.0 GT/s PCIe"},
                                            {"Gen2 5.0GT/s", "5.0 GT/s PCIe"},
                                            {"Gen1 2.5GT/s", "2.5 GT/s PCIe"}};
    for (const auto& speed : SPEEDS) {
        if (shown == speed[0]) {
            return speed[1];
        }
    }
    return "Unknown";
}

std::string WidthFile(const std::string& shown) {
    return shown.size() > 1 && shown[0] == 'x' ? shown.substr(1) : "N/A";
}

// "Bus 01, device 00, function 0" in the PCI domain `domain` ("0000").
std::string AddressOf(const std::string& location, const std::string& domain) {
    char bus[16] = {};
    char device[16] = {};
    char function[16] = {};
    if (sscanf(location.c_str(), "Bus %15[^,], device %15[^,], function %15s", bus, device, function) != 3) {
        return "";
    }
    return domain + ":" + bus + ":" + device + "." + function;
}

// The subsystem that names the controller's block devices, from its line of the host's drive overview
// ("DRIVE 3 : ... : nvme2n1, nvme2n2"); -1 when the line does not show it.
int SubsystemOf(const Json::Value& overview, unsigned controller) {
    const std::string mark = "DRIVE " + std::to_string(controller) + " ";
    for (const auto& line : overview) {
        const std::string text = line.isString() ? line.asString() : "";
        const auto names = text.rfind(" : ");
        unsigned subsystem = 0;
        char n = 0;
        if (text.compare(0, mark.size(), mark) == 0 && names != std::string::npos &&
            sscanf(text.c_str() + names, " : nvme%u%c", &subsystem, &n) == 2 && n == 'n') {
            return static_cast<int>(subsystem);
        }
    }
    return -1;
}

// The sysfs side of the drive, as a profile would give it.
Json::Value SysfsSource(const Json::Value& parameters, const Json::Value& system, unsigned vendor) {
    Json::Value source(Json::objectValue);
    const std::string location = Value(parameters, "OS Location");
    unsigned controller = 0;
    if (sscanf(location.c_str(), "/dev/nvme%u", &controller) == 1) {
        source["controller"] = controller;
    }
    if (const int subsystem = SubsystemOf(Member(system, "nvme list"), controller); subsystem >= 0) {
        source["subsystem"] = subsystem;
    }
    const std::string transport = Value(parameters, "Transport");
    if (Known(transport)) {
        source["transport"] = transport;
    }
    const std::string address = Value(parameters, "Transport Address");
    if (Known(address)) {
        source["address"] = address;
    }
    if (!Known(transport) || transport == "pcie") {
        Json::Value& pci = source["pci"];
        char id[8];
        snprintf(id, sizeof id, "0x%04x", vendor);
        pci["vendor"] = id;
        const std::string domain = Known(address) && address.find(':') == 4 ? address.substr(0, 4) : "0000";
        if (Known(address)) {
            pci["address"] = address;
        } else if (const std::string at = AddressOf(Value(parameters, "PCI Location"), domain); !at.empty()) {
            pci["address"] = at;
        }
        if (parameters.isMember("PCI Speed")) {
            pci["device"] = Value(parameters, "PCI Device ID");
            pci["max_link_speed"] = SpeedFile(Value(parameters, "PCI Rated Speed"));
            pci["current_link_speed"] = SpeedFile(Value(parameters, "PCI Speed"));
            pci["max_link_width"] = WidthFile(Value(parameters, "PCI Rated Width"));
            pci["current_link_width"] = WidthFile(Value(parameters, "PCI Width"));
        }
        if (const std::string root = AddressOf(Value(parameters, "Root PCI Location"), domain);
            !root.empty()) {
            pci["upstream"]["address"] = root;
            pci["upstream"]["vendor"] = Value(parameters, "Root PCI Vendor ID");
            pci["upstream"]["device"] = Value(parameters, "Root PCI Device ID");
        }
    }
    return source;
}

unsigned ParseHexId(const std::string& text, size_t from, size_t length, bool& ok) {
    unsigned value = 0;
    ok = length > 0 && from + length <= text.size();
    for (size_t i = from; ok && i < from + length; ++i) {
        const int digit = HexDigit(text[i]);
        ok = digit >= 0;
        value = value * 16 + static_cast<unsigned>(digit < 0 ? 0 : digit);
    }
    return value;
}

// Checks a dump's length against what the page holds; `exact` 0 leaves it free.
void Expect(const Bytes& bytes, size_t exact, const std::string& where) {
    if (exact != 0 && bytes.size() != exact) {
        throw ProfileError(where + ": " + std::to_string(bytes.size()) + " bytes, the page has " +
                           std::to_string(exact));
    }
}

Bytes Padded(Bytes bytes, size_t size) {
    if (bytes.size() < size) {
        bytes.resize(size, 0);
    }
    return bytes;
}

void AddLog(Drive& drive, unsigned lid, const Bytes& bytes, const std::string& where) {
    switch (lid) {
        case 0x02:
        case 0x03:
            Expect(bytes, 512, where);
            break;
        case 0x04:
        case 0x05:
            Expect(bytes, 4096, where);
            break;
        case 0x06:
            Expect(bytes, 564, where);
            break;
        case 0x01:
            // The entries up to the error count and 8 bytes more, or the whole page.
            if (bytes.size() % 64 != 8 && bytes.size() % 64 != 0) {
                throw ProfileError(where + ": " + std::to_string(bytes.size()) +
                                   " bytes, not whole 64-byte error entries");
            }
            break;
        case 0x07:
        case 0x08:
            if (bytes.size() % 512 != 0) {
                throw ProfileError(where + ": " + std::to_string(bytes.size()) +
                                   " bytes, not whole 512-byte telemetry blocks");
            }
            break;
        default:
            break;
    }
    drive.logs[lid] = bytes;
}

// "Composite Over Threshold", "Sensor 3 Under Threshold": the threshold selector of feature 04h.
bool ThresholdKey(const std::string& rest, unsigned& key) {
    unsigned sensor = 0;
    std::string kind;
    if (rest.compare(0, 10, "Composite ") == 0) {
        kind = rest.substr(10);
    } else {
        char word[16] = {};
        if (sscanf(rest.c_str(), "Sensor %u %15s", &sensor, word) != 2 || sensor < 1 || sensor > 8) {
            return false;
        }
        kind = std::string(word) + rest.substr(rest.find(word) + std::string(word).size());
    }
    if (kind != "Over Threshold" && kind != "Under Threshold") {
        return false;
    }
    key = (sensor << 4) | (kind == "Under Threshold" ? 1U : 0U);
    return true;
}

uint32_t Dword(const Bytes& bytes, const std::string& where) {
    Expect(bytes, 4, where);
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

void AddFeature(Drive& drive, unsigned fid, const std::string& rest, const Bytes& bytes,
                const std::string& where) {
    // The dumps of a data buffer, with the size the command transfers.
    static const struct {
        unsigned fid;
        const char* name;
        size_t size;
        size_t unit;
    } BUFFERS[] = {{0x0C, "Autonomous Power State Transition Buffer", 256, 8},
                   // All the states decoded, where the buffer's dump has one fewer; it comes after it.
                   {0x0C, "Autonomous Power State Transition States", 256, 8},
                   {0x0D, "Host Memory Buffer Data Buffer", 4096, 16},
                   {0x0E, "Timestamp", 8, 8}};
    for (const auto& buffer : BUFFERS) {
        if (buffer.fid == fid && rest == buffer.name) {
            if (bytes.size() > buffer.size || bytes.size() % buffer.unit != 0) {
                throw ProfileError(where + ": " + std::to_string(bytes.size()) +
                                   " bytes, not a buffer of this feature");
            }
            drive.features[fid].buffer = Padded(bytes, buffer.size);
            return;
        }
    }
    unsigned key = 0;
    if (fid == 0x04 && ThresholdKey(rest, key)) {
        drive.thresholds[key] = Dword(bytes, where);
        drive.features[fid];
        return;
    }
    drive.features[fid].dw0 = Dword(bytes, where);
}

// One dump by its key under "raw hex data".
void AddDump(Drive& drive, const std::string& key, const Bytes& bytes, Bytes& telemetry_7,
             Bytes& telemetry_8) {
    const std::string where = "\"raw hex data\" / \"" + key + "\"";
    unsigned number = 0;
    char tail = 0;
    bool ok = false;
    if (key == "Identify Controller") {
        Expect(bytes, 4096, where);
        drive.identify_controller = bytes;
    } else if (key == "Identify Active Namespace List") {
        if (bytes.empty() || bytes.size() > 4096 || bytes.size() % 4 != 0) {
            throw ProfileError(where + ": " + std::to_string(bytes.size()) +
                               " bytes, not a list of namespace identifiers");
        }
        drive.active_list = Padded(bytes, 4096);
        drive.active_list_held = true;
    } else if (sscanf(key.c_str(), "Identify Namespace %u%c", &number, &tail) == 1 && number != 0) {
        Expect(bytes, 4096, where);
        Namespace ns;
        ns.nsid = number;
        ns.identify = bytes;
        ns.sectors = NamespaceSectors(bytes);
        drive.namespaces.push_back(ns);
    } else if (key.compare(0, 11, "log page 0x") == 0 && key.size() == 13) {
        const unsigned lid = ParseHexId(key, 11, 2, ok);
        if (ok) {
            AddLog(drive, lid, bytes, where);
        }
    } else if (key == "log page 7 pre" || key == "log page 8 pre") {
        Expect(bytes, 512, where);
        (key[9] == '7' ? telemetry_7 : telemetry_8) = bytes;
    } else if (key.compare(0, 8, "Feature ") == 0 && key.size() > 13 && key.compare(10, 3, "h: ") == 0) {
        const unsigned fid = ParseHexId(key, 8, 2, ok);
        if (ok) {
            AddFeature(drive, fid, key.substr(13), bytes, where);
        }
    }
    // Other keys are kept for the reader and not needed to answer.
}

}  // namespace

Bytes ParseHexDump(const Json::Value& lines, const std::string& where) {
    if (!lines.isArray()) {
        throw ProfileError(where + ": not a hex dump (an array of lines)");
    }
    Bytes bytes;
    bool ended = false;
    for (Json::ArrayIndex i = 0; i < lines.size(); ++i) {
        const std::string at = where + " line " + std::to_string(i + 1);
        if (!lines[i].isString()) {
            throw ProfileError(at + ": not a text");
        }
        const std::string& line = lines[i].asString();
        if (ended) {
            throw ProfileError(at + ": follows a short line");
        }
        if (line.size() != 105 || line.compare(0, 6, Hex4(16 * static_cast<size_t>(i))) != 0 ||
            line.compare(6, 5, "  |  ") != 0) {
            throw ProfileError(at + ": truncated or garbled (\"" + line.substr(0, 24) + "\")");
        }
        for (size_t k = 0; k < 16; ++k) {
            const char high = line[HexColumn(k)];
            const char low = line[HexColumn(k) + 1];
            if (high == '.' && low == '.') {
                ended = true;
                continue;
            }
            const int value = HexDigit(high) * 16 + HexDigit(low);
            if (ended || HexDigit(high) < 0 || HexDigit(low) < 0) {
                throw ProfileError(at + ": byte " + std::to_string(k) + " is not two hex digits");
            }
            const char shown = value > 31 && value < 127 ? static_cast<char>(value) : '.';
            if (line[TextColumn(k)] != shown) {
                throw ProfileError(at + ": byte " + std::to_string(k) + " disagrees with its text");
            }
            bytes.push_back(static_cast<uint8_t>(value));
        }
    }
    return bytes;
}

bool IsCapture(const Json::Value& root) {
    return !root.isObject() || !root.isMember("drives");
}

Drive ParseCapture(const Json::Value& root, Host& host) {
    const Json::Value& metadata = Member(root, "_metadata");
    if (Member(metadata, "file type") != "nvme info") {
        throw ProfileError("not an information file (no \"_metadata\" / \"file type\" \"nvme info\")");
    }
    const Json::Value& raw = Member(root, "raw hex data");
    if (!raw.isObject() || raw.empty()) {
        throw ProfileError("an information file without raw data: read it with \"log hex data\" true");
    }
    Drive dumped;
    Bytes telemetry[2];
    for (const auto& key : raw.getMemberNames()) {
        AddDump(dumped, key, ParseHexDump(raw[key], "\"raw hex data\" / \"" + key + "\""), telemetry[0],
                telemetry[1]);
    }
    if (dumped.identify_controller.empty()) {
        throw ProfileError("no \"raw hex data\" / \"Identify Controller\"");
    }
    const Json::Value& parameters = Member(Member(root, "nvme"), "parameters");
    const unsigned vendor = dumped.identify_controller[0] | dumped.identify_controller[1] << 8U;
    const Json::Value& system = Member(metadata, "system");
    Drive drive = ParseDrive(SysfsSource(parameters, system, vendor), 0);
    drive.identify_controller = dumped.identify_controller;
    drive.namespaces = dumped.namespaces;
    std::sort(drive.namespaces.begin(), drive.namespaces.end(),
              [](const Namespace& a, const Namespace& b) { return a.nsid < b.nsid; });
    drive.logs = dumped.logs;
    drive.features = dumped.features;
    drive.thresholds = dumped.thresholds;
    drive.active_list = dumped.active_list;
    drive.active_list_held = dumped.active_list_held;
    drive.replay = true;
    // A telemetry log whose data the read could not take is replayed from its header.
    for (unsigned lid = 7; lid <= 8; ++lid) {
        if (drive.logs.count(lid) == 0 && !telemetry[lid - 7].empty()) {
            drive.logs[lid] = telemetry[lid - 7];
        }
    }
    // The error log's dump ends after the entries that count; the page is as long as ELPE says.
    if (drive.logs.count(1) != 0) {
        drive.logs[1] = Padded(drive.logs[1], (drive.identify_controller[262] + size_t{1}) * 64);
    }
    if (drive.logs.count(2) != 0) {
        const Bytes& health = drive.logs[2];
        drive.power_on_hours =
            health[128] | health[129] << 8U | health[130] << 16U | static_cast<uint64_t>(health[131]) << 24U;
    }
    std::set<std::string> passed;
    for (const Json::Value& command : Member(metadata, "commands")) {
        const Json::Value& code_value = Member(command, "return code");
        const Json::Value& name_value = Member(command, "admin command");
        const std::string name = name_value.isString() ? name_value.asString() : "";
        const int code = code_value.isInt() ? code_value.asInt() : 0;
        if (code == 0) {
            passed.insert(name);
            continue;
        }
        const int status = Member(command, "nvme status").isInt() ? command["nvme status"].asInt() : 0;
        drive.recorded[name] = status != 0 ? RecordedFailure{0, status} : RecordedFailure{code, 0};
    }
    // A capture made before the list was dumped: the namespaces it holds are the active ones.
    if (!drive.active_list_held && passed.count("Identify Active Namespace List") != 0) {
        drive.active_list.assign(4096, 0);
        for (size_t i = 0; i < drive.namespaces.size() && i < 1024; ++i) {
            for (size_t b = 0; b < 4; ++b) {
                drive.active_list[4 * i + b] = static_cast<uint8_t>(drive.namespaces[i].nsid >> (8 * b));
            }
        }
        drive.active_list_held = true;
    }
    for (const auto& [key, text] : {std::pair<const char*, std::string*>{"bios version", &host.bios_version},
                                    {"manufacturer", &host.board_vendor},
                                    {"model", &host.product_name}}) {
        if (Member(system, key).isString()) {
            *text = system[key].asString();
        }
    }
    return drive;
}

}  // namespace brantix_sim
