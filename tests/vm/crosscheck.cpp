// Compares what brantix decoded inside the test machine with what nvme-cli
// and smartctl decoded from the same controller in the same boot.
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

#include <json/json.h>

#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "orka.h"
#include "orka_linux.h"
#include "orka_nvme.h"

namespace {

using crosscheck::ReadFile;
using crosscheck::ReadJson;

// Self-test and sanitize runs: an action the controller does not advertise
// (the Identify Controller bit, as nvme-cli read it) must end with brantix's
// failure code and message; an advertised one must pass.
struct Action {
    const char* step;  // folder the run logged into, and "brantix-" + step in codes
    const char* summary;
    const char* field;
    unsigned int bit;
    int refused_code;
    const char* refused_message;
    const char* passed_message;
};

const Action ACTIONS[] = {
    {"selftest-short", "selftest.summary.json", "oacs", 4, 30, "Device does NOT support self-test",
     " SELF-TEST PASSED"},
    {"selftest-extended", "selftest.summary.json", "oacs", 4, 30, "Device does NOT support self-test",
     " SELF-TEST PASSED"},
    {"sanitize-block", "sanitize.summary.json", "sanicap", 1, 40, "Device does NOT support block erase",
     " SANITIZE PASSED"},
    {"sanitize-overwrite", "sanitize.summary.json", "sanicap", 2, 42, "Device does NOT support overwrite",
     " SANITIZE PASSED"},
    {"sanitize-crypto", "sanitize.summary.json", "sanicap", 0, 41, "Device does NOT support crypto erase",
     " SANITIZE PASSED"},
};

class CrossCheck {
  public:
    explicit CrossCheck(const std::string& results)
        : results_(results),
          controller_(ReadJson(results + "/id-ctrl.out")),
          smart_(ReadJson(results + "/smart-log.out")) {}

    // Returns the number of disagreements.
    int Run() const {
        int differences = CheckHostFacts() + CheckActions() + CheckRulesRun();
        const crosscheck::Outcome outcome = crosscheck::CompareWithClients(results_);
        for (const std::string& difference : outcome.differences) {
            std::cout << "DIFF " << difference << "\n";
        }
        differences += static_cast<int>(outcome.differences.size());
        std::cout << "crosscheck: " << outcome.same << " values agree, " << differences << " differ\n";
        return differences;
    }

  private:
    // One "<function> <file> <text>" line per sysfs file read in the machine.
    std::map<std::string, std::string> ReadSysfs() const {
        std::map<std::string, std::string> files;
        std::istringstream lines(ReadFile(results_ + "/sysfs.txt"));
        for (std::string line; std::getline(lines, line);) {
            const auto second = line.find(' ', line.find(' ') + 1);
            if (second != std::string::npos) {
                files[line.substr(0, second)] = line.substr(second + 1);
            }
        }
        return files;
    }

    int CheckHostFacts() const {
        auto sysfs = ReadSysfs();
        int differences = 0;
        const auto expect = [&differences](const std::string& what, const std::string& actual,
                                           const std::string& expected) {
            if (actual != expected) {
                std::cout << "DIFF " << what << ": \"" << actual << "\", expected \"" << expected << "\"\n";
                ++differences;
            }
        };
        expect("controller vendor in sysfs", sysfs["controller vendor"], "0x1b36");
        expect("root port vendor in sysfs", sysfs["port vendor"], "0x1b36");
        if (orka::PciSpeedText(sysfs["controller current_link_speed"]) == "N/A" ||
            sysfs["controller current_link_width"].find_first_not_of("0123456789") != std::string::npos ||
            sysfs["controller current_link_width"].empty() || sysfs["controller current_link_width"] == "0") {
            std::cout << "DIFF the controller's link has no speed or width in sysfs\n";
            ++differences;
        }

        const Json::Value info = ReadJson(results_ + "/read-system/nvme.info.json");
        if (info.isNull()) {
            return differences;
        }
        const Json::Value& parameters = info["nvme"]["parameters"];
        // sysfs writes "0x000c"; brantix keeps the "0x" and upper-cases the digits.
        const auto hex_id = [](const std::string& text) {
            std::string digits = text.rfind("0x", 0) == 0 ? text.substr(2) : text;
            orka::UpperCase(digits);
            return "0x" + digits;
        };
        const auto value = [&parameters](const char* name) { return parameters[name]["value"].asString(); };
        expect("PCI Device ID", value("PCI Device ID"), hex_id(sysfs["controller device"]));
        expect("PCI Width", value("PCI Width"), "x" + sysfs["controller current_link_width"]);
        expect("PCI Rated Width", value("PCI Rated Width"), "x" + sysfs["controller max_link_width"]);
        expect("PCI Speed", value("PCI Speed"), orka::PciSpeedText(sysfs["controller current_link_speed"]));
        expect("PCI Rated Speed", value("PCI Rated Speed"),
               orka::PciSpeedText(sysfs["controller max_link_speed"]));
        expect("PCI Location", value("PCI Location"), orka::PciLocationText(sysfs["controller address"]));
        expect("Root PCI Vendor ID", value("Root PCI Vendor ID"), hex_id(sysfs["port vendor"]));
        expect("Root PCI Device ID", value("Root PCI Device ID"), hex_id(sysfs["port device"]));
        expect("Root PCI Location", value("Root PCI Location"), orka::PciLocationText(sysfs["port address"]));
        expect("PCI Bandwidth", value("PCI Bandwidth"),
               orka::PciBandwidthText(sysfs["controller current_link_speed"],
                                      sysfs["controller current_link_width"]));
        expect(
            "PCI Rated Bandwidth", value("PCI Rated Bandwidth"),
            orka::PciBandwidthText(sysfs["controller max_link_speed"], sysfs["controller max_link_width"]));

        // The size and model as nvme-cli lists the namespace: the drive
        // overview rounds to whole gigabytes, "Size" counts bytes.
        const Json::Value listed = ReadJson(results_ + "/nvme-list.out")["Devices"][0];
        const unsigned long long bytes = listed["PhysicalSize"].asUInt64();
        expect("Size", value("Size"), std::to_string(bytes) + " Bytes");
        expect("Size in GB", value("Size in GB"),
               orka::ToFixedString(static_cast<double>(bytes) / 1e9, 1) + " GB");
        const Json::Value& drives = info["_metadata"]["system"]["nvme list"];
        expect("drive overview", drives.size() == 1 ? drives[0].asString() : "",
               "DRIVE 0 : " + orka::LookupPciVendor(sysfs["controller vendor"]) + " " +
                   listed["ModelNumber"].asString() + " " + std::to_string((bytes + 500000000) / 1000000000) +
                   "GB");
        return differences;
    }

