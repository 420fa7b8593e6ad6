// The read command run end to end on simulated drives.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <tuple>

#include "support/parameters.h"
#include "support/simulator.h"

namespace {

using testing_support::ParseJson;
using testing_support::RunOptions;
using testing_support::SimulatedRun;
using Names = std::vector<std::string>;

// Options whose command file is commands/read.cmd.json at interval 0 with `changes` applied.
RunOptions ReadOptions(const std::string& changes, RunOptions options = {}) {
    options.files["read.cmd.json"] =
        testing_support::CommandFile("read", {R"({"interval in ms": 0})", changes});
    return options;
}

SimulatedRun RunRead(const std::string& profile, const std::string& changes, const std::string& faults = "",
                     RunOptions options = {}) {
    return testing_support::RunBrantixOnProfile(profile, ReadOptions(changes, std::move(options)), faults);
}

Json::Value JsonFile(const SimulatedRun& run, const std::string& name) {
    return ParseJson(run.Read(name));
}

// The information files a run left, in name order.
Names InfoFiles(const SimulatedRun& run) {
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(run.dir)) {
        const std::string name = entry.path().filename().string();
        // Nothing is left under a temporary name.
        EXPECT_EQ(name.find(".partial-"), std::string::npos);
        EXPECT_EQ(name.find(".commands-"), std::string::npos);
        if (name.rfind("nvme.info", 0) == 0) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

Names SampleMessages(const Json::Value& summary) {
    Names messages;
    for (const auto& sample : summary["read details"]["sample"]) {
        messages.push_back(sample["message"].asString());
    }
    return messages;
}

Names CommandNames(const Json::Value& info) {
    Names names;
    for (const auto& command : info["_metadata"]["commands"]) {
        names.push_back(command["admin command"].asString());
    }
    return names;
}

Names Sampled(std::initializer_list<int> numbers) {
    Names names;
    for (const int number : numbers) {
        names.push_back("nvme.info.sample-" + std::to_string(number) + ".json");
    }
    std::sort(names.begin(), names.end());
    return names;
}

const std::string PASSED = "PASSED";

// Which samples are written, how each ends and the run's verdict.
TEST(ReadCommand, SamplesFilesAndVerdicts) {
    // From the eighth Identify command on (the third sample), every Identify fails.
    const std::string identify_fails_late = "opcode=0x06,after=7,status=0x4002";
    const std::string run_of_four = R"({"samples": 4, "log sample rate": 0, "fail limit": )";
    const struct {
        std::string changes;
        std::string faults;
        Names files;
        Names samples;
        int rc;
        std::string message;
    } cases[] = {
        {"{}", "", {"nvme.info.json"}, {PASSED}, 0, " No errors found "},
        {R"({"samples": 5, "log sample rate": 0})", "", Sampled({1, 5}), Names(5, PASSED), 0,
         " No errors found on 5 samples"},
        {R"({"samples": 10, "log sample rate": 3})", "", Sampled({1, 3, 6, 9, 10}), Names(10, PASSED), 0,
         " No errors found on 10 samples"},
        // Failing samples are written while fewer than "fail limit" have failed before them.
        {run_of_four + "0}",
         identify_fails_late,
         Sampled({1, 4}),
         {PASSED, PASSED, "Sample 3 failed read and compare", "Sample 4 failed read and compare"},
         22,
         " Found errors on 2 samples of 4 total samples"},
        {run_of_four + "1}",
         identify_fails_late,
         Sampled({1, 3, 4}),
         {PASSED, PASSED, "Sample 3 failed read and compare", "Sample 4 failed read and compare"},
         22,
         " Found errors on 2 samples of 4 total samples"},
        {R"({"fail limit": 2})",
         "opcode=0x06,after=1,status=0x4002",
         {"nvme.info.json"},
         {"Sample 1 failed read"},
         21,
         " Found errors"},
    };
    for (const auto& c : cases) {
        const auto run = RunRead("rich-1.4", c.changes, c.faults);
        const std::string where = c.changes + " " + c.faults;
        EXPECT_EQ(run.exit_code, c.rc) << where << run.console;
        EXPECT_EQ(InfoFiles(run), c.files) << where;
        const Json::Value summary = JsonFile(run, "read.summary.json");
        // The command records are spliced in as the JSON writer would have written them.
        EXPECT_EQ(run.Read("read.summary.json"), Json::writeString(Json::StreamWriterBuilder(), summary))
            << where;
        EXPECT_EQ(summary["command times"].size() % c.samples.size(), 0u) << where;
        EXPECT_EQ(SampleMessages(summary), c.samples) << where;
        EXPECT_EQ(summary["_cmd"]["message"].asString(), c.message) << where;
        EXPECT_EQ(summary["_cmd"]["return code"].asInt(), c.rc) << where;
        EXPECT_FALSE(summary["_settings"].isMember("rules")) << where;
        const auto lines = run.ConsoleLines();
        EXPECT_NE(std::find(lines.begin(), lines.end(), c.message), lines.end()) << where;
        for (const auto& file : c.files) {
            const Json::Value info = JsonFile(run, file);
            EXPECT_EQ(info["_metadata"]["file type"].asString(), "nvme info") << where << file;
        }
    }
}

// The failed commands of a sample are named in its information file.
TEST(ReadCommand, RejectedCommandsAreNamed) {
    const struct {
        std::string faults;
        std::string status;
        std::string absent;  // a parameter the failed command would have given
    } cases[] = {
        // The active namespace list may fail: the size then falls back to namespace 1.
        {"opcode=0x06,after=1,status=0x4002", "Identify Namespace 1 failed", "Size"},
        {"opcode=0x02,log=0x02,status=0x4002", "Get Log Page 0x02 failed", "Power On Hours"},
    };
    for (const auto& c : cases) {
        const auto run = RunRead("rich-1.4", "{}", c.faults);
        EXPECT_EQ(run.exit_code, 22) << c.faults;
        const Json::Value info = JsonFile(run, "nvme.info.json");
        EXPECT_EQ(info["_metadata"]["result"].asString(), "FAIL") << c.faults;
        EXPECT_EQ(info["_metadata"]["read status"].asString(), c.status);
        EXPECT_EQ(testing_support::ParameterValue(info, c.absent), testing_support::ABSENT) << c.faults;
    }
}

// The calculated parameters of one sample of the rich drive, and its commands.
TEST(ReadCommand, OneSampleOfTheRichDrive) {
    const auto run = RunRead("rich-1.4", R"({"log hex data": false})");
    ASSERT_EQ(run.exit_code, 0) << run.console;
    const Json::Value info = JsonFile(run, "nvme.info.json");
    const Json::Value profile = testing_support::ProfileSource("rich-1.4")["drives"][0];
    const std::string model = profile["identify controller"]["MN"].asString();
    std::string no_spaces = model;
    std::replace(no_spaces.begin(), no_spaces.end(), ' ', '_');
    // 3,907,029,168 blocks of 512 bytes.
    testing_support::ExpectParameters(
        info, {{"Model", model},
               {"Model No Spaces", no_spaces},
               {"Size", "2000398934016 Bytes"},
               {"Size in GiB", "1863.0 GiB"},
               {"Size in GB", "2000.4 GB"},
               {"Size in TB", "2.0 TB"},
               {"Highest Version Detected", "1.4.0"},
               {"OS Location", "/dev/nvme0"},
               {"PCI Location", "Bus 02, device 00, function 0"},
               {"Unique Description", "NVMe 0 [02:00:0] - Western Digital " + model + " 2000GB"}});
    EXPECT_EQ(info["_metadata"]["result"].asString(), "PASS");
    EXPECT_EQ(info["_metadata"]["read status"].asString(), "All commands passed");
    // Only the telemetry headers are dumped whatever "log hex data" says.
    EXPECT_EQ(info["raw hex data"].getMemberNames(), (Names{"log page 7 pre", "log page 8 pre"}));
    const Names commands = CommandNames(info);
    ASSERT_GE(commands.size(), 3u);
    EXPECT_EQ(Names(commands.begin(), commands.begin() + 3),
              (Names{"Identify Controller", "Identify Namespace 1", "Identify Active Namespace List"}));
    // The summary holds the same command records; the sample record the sample's values.
    const Json::Value summary = JsonFile(run, "read.summary.json");
    EXPECT_EQ(summary["command times"].size(), commands.size());
    const Json::Value& sample = summary["read details"]["sample"][0];
    EXPECT_EQ(sample["Host Timestamp"], info["nvme"]["parameters"]["Host Timestamp"]["value"]);
    EXPECT_EQ(sample["return code"].asInt(), 0);
}

// "Namespace 1" is namespace 1; the size sums the active namespaces, however high NN is.
TEST(ReadCommand, NamespacesAndTotalSize) {
    testing_support::TempFolder folder("profiles");
    Json::Value crowded = testing_support::ProfileSource("rich-1.4");
    crowded["drives"][0]["identify controller"]["NN"] = 1024;
    const std::string crowded_path = folder.Write("crowded.json", crowded.toStyledString());
    const struct {
        std::string profile;
        std::string faults;
        std::string size;
        std::string nsze;  // namespace 1's
        Names identify;    // the Identify commands sent, as namespace:CNS
    } cases[] = {
        {"rich-1.4", "", "2000398934016 Bytes", "3,907,029,168", {"0:1", "1:0", "0:2"}},
        {crowded_path, "", "2000398934016 Bytes", "3,907,029,168", {"0:1", "1:0", "0:2"}},
        // 1,000,000,000 x 512 + 250,000,000 x 4,096 bytes.
        {"dual-namespace", "", "1536000000000 Bytes", "1,000,000,000", {"0:1", "1:0", "0:2", "2:0"}},
        // Without the active list, the size is namespace 1's.
        {"dual-namespace",
         "opcode=0x06,after=2,status=0x4002",
         "512000000000 Bytes",
         "1,000,000,000",
         {"0:1", "1:0", "0:2"}},
    };
    for (const auto& c : cases) {
        const auto run = RunRead(c.profile, R"({"log hex data": false})", c.faults);
        const Json::Value info = JsonFile(run, "nvme.info.json");
        testing_support::ExpectParameters(
            info, {{"Size", c.size}, {"Namespace 1 Size in LBA (NSZE)", c.nsze}}, c.profile);
        EXPECT_EQ(info["_metadata"]["read status"].asString(), "All commands passed") << c.profile;
        Names identify;
        for (const auto& command : run.Journal()) {
            if (command["opcode"].asInt() == 0x06) {
                identify.push_back(command["nsid"].asString() + ":" + command["cdw10"].asString());
            }
        }
        EXPECT_EQ(identify, c.identify) << c.profile << " " << c.faults;
    }
}

// A rules file and a compare file steer each sample's verdict; a missing or broken one stops the run.
TEST(ReadCommand, RulesAndComparison) {
    const auto baseline = RunRead("rich-1.4", "{}");
    ASSERT_EQ(baseline.exit_code, 0) << baseline.console;
    const Json::Value reference = JsonFile(baseline, "nvme.info.json");
    const auto with_value = [&reference](const std::string& name, const std::string& value) {
        Json::Value changed = reference;
        changed["nvme"]["parameters"][name]["value"] = value;
        return changed.toStyledString();
    };
    const std::string rules_pass = R"({"rules": ["'Model' match Brantix Sim Rich 2TB NVMe 1.4",
                                                 "'Number of Namespaces (NN)' <= 4"]})";
    const std::string rules_fail = R"({"rules": ["'Number of Namespaces (NN)' < 4"]})";
    const std::string firmware = with_value("Firmware Revision (FR)", "OLDFW");
    const std::string two = R"("samples": 2, "log sample rate": 0, )";
    const struct {
        std::string changes;
        std::map<std::string, std::string> files;
        int rc;
        std::string last;  // the message line before the verdict
        Names samples;
    } cases[] = {
        {R"({"rules file": "limits"})",
         {{"limits.rules.json", rules_pass}},
         0,
         " No errors found ",
         {PASSED}},
        {"{" + two + R"("rules file": "limits.rules.json", "fail limit": 3})",
         {{"limits.rules.json", rules_fail}},
         21,
         " Found errors on 2 samples of 2 total samples",
         {"Sample 1 failed verify", "Sample 2 failed verify"}},
        {"{" + two + R"("rules file": "limits", "fail limit": 2})",
         {{"limits.rules.json", rules_fail}},
         22,
         " Found errors on 2 samples of 2 total samples",
         {"Sample 1 failed verify", "Sample 2 failed verify"}},
        // The host time stamps always differ and are always ignored.
        {R"({"compare file": "before.json", "compare type": "all"})",
         {{"before.json", reference.toStyledString()}},
         0,
         " No errors found ",
         {PASSED}},
        {R"({"compare file": "before.json"})",
         {{"before.json", firmware}},
         22,
         " Found errors",
         {"Sample 1 failed compare"}},
        {R"({"compare file": "before.json", "compare type": "firmware"})",
         {{"before.json", firmware}},
         0,
         " No errors found ",
         {PASSED}},
        {R"({"compare file": "before.json", "rules file": "limits"})",
         {{"before.json", firmware}, {"limits.rules.json", rules_fail}},
         22,
         " Found errors",
         {"Sample 1 failed verify and compare"}},
    };
    for (const auto& c : cases) {
        RunOptions options;
        options.files = c.files;
        const auto run = RunRead("rich-1.4", c.changes, "", options);
        EXPECT_EQ(run.exit_code, c.rc) << c.changes << run.console;
        const auto lines = run.ConsoleLines();
        ASSERT_GE(lines.size(), 3u);
        EXPECT_EQ(lines[lines.size() - 3], c.last) << c.changes;
        EXPECT_EQ(SampleMessages(JsonFile(run, "read.summary.json")), c.samples) << c.changes;
    }
    // The firmware revision under the default comparison: one exact mismatch, counted in the summary.
    RunOptions options;
    options.files = {{"before.json", firmware}};
    const auto run = RunRead("rich-1.4", R"({"compare file": "before.json"})", "", options);
    const Json::Value info = JsonFile(run, "nvme.info.json");
    ASSERT_EQ(info["static mismatches"].size(), 1u);
    EXPECT_EQ(info["static mismatches"][0]["message"].asString(),
              "'Firmware Revision (FR)' value '" +
                  testing_support::ParameterValue(reference, "Firmware Revision (FR)") +
                  "' does not match compare value 'OLDFW'");
    EXPECT_EQ(JsonFile(run, "read.summary.json")["read details"]["static mismatches"].asInt(), 1);

    // A counter that went backwards: a counter mismatch by default and under "firmware", an exact one under
    // "all".
    const std::string hours = testing_support::ParameterValue(reference, "Power On Hours");
    options.files = {{"before.json", with_value("Power On Hours", "99,999")}};
    const std::string less = "'Power On Hours' value '" + hours + "' is less than compare value '99,999'";
    const std::string differs =
        "'Power On Hours' value '" + hours + "' does not match compare value '99,999'";
    for (const auto& [type, list, message] :
         {std::tuple<std::string, std::string, std::string>{"default", "counter mismatches", less},
          {"firmware", "counter mismatches", less},
          {"all", "static mismatches", differs}}) {
        const auto backwards = RunRead(
            "rich-1.4", R"({"compare file": "before.json", "compare type": ")" + type + "\"}", "", options);
        EXPECT_EQ(backwards.exit_code, 22) << type << backwards.console;
        const Json::Value mismatches = JsonFile(backwards, "nvme.info.json")[list];
        ASSERT_EQ(mismatches.size(), 1u) << type;
        EXPECT_EQ(mismatches[0]["message"].asString(), message) << type;
    }
}

