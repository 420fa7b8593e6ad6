// brantix's decoded values against what nvme-cli showed for the same drive.
//
// Both the simulator tests and the virtual-machine tier lay their evidence out as tests/vm/guest.sh does:
// brantix's information file read-all/nvme.info.json; nvme-cli's JSON id-ctrl.out, id-ns.out (namespace 1),
// smart-log.out, error-log.out, fw-log.out and effects-log.out; its get-feature text feature-XX.out
// (feature-04-under.out for the composite's under threshold, feature-04-sN.out and feature-04-sN-under.out
// for sensor N). A file that is missing is a check not made; a file that
// shows no value is a value brantix must not show either.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "orka.h"

namespace crosscheck {

using Wide = orka::uint128;

// The content of a file; empty when it cannot be read.
std::string ReadFile(const std::string& path);
// A JSON file; null when it is missing or is not JSON.
Json::Value ReadJson(const std::string& path);
// A number in decimal.
std::string Decimal(const Wide& value);
// "0x..." hexadecimal or decimal, up to the first character that is not a digit.
Wide ParseNumber(const std::string& text);

// A number another client printed in JSON, with 32-bit values printed signed undone.
Wide ClientNumber(const Json::Value& value);
// What nvme-cli's get-feature printed: the "Current value:" dword (printed without "0x" when it is 0) and
// the bytes of the hex dump of the feature's data, when it has data.
struct Feature {
    bool present = false;
    unsigned long long dword = 0;
    std::string bytes;
};
Feature ReadFeature(const std::string& text);

struct Outcome {
    int same = 0;
    std::vector<std::string> differences;
};

// Counts `actual` as agreeing with what `client` showed, or records the difference.
void Expect(Outcome& outcome, const std::string& what, const std::string& actual, const std::string& expected,
            const std::string& client = "nvme-cli");

// Every feature dump in `info` ("raw hex data") against the get-feature output in `results`.
void CompareFeatureDumps(const Json::Value& info, const std::string& results, Outcome& outcome);

// brantix's read-all information against the other clients' files in `results`.
Outcome CompareWithClients(const std::string& results);

}  // namespace crosscheck
