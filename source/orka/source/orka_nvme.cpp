// Parameter records and the parameter catalogue.
#include "orka_nvme.h"

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
    {"Power State #", 0, 31},      {"Temperature Sensor #", 1, 8}, {"LBA Range #", 0, 15},
    {"Self-Test #", 1, 20},        {"Firmware Slot #", 1, 7},      {"Error #", 0, 255},
};

bool StartsWith(const std::string& text, const std::string& prefix) { return text.compare(0, prefix.size(), prefix) == 0; }

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

}  // namespace orka