// A rules or compare file that is missing or broken ends the run before any sample.
TEST(ReadCommand, MissingOrBrokenRulesAndCompareFiles) {
    const struct {
        std::string changes;
        std::map<std::string, std::string> files;
        int rc;
        std::string message;  // with <dir> for the run's folder
    } cases[] = {
        {R"({"rules file": "absent"})", {}, 16, "Failed to find rules file: <dir>/absent.rules.json"},
        {R"({"rules file": "bad"})",
         {{"bad.rules.json", R"({"rules": ["'Nothing' < 1"]})"}},
         16,
         "Invalid rule file: <dir>/bad.rules.json"},
        {R"({"compare file": "absent.json"})", {}, 16, "Failed to find compare file: <dir>/absent.json"},
        {R"({"compare file": "bad.json"})",
         {{"bad.json", "{"}},
         17,
         "Failed parsing JSON data from file '<dir>/bad.json'"},
        {R"({"compare file": "other.json"})",
         {{"other.json", R"({"_metadata": {"file type": "summary"}})"}},
         16,
         "Invalid compare file: <dir>/other.json"},
        {R"({"metrics file": "missing/brantix.prom"})",
         {},
         16,
         "Failed to find folder of metrics file: <dir>/missing/brantix.prom"},
        {R"({"metrics file": 5})",
         {},
         16,
         "Invalid metrics file: the setting 'metrics file' is not a string"},
    };
    for (const auto& c : cases) {
        RunOptions options;
        options.files = c.files;
        const auto run = RunRead("rich-1.4", c.changes, "", options);
        EXPECT_EQ(run.exit_code, c.rc) << c.changes;
        std::string message = c.message;
        const auto dir = message.find("<dir>");
        if (dir != std::string::npos) {
            message.replace(dir, 5, std::filesystem::canonical(run.dir).string());
        }
        const auto lines = run.ConsoleLines();
        EXPECT_NE(std::find(lines.begin(), lines.end(), message), lines.end()) << c.changes << run.console;
        EXPECT_FALSE(run.Exists("read.summary.json")) << c.changes;
        EXPECT_TRUE(run.Journal().empty()) << c.changes;
    }
}

