// The parameter catalogue's invariants: names unique and described, the expansion of "#"
// names, and every name the Identify decoders can emit. (The log page decoders run on all-ones
// pages in their own test.)
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>

#include "identify_controller.h"
#include "identify_namespace.h"
#include "orka_nvme.h"
#include "support/byte_fixture.h"

namespace {

TEST(Catalogue, HoldsEveryNameOnceWithSourceAndDescription) {
    std::set<std::string> names;
    for (const auto& row : orka::CATALOGUE_ROWS) {
        EXPECT_TRUE(names.insert(row.name).second) << "twice: " << row.name;
        EXPECT_NE(std::string(row.source), "") << row.name;
        EXPECT_NE(std::string(row.description), "") << row.name;
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

    // 312 plain names and the numbered families; the interrupt vector row has no range and goes.
    EXPECT_EQ(once.size(), 1139u);
    const std::regex hidden("#|^Interrupt Vector|^Error [0-9]|^Namespace [02-9]");
    for (const auto& [name, info] : once) {
        EXPECT_FALSE(std::regex_search(name, hidden)) << name;
        EXPECT_EQ(orka::PARAMETER_INFO.at(name).description, info.description) << name;
    }
    // The ends of each range, and the instance's texts taken from its template.
    EXPECT_EQ(once.count("Power State 32 Maximum Power (MP)") + once.count("Temperature Sensor 0"), 0u);
    for (const auto& [instance, from] : std::map<std::string, std::string>{
             {"Power State 31 Idle Time Prior to Transition (ITPT)",
              "Power State # Idle Time Prior to Transition (ITPT)"},
             {"Temperature Sensor 8 Under Threshold", "Temperature Sensor # Under Threshold"}}) {
        ASSERT_EQ(once.count(instance), 1u) << instance;
        EXPECT_EQ(once.at(instance).source, templates.at(from).source) << instance;
        EXPECT_EQ(once.at(instance).description, templates.at(from).description) << instance;
    }
}

// Every bit set: every condition holds and every version gate passes, so every row is emitted;
// a name missing from the catalogue would throw.
TEST(Catalogue, HoldsEveryNameTheIdentifyDecodersEmit) {
    orka::ExpandParameterCatalogue();
    testing_support::ByteFixture bytes(4096, 0xFF);
    bytes.put32(80, 0x00010400);  // version 1.4
    Json::Value info;
    unsigned int highest = 0;
    EXPECT_NO_THROW(orka::DecodeIdentifyController(bytes.as<orka::ORKA_NVME_IDENTIFY_CONTROLLER_DATA>(), info,
                                                   false, highest));
    EXPECT_NO_THROW(orka::DecodeIdentifyNamespace(bytes.as<orka::ORKA_NVME_IDENTIFY_NAMESPACE_DATA>(), info,
                                                  false, highest, highest));
    EXPECT_EQ(info["nvme"]["parameters"].size(), 145u + 32u * 11u + 53u + 16u * 3u + 2u);
}

}  // namespace
