// Parameter records, the parameter catalogue and value formatting.
#include "orka_nvme.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <iomanip>
#include <vector>

#include "get_feature.h"
#include "identify_controller.h"
#include "identify_namespace.h"
#include "logpage.h"
#include "nvme_admin_command.h"

namespace orka {

namespace {

std::map<std::string, parameter_info> BuildCatalogue() {
    std::map<std::string, parameter_info> catalogue;
    for (const auto& row : CATALOGUE_ROWS) {
        catalogue[row.name] = parameter_info{row.source, row.description};
    }
    return catalogue;
}

struct IndexRange {
    const char* prefix;
    int first;
    int last;
};

// Templates whose first "#" takes each index of a range.
constexpr IndexRange INDEXED_NAMES[] = {
    {"Power State #", 0, 31}, {"Temperature Sensor #", 1, 8}, {"LBA Range #", 0, 15},
    {"Self-Test #", 1, 20},   {"Firmware Slot #", 1, 7},      {"Error #", 0, 255},
};

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string ReplaceFirstHash(std::string name, const std::string& with) {
    const auto hash = name.find('#');
    if (hash != std::string::npos) {
        name.replace(hash, 1, with);
    }
    return name;
}

}  // namespace

std::map<std::string, parameter_info> PARAMETER_INFO = BuildCatalogue();

void ExpandParameterCatalogue() {
    std::map<std::string, parameter_info> added;
    for (const auto& [name, info] : PARAMETER_INFO) {
        for (const auto& range : INDEXED_NAMES) {
            if (StartsWith(name, range.prefix)) {
                for (int index = range.first; index <= range.last; ++index) {
                    added[ReplaceFirstHash(name, std::to_string(index))] = info;
                }
            }
        }
        // Only namespace 1 is reported; its LBA formats take 0 to 15.
        if (StartsWith(name, "Namespace #")) {
            const std::string single = ReplaceFirstHash(name, "1");
            if (StartsWith(single, "Namespace 1 LBA #")) {
                for (int index = 0; index <= 15; ++index) {
                    added[ReplaceFirstHash(single, std::to_string(index))] = info;
                }
            } else {
                added[single] = info;
            }
        }
    }
    PARAMETER_INFO.insert(added.begin(), added.end());
    for (auto entry = PARAMETER_INFO.begin(); entry != PARAMETER_INFO.end();) {
        entry = entry->first.find('#') != std::string::npos ? PARAMETER_INFO.erase(entry) : std::next(entry);
    }
}

Json::Value& CommandList(Json::Value& info) {
    Json::Value& commands = info["_metadata"]["commands"];
    if (commands.isNull()) {
        commands = Json::Value(Json::arrayValue);
    }
    return commands;
}

void AddParameter(Json::Value& parameters, const std::string& name, const std::string& value) {
    const auto entry = PARAMETER_INFO.find(name);
    if (entry == PARAMETER_INFO.end()) {
        throw OrkaError("Parameter '" + name + "' not in parameter descriptions");
    }
    Json::Value& record = parameters[name];
    record["name"] = name;
    record["value"] = value;
    record["description"] = entry->second.description;
    record["source"] = entry->second.source;
    LOG_VERBOSE << "Adding parameter '" << name << "' = " << value;
}

// ---------------------------------------------------------------------------
// Drive information collection
// ---------------------------------------------------------------------------

namespace {

// The active namespace list (Identify CNS 02h) holds up to 1024 identifiers, ended by the first 0.
constexpr unsigned int ACTIVE_NAMESPACE_LIST_ENTRIES = IDENTIFY_NAMESPACE_LENGTH / 4;

// Bytes of a namespace: NSZE blocks of the LBA format FLBAS selects. A block size that does not fit
// in 64 bits counts as nothing.
std::uint64_t NamespaceBytes(const ORKA_NVME_IDENTIFY_NAMESPACE_DATA& data) {
    const unsigned int lbads = data.LBAF[GetBits(data.FLBAS, FLBAS_FORMAT)].LBADS;
    return lbads < 64 ? data.NSZE.get() << lbads : 0;
}

// Reads the active namespace list into `ids`; the list is allowed to fail (older drives lack it).
bool ReadActiveNamespaces(int fd, Json::Value& commands, Json::Value& record,
                          std::vector<unsigned int>& ids) {
    std::vector<unsigned char> list(IDENTIFY_NAMESPACE_LENGTH, 0);
    if (NvmeAdminCommand(fd, "Identify Active Namespace List", commands, record, 0x06, 0, 2, 0, 0, 0, 0, 0,
                         list.data(), nullptr, IDENTIFY_NAMESPACE_LENGTH, true) != 0) {
        return false;
    }
    for (unsigned int entry = 0; entry < ACTIVE_NAMESPACE_LIST_ENTRIES; ++entry) {
        std::uint32_t nsid = 0;
        for (unsigned int byte = 4; byte-- > 0;) {
            nsid = (nsid << 8) | list[entry * 4 + byte];
        }
        if (nsid == 0) {
            break;
        }
        ids.push_back(nsid);
    }
    return true;
}

// Namespace 1 gives the "Namespace 1" parameters; the total size sums every active namespace, or is
// namespace 1's own size when the active list cannot be read. Returns the size label ("512GB"),
// empty when no size could be read.
std::string CollectNamespaces(int fd, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, Json::Value& info,
                              bool log_hex, unsigned int& highest, Json::Value& record) {
    Json::Value& commands = CommandList(info);
    const unsigned int version = controller.VER.get();
    ORKA_NVME_IDENTIFY_NAMESPACE_DATA first{};
    const bool have_first = controller.NN.get() >= 1 &&
                            GetIdentifyNamespace(fd, first, 1, info, log_hex, version, highest, record) == 0;

    std::uint64_t total = have_first ? NamespaceBytes(first) : 0;
    bool known = have_first;
    std::vector<unsigned int> active;
    if (ReadActiveNamespaces(fd, commands, record, active)) {
        total = 0;
        known = true;
        for (const unsigned int nsid : active) {
            if (nsid == 1) {
                total += have_first ? NamespaceBytes(first) : 0;
                continue;
            }
            ORKA_NVME_IDENTIFY_NAMESPACE_DATA other{};
            if (NvmeAdminCommand(fd, "Identify Namespace " + std::to_string(nsid), commands, record, 0x06,
                                 nsid, 0, 0, 0, 0, 0, 0, reinterpret_cast<unsigned char*>(&other), nullptr,
                                 IDENTIFY_NAMESPACE_LENGTH, false) == 0) {
                total += NamespaceBytes(other);
            }
        }
    }
    if (!known) {
        return "";
    }
    Json::Value& parameters = info["nvme"]["parameters"];
    const auto bytes = static_cast<double>(total);
    AddParameter(parameters, "Size", ToFixedString(bytes, 0) + " Bytes");
    AddParameter(parameters, "Size in GiB", ToFixedString(bytes / 1024 / 1024 / 1024, 1) + " GiB");
    AddParameter(parameters, "Size in GB", ToFixedString(bytes / 1000 / 1000 / 1000, 1) + " GB");
    AddParameter(parameters, "Size in TB", ToFixedString(bytes / 1000 / 1000 / 1000 / 1000, 1) + " TB");
    return ToFixedString(bytes / 1000 / 1000 / 1000, 0) + "GB";
}

void AddModelParameters(Json::Value& parameters) {
    std::string model = parameters["Model Number (MN)"]["value"].asString();
    Trim(model);
    AddParameter(parameters, "Model", model);
    std::replace(model.begin(), model.end(), ' ', '_');
    AddParameter(parameters, "Model No Spaces", model);
}

// "NVMe <drive> : <vendor> <model> [<size>]": the vendor's name is taken out of the model and the
// size label is left off when the model already holds it.
std::string UniqueDescription(const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, const std::string& drive,
                              const std::string& size_label) {
    const std::string vendor = LookupPciVendor(ToHexString(controller.VID.get(), 4));
    std::string model(controller.MN, sizeof controller.MN);
    model.resize(std::min(model.find('\0'), model.size()));
    Trim(model);
    std::string lower_model = model;
    std::string lower_vendor = vendor;
    LowerCase(lower_model);
    LowerCase(lower_vendor);
    const auto at = lower_model.find(lower_vendor);
    if (at != std::string::npos) {
        model.erase(at, vendor.size());
        Trim(model);
    }
    std::string description = "NVMe " + drive + " : " + vendor + " " + model;
    if (model.find(size_label) == std::string::npos) {
        description += " " + size_label;
    }
    return description;
}

// "PASS" when no command that was not allowed to fail failed; else the failed commands are named.
bool CommandVerdict(Json::Value& metadata) {
    std::string failed;
    for (const Json::Value& command : metadata["commands"]) {
        if (command["return code"].asInt() != 0 && !command["allowed"].asBool()) {
            failed += (failed.empty() ? "" : ", ") + command["admin command"].asString();
        }
    }
    metadata["result"] = failed.empty() ? "PASS" : "FAIL";
    metadata["read status"] = failed.empty() ? "All commands passed" : failed + " failed";
    return failed.empty();
}

}  // namespace

bool GetNvmeInfo(int fd, ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, const Json::Value& settings,
                 Json::Value& record, Json::Value& info) {
    const TimePoint start = std::chrono::system_clock::now();
    LOG_DEBUG << "GetNvmeInfo started...";
    try {
        const bool log_hex = settings["log hex data"].asBool();
        CommandList(info);
        info["_metadata"]["file type"] = "nvme info";
        info["nvme"]["health status"] = "Unknown";
        info["nvme"]["temp status"] = "Unknown";
        Json::Value& parameters = info["nvme"]["parameters"];
        unsigned int highest = 0;

        if (settings["read identify controller"].asBool()) {
            GetIdentifyController(fd, controller, info, log_hex, highest, record);
            if (parameters.isMember("Model Number (MN)")) {
                AddModelParameters(parameters);
            }
            if (highest == 0) {
                highest = controller.VER.get();
            }
        }
        std::string size_label;
        if (settings["read identify namespace"].asBool()) {
            size_label = CollectNamespaces(fd, controller, info, log_hex, highest, record);
        }
        GetLogPages(fd, info, record, settings, controller, highest);
        GetFeatures(fd, info, record, settings, controller);

        AddParameter(parameters, "Highest Version Detected", GetNvmeVersion(highest));
        AddParameter(parameters, "OS Location", settings["common"]["nvme path"].asString());
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        const auto milliseconds = static_cast<unsigned long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
        AddParameter(parameters, "Host Timestamp", ToNumberString(milliseconds) + " mS");
        AddParameter(parameters, "Host Timestamp Decoded", MillisecondsToDate(milliseconds));
        AddParameter(parameters, "Unique Description",
                     UniqueDescription(controller, settings["common"]["drive"].asString(), size_label));

        const bool passed = CommandVerdict(info["_metadata"]);
        LOG_DEBUG << "Get Nvme Information completed in " << GetHiResDiffTimeString(start, 3);
        return passed;
    } catch (const std::exception& error) {
        LOG_ERROR << "GetNvmeInfo: " << error.what();
        info["_metadata"]["result"] = "FAIL";
        info["_metadata"]["read status"] = error.what();
    } catch (...) {
        LOG_ERROR << "GetNvmeInfo: Unknown exception type";
        info["_metadata"]["result"] = "FAIL";
        info["_metadata"]["read status"] = "Unknown exception type";
    }
    return false;
}

// ---------------------------------------------------------------------------
// Value formatters
// ---------------------------------------------------------------------------

namespace {

constexpr char LOWER_HEX_DIGITS[] = "0123456789abcdef";

// The first `count` bytes as lower-case hex, a "-" after each byte index in `dash_after`.
std::string HexBytes(const unsigned char* bytes, unsigned int count,
                     std::initializer_list<unsigned int> dash_after) {
    std::string text;
    for (unsigned int index = 0; index < count; ++index) {
        text += LOWER_HEX_DIGITS[bytes[index] >> 4];
        text += LOWER_HEX_DIGITS[bytes[index] & 0xF];
        if (std::find(dash_after.begin(), dash_after.end(), index) != dash_after.end()) {
            text += '-';
        }
    }
    return text;
}

bool IsVersion(unsigned int level, unsigned int version, unsigned int& highest, unsigned long long present) {
    if (version < level && present == 0) {
        return false;
    }
    highest = std::max(highest, level);
    return true;
}

}  // namespace

namespace detail {

std::string GroupDigits(const std::string& decimal) {
    std::string text = decimal;
    const long long first_digit = !text.empty() && text[0] == '-' ? 1 : 0;
    GroupThousands(text, static_cast<long long>(text.size()), first_digit);
    return text;
}

}  // namespace detail

std::string ToFloatNumberString(double value, unsigned int decimals) {
    std::string text = std::to_string(value);
    std::size_t point = text.find('.');
    if (point == std::string::npos) {
        point = text.size();
    } else if (text.size() > point + 1 + decimals) {
        text.resize(point + 1 + decimals);
    }
    // Grouping counts characters, so a sign can take a comma after it ("-,123.5").
    GroupThousands(text, static_cast<long long>(point), 0);
    return text;
}

std::string ToFixedString(double value, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << value;
    return text.str();
}

std::string ToTemp(unsigned short kelvin) {
    return ToNumberString(static_cast<int>(kelvin) - static_cast<int>(KELVIN_TO_CELSIUS)) + " C";
}

std::string GetFguid(const unsigned char* bytes) {
    return HexBytes(bytes, 16, {2});
}

std::string GetEuid(const unsigned char* bytes) {
    return HexBytes(bytes, 8, {2});
}

std::string GetNguid(const unsigned char* bytes) {
    return HexBytes(bytes, 16, {7, 10});
}

std::string GetIeeeOui(const unsigned char* bytes) {
    const unsigned char reversed[] = {bytes[2], bytes[1], bytes[0]};
    return HexBytes(reversed, 3, {0, 1});
}

std::string GetNvmeVersion(unsigned long version) {
    const auto part = [version](unsigned int byte) {
        return std::to_string(static_cast<int>(static_cast<std::int8_t>((version >> (byte * 8)) & 0xFF)));
    };
    return part(2) + "." + part(1) + "." + part(0);
}

const std::map<std::string, std::string> VENDOR_PCI_LOOKUP = {
    {"0x8086", "Intel"},   {"0x144D", "Samsung"},         {"0x1C5C", "SK Hynix"}, {"0x1179", "Toshiba"},
    {"0x1BB1", "Seagate"}, {"0x1B96", "Western Digital"}, {"0x1344", "Micron"},   {"0x15B7", "Sandisk"},
};

std::string LookupPciVendor(const std::string& id) {
    std::string key = id;
    UpperCase(key);
    if (key.size() > 1) {
        key[1] = 'x';
    }
    const auto entry = VENDOR_PCI_LOOKUP.find(key);
    return entry == VENDOR_PCI_LOOKUP.end() ? "Unknown" : entry->second;
}

bool IsVersion1p3(unsigned int version, unsigned int& highest, unsigned long long present) {
    return IsVersion(0x00010300, version, highest, present);
}

bool IsVersion1p4(unsigned int version, unsigned int& highest, unsigned long long present) {
    return IsVersion(0x00010400, version, highest, present);
}

}  // namespace orka
