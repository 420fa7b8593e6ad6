// The read command run end to end on simulated drives.
#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::ParseJson;
using testing_support::SimulatedRun;
using Names = std::vector<std::string>;

// commands/read.cmd.json at interval 0 with `changes` applied, run on `profile` with `files` beside it.
SimulatedRun RunRead(const std::string& profile, const std::string& changes, const std::string& faults = "",
                     const std::map<std::string, std::string>& files = {}) {
    testing_support::RunOptions options;
    options.files = files;
    options.files["read.cmd.json"] =
        testing_support::CommandFile("read", {R"({"interval in ms": 0})", changes});
    return testing_support::RunBrantixOnProfile(profile, options, faults);
}

Json::Value JsonFile(const SimulatedRun& run, const std::string& name) {
    return ParseJson(run.Read(name));
}

// Which samples are written, shown and how each ends, steered by the fail limit, a rules file and a
// compare file; the run's verdict, and the summary's count of the last sample's mismatches.
TEST(ReadCommand, SamplesFilesAndVerdicts) {
    const auto baseline = RunRead("rich-1.4", "{}");
    ASSERT_EQ(baseline.exit_code, 0) << baseline.console;
    const Json::Value reference = JsonFile(baseline, "nvme.info.json");
    const auto with_value = [&reference](const std::string& name, const std::string& value) {
        Json::Value changed = reference;
        changed["nvme"]["parameters"][name]["value"] = value;
        return changed.toStyledString();
    };
    // From the eighth Identify command on every Identify fails: the third sample lacks its namespace, the
    // fourth all Identify data.
    const std::string identify_fails_late = "opcode=0x06,after=7,status=0x4002";
    const std::string four = R"({"samples": 4, "log sample rate": 0, "fail limit": )";
    const std::string late_failures =
        "PASSED|PASSED|Sample 3 failed read and compare|Sample 4 failed read and "
        "compare|";
    const std::string pass = R"({"rules": ["'Model' match Brantix Sim Rich 2TB NVMe 1.4",
                                           "'Number of Namespaces (NN)' <= 4"]})";
    const std::string fail = R"({"rules": ["'Number of Namespaces (NN)' < 4"]})";
    const std::string firmware = with_value("Firmware Revision (FR)", "OLDFW");
    const std::string two = R"({"samples": 2, "log sample rate": 0, "rules file": "limits", "fail limit": )";
    const std::string compare = R"({"compare file": "before.json", "compare type": ")";
    const std::string failed_verify = "Sample 1 failed verify|Sample 2 failed verify|";
    const std::string errors_in_two = " Found errors on 2 samples of 2 total samples";
    const struct {
        std::string changes;
        std::string faults;
        std::string rules;    // limits.rules.json
        std::string earlier;  // before.json
        std::string files;    // the information files written: "info", or the samples'
        std::string samples;  // each sample's message
        int rc;
        std::string message;             // of the summary, and the console's line before the verdict
        std::string shown = "1 ";        // the sample numbers shown on the console
        std::string mismatches = "0 0";  // static and counter mismatches of the last sample
    } cases[] = {
        {R"({"samples": 6, "log sample rate": 0, "display sample rate": 2})", "", "", "", "1 6 ",
         "PASSED|PASSED|PASSED|PASSED|PASSED|PASSED|", 0, " No errors found on 6 samples", "2 4 6 "},
        {R"({"samples": 10, "log sample rate": 3})", "", "", "", "1 3 6 9 10 ",
         "PASSED|PASSED|PASSED|PASSED|PASSED|PASSED|PASSED|PASSED|PASSED|PASSED|", 0,
         " No errors found on 10 samples", "1 2 3 4 5 6 7 8 9 10 "},
        // Failing samples are written while fewer than "fail limit" have failed before them.
        {four + "0}", identify_fails_late, "", "", "1 4 ", late_failures, 22,
         " Found errors on 2 samples of 4 total samples", "1 2 3 4 ", "1 2"},
        {four + "1}", identify_fails_late, "", "", "1 3 4 ", late_failures, 22,
         " Found errors on 2 samples of 4 total samples", "1 2 3 4 ", "1 2"},
        {R"({"fail limit": 2})", "opcode=0x06,after=1,status=0x4002", "", "", "info ",
         "Sample 1 failed read|", 21, " Found errors"},
        {R"({"rules file": "limits"})", "", pass, "", "info ", "PASSED|", 0, " No errors found "},
        {two + "3}", "", fail, "", "1 2 ", failed_verify, 21, errors_in_two, "1 2 "},
        {two + "2}", "", fail, "", "1 2 ", failed_verify, 22, errors_in_two, "1 2 "},
        // The host time stamps always differ and are always ignored.
        {compare + "all\"}", "", "", reference.toStyledString(), "info ", "PASSED|", 0, " No errors found "},
        {compare + "default\"}", "", "", firmware, "info ", "Sample 1 failed compare|", 22, " Found errors",
         "1 ", "1 0"},
        {compare + "all\"}", "", "", with_value("Power On Hours", "1"), "info ", "Sample 1 failed compare|",
         22, " Found errors", "1 ", "1 0"},
        {R"({"compare file": "before.json", "rules file": "limits.rules.json"})", "", fail, firmware, "info ",
         "Sample 1 failed verify and compare|", 22, " Found errors", "1 ", "1 0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.changes + " " + c.faults);
        const auto run = RunRead("rich-1.4", c.changes, c.faults,
                                 {{"limits.rules.json", c.rules}, {"before.json", c.earlier}});
        EXPECT_EQ(run.exit_code, c.rc) << run.console;
        const bool info_file = run.Exists("nvme.info.json");
        std::string files = info_file ? "info " : "";
        for (int number = 1; number <= 10; ++number) {
            const std::string sample = std::to_string(number);
            files += run.Exists("nvme.info.sample-" + sample + ".json") ? sample + " " : "";
        }
        EXPECT_EQ(files, c.files);
        const Json::Value summary = JsonFile(run, "read.summary.json");
        // The command records are spliced in as the JSON writer would have written them.
        EXPECT_EQ(run.Read("read.summary.json"), Json::writeString(Json::StreamWriterBuilder(), summary));
        const Json::Value& details = summary["read details"];
        std::string samples;
        for (const auto& sample : details["sample"]) {
            samples += sample["message"].asString() + "|";
        }
        EXPECT_EQ(samples, c.samples);
        EXPECT_EQ(
            summary["_cmd"]["message"].asString() + std::to_string(summary["_cmd"]["return code"].asInt()),
            c.message + std::to_string(c.rc));
        const auto lines = testing_support::Lines(run.console);
        ASSERT_GE(lines.size(), 3u);
        EXPECT_EQ(lines[lines.size() - 3], c.message);
        std::string shown;
        for (const auto& line : lines) {
            const auto at = line.find(" samples completed in ");
            shown += at == std::string::npos ? "" : std::to_string(std::stoi(line.substr(0, at))) + " ";
        }
        EXPECT_EQ(shown, c.shown);
        EXPECT_EQ(details["static mismatches"].asString() + " " + details["counter mismatches"].asString(),
                  c.mismatches);
        const Json::Value info = JsonFile(run, info_file ? "nvme.info.json" : "nvme.info.sample-1.json");
        EXPECT_EQ(info["_metadata"]["file type"].asString(), "nvme info");
        EXPECT_EQ(std::to_string(info["static mismatches"].size()) + " " +
                      std::to_string(info["counter mismatches"].size()),
                  info_file ? c.mismatches : "0 0");
    }
}

