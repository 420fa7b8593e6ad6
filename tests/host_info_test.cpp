// Host facts read from /etc, /proc and /sys style files, drive numbers from
// block device names, and the PCI link texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <regex>

#include "orka.h"
#include "orka_linux.h"
#include "support/simulator.h"

namespace {

// Each text function on a few inputs, the edge rows of each included.
TEST(HostFiles, TextFunctions) {
    testing_support::TempFolder folder("host");
    const auto file = [&folder](const std::string& content) { return folder.Write("file", content); };
    const std::string missing = folder.Path("missing");
    const std::string os =
        "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\n"
        "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n";
    const std::string cpu = "processor\t: 0\nmodel name\t: Example CPU @ 2.00GHz \nmodel name\t: second\n";
    const struct {
        std::function<std::string()> call;
        std::string expected;
    } cases[] = {
        {[&] { return orka::GetLinuxInfo(file("1.23 \n2.0\n")); }, "1.23 "},
        {[&] { return orka::GetLinuxInfo(file("no line end")); }, "no line end"},
        {[&] { return orka::GetLinuxInfo(file("crlf\r\nnext\r\n")); }, "crlf"},
        {[&] { return orka::GetLinuxInfo(missing); }, "N/A"},
        {[&] { return orka::GetLinuxOsName(file(os)) + "|" + orka::GetLinuxOsVersion(file(os)); },
         "Debian GNU/Linux 12 (bookworm)|12 (bookworm)"},
        // VERSION_ID and VERSION_CODENAME do not begin with VERSION=; the first matching line is taken.
        {[&] { return orka::GetLinuxOsVersion(file("VERSION_ID=\"22.04\"\nVERSION_CODENAME=jammy\n")); },
         "N/A"},
        {[&] { return orka::GetLinuxOsName(file("PRETTY_NAME=Plain\nPRETTY_NAME=\"Second\"\n")); }, "N/A"},
        {[&] { return orka::GetLinuxOsVersion(file("VERSION=\"1\" \"2\"\nVERSION=\"3\"\n")); }, "1"},
        {[&] { return orka::GetLinuxOsName(file("PRETTY_NAME=\"unclosed\n")); }, "N/A"},
        {[&] { return orka::GetLinuxOsVersion(file("VERSION=\"\"\n")); }, ""},
        {[&] { return orka::GetLinuxOsName(missing) + "|" + orka::GetLinuxOsVersion(missing); }, "N/A|N/A"},
        {[&] { return orka::GetLinuxInfoField(file(cpu), "model name"); }, "Example CPU @ 2.00GHz"},
        {[&] { return orka::GetLinuxInfoField(file(cpu), "cache size"); }, "N/A"},
        {[&] { return orka::GetLinuxInfoField(missing, "MemTotal"); }, "N/A"},
        {[] { return orka::PciSpeedText("32.0 GT/s PCIe"); }, "Gen5 32.0GT/s"},
        {[] { return orka::PciSpeedText("5.0 GT/s PCIe"); }, "Gen2 5.0GT/s"},
        {[] { return orka::PciSpeedText("8.0 GT/s"); }, "N/A"},
        {[] { return orka::PciBandwidthText("2.5 GT/s PCIe", "2"); }, "5.0 GT/s"},
        {[] { return orka::PciBandwidthText("Unknown", "4"); }, "N/A"},
        {[] { return orka::PciBandwidthText("8.0 GT/s PCIe", "x4"); }, "N/A"},
        {[] { return orka::PciLocationText("10000:e1:1f.7"); }, "Bus e1, device 1f, function 7"},
        {[] { return orka::PciLocationText("0000:01:00"); }, "N/A"},
        {[] { return orka::PciLocationText("0000:.0"); }, "N/A"},
        // 499,999,744 and 500,000,256 bytes round to 0 and 1 decimal gigabytes.
        {[] { return orka::SectorsToGigabytes("976562") + orka::SectorsToGigabytes("976563"); }, "01"},
        {[] { return orka::SectorsToGigabytes("12a"); }, "N/A"},
        {[] { return orka::SectorsToGigabytes("99999999999999999999"); }, "N/A"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].call(), cases[i].expected) << "case " << i;
    }
    const char* home = std::getenv("HOME");
    setenv("HOME", "/home/tester", 1);
    EXPECT_EQ(orka::GetDocumentsFolder(), "/home/tester/Documents");
    home == nullptr ? unsetenv("HOME") : setenv("HOME", std::string(home).c_str(), 1);
}

