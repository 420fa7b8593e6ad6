// Compares what brantix decoded inside the test machine with what nvme-cli
// decoded from the same controller in the same boot.
//
//   brantix_vm_crosscheck RESULTS_DIR ["GROUP ..."]
//
// RESULTS_DIR is the folder the machine sent back (see guest.sh); the values
// are compared by tests/support/crosscheck.cpp, shared with the simulator
// tests. Checked here as well: the host facts of read-system/nvme.info.json
// against the sysfs files the machine's busybox read (sysfs.txt) and
// nvme-cli's namespace list (nvme-list.out); the self-test and sanitize runs
// against what the controller advertises; the rules run; the kernel's NVMe
// target and the controller whose only namespace is NSID 2 ("verdicts"); and
// every controller's resolution, drive overview, transport and sanitize
// in-use refusal, in both boots ("topology"). Differences in the groups named
// in the second argument are shown as PENDING and do not fail the run.
#include "support/crosscheck.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "orka_linux.h"
#include "orka_nvme.h"

namespace {

using crosscheck::Outcome;
using crosscheck::ReadFile;
using crosscheck::ReadJson;

// One controller as the machine listed it (topology.txt).
struct Controller {
    std::string number, transport, serial, state, nqn, address;
    std::vector<std::string> block_devices;
};

std::vector<Controller> ReadTopology(const std::string& results) {
    std::vector<Controller> controllers;
    std::istringstream lines(ReadFile(results + "/topology.txt"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        Controller c;
        std::string colon;
        words >> c.number >> c.transport >> c.serial >> c.state >> c.nqn >> c.address >> colon;
        c.number = c.number.substr(4);
        for (std::string device; words >> device;) {
            c.block_devices.push_back(device);
        }
        controllers.push_back(c);
    }
    return controllers;
}

// QEMU's controller and its root port (vendor 1B36h) with a link, and the
// host facts brantix drew from the same sysfs files; the drive overview's
// line for the controller, which names its block devices, in `overview`.
void CheckHostFacts(const std::string& results, Outcome& outcome, Outcome& overview) {
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
    Json::Value listed;
    const Json::Value devices = ReadJson(results + "/nvme-list.out")["Devices"];
    for (const Json::Value& device : devices) {
        if (device["DevicePath"].asString() == "/dev/nvme0n1") {
            listed = device;
        }
    }
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
    // The controller's line: its vendor, model, total size and block devices.
    std::string line;
    for (const Json::Value& drive : info["_metadata"]["system"]["nvme list"]) {
        if (drive.asString().rfind("DRIVE 0 ", 0) == 0) {
            line = drive.asString();
        }
    }
    std::string blocks;
    for (const Controller& controller : ReadTopology(results)) {
        for (size_t i = 0; controller.number == "0" && i < controller.block_devices.size(); ++i) {
            blocks += (i == 0 ? "" : ", ") + controller.block_devices[i];
        }
    }
    Expect(overview, "drive overview", line,
           "DRIVE 0 : " + orka::LookupPciVendor(sysfs["controller vendor"]) + " " +
               listed["ModelNumber"].asString() + " " + std::to_string((bytes + 500000000) / 1000000000) +
               "GB : " + blocks,
           "nvme-cli");
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

// The exit code of each step inside the machine ("NAME CODE" lines).
std::map<std::string, std::string> Codes(const std::string& results) {
    std::map<std::string, std::string> codes;
    std::istringstream lines(ReadFile(results + "/codes"));
    for (std::string name, code; lines >> name >> code;) {
        codes[name] = code;
    }
    return codes;
}

// A parameter brantix wrote in an information file, or "(none)".
std::string Parameter(const Json::Value& info, const std::string& name) {
    const Json::Value& parameter = info["nvme"]["parameters"][name];
    return parameter.isNull() ? "(none)" : parameter["value"].asString();
}

// What `part` found, added to `outcome`, its differences named after `where`.
void Merge(const std::string& where, const Outcome& part, Outcome& outcome) {
    outcome.same += part.same;
    for (const std::string& difference : part.differences) {
        outcome.differences.push_back(where + ": " + difference);
    }
}

// The steps whose exit code guest.sh left to this check ("NAME EXPECTED GROUP" lines in expected).
void CheckExpectedCodes(const std::string& results, std::map<std::string, Outcome>& groups) {
    const auto codes = Codes(results);
    std::istringstream lines(ReadFile(results + "/expected"));
    for (std::string name, expected, group; lines >> name >> expected >> group;) {
        const auto code = codes.find(name);
        Expect(groups[group], name + " (exit code)", code == codes.end() ? "(not run)" : code->second,
               expected, "expected");
    }
}

// The kernel's NVMe target and the controller whose only namespace is NSID 2, each against nvme-cli on the
// same controller; the target's mandatory log pages read without an error.
void CheckOtherControllers(const std::string& results, Outcome& outcome) {
    if (!std::ifstream(results + "/tcp/id-ctrl.out")) {
        return;
    }
    Merge("tcp", crosscheck::CompareWithClients(results + "/tcp"), outcome);
    Merge("nsid2", crosscheck::CompareWithClients(results + "/nsid2"), outcome);
    std::string pages;
    const Json::Value commands = ReadJson(results + "/tcp/read-all/nvme.info.json")["_metadata"]["commands"];
    for (const Json::Value& command : commands) {
        const std::string name = command["admin command"].asString();
        if (name == "Get Log Page 0x01" || name == "Get Log Page 0x02" || name == "Get Log Page 0x03") {
            pages += name.substr(13) + " " + command["return code"].asString() + " " +
                     command["nvme status"].asString() + "; ";
        }
    }
    Expect(outcome, "tcp: log pages read (page, return code, nvme status)", pages,
           "0x01 0 0; 0x02 0 0; 0x03 0 0; ", "expected");
    int namespace1 = 0;
    const Json::Value parameters = ReadJson(results + "/nsid2/read-all/nvme.info.json")["nvme"]["parameters"];
    for (const std::string& name : parameters.getMemberNames()) {
        namespace1 += name.rfind("Namespace 1 ", 0) == 0 ? 1 : 0;
    }
    Expect(outcome, "nsid2: parameters of namespace 1, which is not active", std::to_string(namespace1), "0",
           "expected");
}

// nvme-cli's list-subsys entry of controller `name`, wherever it sits in the document.
Json::Value FindPath(const Json::Value& value, const std::string& name) {
    if (value.isObject() && value["Name"].asString() == name && value.isMember("Address")) {
        return value;
    }
    if (value.isObject() || value.isArray()) {
        for (const Json::Value& member : value) {
            const Json::Value found = FindPath(member, name);
            if (!found.isNull()) {
                return found;
            }
        }
    }
    return Json::Value();
}

// Each controller the machine has: read and named in each form --nvme takes, listed once with its block
// devices in every drive overview, with its transport and address; a tcp controller without PCI
// parameters and with the address nvme-cli's list-subsys shows.
void CheckTopology(const std::string& results, Outcome& outcome) {
    const std::vector<Controller> controllers = ReadTopology(results);
    const Json::Value subsystems = ReadJson(results + "/list-subsys.out");
    // "*": the lowest-numbered live controller (the machine has fewer than ten, listed in numeric order).
    if (std::ifstream(results + "/identify-default.out")) {
        const auto live = std::find_if(controllers.begin(), controllers.end(),
                                       [](const Controller& c) { return c.state == "live"; });
        Expect(outcome, "identify-default OS Location",
               Parameter(ReadJson(results + "/identify-default/nvme.info.json"), "OS Location"),
               live == controllers.end() ? "(none)" : "/dev/nvme" + live->number, "expected");
    }
    for (const Controller& c : controllers) {
        const std::string device = "/dev/nvme" + c.number;
        for (const std::string form : {"read-nvme", "identify-nvme", "identify-dev-nvme"}) {
            const std::string folder = results + "/" + form + c.number;
            if (std::ifstream(folder + ".out")) {
                Expect(outcome, form + c.number + " OS Location",
                       Parameter(ReadJson(folder + "/nvme.info.json"), "OS Location"), device, "expected");
            }
        }
        const Json::Value info = ReadJson(results + "/read-nvme" + c.number + "/nvme.info.json");
        if (info.isNull()) {
            continue;
        }
        const std::string where = "read-nvme" + c.number + " ";
        // One line per controller, naming each of its block devices.
        for (const Controller& listed : controllers) {
            int lines = 0;
            std::string missing;
            for (const Json::Value& drive : info["_metadata"]["system"]["nvme list"]) {
                std::string text = drive.asString() + " ";
                if (text.rfind("DRIVE " + listed.number + " ", 0) == 0) {
                    ++lines;
                    std::replace(text.begin(), text.end(), ',', ' ');
                    for (const std::string& block : listed.block_devices) {
                        missing += text.find(" " + block + " ") == std::string::npos ? " " + block : "";
                    }
                }
            }
            Expect(outcome, where + "overview of nvme" + listed.number + " (lines, block devices missing)",
                   std::to_string(lines) + missing, "1", "sysfs");
        }
        Expect(outcome, where + "overview lines",
               std::to_string(info["_metadata"]["system"]["nvme list"].size()),
               std::to_string(controllers.size()), "sysfs");
        Expect(outcome, where + "Transport", Parameter(info, "Transport"), c.transport, "sysfs");
        Expect(outcome, where + "Transport Address", Parameter(info, "Transport Address"), c.address,
               "sysfs");
        if (c.transport != "pcie") {
            Expect(outcome, where + "Transport Address", Parameter(info, "Transport Address"),
                   FindPath(subsystems, "nvme" + c.number)["Address"].asString(), "nvme list-subsys");
            // The host's PCI facts; VID and SSVID are Identify Controller's fields.
            std::string pci;
            for (const std::string& name : info["nvme"]["parameters"].getMemberNames()) {
                const bool fact = name.rfind("PCI ", 0) == 0 || name.rfind("Root PCI ", 0) == 0;
                pci += fact && name != "PCI Vendor ID (VID)" && name != "PCI Subsystem Vendor ID (SSVID)"
                           ? name + ";"
                           : "";
            }
            Expect(outcome, where + "PCI parameters", pci, "", "expected");
        }
    }
}

// The kernel's trace of every command set up during each in-use scenario (trace-SCENARIO.txt): the
// Identify sent to each controller first shows that it records, and no controller that a sanitize was
// run on (step sanitize-SCENARIO-nvmeN) got a Sanitize command.
void CheckNoSanitizeSent(const std::string& results, Outcome& outcome) {
    for (const auto& [step, code] : Codes(results)) {
        const auto dash = step.rfind("-nvme");
        if (step.rfind("sanitize-", 0) != 0 || dash == std::string::npos) {
            continue;
        }
        const std::string controller = step.substr(dash + 1);
        std::istringstream lines(ReadFile(results + "/trace-" + step.substr(9, dash - 9) + ".txt"));
        int identify = 0;
        int sanitize = 0;
        for (std::string line; std::getline(lines, line);) {
            if (line.find(" " + controller + ": ") != std::string::npos) {
                identify += line.find("nvme_admin_identify") != std::string::npos;
                sanitize += line.find("nvme_admin_sanitize_nvm") != std::string::npos;
            }
        }
        Expect(outcome, step + " trace (Identify seen, Sanitize commands)",
               (identify > 0 ? "yes " : "no ") + std::to_string(sanitize), "yes 0", "kernel trace");
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::cerr << "usage: brantix_vm_crosscheck RESULTS_DIR [\"PENDING GROUP ...\"]\n";
        return 2;
    }
    const std::string results = argv[1];
    std::istringstream names(argc == 3 ? argv[2] : "");
    const std::set<std::string> pending{std::istream_iterator<std::string>(names),
                                        std::istream_iterator<std::string>()};
    // "core": the first controller and the trace; the others as guest.sh names them.
    std::map<std::string, Outcome> groups;
    groups["core"] = crosscheck::CompareWithClients(results);
    CheckHostFacts(results, groups["core"], groups["topology"]);
    CheckActions(results, groups["core"]);
    CheckRulesRun(results, groups["core"]);
    CheckOtherControllers(results, groups["verdicts"]);
    for (const std::string boot : {"multipath", "multipath-off"}) {
        const std::string folder = boot == "multipath" ? results : results + "/" + boot;
        std::map<std::string, Outcome> checks;
        CheckExpectedCodes(folder, checks);
        CheckTopology(folder, checks["topology"]);
        CheckNoSanitizeSent(folder, checks["core"]);
        for (const auto& [group, outcome] : checks) {
            Merge(boot, outcome, groups[group]);
        }
    }
    int failing = 0;
    for (const auto& [group, outcome] : groups) {
        const bool waits = pending.count(group) != 0;
        for (const std::string& difference : outcome.differences) {
            std::cout << (waits ? "PENDING " : "DIFF ") << group << ": " << difference << "\n";
        }
        std::cout << "crosscheck " << group << ": " << outcome.same << " values agree, "
                  << outcome.differences.size() << " differ" << (waits ? " (pending, not failing)" : "")
                  << "\n";
        failing += waits ? 0 : static_cast<int>(outcome.differences.size());
    }
    return failing == 0 ? 0 : 1;
}