// The calculated parameters and host facts of one sample of the rich drive, and its commands.
TEST(ReadCommand, OneSampleOfTheRichDrive) {
    const auto run = RunRead("rich-1.4", R"({"log hex data": false})");
    ASSERT_EQ(run.exit_code, 0) << run.console;
    const Json::Value info = JsonFile(run, "nvme.info.json");
    const std::string model = "Brantix Sim Rich 2TB NVMe 1.4";
    // 3,907,029,168 blocks of 512 bytes.
    std::string values;
    for (const std::string name : {"Model",
                                   "Model No Spaces",
                                   "Size in GiB",
                                   "Size in GB",
                                   "Size in TB",
                                   "Highest Version Detected",
                                   "OS Location",
                                   "Transport",
                                   "Transport Address",
                                   "Unique Description",
                                   "PCI Bandwidth",
                                   "PCI Device ID",
                                   "PCI Location",
                                   "PCI Rated Bandwidth",
                                   "PCI Rated Speed",
                                   "PCI Rated Width",
                                   "PCI Speed",
                                   "PCI Width",
                                   "Root PCI Device ID",
                                   "Root PCI Location",
                                   "Root PCI Vendor ID"}) {
        values += testing_support::ParameterValue(info, name) + "|";
    }
    EXPECT_EQ(values, model +
                          "|Brantix_Sim_Rich_2TB_NVMe_1.4|1863.0 GiB|2000.4 GB|2.0 "
                          "TB|1.4.0|/dev/nvme0|pcie|0000:02:00.0|NVMe 0 "
                          "[02:00:0] - Western Digital " +
                          model +
                          " 2000GB|16.0 GT/s|0x2500|Bus 02, device 00, function 0|64.0 GT/s|Gen4 16.0GT/s|x4|"
                          "Gen3 8.0GT/s|x2|0x43B0|Bus 00, device 1d, function 0|0x8086|");
    EXPECT_EQ(info["_metadata"]["result"].asString(), "PASS");
    // Only the telemetry headers are dumped whatever "log hex data" says.
    EXPECT_EQ(info["raw hex data"].getMemberNames(), (Names{"log page 7 pre", "log page 8 pre"}));
    // The summary holds the same command records.
    EXPECT_EQ(JsonFile(run, "read.summary.json")["command times"], info["_metadata"]["commands"]);
    // The extended host facts, from the simulated host.
    const Json::Value& system = info["_metadata"]["system"];
    EXPECT_EQ(system.getMemberNames(),
              (Names{"bios version", "date", "hostname", "kernel release", "manufacturer", "memory", "model",
                     "nvme list", "os", "os version", "processor", "username", "uuid", "working directory"}));
    EXPECT_EQ(
        system["bios version"].asString() + "|" + system["model"].asString() + "|" +
            system["username"].asString() + "|" + system["nvme list"][0].asString(),
        "SIM.BIOS.1.4.7|Simulated Rich Host|NA|DRIVE 0 : Western Digital " + model + " 2000GB : nvme0n1");
}

