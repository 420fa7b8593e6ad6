// Host facts read from /etc, /proc and /sys style files, drive numbers from
// block device names, and the PCI link texts. The facts of a simulated host
// are checked through the read command.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>

#include "orka.h"
#include "orka_linux.h"
#include "support/brantix_run.h"

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

// Drive numbers from namespace device names and from /sys/block/ entry paths (cut at the first "n" after
// the prefix); empty: not a drive's.
TEST(HostFiles, DriveNumbers) {
    for (const auto& [name, namespace_drive, listed_drive] : std::vector<std::array<std::string, 3>>{
             {"nvme12n3", "12", "12"}, {"nvme0n1p1", "", "0"}, {"nvme3", "", "3"}, {"sda", "", ""}}) {
        std::string drive;
        EXPECT_EQ(orka::IsNvmeNamespaceDevice(name, drive), !namespace_drive.empty()) << name;
        EXPECT_EQ(drive, namespace_drive) << name;
        drive = "";
        EXPECT_EQ(orka::DriveNumberFromBlockPath("/sys/block/" + name, drive), !listed_drive.empty());
        EXPECT_EQ(drive, listed_drive) << name;
    }
    std::string drive;
    EXPECT_FALSE(orka::IsNvmeNamespaceDevice("nvmen1", drive));
    EXPECT_FALSE(orka::DriveNumberFromBlockPath("/sys/class/block/nvme0n1", drive));
}

}  // namespace
