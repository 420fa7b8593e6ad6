// Parameter records, the parameter catalogue and value formatting.
#include "orka_nvme.h"

#include <algorithm>
#include <initializer_list>

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
