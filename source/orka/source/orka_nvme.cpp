// Parameter records, the parameter catalogue and value formatting.
#include "orka_nvme.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <iomanip>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "get_feature.h"
#include "identify_controller.h"
#include "identify_namespace.h"
#include "logpage.h"
#include "nvme_admin_command.h"
#include "orka_linux.h"

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

// The numbered names a "#" name stands for, built from its index range alone;
// empty for a name without "#" or with a "#" that has no expansion.
std::vector<std::string> NumberedNames(const std::string& name) {
    std::vector<std::string> names;
    if (name.find('#') == std::string::npos) {
        return names;
    }
    for (const auto& range : INDEXED_NAMES) {
        if (StartsWith(name, range.prefix)) {
            for (int index = range.first; index <= range.last; ++index) {
                names.push_back(ReplaceFirstHash(name, std::to_string(index)));
            }
            return names;
        }
    }
    // Only namespace 1 is reported; its LBA formats take 0 to 15.
    const std::string single = StartsWith(name, "Namespace #") ? ReplaceFirstHash(name, "1") : name;
    if (StartsWith(single, "Namespace 1 LBA #")) {
        for (int index = 0; index <= 15; ++index) {
            names.push_back(ReplaceFirstHash(single, std::to_string(index)));
        }
    } else if (single != name) {
        names.push_back(single);
    }
    return names;
}

}  // namespace

std::map<std::string, parameter_info> PARAMETER_INFO = BuildCatalogue();