    // The exit code of each step inside the machine ("NAME CODE" lines).
    std::map<std::string, std::string> ReadCodes() const {
        std::map<std::string, std::string> codes;
        std::istringstream lines(ReadFile(results_ + "/codes"));
        for (std::string name, code; lines >> name >> code;) {
            codes[name] = code;
        }
        return codes;
    }

    int CheckActions() const {
        auto codes = ReadCodes();
        int differences = 0;
        for (const Action& action : ACTIONS) {
            const std::string step = std::string("brantix-") + action.step;
            const bool supported = ((controller_[action.field].asUInt64() >> action.bit) & 1U) != 0;
            const int code = supported ? 0 : action.refused_code;
            const Json::Value result = ReadJson(results_ + "/" + action.step + "/" + action.summary)["_cmd"];
            const std::string shown =
                codes[step] + " " + result["return code"].asString() + " " + result["message"].asString();
            const std::string expected = std::to_string(code) + " " + std::to_string(code) + " " +
                                         (supported ? action.passed_message : action.refused_message);
            if (shown == expected) {
                std::cout << "same " << action.step << ": " << shown << "\n";
            } else {
                std::cout << "DIFF " << action.step << " (exit code, return code, message): \"" << shown
                          << "\", expected \"" << expected << "\"\n";
                ++differences;
            }
        }
        return differences;
    }

    // The three samples of read-rules against commands/health.rules.json:
    // each breaks the rules nvme-cli's values break, and none differs from
    // the first sample. QEMU's controller reports an available spare of 0 %.
    int CheckRulesRun() const {
        std::string expected_names;
        if (smart_["avail_spare"].asUInt() <= 10) {
            expected_names += "Available Spare;";
        }
        const std::string verdict = expected_names.empty() ? "PASSED" : "failed verify";
        int differences = 0;
        const Json::Value details = ReadJson(results_ + "/read-rules/read.summary.json")["read details"];
        for (Json::Value::ArrayIndex i = 0; i < 3; ++i) {
            const std::string sample = std::to_string(i + 1);
            const Json::Value info = ReadJson(results_ + "/read-rules/nvme.info.sample-" + sample + ".json");
            std::string names;
            for (const Json::Value& violation : info["rule violations"]) {
                names += violation["name"].asString() + ";";
            }
            const std::string message = details["sample"][i]["message"].asString();
            const std::string shown = message + " [" + names + "]";
            const std::string expected =
                (verdict == "PASSED" ? verdict : "Sample " + sample + " " + verdict) + " [" + expected_names +
                "]";
            if (shown != expected) {
                std::cout << "DIFF read-rules sample " << sample << ": \"" << shown << "\", expected \""
                          << expected << "\"\n";
                ++differences;
            }
        }
        const std::string mismatches =
            details["static mismatches"].asString() + " " + details["counter mismatches"].asString();
        if (mismatches != "0 0") {
            std::cout << "DIFF read-rules mismatches with the first sample (static, counter): " << mismatches
                      << "\n";
            ++differences;
        }
        return differences;
    }

    std::string results_;
    Json::Value controller_;
    Json::Value smart_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: brantix_vm_crosscheck RESULTS_DIR\n";
        return 2;
    }
    return CrossCheck(argv[1]).Run() == 0 ? 0 : 1;
}