// "Namespace 1" is namespace 1; the size sums the active namespaces, however high NN is. The crowded drive
// also has a vendor outside the lookup table.
TEST(ReadCommand, NamespacesAndTotalSize) {
    testing_support::TempFolder folder("profiles");
    Json::Value crowded = testing_support::ProfileSource("rich-1.4");
    crowded["drives"][0]["identify controller"]["NN"] = 1024;
    crowded["drives"][0]["pci"]["vendor"] = "0x10ec";
    const struct {
        std::string profile;
        std::string size;
        std::string nsze;      // namespace 1's
        std::string identify;  // the Identify commands sent, as namespace:CNS
        std::string listed;    // the drive listed
    } cases[] = {
        {folder.Write("crowded.json", crowded.toStyledString()), "2000398934016 Bytes", "3,907,029,168",
         "0:1 0:2 1:0 ", "DRIVE 0 : Unknown Brantix Sim Rich 2TB NVMe 1.4 2000GB : nvme0n1"},
        // 1,000,000,000 x 512 + 250,000,000 x 4,096 bytes, in the list too.
        {"dual-namespace", "1536000000000 Bytes", "1,000,000,000", "0:1 0:2 1:0 2:0 ",
         "DRIVE 0 : Western Digital Brantix Sim Dual 0 1536GB : nvme0n1, nvme0n2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.profile);
        const auto run = RunRead(c.profile, R"({"log hex data": false, "read extended system data": false})");
        const Json::Value info = JsonFile(run, "nvme.info.json");
        testing_support::ExpectParameters(info,
                                          {{"Size", c.size}, {"Namespace 1 Size in LBA (NSZE)", c.nsze}});
        EXPECT_EQ(info["_metadata"]["read status"].asString(), "All commands passed");
        std::string identify;
        for (const auto& command : run.Journal()) {
            if (command["opcode"].asInt() == 0x06) {
                identify += command["nsid"].asString() + ":" + command["cdw10"].asString() + " ";
            }
        }
        EXPECT_EQ(identify, c.identify);
        EXPECT_EQ(info["_metadata"]["system"]["nvme list"][0].asString(), c.listed);
        // Without the extended facts, the system block lacks kernel release, memory and processor.
        EXPECT_EQ(info["_metadata"]["system"].size(), 11u);
    }
}

// Real drives' quirks, one controller of the quirks profile each (or the rich drive behind an 8 KiB
// transfer limit), read with the shipped health rules: what a drive does not offer is listed, not failed;
// a rejected mandatory page fails the sample; namespace commands go only to namespaces that exist; and
// nothing of an earlier sample stands in for a drive that vanished.
TEST(ReadCommand, RealDriveQuirks) {
    using Expected = testing_support::Expected;
    const std::string absent = testing_support::ABSENT;
    const struct {
        std::string args;
        std::string faults;
        int rc;
        std::string not_supported;       // "_metadata" / "not supported", each name followed by "|"
        std::vector<Expected> expected;  // of the file below
        std::string namespaces;  // Get Features and Identify Namespace sent: "opcode:nsid " when not 0
        std::string profile = "quirks";
        std::string file = "nvme.info.json";
    } cases[] = {
        // clang-format off
        {"-n 0", "", 0, "Get Log Page 0x06|", {{"Version (VER)", "1.3.0"}, {"Self-Test 1 Result", absent}},
         "6:1 10:1 "},
        {"-n 1", "", 0, "", {{"Version (VER)", "1.2.0"}}, "6:1 10:1 "},
        {"-n 2", "", 0, "", {{"Version (VER)", "Not Reported (before NVMe 1.2)"}}, "6:1 10:1 "},
        // A drive of NVMe 1.0 lists no active namespaces: namespace 1 counts when it shows a size.
        {"-n 2", "opcode=6,cns=2,status=0x4002", 0, "Identify Active Namespace List|",
         {{"Size", "1000204886016 Bytes"}}, "6:1 10:1 "},
        {"-n 3", "", 0, "", {{"Size", "1000204886016 Bytes"}, {"Namespace 1 Size in LBA (NSZE)", absent}},
         "6:2 10:2 "},
        {"-n 4", "", 0, "", {{"Size", absent}, {"Namespace 1 Size in LBA (NSZE)", absent}}, ""},
        {"-n 5", "", 0, "", {{"Keep Alive Timeout (KATO)", "120,000 mS"}}, "6:1 10:1 "},
        {"-n 6", "", 0, "Get Feature 8|", {{"Aggregation Time (TIME)", absent}}, "6:1 10:1 "},
        {"-n 7", "", 22, "", {{"Power On Hours", absent}}, "6:1 10:1 "},
        // The event log is read in pieces of 8 KiB up to its own length, never past it.
        {"--nvme 0", "", 0, "", {{"Persistent Event Log Size (PELS)", "64 KiB"}}, "6:1 10:1 ", "rich-pieces"},
        // Gone in the second sample: its files hold no identity of the first.
        {"-n 1 -s 3", "vanish=18", 22, "", {{"Model", absent}, {"Unique Description", absent},
         {"Highest Version Detected", absent}, {"Size", absent}, {"OS Location", "/dev/nvme1"}},
         "6:1 10:1 ", "quirks", "nvme.info.sample-3.json"},
        // clang-format on
    };
    testing_support::TempFolder folder("profiles");
    Json::Value pieces = testing_support::ProfileSource("rich-1.4");
    pieces["drives"][0]["max hw sectors kb"] = 8;
    pieces["drives"][0]["log pages"]["02"]["CW"] = "0x00";  // no critical warning, for the health rules
    const std::string rich_pieces = folder.Write("rich-pieces.json", pieces.toStyledString());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args + " " + c.faults);
        testing_support::RunOptions options;
        options.files["read.cmd.json"] =
            testing_support::CommandFile("read", {R"({"interval in ms": 0, "log hex data": false})"});
        options.args =
            testing_support::Words(c.args + " -r " BRANTIX_SOURCE_DIR "/commands/health.rules.json");
        const auto run = testing_support::RunBrantixOnProfile(
            c.profile == "rich-pieces" ? rich_pieces : c.profile, options, c.faults);
        EXPECT_EQ(run.exit_code, c.rc) << run.console;
        const Json::Value info = JsonFile(run, c.file);
        std::string listed;
        for (const auto& name : info["_metadata"]["not supported"]) {
            listed += name.asString() + "|";
        }
        EXPECT_EQ(listed, c.not_supported);
        testing_support::ExpectParameters(info, c.expected);
        std::string namespaces;
        bool length_refused = false;
        for (const auto& command : run.Journal()) {
            const unsigned int opcode = command["opcode"].asUInt();
            const unsigned int nsid = command["nsid"].asUInt();
            if ((opcode == 0x06 || opcode == 0x0A) && nsid != 0 &&
                namespaces.find(std::to_string(opcode) + ":") == std::string::npos) {
                namespaces += std::to_string(opcode) + ":" + std::to_string(nsid) + " ";
            }
            length_refused = length_refused || command["return"].asInt() == 0x600F;
        }
        EXPECT_EQ(namespaces, c.namespaces);
        EXPECT_FALSE(length_refused);
    }
}