// Drive numbers from namespace device names and from /sys/block/ entry paths; empty: not a drive's.
TEST(HostFiles, DriveNumbers) {
    const struct {
        std::string name;
        std::string namespace_drive;  // a whole namespace device: nvme<drive>n<namespace>
        std::string listed_drive;     // /sys/block/<name>, cut at the first "n" after the prefix
    } cases[] = {
        {"nvme12n3", "12", "12"}, {"nvme0c0n1", "", "0c0"}, {"nvme0n1p1", "", "0"},
        {"nvme3", "", "3"},       {"nvme0n", "", "0"},      {"sda", "", ""},
    };
    for (const auto& c : cases) {
        std::string drive;
        EXPECT_EQ(orka::IsNvmeNamespaceDevice(c.name, drive), !c.namespace_drive.empty()) << c.name;
        EXPECT_EQ(drive, c.namespace_drive) << c.name;
        drive = "";
        EXPECT_EQ(orka::DriveNumberFromBlockPath("/sys/block/" + c.name, drive), !c.listed_drive.empty());
        EXPECT_EQ(drive, c.listed_drive) << c.name;
    }
    std::string drive;
    EXPECT_FALSE(orka::IsNvmeNamespaceDevice("nvmen1", drive));
    EXPECT_FALSE(orka::DriveNumberFromBlockPath("/sys/class/block/nvme0n1", drive));
    EXPECT_FALSE(orka::DriveNumberFromBlockPath("/dev/nvme0n1", drive));
    EXPECT_EQ(drive, "");
}

// GetSystemInfo against the drive simulator: the PCI parameters of the drive under test and the overview
// line of every namespace device.
TEST(SimulatedSystemInfo, PciParametersAndOverview) {
    testing_support::TempFolder folder("host");
    // A link faster than the speed table knows and a vendor outside the lookup table.
    Json::Value fast = testing_support::ProfileSource("plain-1.2.1");
    fast["drives"][0]["pci"] = testing_support::ParseJson(
        R"({"vendor": "0x10ec", "device": "0x5765", "max_link_speed": "64.0 GT/s PCIe", "max_link_width": "16",
            "current_link_speed": "2.5 GT/s PCIe", "current_link_width": "1"})");
    const std::string names[] = {"PCI Bandwidth",       "PCI Device ID",     "PCI Location",
                                 "PCI Rated Bandwidth", "PCI Rated Speed",   "PCI Rated Width",
                                 "PCI Speed",           "PCI Width",         "Root PCI Device ID",
                                 "Root PCI Location",   "Root PCI Vendor ID"};
    const struct {
        std::string profile;
        std::string device;
        std::string values;              // of `names`, joined by "|"
        std::vector<std::string> lines;  // sorted: the listing order is the file system's
    } cases[] = {
        {"rich-1.4",
         "0",
         "16.0 GT/s|0x2500|Bus 02, device 00, function 0|64.0 GT/s|Gen4 16.0GT/s|x4|Gen3 8.0GT/s|x2|0x43B0|"
         "Bus 00, device 1d, function 0|0x8086",
         {"DRIVE 0 : Western Digital Brantix Sim Rich 2TB NVMe 1.4 2000GB"}},
        {"dual-namespace",
         "1",
         "32.0 GT/s|0x2262|Bus 02, device 00, function 0|32.0 GT/s|Gen3 8.0GT/s|x4|Gen3 8.0GT/s|x4|0xA110|"
         "Bus 00, device 1d, function 0|0x8086",
         {"DRIVE 0 : Western Digital Brantix Sim Dual 0 1024GB",
          "DRIVE 0 : Western Digital Brantix Sim Dual 0 512GB",
          "DRIVE 1 : Western Digital Brantix Sim Dual 1 1024GB",
          "DRIVE 1 : Western Digital Brantix Sim Dual 1 512GB"}},
        {folder.Write("fast.json", fast.toStyledString()),
         "0",
         "2.5 GT/s|0x5765|Bus 01, device 00, function 0|1024.0 GT/s|N/A|x16|Gen1 2.5GT/s|x1|0xA110|"
         "Bus 00, device 1c, function 0|0x8086",
         {"DRIVE 0 : Unknown Brantix Sim Plain 1TB 1000GB"}},
        // A drive number the host does not have: every fact is missing.
        {"no-drives", "5", "N/A|N/A|N/A|N/A|N/A|N/A|N/A|N/A|N/A|N/A|N/A", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile);
        testing_support::UseProfile(c.profile);
        Json::Value info;
        orka::GetSystemInfo(info, c.device, false);
        testing_support::StopSimulation();
        const Json::Value& parameters = info["nvme"]["parameters"];
        std::string values;
        for (const auto& name : names) {
            EXPECT_EQ(parameters[name]["source"].asString(), "Calculated") << name;
            values += (values.empty() ? "" : "|") + parameters[name]["value"].asString();
        }
        EXPECT_EQ(parameters.size(), std::size(names));
        EXPECT_EQ(values, c.values);
        std::vector<std::string> lines;
        for (const auto& line : info["_metadata"]["system"]["nvme list"]) {
            lines.push_back(line.asString());
        }
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, c.lines);
    }
}

}  // namespace
