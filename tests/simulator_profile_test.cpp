// The simulator's profile and fault texts: each kind of mistake names its
// place. How the shipped profiles are encoded is checked against nvme-cli in
// the cross-check.
#include <gtest/gtest.h>

#include <functional>

#include "profile.h"

namespace {

std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const brantix_sim::ProfileError& error) {
        return error.what();
    }
    return "no error";
}

TEST(SimulatorProfile, MistakesNameTheirPlace) {
    const auto parsed = [](const char* text) {
        return [text] { brantix_sim::ParseProfile(text, "test.json"); };
    };
    const auto faults = [](const char* text) {
        return [text] {
            std::vector<brantix_sim::Fault> list;
            int open_error = 0;
            int vanish = -1;
            brantix_sim::ParseFaults(text, list, open_error, vanish);
        };
    };
    const std::pair<std::function<void()>, std::string> cases[] = {
        {parsed(R"({"drives": [{"identify controller": {"FR": "123456789"}}]})"),
         "test.json: drives[0].identify controller.FR: longer than 8 characters"},
        {parsed(R"({"drives": [{"identify controller": {"VID": "12z"}}]})"),
         "test.json: drives[0].identify controller.VID: expected a number, got \"12z\""},
        {parsed(R"({"drives": [{"identify controller": {"VID": 1, "MODEL": "x"}}]})"),
         "test.json: drives[0].identify controller: unknown field \"MODEL\""},
        {parsed(R"({"drives": [{"log pages": {"C0": {"x": 1}}}]})"),
         "test.json: drives[0].log pages.C0: log page without a layout here; give its bytes as \"data\""},
        {parsed(R"({"drives": [{}, {"like": 1}]})"), "test.json: drives[1].like: not an earlier drive"},
        // With multipath off the namespace is named after its controller.
        {parsed(R"({"multipath": false, "drives": [{"controller": 1, "subsystem": 0, "namespaces": [{}],
                    "mounts": [{"device": "nvme0n1", "on": "/"}]}]})"),
         "test.json: drives[0]: \"nvme0n1\" is no namespace or partition of this drive"},
        {faults("opcode=2"), "fault \"opcode=2\": give exactly one of errno, status and signal"},
        {faults("log=2,errno=5"), "fault \"log=2,errno=5\": a command fault needs an opcode"},
    };
    for (const auto& [action, message] : cases) {
        EXPECT_EQ(ErrorOf(action), message);
    }
}

}  // namespace