// Every n-th sample is shown on the console.
TEST(ReadCommand, DisplaySampleRate) {
    const auto run = RunRead("rich-1.4", R"({"samples": 6, "display sample rate": 2})");
    Names shown;
    for (const auto& line : run.ConsoleLines()) {
        const auto at = line.find(" samples completed in ");
        if (at != std::string::npos) {
            shown.push_back(line.substr(0, at));
        }
    }
    EXPECT_EQ(shown, (Names{"     2", "     4", "     6"})) << run.console;
}

// Ctrl-C ends the run after the sample in hand, which is written; every file left parses.
TEST(ReadCommand, InterruptLeavesCompleteFiles) {
    // Interrupted in the third sample, counted in Get Features commands.
    unsigned int features_per_sample = 0;
    for (const auto& command : RunRead("rich-1.4", "{}").Journal()) {
        features_per_sample += command["opcode"].asUInt() == 0x0A ? 1 : 0;
    }
    ASSERT_GT(features_per_sample, 0u);
    const auto run = testing_support::RunBrantixInterrupted(
        "rich-1.4", ReadOptions(R"({"samples": 100000, "interval in ms": 20, "log sample rate": 0})"), 0x0A,
        2 * features_per_sample + 1);
    EXPECT_EQ(run.exit_code, 0) << run.console;
    const Json::Value summary = JsonFile(run, "read.summary.json");
    const unsigned int taken = summary["read details"]["sample"].size();
    ASSERT_GE(taken, 2u);
    EXPECT_EQ(summary["_cmd"]["message"].asString(),
              " No errors found on " + std::to_string(taken - 1) + " samples");
    EXPECT_EQ(InfoFiles(run), Sampled({1, static_cast<int>(taken)}));
    for (const auto& file : InfoFiles(run)) {
        EXPECT_EQ(JsonFile(run, file)["_metadata"]["result"].asString(), "PASS") << file;
    }
    const auto lines = run.ConsoleLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), " <CTRL C> detected, gracefully exiting"), lines.end());
}

}  // namespace
