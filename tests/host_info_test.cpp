// Host facts read from /etc, /proc and /sys style files, directory creation and
// the PCI link texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "orka.h"
#include "orka_linux.h"
#include "support/simulator.h"

namespace {

namespace fs = std::filesystem;
using testing_support::ParseJson;

class HostFiles : public ::testing::Test {
  protected:
    std::string Write(const std::string& name, const std::string& content) {
        return folder_.Write(name, content);
    }
    std::string Missing() const { return folder_.Path("missing"); }

    testing_support::TempFolder folder_{"host"};
    const fs::path& dir_ = folder_.dir;
};

TEST_F(HostFiles, LinuxInfoIsTheFirstLineWithoutItsLineEnd) {
    const struct {
        const char* content;
        const char* expected;
    } cases[] = {
        {"1.23 \n2.0\n", "1.23 "},
        {"no line end", "no line end"},
        {"crlf\r\nnext\r\n", "crlf"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        EXPECT_EQ(orka::GetLinuxInfo(Write("info", c.content)), c.expected);
    }
    EXPECT_EQ(orka::GetLinuxInfo(Missing()), "N/A");
}

TEST_F(HostFiles, OsNameAndVersionComeFromTheirOwnQuotedLines) {
    const struct {
        const char* content;
        const char* name;
        const char* version;
    } cases[] = {
        {"NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\n"
         "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n",
         "Debian GNU/Linux 12 (bookworm)", "12 (bookworm)"},
        // VERSION_ID and VERSION_CODENAME do not begin with VERSION=.
        {"VERSION_ID=\"22.04\"\nVERSION_CODENAME=jammy\n", "N/A", "N/A"},
        // The first matching line is taken, even without quotes.
        {"PRETTY_NAME=Plain\nPRETTY_NAME=\"Second\"\nVERSION=\"1\" \"2\"\n", "N/A", "1"},
        {"PRETTY_NAME=\"unclosed\nVERSION=\"\"\n", "N/A", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        const auto path = Write("os-release", c.content);
        EXPECT_EQ(orka::GetLinuxOsName(path), c.name);
        EXPECT_EQ(orka::GetLinuxOsVersion(path), c.version);
    }
    EXPECT_EQ(orka::GetLinuxOsName(Missing()), "N/A");
    EXPECT_EQ(orka::GetLinuxOsVersion(Missing()), "N/A");
}

TEST_F(HostFiles, InfoFieldIsTheTrimmedTextAfterTheColon) {
    const auto cpu = Write("cpuinfo",
                           "processor\t: 0\nmodel name\t: Example CPU @ 2.00GHz \nflags\t\t: fpu\n"
                           "model name\t: second\n");
    EXPECT_EQ(orka::GetLinuxInfoField(cpu, "model name"), "Example CPU @ 2.00GHz");
    EXPECT_EQ(orka::GetLinuxInfoField(cpu, "cache size"), "N/A");
    EXPECT_EQ(orka::GetLinuxInfoField(Write("meminfo", "MemTotal:       16318324 kB\n"), "MemTotal"),
              "16318324 kB");
    EXPECT_EQ(orka::GetLinuxInfoField(Missing(), "MemTotal"), "N/A");
}

TEST_F(HostFiles, MakeDirectoryTreeCreatesMissingParents) {
    EXPECT_EQ(orka::MakeDirectoryTree(dir_.string()), 0);
    const auto deep = dir_ / "a" / "b" / "c";
    EXPECT_EQ(orka::MakeDirectoryTree(deep.string()), 0);
    EXPECT_TRUE(fs::is_directory(dir_ / "a"));
    EXPECT_TRUE(fs::is_directory(dir_ / "a" / "b"));
    EXPECT_TRUE(fs::is_directory(deep));
    EXPECT_EQ(orka::MakeDirectoryTree(deep.string()), 0);
    // A file in the way is not a directory that exists.
    const auto blocker = Write("file", "x");
    EXPECT_EQ(orka::MakeDirectoryTree(blocker + "/sub"), ENOTDIR);
}

TEST(HostFacts, DocumentsFolderFollowsHome) {
    const char* saved = std::getenv("HOME");
    const std::string old = saved == nullptr ? "" : saved;
    setenv("HOME", "/home/tester", 1);
    EXPECT_EQ(orka::GetDocumentsFolder(), "/home/tester/Documents");
    if (saved == nullptr) {
        unsetenv("HOME");
    } else {
        setenv("HOME", old.c_str(), 1);
    }
}

TEST(PciText, LinkSpeedGenerations) {
    const struct {
        const char* speed;
        const char* expected;
    } cases[] = {
        {"32.0 GT/s PCIe", "Gen5 32.0GT/s"},
        {"5.0 GT/s PCIe", "Gen2 5.0GT/s"},
        {"2.5 GT/s PCIe", "Gen1 2.5GT/s"},
        {"64.0 GT/s PCIe", "N/A"},
        {"8.0 GT/s", "N/A"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::PciSpeedText(c.speed), c.expected) << c.speed;
    }
}

TEST(PciText, BandwidthIsSpeedTimesLanes) {
    const struct {
        const char* speed;
        const char* width;
        const char* expected;
    } cases[] = {
        {"8.0 GT/s PCIe", "4", "32.0 GT/s"},
        {"2.5 GT/s PCIe", "2", "5.0 GT/s"},
        {"Unknown", "4", "N/A"},
        {"8.0 GT/s PCIe", "x4", "N/A"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::PciBandwidthText(c.speed, c.width), c.expected) << c.speed << " / " << c.width;
    }
}

TEST(PciText, LocationFromAddress) {
    const struct {
        const char* address;
        const char* expected;
    } cases[] = {
        {"0000:3d:00.0", "Bus 3d, device 00, function 0"},
        {"10000:e1:1f.7", "Bus e1, device 1f, function 7"},
        {"0000:01:00", "N/A"},
        {"0000:.0", "N/A"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::PciLocationText(c.address), c.expected) << c.address;
    }
}

TEST(BlockDevices, WholeNamespaceDevicesOnly) {
    const struct {
        const char* name;
        bool whole;
        const char* drive;
    } cases[] = {
        {"nvme12n3", true, "12"}, {"nvme0c0n1", false, ""}, {"nvme0n1p1", false, ""}, {"nvme0", false, ""},
        {"nvmen1", false, ""},    {"nvme0n", false, ""},    {"sda", false, ""},
    };
    for (const auto& c : cases) {
        std::string drive;
        EXPECT_EQ(orka::IsNvmeNamespaceDevice(c.name, drive), c.whole) << c.name;
        EXPECT_EQ(drive, c.drive) << c.name;
    }
}

TEST(BlockDevices, SizeInDecimalGigabytes) {
    const struct {
        const char* sectors;
        const char* expected;
    } cases[] = {
        {"1953525168", "1000"},  // a 1 TB drive
        {"976562", "0"},         // 499,999,744 bytes
        {"976563", "1"},         // 500,000,256 bytes
        {"12a", "N/A"},         {"99999999999999999999", "N/A"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::SectorsToGigabytes(c.sectors), c.expected) << c.sectors;
    }
}

// GetSystemInfo against the drive simulator.

class SimulatedSystemInfo : public HostFiles {
  protected:
    void TearDown() override {
        testing_support::StopSimulation();
        HostFiles::TearDown();
    }

    // plain-1.2.1 with a link faster than the speed table knows and a vendor
    // outside the lookup table.
    std::string FastLinkProfile() {
        Json::Value profile = testing_support::ProfileSource("plain-1.2.1");
        Json::Value& pci = profile["drives"][0]["pci"];
        pci["vendor"] = "0x10ec";
        pci["device"] = "0x5765";
        pci["max_link_speed"] = "64.0 GT/s PCIe";
        pci["max_link_width"] = "16";
        pci["current_link_speed"] = "2.5 GT/s PCIe";
        pci["current_link_width"] = "1";
        const std::string path = (dir_ / "fast-link.json").string();
        orka::WriteJsonFile(path, profile);
        return path;
    }

    static std::map<std::string, std::string> Values(const Json::Value& parameters) {
        std::map<std::string, std::string> values;
        for (const auto& name : parameters.getMemberNames()) {
            EXPECT_EQ(parameters[name]["name"].asString(), name);
            EXPECT_EQ(parameters[name]["source"].asString(), "Calculated") << name;
            values[name] = parameters[name]["value"].asString();
        }
        return values;
    }
};

TEST_F(SimulatedSystemInfo, SystemBlockKeysAndHostTexts) {
    const struct {
        bool extended;
        std::vector<std::string> keys;
    } cases[] = {
        {false,
         {"bios version", "date", "hostname", "manufacturer", "model", "nvme list", "os", "os version",
          "username", "uuid", "working directory"}},
        {true,
         {"bios version", "date", "hostname", "kernel release", "manufacturer", "memory", "model",
          "nvme list", "os", "os version", "processor", "username", "uuid", "working directory"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.extended);
        testing_support::UseProfile("rich-1.4");
        orka::TRACELOG_NAME = (dir_ / "system.trace.log").string();
        orka::InitTraceLog();
        Json::Value info;
        orka::GetSystemInfo(info, "0", c.extended);
        const Json::Value& system = info["_metadata"]["system"];

        // The narrative at info level: the labelled facts, the overview, the time taken.
        std::vector<std::string> messages;
        std::ifstream trace(orka::TRACELOG_NAME);
        for (std::string line; std::getline(trace, line);) {
            messages.push_back(line.size() > 27 ? line.substr(27) : line);  // after "[date time.ms]  "
        }
        ASSERT_EQ(messages.size(), 6u);
        EXPECT_EQ(messages[0], "Date:              " + system["date"].asString());
        EXPECT_EQ(messages[1], "Hostname:          " + system["hostname"].asString());
        EXPECT_EQ(messages[2], "User:              NA");
        EXPECT_EQ(messages[3], "Working Directory: NA");
        EXPECT_EQ(messages[4], "DRIVE 0 : Western Digital Brantix Sim Rich 2TB NVMe 1.4 2000GB");
        EXPECT_EQ(messages[5].rfind("System info read in ", 0), 0u) << messages[5];

        EXPECT_EQ(system.getMemberNames(), c.keys);
        EXPECT_EQ(system["bios version"].asString() + "|" + system["manufacturer"].asString() + "|" +
                      system["model"].asString() + "|" + system["username"].asString() + "|" +
                      system["working directory"].asString(),
                  "SIM.BIOS.1.4.7|Brantix Boards|Simulated Rich Host|NA|NA");
        EXPECT_TRUE(std::regex_match(system["date"].asString(),
                                     std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}( DST)?)")))
            << system["date"].asString();
        ASSERT_EQ(system["nvme list"],
                  ParseJson(R"(["DRIVE 0 : Western Digital Brantix Sim Rich 2TB NVMe 1.4 2000GB"])"));
    }
}

// The PCI parameters of the drive under test, and the overview line of every namespace device.
TEST_F(SimulatedSystemInfo, PciParametersAndOverview) {
    const std::vector<std::string> names = {"PCI Bandwidth",       "PCI Device ID",     "PCI Location",
                                            "PCI Rated Bandwidth", "PCI Rated Speed",   "PCI Rated Width",
                                            "PCI Speed",           "PCI Width",         "Root PCI Device ID",
                                            "Root PCI Location",   "Root PCI Vendor ID"};
    const struct {
        std::string profile;
        std::string device;
        std::vector<std::string> values;  // in the order of `names`
        std::vector<std::string> lines;   // sorted: the listing order is the file system's
    } cases[] = {
        {"rich-1.4",
         "0",
         {"16.0 GT/s", "0x2500", "Bus 02, device 00, function 0", "64.0 GT/s", "Gen4 16.0GT/s", "x4",
          "Gen3 8.0GT/s", "x2", "0x43B0", "Bus 00, device 1d, function 0", "0x8086"},
         {"DRIVE 0 : Western Digital Brantix Sim Rich 2TB NVMe 1.4 2000GB"}},
        {"dual-namespace",
         "1",
         {"32.0 GT/s", "0x2262", "Bus 02, device 00, function 0", "32.0 GT/s", "Gen3 8.0GT/s", "x4",
          "Gen3 8.0GT/s", "x4", "0xA110", "Bus 00, device 1d, function 0", "0x8086"},
         {"DRIVE 0 : Western Digital Brantix Sim Dual 0 1024GB",
          "DRIVE 0 : Western Digital Brantix Sim Dual 0 512GB",
          "DRIVE 1 : Western Digital Brantix Sim Dual 1 1024GB",
          "DRIVE 1 : Western Digital Brantix Sim Dual 1 512GB"}},
        {FastLinkProfile(),
         "0",
         {"2.5 GT/s", "0x5765", "Bus 01, device 00, function 0", "1024.0 GT/s", "N/A", "x16", "Gen1 2.5GT/s",
          "x1", "0xA110", "Bus 00, device 1c, function 0", "0x8086"},
         {"DRIVE 0 : Unknown Brantix Sim Plain 1TB 1000GB"}},
        // A drive number the host does not have: every fact is missing.
        {"no-drives", "5", std::vector<std::string>(11, "N/A"), {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile + " drive " + c.device);
        testing_support::UseProfile(c.profile);
        Json::Value info;
        orka::GetSystemInfo(info, c.device, false);
        std::map<std::string, std::string> expected;
        for (size_t i = 0; i < names.size(); ++i) {
            expected[names[i]] = c.values[i];
        }
        EXPECT_EQ(Values(info["nvme"]["parameters"]), expected);
        std::vector<std::string> lines;
        for (const auto& line : info["_metadata"]["system"]["nvme list"]) {
            lines.push_back(line.asString());
        }
        std::sort(lines.begin(), lines.end());
        EXPECT_EQ(lines, c.lines);
    }
}

}  // namespace
