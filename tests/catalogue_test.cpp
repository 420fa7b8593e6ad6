// The parameter catalogue: its rows, the expansion of "#" names and the
// command setting lists.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <regex>
#include <set>

#include "orka_nvme.h"

namespace {

std::map<std::string, orka::parameter_info> RowsAsMap() {
    std::map<std::string, orka::parameter_info> rows;
    for (const auto& row : orka::CATALOGUE_ROWS) {
        rows[row.name] = orka::parameter_info{row.source, row.description};
    }
    return rows;
}

const orka::CatalogueRow* FindRow(const std::string& name) {
    for (const auto& row : orka::CATALOGUE_ROWS) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

// Resets the run-time catalogue to the rows and expands it.
void ExpandFresh() {
    orka::PARAMETER_INFO = RowsAsMap();
    orka::ExpandParameterCatalogue();
}

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

TEST(Catalogue, HoldsEveryNameOnceWithSourceAndDescription) {
    EXPECT_EQ(std::size(orka::CATALOGUE_ROWS), 402u);
    std::set<std::string> names;
    for (const auto& row : orka::CATALOGUE_ROWS) {
        EXPECT_TRUE(names.insert(row.name).second) << "twice: " << row.name;
        EXPECT_NE(std::string(row.source), "") << row.name;
        EXPECT_NE(std::string(row.description), "") << row.name;
        EXPECT_EQ(std::string(row.description).find('\n'), std::string::npos) << row.name;
    }
    EXPECT_EQ(RowsAsMap().size(), 402u);
}

TEST(Catalogue, DescriptionsAreExact) {
    // A few rows of each kind: calculated, a decoded field, a "#" template.
    const std::map<std::string, std::string> fixed = {
        {"Model No Spaces", "Model number trimmed and spaces replaced"},
        {"Windows Power NVMe Latency 2 (DC)",
         "Windows OS Power Setting. After timeout 2, change to lowest power state with entry+exit latency "
         "less "
         "than this when host on battery power"},
        {"IEEE OUI Identifier (IEEE)",
         "Organization Unique Identifier (OUI) for the controller vendor: "
         "https://regauth.standards.ieee.org/standards-ra-web/pub/view.html#registries"},
        {"Self-Test # Type", "Type of Self-Test (short, extended or vendor)"},
    };
    for (const auto& [name, description] : fixed) {
        ASSERT_NE(FindRow(name), nullptr) << name;
        EXPECT_EQ(std::string(FindRow(name)->description), description) << name;
    }
}

TEST(Catalogue, FeatureDescriptionsNameTheirFeature) {
    // Rows whose source text does not give the feature number.
    const std::map<std::string, std::string> irregular = {
        {"Disable Normal (DN)", "Feature 0Ah: "},
        {"Predictable Latency Enable", "Feature 13h: "},
        {"Predictable Latency Mode Window Select", "Feature 14h: "},
    };
    std::size_t features = 0;
    for (const auto& row : orka::CATALOGUE_ROWS) {
        const std::string source = row.source;
        const std::string description = row.description;
        if (!StartsWith(source, "Get Feature ")) {
            EXPECT_FALSE(StartsWith(description, "Feature ")) << row.name;
            continue;
        }
        ++features;
        const auto special = irregular.find(row.name);
        const std::string prefix =
            special != irregular.end() ? special->second : "Feature " + source.substr(12) + ": ";
        EXPECT_TRUE(StartsWith(description, prefix)) << row.name << ": " << description;
        EXPECT_GT(description.size(), prefix.size() + 10) << row.name;
    }
    EXPECT_EQ(features, 55u);
    EXPECT_EQ(std::string(FindRow("Disable Normal (DN)")->source), "Get Feature 0h");
    EXPECT_EQ(std::string(FindRow("Predictable Latency Enable")->source), "Get Feature 12h");
    EXPECT_EQ(std::string(FindRow("Predictable Latency Mode Window Select")->source), "Get Feature 12h");
}

TEST(Catalogue, FeatureNamesTheDecoderReports) {
    // One spelling of the read recovery level; the newer asynchronous event notices.
    for (const auto& [name, source] : std::map<std::string, std::string>{
             {"Read Recovery Level (RRL)", "Get Feature 12h"},
             {"Endurance Group Aggregate Log Change Notices Enable", "Get Feature 0Bh"},
             {"LBA Status Information Notices Enable", "Get Feature 0Bh"},
             {"Predictable Latency Aggregate Log Change Notices Enable", "Get Feature 0Bh"},
             {"Asymmetric Namespace Access Change Notices Enable", "Get Feature 0Bh"}}) {
        ASSERT_NE(FindRow(name), nullptr) << name;
        EXPECT_EQ(std::string(FindRow(name)->source), source);
    }
    EXPECT_EQ(FindRow("Read Recovery Level(RRL)"), nullptr);
}

TEST(CatalogueExpansion, NumbersEveryInstanceAndDropsTheTemplates) {
    ExpandFresh();
    // 310 plain names, 13 power state rows x 32, 56 namespace rows, 3 LBA
    // format rows x 16, 3 sensor rows x 8, 9 self-test rows x 20, 1 slot row x 7,
    // 6 LBA range rows x 16; the interrupt vector row has no range and goes.
    EXPECT_EQ(orka::PARAMETER_INFO.size(), 1137u);
    for (const auto& [name, info] : orka::PARAMETER_INFO) {
        EXPECT_EQ(name.find('#'), std::string::npos) << name;
        EXPECT_FALSE(StartsWith(name, "Interrupt Vector")) << name;
        EXPECT_FALSE(std::regex_search(name, std::regex("^Error [0-9]"))) << name;
        EXPECT_FALSE(std::regex_search(name, std::regex("^Namespace [02-9]"))) << name;
    }

    struct Family {
        std::string prefix;
        std::size_t names;
    };
    const Family families[] = {
        {"Power State ", 13 * 32},      {"Namespace 1 LBA ", 3 * 16}, {"Namespace 1 ", 56 + 3 * 16},
        {"Temperature Sensor ", 3 * 8}, {"Self-Test ", 9 * 20},       {"Firmware Slot ", 7 + 1},
        {"LBA Range ", 6 * 16},
    };
    for (const auto& family : families) {
        const auto count =
            std::count_if(orka::PARAMETER_INFO.begin(), orka::PARAMETER_INFO.end(),
                          [&](const auto& entry) { return StartsWith(entry.first, family.prefix); });
        EXPECT_EQ(static_cast<std::size_t>(count), family.names) << family.prefix;
    }

    struct Instance {
        std::string name;
        bool present;
        std::string template_name;
    };
    const Instance instances[] = {
        {"Power State 31 Idle Time Prior to Transition (ITPT)", true,
         "Power State # Idle Time Prior to Transition (ITPT)"},
        {"Power State 32 Maximum Power (MP)", false, ""},
        {"Namespace 1 Active LBA Size", true, "Namespace # Active LBA Size"},
        {"Namespace 2 Size", false, ""},
        {"Namespace 1 LBA 15 Metadata Size (MS)", true, "Namespace # LBA # Metadata Size (MS)"},
        {"Namespace 1 LBA 16 Data Size (LBADS)", false, ""},
        {"Temperature Sensor 0", false, ""},
        {"Temperature Sensor 8 Under Threshold", true, "Temperature Sensor # Under Threshold"},
        {"Self-Test 20 Power On Hours", true, "Self-Test # Power On Hours"},
        {"Firmware Slot 8 Revision", false, ""},
        {"Firmware Slot 1 Read Status", true, "Firmware Slot 1 Read Status"},
        {"LBA Range 15 Unique Identifier", true, "LBA Range # Unique Identifier"},
        {"Interrupt Vector 0 Coalescing Disable (CD)", false, ""},
    };
    const auto rows = RowsAsMap();
    for (const auto& instance : instances) {
        const auto entry = orka::PARAMETER_INFO.find(instance.name);
        ASSERT_EQ(entry != orka::PARAMETER_INFO.end(), instance.present) << instance.name;
        if (instance.present) {
            const auto& from = rows.at(instance.template_name);
            EXPECT_EQ(entry->second.source, from.source) << instance.name;
            EXPECT_EQ(entry->second.description, from.description) << instance.name;
        }
    }
}

TEST(CatalogueExpansion, RunningAgainChangesNothing) {
    ExpandFresh();
    const auto once = orka::PARAMETER_INFO;
    orka::ExpandParameterCatalogue();
    EXPECT_EQ(orka::PARAMETER_INFO.size(), once.size());
    EXPECT_TRUE(
        std::equal(once.begin(), once.end(), orka::PARAMETER_INFO.begin(), [](const auto& a, const auto& b) {
            return a.first == b.first && a.second.source == b.second.source &&
                   a.second.description == b.second.description;
        }));
}

std::string TwoHexDigits(unsigned int value) {
    char text[3];
    std::snprintf(text, sizeof(text), "%02X", value);
    return text;
}

TEST(SettingLists, ReadListRepeatsFeature16hAndHasNo17h) {
    const auto& list = orka::READINFO_PARAMETERS;
    EXPECT_EQ(list.size(), 56u);
    EXPECT_EQ(std::count(list.begin(), list.end(), "read feature 16h"), 2);
    EXPECT_EQ(std::count(list.begin(), list.end(), "read feature 17h"), 0);
    for (unsigned int feature = 0x01; feature <= 0x18; ++feature) {
        if (feature == 0x16 || feature == 0x17) {
            continue;
        }
        const std::string name = "read feature " + TwoHexDigits(feature) + "h";
        EXPECT_EQ(std::count(list.begin(), list.end(), name), 1) << name;
    }
    for (unsigned int page = 0x01; page <= 0x10; ++page) {
        const std::string name = "read log page " + TwoHexDigits(page) + "h";
        EXPECT_EQ(std::count(list.begin(), list.end(), name), 1) << name;
    }
}

}  // namespace