void ExpandParameterCatalogue() {
    std::map<std::string, parameter_info> added;
    for (const auto& [name, info] : PARAMETER_INFO) {
        for (const auto& numbered : NumberedNames(name)) {
            added[numbered] = info;
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

namespace {

// A finished record per catalogue name. Its texts are held here and referred to, not copied, by
// every record made from it, so adding a parameter costs one copy of a small object instead of
// five keyed insertions and four string copies, and freeing a document frees none of these texts.
// Templates are never freed (one whose catalogue entry changed is kept for the records made from
// it), so the references stay valid for the life of the process.
struct RecordTemplate {
    std::string name;
    std::string description;
    std::string source;
    Json::Value record;
};

const RecordTemplate& TemplateFor(const std::string& name, const parameter_info& info) {
    static std::unordered_map<std::string, std::unique_ptr<RecordTemplate>> templates;
    static std::vector<std::unique_ptr<RecordTemplate>> replaced;
    std::unique_ptr<RecordTemplate>& slot = templates[name];
    if (slot == nullptr || slot->description != info.description || slot->source != info.source) {
        if (slot != nullptr) {
            replaced.push_back(std::move(slot));
        }
        slot = std::make_unique<RecordTemplate>(RecordTemplate{name, info.description, info.source, {}});
        Json::Value& record = slot->record;
        record[Json::StaticString("name")] = Json::StaticString(slot->name.c_str());
        record[Json::StaticString("value")] = Json::StaticString("");
        record[Json::StaticString("description")] = Json::StaticString(slot->description.c_str());
        record[Json::StaticString("source")] = Json::StaticString(slot->source.c_str());
    }
    return *slot;
}

}  // namespace

void AddParameter(Json::Value& parameters, const std::string& name, const std::string& value) {
    const auto entry = PARAMETER_INFO.find(name);
    if (entry == PARAMETER_INFO.end()) {
        throw OrkaError("Parameter '" + name + "' not in parameter descriptions");
    }
    const RecordTemplate& made = TemplateFor(name, entry->second);
    Json::Value& record = parameters[Json::StaticString(made.name.c_str())];
    record = made.record;
    record[Json::StaticString("value")] = value;
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
bool ReadActiveNamespaces(int fd, Json::Value& commands, Json::Value& record, std::vector<unsigned int>& ids,
                          Json::Value* dump) {
    std::vector<unsigned char> list(IDENTIFY_NAMESPACE_LENGTH, 0);
    if (NvmeAdminCommand(fd, "Identify Active Namespace List", commands, record, 0x06, 0, 2, 0, 0, 0, 0, 0,
                         list.data(), nullptr, IDENTIFY_NAMESPACE_LENGTH, true) != 0) {
        return false;
    }
    if (dump != nullptr) {
        // Into `dump` (the raw hex data): the list up to its last identifier that is not zero: the rest of
        // the 4096 bytes are zero.
        std::size_t used = list.size();
        while (used > 4 &&
               std::all_of(list.begin() + static_cast<long>(used) - 4, list.begin() + static_cast<long>(used),
                           [](unsigned char b) { return b == 0; })) {
            used -= 4;
        }
        FormatHexData(reinterpret_cast<const char*>(list.data()), static_cast<unsigned int>(used),
                      (*dump)["Identify Active Namespace List"]);
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

// What the namespace reads found: the size label ("512GB", empty when no size was read) and the
// lowest active namespace (0 for none).
struct Namespaces {
    std::string size_label;
    unsigned int lowest = 0;
};

// The "Namespace 1" parameters come from namespace 1 when it is active; the total size sums every
// active namespace. A drive that cannot list its active namespaces (before NVMe 1.1) has namespace 1
// taken as active when its Identify Namespace shows a size.
Namespaces CollectNamespaces(int fd, const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, Json::Value& info,
                             bool log_hex, unsigned int& highest, Json::Value& record) {
    Json::Value& commands = CommandList(info);
    const unsigned int version = controller.VER.get();
    std::vector<unsigned int> active;
    std::uint64_t total = 0;
    bool sized = true;  // every active namespace's size is known
    // With "log hex data" the read keeps what a replay of the drive needs: the active namespace list
    // and every namespace's Identify data (namespace 1's is dumped by its decoder).
    Json::Value* const list_dump = log_hex ? &info["raw hex data"] : nullptr;
    if (ReadActiveNamespaces(fd, commands, record, active, list_dump)) {
        std::sort(active.begin(), active.end());
        for (const unsigned int nsid : active) {
            ORKA_NVME_IDENTIFY_NAMESPACE_DATA data{};
            const std::string name = "Identify Namespace " + std::to_string(nsid);
            const int result =
                nsid == 1 ? GetIdentifyNamespace(fd, data, 1, info, log_hex, version, highest, record)
                          : NvmeAdminCommand(fd, name, commands, record, 0x06, nsid, 0, 0, 0, 0, 0, 0,
                                             reinterpret_cast<unsigned char*>(&data), nullptr,
                                             IDENTIFY_NAMESPACE_LENGTH, false);
            if (log_hex && nsid != 1 && result == 0) {
                FormatHexData(reinterpret_cast<const char*>(&data), IDENTIFY_NAMESPACE_LENGTH,
                              info["raw hex data"][name]);
            }
            total += NamespaceBytes(data);
            sized = sized && result == 0;
        }
    } else if (controller.NN.get() >= 1) {
        ORKA_NVME_IDENTIFY_NAMESPACE_DATA data{};
        if (ReadIdentifyNamespace(fd, 1, data, commands, record) == 0 && data.NSZE.get() != 0) {
            DecodeIdentifyNamespace(data, info, log_hex, version, highest);
            active.push_back(1);
            total = NamespaceBytes(data);
        } else if (log_hex && commands[commands.size() - 1]["return code"].asInt() == 0) {
            // Read but not decoded: an empty namespace 1 is still what the drive answered.
            FormatHexData(reinterpret_cast<const char*>(&data), IDENTIFY_NAMESPACE_LENGTH,
                          info["raw hex data"]["Identify Namespace 1"]);
        }
    }
    Namespaces found;
    found.lowest = active.empty() ? 0 : active.front();
    if (active.empty() || !sized) {
        return found;
    }
    Json::Value& parameters = info["nvme"]["parameters"];
    const auto bytes = static_cast<double>(total);
    AddParameter(parameters, "Size", ToFixedString(bytes, 0) + " Bytes");
    AddParameter(parameters, "Size in GiB", ToFixedString(bytes / 1024 / 1024 / 1024, 1) + " GiB");
    AddParameter(parameters, "Size in GB", ToFixedString(bytes / 1000 / 1000 / 1000, 1) + " GB");
    AddParameter(parameters, "Size in TB", ToFixedString(bytes / 1000 / 1000 / 1000 / 1000, 1) + " TB");
    found.size_label = ToFixedString(bytes / 1000 / 1000 / 1000, 0) + "GB";
    return found;
}

void AddModelParameters(Json::Value& parameters) {
    std::string model = parameters["Model Number (MN)"]["value"].asString();
    Trim(model);
    AddParameter(parameters, "Model", model);
    std::replace(model.begin(), model.end(), ' ', '_');
    AddParameter(parameters, "Model No Spaces", model);
}

// "NVMe <drive> : <vendor> <model> [<size>]": the vendor's name is taken out of the model and the
// size label is left off when the model already holds it. A controller on another transport than PCI
// Express names it: "NVMe <drive> [tcp] - <vendor> <model> [<size>]".
std::string UniqueDescription(const ORKA_NVME_IDENTIFY_CONTROLLER_DATA& controller, const std::string& drive,
                              const std::string& size_label, const std::string& transport) {
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
    const bool pcie = transport == "pcie" || transport == "N/A";
    std::string description =
        "NVMe " + drive + (pcie ? " : " : " [" + transport + "] - ") + vendor + " " + model;
    if (model.find(size_label) == std::string::npos) {
        description += " " + size_label;
    }
    return description;
}

// "PASS" when no command that was not allowed to fail failed; else the failed commands are named.
// The commands the drive does not offer are listed under "not supported".
bool CommandVerdict(Json::Value& metadata) {
    std::string failed;
    Json::Value not_supported(Json::arrayValue);
    for (const Json::Value& command : metadata["commands"]) {
        if (command["return code"].asInt() != 0 && !command["allowed"].asBool()) {
            failed += (failed.empty() ? "" : ", ") + command["admin command"].asString();
        } else if (IsNotSupported(command)) {
            not_supported.append(command["admin command"]);
        }
    }
    metadata["not supported"] = not_supported;
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

        // Nothing of an earlier sample's Identify data may stand in for this one's.
        controller = ORKA_NVME_IDENTIFY_CONTROLLER_DATA{};
        const bool identified = settings["read identify controller"].asBool() &&
                                GetIdentifyController(fd, controller, info, log_hex, highest, record) == 0;
        Namespaces namespaces;
        if (identified) {
            AddModelParameters(parameters);
            highest = std::max(highest, controller.VER.get());
            if (settings["read identify namespace"].asBool()) {
                namespaces = CollectNamespaces(fd, controller, info, log_hex, highest, record);
            }
        }
        GetLogPages(fd, info, record, settings, controller, highest);
        GetFeatures(fd, info, record, settings, controller, namespaces.lowest);

        if (identified) {
            AddParameter(parameters, "Highest Version Detected", GetReportedNvmeVersion(highest));
        }
        AddParameter(parameters, "OS Location", settings["common"]["nvme path"].asString());
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        const auto milliseconds = static_cast<unsigned long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
        AddParameter(parameters, "Host Timestamp", ToNumberString(milliseconds) + " mS");
        AddParameter(parameters, "Host Timestamp Decoded", MillisecondsToDate(milliseconds));
        const std::string drive = settings["common"]["drive"].asString();
        const std::string transport = GetControllerAttribute(drive, "transport");
        AddParameter(parameters, "Transport", transport);
        AddParameter(parameters, "Transport Address", GetControllerAttribute(drive, "address"));
        if (identified) {
            AddParameter(parameters, "Unique Description",
                         UniqueDescription(controller, drive, namespaces.size_label, transport));
        }

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
    // A division by zero (a drive with no power-on hours) is written plainly, without grouping.
    if (std::isnan(value)) {
        return "nan";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
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

std::string GetReportedNvmeVersion(unsigned long version) {
    return version == 0 ? "Not Reported (before NVMe 1.2)" : GetNvmeVersion(version);
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

// ---------------------------------------------------------------------------
// Rules
// ---------------------------------------------------------------------------

namespace {

constexpr const char* RULE_OPERATORS[] = {"match", "not-match", ">", ">=", "=", "!=", "<", "<="};

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> candidates) {
    return std::find(candidates.begin(), candidates.end(), text) != candidates.end();
}

// The member `name` of an object, or nullptr; never adds a member.
const Json::Value* FindMember(const Json::Value& object, std::string_view name) {
    return object.isObject() ? object.find(name.data(), name.data() + name.size()) : nullptr;
}

// The text of a string member without copying it; empty when there is none.
std::string_view MemberText(const Json::Value& object, std::string_view name) {
    const Json::Value* member = FindMember(object, name);
    const char* begin = nullptr;
    const char* end = nullptr;
    if (member == nullptr || !member->getString(&begin, &end)) {
        return {};
    }
    return {begin, static_cast<std::size_t>(end - begin)};
}

// info "nvme" / "parameters" when it is an object, else nullptr.
const Json::Value* FindParameters(const Json::Value& info) {
    const Json::Value* nvme = FindMember(info, "nvme");
    const Json::Value* parameters = nvme == nullptr ? nullptr : FindMember(*nvme, "parameters");
    return parameters != nullptr && parameters->isObject() ? parameters : nullptr;
}

// True when the catalogue holds the name, or for a "#" name one of the
// numbered names of its index range.
bool IsRuleParameter(const std::string& name) {
    if (name.find('#') == std::string::npos) {
        return PARAMETER_INFO.count(name) != 0;
    }
    const std::vector<std::string> names = NumberedNames(name);
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& numbered) { return PARAMETER_INFO.count(numbered) != 0; });
}

// Checks one rule string; returns its error lines (empty when it is good) and
// fills `parsed` with its parts.
std::string ParseRule(const std::string& rule, Json::Value& parsed) {
    const auto first = rule.find('\'');
    const auto second = first == std::string::npos ? std::string::npos : rule.find('\'', first + 1);
    if (second == std::string::npos) {
        return " Rule Error: Did not find quoted parameter name in rule: " + rule + "\n";
    }
    // The length counts from the start of the rule, so a rule must begin with its quote.
    const std::string name = rule.substr(first + 1, second - 1);
    std::string rest = rule.substr(second + 1);
    Trim(rest);
    std::string op;
    std::string limit;
    std::string errors;
    const auto blank = rest.find(' ');
    if (blank == std::string::npos) {
        errors += " Rule Error: Did not find operator in rule: " + rule + "\n";
    } else {
        op = rest.substr(0, blank);
        Trim(op);
        limit = rest.substr(blank + 1);
        Trim(limit);
    }
    if (limit.empty()) {
        errors += " Rule Error: Did not find limit in rule: " + rule + "\n";
    }
    if (!IsRuleParameter(name)) {
        errors += " Rule Error: Unknown parameter '" + name + "' in rule: " + rule + "\n";
    }
    if (std::find(std::begin(RULE_OPERATORS), std::end(RULE_OPERATORS), op) == std::end(RULE_OPERATORS)) {
        errors += " Rule Error: Unknown operator '" + op + "' in rule: " + rule + "\n";
    }
    parsed["parameter"] = name;
    parsed["operator"] = op;
    parsed["limit"] = limit;
    parsed["rule"] = rule;
    return errors;
}

template <typename T>
bool Compare(const std::string& op, T value, T limit, bool& known) {
    known = true;
    if (op == "=") {
        return value == limit;
    }
    if (op == "!=") {
        return !(value == limit);  // a NaN is unequal to everything
    }
    if (op == "<") {
        return value < limit;
    }
    if (op == ">") {
        return value > limit;
    }
    if (op == "<=") {
        return value <= limit;
    }
    if (op == ">=") {
        return value >= limit;
    }
    known = false;
    return false;
}

}  // namespace

void LoadRulesFile(const std::string& path, Json::Value& rules) {
    if (path.empty()) {
        return;
    }
    Json::Value document;
    ReadJsonFile(path, document);
    const Json::Value* list = FindMember(document, "rules");
    if (list == nullptr) {
        throw OrkaError("Invalid rules file, missing JSON 'rules' root member: " + path);
    }
    if (!list->isArray()) {
        throw OrkaError("Invalid rules file, 'rules' is not a list of rules: " + path);
    }
    std::string errors;
    Json::Value parsed_rules(Json::arrayValue);
    for (Json::ArrayIndex index = 0; index < list->size(); ++index) {
        const Json::Value& entry = (*list)[index];
        if (!entry.isString()) {
            errors += " Rule Error: Rule " + std::to_string(index + 1) + " is not a text\n";
            continue;
        }
        const std::string rule = entry.asString();
        LOG_VERBOSE << "Parsing rule " << rule;
        Json::Value parsed;
        const std::string rule_errors = ParseRule(rule, parsed);
        if (rule_errors.empty()) {
            parsed_rules.append(std::move(parsed));
        }
        errors += rule_errors;
    }
    if (!errors.empty()) {
        throw UsageError("Invalid rule file: " + path + "\n\n" + errors);
    }
    rules["rules"] = std::move(parsed_rules);
}

bool VerifyNvmeInfo(Json::Value& info, const Json::Value& rules) {
    const TimePoint start = std::chrono::system_clock::now();
    LOG_DEBUG << "VerifyNvmeInfo started...";
    Json::Value& violations = info["rule violations"] = Json::Value(Json::arrayValue);
    const auto add_violation = [&violations](const std::string& name, const std::string& value,
                                             const Json::Value& rule, const std::string& message) {
        Json::Value& violation = violations.append(Json::Value(Json::objectValue));
        violation["name"] = name;
        violation["value"] = value;
        violation["rule operator"] = rule["operator"];
        violation["rule limit"] = rule["limit"];
        violation["rule"] = rule["rule"];
        violation["msg"] = message;
    };
    try {
        static const Json::Value NO_PARAMETERS(Json::objectValue);
        const Json::Value* found = FindParameters(info);
        const Json::Value& parameters = found != nullptr ? *found : NO_PARAMETERS;
        static const Json::Value NO_RULES(Json::arrayValue);
        const Json::Value* list = FindMember(rules, "rules");
        for (const auto& rule : list != nullptr && list->isArray() ? *list : NO_RULES) {
            LOG_VERBOSE << "Checking rule " << rule["rule"].asString();
            const std::string parameter = rule["parameter"].asString();
            const std::string op = rule["operator"].asString();
            const std::string limit = rule["limit"].asString();
            const auto check = [&](const std::string& name, const Json::Value& record) {
                const std::string value = record["value"].asString();
                std::string message;
                if (CheckRule(name, op, limit, value, message)) {
                    LOG_DEBUG << "Passed rule '" << name << " " << op << " " << limit << "' with value '"
                              << value << "'";
                } else {
                    add_violation(name, value, rule, message);
                }
            };
            if (parameter.find('#') != std::string::npos) {
                // Applies to every numbered parameter the sample holds, and to nothing when it holds none.
                for (const auto& name : NumberedNames(parameter)) {
                    if (const Json::Value* record = FindMember(parameters, name)) {
                        check(name, *record);
                    }
                }
            } else if (const Json::Value* record = FindMember(parameters, parameter)) {
                check(parameter, *record);
            } else {
                add_violation(parameter, "N/A", rule, "Failed rule for unknown parameter: " + parameter);
            }
        }
    } catch (const std::exception& caught) {
        LOG_ERROR << caught.what();
    } catch (...) {
        LOG_ERROR << "Unknown exception type";
    }
    LOG_DEBUG << "NVMe Verify Information completed in " << GetHiResDiffTimeString(start, 3) << " with "
              << violations.size() << " rule violations";
    return violations.empty();
}

bool CheckRule(const std::string& name, const std::string& op, const std::string& limit, std::string value,
               std::string& message) {
    LOG_VERBOSE << "Checking rule " << name << " " << op << " " << limit << " with value  " << value;
    const std::string failed = " Failed rule '" + name + " " + op + " " + limit + "'";
    bool passed = false;
    if (op == "match") {
        passed = value == limit;
        message = failed + " does not match value '" + value + "'";
    } else if (op == "not-match") {
        passed = value != limit;
        message = failed + " matches value '" + value + "'";
    } else {
        std::string limit_text = limit;
        std::string value_text = value;
        std::string limit_number, limit_unit, value_number, value_unit;
        GetNumberAndUnit(limit_text, limit_number, limit_unit);
        GetNumberAndUnit(value_text, value_number, value_unit);
        if (limit_unit != value_unit) {
            message = failed + " units do not match. Value unit: " + value_unit;
        } else {
            long double limit_real = 0;
            long double value_real = 0;
            long long limit_integer = 0;
            long long value_integer = 0;
            bool numbers = true;
            bool known = false;
            if (ToLongDouble(limit_number, limit_real) && ToLongDouble(value_number, value_real)) {
                passed = Compare(op, value_real, limit_real, known);
            } else if (ToLongLong(limit_number, limit_integer) && ToLongLong(value_number, value_integer)) {
                passed = Compare(op, value_integer, limit_integer, known);
            } else {
                numbers = false;
            }
            if (numbers) {
                LOG_VERBOSE << "Limit " << limit << "  Value " << value << " Operator " << op;
            }
            message = !numbers ? failed + " parameters are not numbers"
                      : !known ? " Failed rule for unknown operator: '" + name + "' " + op + " " + limit
                               : failed + " with value '" + value + "'";
        }
    }
    if (passed) {
        message.clear();
    } else {
        LOG_ERROR << message;
    }
    return passed;
}

void GetNumberAndUnit(std::string& text, std::string& number, std::string& unit) {
    Trim(text);
    RemoveCommas(text);
    const auto blank = text.find(' ');
    if (blank == std::string::npos) {
        number = text;
        unit.clear();
        return;
    }
    number = text.substr(0, blank);
    unit = text.substr(blank + 1);
    const auto next = unit.find(' ');
    if (next != std::string::npos) {
        unit.resize(next);
    }
    // A bracketed remark, such as a conversion, is not a unit.
    if (!unit.empty() && unit[0] == '(') {
        unit.clear();
    }
}

// ---------------------------------------------------------------------------
// Comparison with an earlier information document
// ---------------------------------------------------------------------------

namespace {

// Wide enough for the difference of any two 128-bit counters.
using WideInteger = boost::multiprecision::int256_t;

int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return 99;
}

// The whole text as a decimal or "0x" hexadecimal integer with an optional "-".
bool ParseInteger(const std::string& text, WideInteger& out) {
    std::size_t at = !text.empty() && text[0] == '-' ? 1 : 0;
    const bool negative = at == 1;
    int base = 10;
    if (text.compare(at, 2, "0x") == 0 || text.compare(at, 2, "0X") == 0) {
        base = 16;
        at += 2;
    }
    // Short enough never to overflow.
    const std::size_t digits = text.size() - at;
    if (digits == 0 || digits > 60) {
        return false;
    }
    WideInteger value = 0;
    for (; at < text.size(); ++at) {
        const int digit = DigitValue(text[at]);
        if (digit >= base) {
            return false;
        }
        value = value * base + digit;
    }
    out = negative ? WideInteger(-value) : value;
    return true;
}

// The whole text as a finite floating number.
bool ParseReal(const std::string& text, double& out) {
    if (text.empty()) {
        return false;
    }
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value)) {
        return false;
    }
    out = value;
    return true;
}

// Digits after the "." of a decimal text, 0 without one.
int Decimals(const std::string& number) {
    const auto point = number.find('.');
    if (point == std::string::npos) {
        return 0;
    }
    const auto end = number.find_first_not_of("0123456789", point + 1);
    return static_cast<int>((end == std::string::npos ? number.size() : end) - point - 1);
}

struct SplitValue {
    std::string number;
    std::string unit;
};

SplitValue Split(std::string text) {
    SplitValue split;
    GetNumberAndUnit(text, split.number, split.unit);
    return split;
}

Json::Value Mismatch(const std::string& name, const std::string& value, const std::string& compareValue,
                     const std::string& type, const std::string& delta, const std::string& message) {
    Json::Value record(Json::objectValue);
    record["name"] = name;
    record["value"] = value;
    record["compare_value"] = compareValue;
    record["compare_type"] = type;
    record["delta"] = delta;
    record["message"] = message;
    return record;
}

// GetCompareType without copies, for the walk over every parameter.
const char* CompareTypeOf(std::string_view compareSetting, std::string_view name, std::string_view source,
                          bool sameDrive) {
    if (IsOneOf(name, {"Host Timestamp", "Host Timestamp Decoded"})) {
        return "ignore";
    }
    if (compareSetting == "all") {
        return "exact";
    }
    if (IsOneOf(name, {"Host Memory Descriptor List Address (HMDLAL)",
                       "Host Memory Descriptor List Address (HMDLAU)", "Timestamp", "Timestamp Decoded",
                       "Namespace 1 Utilization (NUSE)", "Highest Version Detected"}) ||
        IsOneOf(source,
                {"Log Page 1", "Log Page 4", "Log Page 5", "Log Page 6", "Log Page D", "Get Feature 02h"})) {
        return "ignore";
    }
    if (compareSetting == "firmware" && (name == "Firmware Revision (FR)" || source == "Log Page 3")) {
        return "ignore";
    }
    if (source != "Log Page 2") {
        return "exact";
    }
    if (name == "Composite Temperature" || name.substr(0, 18) == "Temperature Sensor") {
        return "ignore";
    }
    if (IsOneOf(
            name,
            {"Available Space Below Threshold", "Media in Read-only", "Temperature Over/Under Threshold",
             "Volatile Memory Backup Failed", "Persistent Memory Unreliable", "NVM Subsystem Unreliable",
             "EG Available Space Below Threshold", "EG Media in Read-only", "EG NVM Subsystem Unreliable"})) {
        return "exact";
    }
    if (name == "Percent Throttled" || !sameDrive) {
        return "ignore";
    }
    return "counter";
}

// An object member's name as it is stored, without copying it.
template <typename Iterator>
std::string_view MemberName(const Iterator& entry) {
    const char* end = nullptr;
    const char* begin = entry.memberName(&end);
    return {begin, static_cast<std::size_t>(end - begin)};
}

struct MismatchLists {
    Json::Value& compare;
    Json::Value& all;
    Json::Value& exact;
    Json::Value& counter;
};

// Decides how one parameter record compares with its earlier record (nullptr
// when the reference lacks it), marks the record and files any difference.
void CompareParameter(Json::Value& record, const Json::Value* earlier, std::string_view compareSetting,
                      bool sameDrive, MismatchLists& lists) {
    static const Json::StaticString COMPARE_TYPE("compare type");
    const char* type =
        CompareTypeOf(compareSetting, MemberText(record, "name"), MemberText(record, "source"), sameDrive);
    const std::string_view value = MemberText(record, "value");
    if (earlier == nullptr) {
        record[COMPARE_TYPE] = Json::StaticString("missing");
        const std::string name(MemberText(record, "name"));
        const std::string message = "'" + name + "' parameter missing in compare file";
        const Json::Value missing =
            Mismatch(name, std::string(value), "", type, "Compare value missing", message);
        lists.all.append(missing);
        if (std::string_view(type) != "ignore") {
            lists.compare.append(missing);
            LOG_ERROR << "Compare fail: " << message;
        }
        return;
    }
    record[COMPARE_TYPE] = Json::StaticString(type);
    if (value == MemberText(*earlier, "value")) {
        return;
    }
    const std::string name(MemberText(record, "name"));
    const std::string now(value);
    const std::string before(MemberText(*earlier, "value"));
    const std::string message =
        "'" + name + "' value '" + now + "' does not match compare value '" + before + "'";
    const std::string delta = GetDelta(now, before);
    const Json::Value differs = Mismatch(name, now, before, type, delta, message);
    lists.all.append(differs);
    if (std::string_view(type) == "exact") {
        lists.exact.append(differs);
        lists.compare.append(differs);
        LOG_ERROR << "Compare fail: " << message;
    } else if (std::string_view(type) == "counter" && !GreaterEqual(now, before)) {
        const std::string less =
            "'" + name + "' value '" + now + "' is less than compare value '" + before + "'";
        const Json::Value shrank = Mismatch(name, now, before, type, delta, less);
        lists.counter.append(shrank);
        lists.compare.append(shrank);
        LOG_ERROR << "Compare fail: " << less;
    }
}

}  // namespace

bool CompareNvmeInfo(const Json::Value& compare, Json::Value& info, std::string compareSetting) {
    const TimePoint start = std::chrono::system_clock::now();
    LOG_DEBUG << "CompareNvmeInfo started...";
    MismatchLists lists{info["compare mismatches"] = Json::Value(Json::arrayValue),
                        info["all mismatches"] = Json::Value(Json::arrayValue),
                        info["static mismatches"] = Json::Value(Json::arrayValue),
                        info["counter mismatches"] = Json::Value(Json::arrayValue)};
    try {
        static const Json::Value NO_PARAMETERS(Json::objectValue);
        const Json::Value* found = FindParameters(compare);
        const Json::Value& earlier = found != nullptr ? *found : NO_PARAMETERS;
        if (FindParameters(info) != nullptr) {
            Json::Value& parameters = info["nvme"]["parameters"];
            bool same_drive = true;
            const Json::Value* serial = FindMember(parameters, "Serial Number (SN)");
            const Json::Value* earlier_serial = FindMember(earlier, "Serial Number (SN)");
            if (serial != nullptr && earlier_serial != nullptr &&
                MemberText(*serial, "value") != MemberText(*earlier_serial, "value")) {
                same_drive = false;
            }
            LOG_DEBUG << (same_drive ? " Comparing against the same drive"
                                     : " Comparing against different drives");
            // Both member lists are sorted by name: one walk along both pairs them up.
            auto earlier_entry = earlier.begin();
            for (auto entry = parameters.begin(); entry != parameters.end(); ++entry) {
                const std::string_view name = MemberName(entry);
                while (earlier_entry != earlier.end() && MemberName(earlier_entry) < name) {
                    ++earlier_entry;
                }
                const bool found = earlier_entry != earlier.end() && MemberName(earlier_entry) == name;
                CompareParameter(*entry, found ? &*earlier_entry : nullptr, compareSetting, same_drive,
                                 lists);
            }
        }
        LOG_DEBUG << "Compare Nvme Information completed in " << GetHiResDiffTimeString(start, 3) << " with "
                  << lists.compare.size() << " mismatches";
    } catch (...) {
        try {
            RethrowWithOrigin(__func__, "source/orka/source/orka_nvme", __LINE__);
        } catch (const std::exception& located) {
            LOG_ERROR << located.what();
            throw;
        }
    }
    return lists.compare.empty();
}

std::string GetCompareType(const std::string& compareSetting, const std::string& name,
                           const std::string& source, bool sameDrive) {
    return CompareTypeOf(compareSetting, name, source, sameDrive);
}

std::string GetDelta(const std::string& value, const std::string& compareValue) {
    const SplitValue now = Split(value);
    const SplitValue before = Split(compareValue);
    if (now.unit != before.unit) {
        return "Mismatch";
    }
    WideInteger now_integer;
    WideInteger before_integer;
    if (ParseInteger(now.number, now_integer) && ParseInteger(before.number, before_integer)) {
        const WideInteger delta = now_integer - before_integer;
        std::string text = delta.str();
        GroupThousands(text, static_cast<long long>(text.size()), delta < 0 ? 1 : 0);
        return text;
    }
    double now_real = 0;
    double before_real = 0;
    if (ParseReal(now.number, now_real) && ParseReal(before.number, before_real)) {
        // As many decimals as the more precise of the two values shows, at least one.
        const int decimals = std::clamp(std::max(Decimals(now.number), Decimals(before.number)), 1, 6);
        const double scale = std::pow(10.0, decimals);
        return ToFloatNumberString(std::round((now_real - before_real) * scale) / scale,
                                   static_cast<unsigned int>(decimals));
    }
    return "Mismatch";
}

bool GreaterEqual(const std::string& value, const std::string& compareValue) {
    if (value == compareValue) {
        return true;
    }
    const SplitValue now = Split(value);
    const SplitValue before = Split(compareValue);
    if (now.unit != before.unit) {
        return false;
    }
    WideInteger now_integer;
    WideInteger before_integer;
    if (ParseInteger(now.number, now_integer) && ParseInteger(before.number, before_integer)) {
        return now_integer >= before_integer;
    }
    double now_real = 0;
    double before_real = 0;
    return ParseReal(now.number, now_real) && ParseReal(before.number, before_real) &&
           now_real >= before_real;
}

}  // namespace orka
