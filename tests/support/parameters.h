// Reading decoded parameters back in decoder tests.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

namespace testing_support {

// NVMe version values as the Version field holds them.
constexpr unsigned int V121 = 0x00010201;
constexpr unsigned int V130 = 0x00010300;
constexpr unsigned int V140 = 0x00010400;

// The value a test sees for a parameter the decoder did not add.
inline const std::string ABSENT = "<absent>";

// The display value of a parameter in info["nvme"]["parameters"], or ABSENT.
inline std::string ParameterValue(const Json::Value& info, const std::string& name) {
    const Json::Value& parameters = info["nvme"]["parameters"];
    return parameters.isMember(name) ? parameters[name]["value"].asString() : ABSENT;
}

// Parameter name and the display value expected for it (or ABSENT).
using Expected = std::pair<std::string, std::string>;

// Checks every expected parameter value; `where` labels the failures.
inline void ExpectParameters(const Json::Value& info, const std::vector<Expected>& expected,
                             const std::string& where = "") {
    for (const auto& [name, value] : expected) {
        EXPECT_EQ(ParameterValue(info, name), value) << where << " " << name;
    }
}

}  // namespace testing_support
