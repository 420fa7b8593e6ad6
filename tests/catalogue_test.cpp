// The parameter catalogue's invariants: names unique and described, and the expansion of "#"
// names. That every name a decoder emits is in it is checked with each decoder.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "orka_nvme.h"

namespace {

bool StartsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

TEST(Catalogue, HoldsEveryNameOnceWithSourceAndDescription) {
    std::set<std::string> names;
    for (const auto& row : orka::CATALOGUE_ROWS) {
        EXPECT_TRUE(names.insert(row.name).second) << "twice: " << row.name;
        EXPECT_NE(std::string(row.source), "") << row.name;
        EXPECT_NE(std::string(row.description), "") << row.name;
        EXPECT_EQ(std::string(row.description).find('\n'), std::string::npos) << row.name;
    }
    EXPECT_EQ(names.count("Read Recovery Level(RRL)"), 0u);  // one spelling, with the blank
}

TEST(Catalogue, ExpansionNumbersEveryInstanceOnceAndDropsTheTemplates) {
    orka::PARAMETER_INFO.clear();
    for (const auto& row : orka::CATALOGUE_ROWS) {
        orka::PARAMETER_INFO[row.name] = orka::parameter_info{row.source, row.description};
    }
    const auto templates = orka::PARAMETER_INFO;
    orka::ExpandParameterCatalogue();
    const auto once = orka::PARAMETER_INFO;
    orka::ExpandParameterCatalogue();  // a second run changes nothing
    EXPECT_EQ(orka::PARAMETER_INFO.size(), once.size());

    // 310 plain names and the numbered families; the interrupt vector row has no range and goes.
    EXPECT_EQ(once.size(), 1137u);
    const std::regex hidden("#|^Interrupt Vector|^Error [0-9]|^Namespace [02-9]");
    for (const auto& [name, info] : once) {
        EXPECT_FALSE(std::regex_search(name, hidden)) << name;
        EXPECT_EQ(orka::PARAMETER_INFO.at(name).description, info.description) << name;
    }
    const std::map<std::string, std::size_t> families = {
        {"Power State ", 13 * 32},      {"Namespace 1 LBA ", 3 * 16}, {"Namespace 1 ", 56 + 3 * 16},
        {"Temperature Sensor ", 3 * 8}, {"Self-Test ", 9 * 20},       {"Firmware Slot ", 7 + 1},
        {"LBA Range ", 6 * 16},
    };
    for (const auto& [prefix, count] : families) {
        EXPECT_EQ(std::count_if(once.begin(), once.end(),
                                [&](const auto& e) { return StartsWith(e.first, prefix); }),
                  static_cast<std::ptrdiff_t>(count))
            << prefix;
    }
    // The ends of each range, and the instance's texts taken from its template.
    for (const std::string absent :
         {"Power State 32 Maximum Power (MP)", "Namespace 1 LBA 16 Data Size (LBADS)", "Temperature Sensor 0",
          "Firmware Slot 8 Revision"}) {
        EXPECT_EQ(once.count(absent), 0u) << absent;
    }
    for (const auto& [instance, from] : std::map<std::string, std::string>{
             {"Power State 31 Idle Time Prior to Transition (ITPT)",
              "Power State # Idle Time Prior to Transition (ITPT)"},
             {"Namespace 1 LBA 15 Metadata Size (MS)", "Namespace # LBA # Metadata Size (MS)"},
             {"Temperature Sensor 8 Under Threshold", "Temperature Sensor # Under Threshold"},
             {"Self-Test 20 Power On Hours", "Self-Test # Power On Hours"}}) {
        ASSERT_EQ(once.count(instance), 1u) << instance;
        EXPECT_EQ(once.at(instance).source, templates.at(from).source) << instance;
        EXPECT_EQ(once.at(instance).description, templates.at(from).description) << instance;
    }
}

}  // namespace
