// Host facts read from /etc, /proc and /sys style files, the controllers and
// their block devices, and the PCI link texts. The facts of a simulated host
// are checked through the read command.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>

#include "orka.h"
#include "orka_linux.h"
#include "support/brantix_run.h"
#include "support/simulator.h"

namespace {

// Each text function on a few inputs, the edge rows of each included.
TEST(HostFiles, TextFunctions) {
    testing_support::TempFolder folder("host");
    const auto file = [&folder](const std::string& content) { return folder.Write("file", content); };
    const std::string missing = folder.Path("missing");
    const std::string cpu = "processor\t: 0\nmodel name\t: Example CPU @ 2.00GHz \nmodel name\t: second\n";
    const struct {
        std::function<std::string()> call;
        std::string expected;
    } cases[] = {
        {[&] { return orka::GetLinuxInfo(file("1.23 \r\n2.0\n")); }, "1.23 "},
        {[&] { return orka::GetLinuxInfo(missing); }, "N/A"},
        // VERSION_ID does not begin with VERSION=; the first matching line is taken.
        {[&] {
             return orka::GetLinuxOsVersion(file("VERSION_ID=\"22.04\"\nVERSION=\"1\" \"2\"\nVERSION=3\n"));
         },
         "1"},
        {[&] { return orka::GetLinuxOsName(file("PRETTY_NAME=Plain\nPRETTY_NAME=\"Second\"\n")); }, "N/A"},
        {[&] { return orka::GetLinuxOsVersion(file("VERSION=\"\"\n")); }, ""},
        {[&] { return orka::GetLinuxOsName(file("PRETTY_NAME=\"unclosed\n")); }, "N/A"},
        {[&] { return orka::GetLinuxOsName(missing) + "|" + orka::GetLinuxOsVersion(file("ID=x\n")); },
         "N/A|N/A"},
        {[&] { return orka::GetLinuxInfoField(file(cpu), "model name"); }, "Example CPU @ 2.00GHz"},
        {[&] { return orka::GetLinuxInfoField(file(cpu), "cache size"); }, "N/A"},
        {[] { return orka::PciSpeedText("5.0 GT/s PCIe") + "|" + orka::PciSpeedText("8.0 GT/s"); },
         "Gen2 5.0GT/s|N/A"},
        {[] {
             return orka::PciBandwidthText("Unknown", "4") + "|" +
                    orka::PciBandwidthText("8.0 GT/s PCIe", "x4");
         },
         "N/A|N/A"},
        {[] { return orka::PciLocationText("10000:e1:1f.7"); }, "Bus e1, device 1f, function 7"},
        {[] { return orka::PciLocationText("0000:01:00") + "|" + orka::PciLocationText("0000:.0"); },
         "N/A|N/A"},
        // 499,999,744 and 500,000,256 bytes round to 0 and 1 decimal gigabytes.
        {[] { return orka::SectorsToGigabytes("976562") + orka::SectorsToGigabytes("976563"); }, "01"},
        {[] { return orka::SectorsToGigabytes("12a") + orka::SectorsToGigabytes("99999999999999999999"); },
         "N/AN/A"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].call(), cases[i].expected) << "case " << i;
    }
    const char* home = std::getenv("HOME");
    setenv("HOME", "/home/tester", 1);
    EXPECT_EQ(orka::GetDocumentsFolder(), "/home/tester/Documents");
    home == nullptr ? unsetenv("HOME") : setenv("HOME", std::string(home).c_str(), 1);
}

// What belongs to each controller of the topology profile, found through sysfs links with the kernel's
// multipath on and off, and what keeps a subsystem from being erased, whichever controller or path
// reaches the namespace in use: a mount through the other controller, a holder of an exclusive open.
TEST(SimulatedTopology, ControllersOwnTheirNamespacesThroughSysfsLinks) {
    testing_support::TempFolder folder("topology");
    const std::string own = "nvme0n1 ||";
    const std::string two = "nvme2n1 nvme2n2 |";
    const struct {
        bool multipath;
        std::vector<std::string> owned;  // namespaces | paths of controllers 0 to 5
        std::string mounted;             // controller 3's name of namespace 1
        std::string held;                // controller 1's name of its namespace
    } cases[] = {
        {true,
         {"||", own, two + "nvme2c2n1 nvme2c2n2 |", two + "nvme2c3n1 nvme2c3n2 |", "||", "nvme5n1 ||"},
         "nvme2n1",
         "nvme0n1"},
        {false,
         {"||", "nvme1n1 ||", two + "|", "nvme3n1 nvme3n2 ||", "||", "nvme5n1 ||"},
         "nvme3n1",
         "nvme1n1"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.multipath);
        Json::Value source = testing_support::ProfileSource("topology");
        source["multipath"] = c.multipath;
        source["drives"][3]["mounts"][0]["device"] = c.mounted;
        source["drives"][3]["mounts"][0]["on"] = "/srv";
        source["drives"][0]["held"][0] = c.held;
        testing_support::UseProfile(
            folder.Write(c.multipath ? "on.json" : "off.json", source.toStyledString()));
        EXPECT_EQ(orka::GetNvmeDriveList(), (std::vector<std::string>{"0", "1", "2", "3", "4", "5"}));
        std::vector<std::string> owned;
        for (const auto& drive : orka::GetNvmeDriveList()) {
            const orka::NvmeBlockDevices found = orka::GetNvmeBlockDevices(drive, false);
            std::string text;
            for (const auto* names : {&found.namespaces, &found.paths}) {
                for (const auto& name : *names) {
                    text += name + " ";
                }
                text += "|";
            }
            owned.push_back(text);
        }
        EXPECT_EQ(owned, c.owned);
        EXPECT_EQ(orka::FindDriveInUse("2"), "/dev/" + c.mounted + " is mounted on /srv");
        EXPECT_EQ(orka::FindDriveInUse("1"),
                  "/dev/" + c.held + " is in use: it cannot be opened exclusively");
        EXPECT_EQ(orka::FindDriveInUse("5"), "");
    }
    testing_support::StopSimulation();
}

}  // namespace
