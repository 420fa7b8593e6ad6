// Compares what brantix decoded inside the test machine with what nvme-cli
// decoded from the same controller in the same boot.
//
//   brantix_vm_crosscheck RESULTS_DIR
//
// RESULTS_DIR is the folder the machine sent back (see guest.sh); the values
// are compared by tests/support/crosscheck.cpp, shared with the simulator
// tests. Checked here as well: the host facts of read-system/nvme.info.json
// against the sysfs files the machine's busybox read (sysfs.txt) and
// nvme-cli's namespace list (nvme-list.out); the self-test and sanitize runs
// against what the controller advertises; and the rules run.
#include "support/crosscheck.h"

#include <iostream>
#include <map>
#include <sstream>

#include "orka_linux.h"
#include "orka_nvme.h"

namespace {

using crosscheck::Outcome;
using crosscheck::ReadFile;
using crosscheck::ReadJson;

// QEMU's controller and its root port (vendor 1B36h) with a link, and the
// host facts brantix drew from the same sysfs files.
void CheckHostFacts(const std::string& results, Outcome& outcome) {
    // One "<function> <file> <text>" line per sysfs file read in the machine.
    std::map<std::string, std::string> sysfs;
    std::istringstream lines(ReadFile(results + "/sysfs.txt"));
    for (std::string line; std::getline(lines, line);) {
        const auto second = line.find(' ', line.find(' ') + 1);
        sysfs[line.substr(0, second)] = second == std::string::npos ? "" : line.substr(second + 1);
    }
    const std::string width = sysfs["controller current_link_width"];
    // A real link: a speed and a width other than 0.
    Expect(outcome, "controller and root port vendors, link",
           sysfs["controller vendor"] + " " + sysfs["port vendor"] + " " +
               std::to_string(orka::PciSpeedText(sysfs["controller current_link_speed"]) != "N/A" &&
                              std::atoi(width.c_str()) > 0),
           "0x1b36 0x1b36 1");
    const Json::Value info = ReadJson(results + "/read-system/nvme.info.json");
    // sysfs writes "0x000c"; brantix keeps the "0x" and upper-cases the digits.
    const auto hex_id = [](std::string text) {
        orka::UpperCase(text);
        return "0x" + text.substr(text.rfind("0X", 0) == 0 ? 2 : 0);
    };
    // The size and model as nvme-cli lists the namespace: the drive overview
    // rounds to whole gigabytes, "Size" counts bytes.
    const Json::Value listed = ReadJson(results + "/nvme-list.out")["Devices"][0];
    const unsigned long long bytes = listed["PhysicalSize"].asUInt64();
    const std::string facts[][2] = {
        {"PCI Device ID", hex_id(sysfs["controller device"])},
        {"PCI Width", "x" + width},
        {"PCI Speed", orka::PciSpeedText(sysfs["controller current_link_speed"])},
        {"PCI Rated Speed", orka::PciSpeedText(sysfs["controller max_link_speed"])},
        {"PCI Location", orka::PciLocationText(sysfs["controller address"])},
        {"Root PCI Vendor ID", hex_id(sysfs["port vendor"])},
        {"Root PCI Location", orka::PciLocationText(sysfs["port address"])},
        {"PCI Bandwidth", orka::PciBandwidthText(sysfs["controller current_link_speed"], width)},
        {"Size", std::to_string(bytes) + " Bytes"},
        {"Size in GB", orka::ToFixedString(static_cast<double>(bytes) / 1e9, 1) + " GB"},
    };
    for (const auto& [name, expected] : facts) {
        Expect(outcome, name, info["nvme"]["parameters"][name]["value"].asString(), expected, "sysfs");
    }
    const Json::Value& drives = info["_metadata"]["system"]["nvme list"];
    Expect(outcome, "drive overview", drives.size() == 1 ? drives[0].asString() : "",
           "DRIVE 0 : " + orka::LookupPciVendor(sysfs["controller vendor"]) + " " +
               listed["ModelNumber"].asString() + " " + std::to_string((bytes + 500000000) / 1000000000) +
               "GB");
}

// Self-test and sanitize runs: an action the controller does not advertise
// (the Identify Controller bit, as nvme-cli read it) must end with brantix's
// failure code and message; an advertised one must pass.
void CheckActions(const std::string& results, Outcome& outcome) {
    // Folder the run logged into ("brantix-" + step in codes), the controller's bit, brantix's refusal.
    const struct {
        const char* step;
        const char* field;
        unsigned int bit;
        int refused_code;
        const char* action;
    } actions[] = {{"selftest-short", "oacs", 4, 30, "self-test"},
                   {"selftest-extended", "oacs", 4, 30, "self-test"},
                   {"sanitize-block", "sanicap", 1, 40, "block erase"},
                   {"sanitize-overwrite", "sanicap", 2, 42, "overwrite"},
                   {"sanitize-crypto", "sanicap", 0, 41, "crypto erase"}};
    // The exit code of each step inside the machine ("NAME CODE" lines).
    std::map<std::string, std::string> codes;
    std::istringstream lines(ReadFile(results + "/codes"));
    for (std::string name, code; lines >> name >> code;) {
        codes[name] = code;
    }
    const Json::Value controller = ReadJson(results + "/id-ctrl.out");
    for (const auto& action : actions) {
        const std::string kind = std::string(action.step).substr(0, std::string(action.step).find('-'));
        const bool supported = (controller[action.field].asUInt64() >> action.bit & 1U) != 0;
        const std::string code = std::to_string(supported ? 0 : action.refused_code);
        const Json::Value result =
            ReadJson(results + "/" + action.step + "/" + kind + ".summary.json")["_cmd"];
        Expect(outcome, std::string(action.step) + " (exit code, return code, message)",
               codes["brantix-" + std::string(action.step)] + " " + result["return code"].asString() + " " +
                   result["message"].asString(),
               code + " " + code + " " +
                   (supported ? (kind == "selftest" ? " SELF-TEST PASSED" : " SANITIZE PASSED")
                              : "Device does NOT support " + std::string(action.action)),
               "expected");
    }
}

// The three samples of read-rules against commands/health.rules.json: each
// breaks the rules nvme-cli's values break (the critical warning flags raised,
// in bit order, then the spare), and none differs from the first sample.
// QEMU's controller reports an available spare of 0 % and the warnings it is
// started with.
void CheckRulesRun(const std::string& results, Outcome& outcome) {
    const Json::Value smart = ReadJson(results + "/smart-log.out");
    const char* const flags[] = {"Available Space Below Threshold", "Temperature Over/Under Threshold",
                                 "NVM Subsystem Unreliable", "Media in Read-only",
                                 "Volatile Memory Backup Failed"};
    std::string broken;
    for (unsigned int bit = 0; bit < 5; ++bit) {
        if ((smart["critical_warning"].asUInt() >> bit & 1U) != 0) {
            broken += std::string(flags[bit]) + ";";
        }
    }
    if (smart["avail_spare"].asUInt() <= 10) {
        broken += "Available Spare;";
    }
    const bool breaks = !broken.empty();
    const Json::Value details = ReadJson(results + "/read-rules/read.summary.json")["read details"];
    for (Json::Value::ArrayIndex i = 0; i < 3; ++i) {
        const std::string sample = std::to_string(i + 1);
        std::string names;
        const Json::Value info = ReadJson(results + "/read-rules/nvme.info.sample-" + sample + ".json");
        for (const Json::Value& violation : info["rule violations"]) {
            names += violation["name"].asString() + ";";
        }
        Expect(outcome, "read-rules sample " + sample,
               details["sample"][i]["message"].asString() + " [" + names + "]",
               breaks ? "Sample " + sample + " failed verify [" + broken + "]" : "PASSED []", "expected");
    }
    Expect(outcome, "read-rules mismatches with the first sample (static, counter)",
           details["static mismatches"].asString() + " " + details["counter mismatches"].asString(), "0 0",
           "expected");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: brantix_vm_crosscheck RESULTS_DIR\n";
        return 2;
    }
    Outcome outcome = crosscheck::CompareWithClients(argv[1]);
    CheckHostFacts(argv[1], outcome);
    CheckActions(argv[1], outcome);
    CheckRulesRun(argv[1], outcome);
    for (const std::string& difference : outcome.differences) {
        std::cout << "DIFF " << difference << "\n";
    }
    std::cout << "crosscheck: " << outcome.same << " values agree, " << outcome.differences.size()
              << " differ\n";
    return outcome.differences.empty() ? 0 : 1;
}