// Every controller of the topology profile listed once with its block devices, "*" on the lowest live
// one; a controller without namespaces reads, and one reached over tcp has its transport and no PCI
// parameters.
TEST(ReadCommand, ControllersOfALinuxTopology) {
    const struct {
        std::string nvme;
        std::vector<testing_support::Expected> parameters;
    } cases[] = {
        {"*", {{"OS Location", "/dev/nvme1"}, {"Transport Address", "0000:02:00.0"}}},
        {"/dev/nvme4",
         {{"Transport", "pcie"},
          {"Unique Description", "NVMe 4 [05:00:0] - Western Digital Brantix Sim Topology 1TB"},
          {"PCI Location", "Bus 05, device 00, function 0"}}},
        {"nvme5",
         {{"Transport", "tcp"},
          {"Transport Address", "traddr=127.0.0.1,trsvcid=4420,src_addr=127.0.0.1"},
          {"Unique Description", "NVMe 5 [tcp] - Western Digital Brantix Sim Fabric 2GB"},
          {"PCI Location", testing_support::ABSENT},
          {"Root PCI Vendor ID", testing_support::ABSENT}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nvme);
        testing_support::RunOptions options;
        options.files["read.cmd.json"] = testing_support::CommandFile("read", {R"({"log hex data": false})"});
        options.args = {"read", "--nvme", c.nvme};
        const auto run = testing_support::RunBrantixOnProfile("topology", options);
        EXPECT_EQ(run.exit_code, 0) << run.console;
        const Json::Value info = JsonFile(run, "nvme.info.json");
        testing_support::ExpectParameters(info, c.parameters);
        std::string listed;
        for (const auto& line : info["_metadata"]["system"]["nvme list"]) {
            listed += line.asString() + "\n";
        }
        EXPECT_EQ(listed,
                  "DRIVE 0 [tcp] : Brantix Sim Topology 1TB 0GB : no block devices\n"
                  "DRIVE 1 : Western Digital Brantix Sim Topology 1TB 1000GB : nvme0n1\n"
                  "DRIVE 2 : Western Digital Brantix Sim Shared 4GB 4GB : nvme2n1, nvme2n2\n"
                  "DRIVE 3 : Western Digital Brantix Sim Shared 4GB 4GB : nvme2n1, nvme2n2\n"
                  "DRIVE 4 : Western Digital Brantix Sim Topology 1TB 0GB : no block devices\n"
                  "DRIVE 5 [tcp] : Brantix Sim Fabric 2GB 2GB : nvme5n1\n");
    }
}

// `brantix read -r health` in an empty folder takes the example read and health rules from the examples
// folder: the demo drive passes them, the worn drive fails them with 22 on its raised critical warning flags
// and its worn figures.
TEST(ReadCommand, ShippedHealthRulesPassTheDemoAndFailTheWornDrive) {
    for (const auto& [profile, rc, violated] : std::vector<std::tuple<std::string, int, std::string>>{
             {"demo", 0, ""},
             {"worn", 22,
              "Available Space Below Threshold;NVM Subsystem Unreliable;Media in Read-only;Percentage Used;"
              "Available Spare;Media and Data Integrity Errors;Minutes Throttled;"}}) {
        testing_support::RunOptions options;
        options.args = {"read", "-r", "health"};
        const auto run = testing_support::RunBrantixOnProfile(profile, options);
        EXPECT_EQ(run.exit_code, rc) << run.console;
        const Json::Value info = JsonFile(run, "nvme.info.json");
        std::string names;
        for (const Json::Value& violation : info["rule violations"]) {
            names += violation["name"].asString() + ";";
        }
        EXPECT_EQ(names, violated);
    }
}

}  // namespace
