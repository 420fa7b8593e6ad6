// Fleet metrics: the exposition text made from a hand-made information
// document, its atomic file, and promtool's verdict on it.
#include "orka_metrics.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "orka.h"
#include "support/brantix_run.h"
#include "support/simulator.h"

namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

Json::Value Document(const Parameters& parameters) {
    Json::Value info;
    for (const auto& [name, value] : Parameters{{"OS Location", "/dev/nvme0"},
                                                {"Model", "Acme \"Fast\" SSD"},
                                                {"Serial Number (SN)", "S123      "},
                                                {"Firmware Revision (FR)", "1.0     "}}) {
        info["nvme"]["parameters"][name]["value"] = value;
    }
    for (const auto& [name, value] : parameters) {
        info["nvme"]["parameters"][name]["value"] = value;
    }
    return info;
}

// The sample lines of an exposition, without its HELP and TYPE comments.
std::string Samples(const std::string& text) {
    std::istringstream in(text);
    std::string out;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("#", 0) != 0) {
            out += line + "\n";
        }
    }
    return out;
}

const std::string L = R"(device="/dev/nvme0",model="Acme \"Fast\" SSD",serial="S123",firmware="1.0")";

// Figures of every reading (unit and factor), labelled, with a verdict.
Json::Value FigureDocument() {
    Json::Value info =
        Document({{"Composite Temperature", "37 C"},
                  {"Temperature Sensor 2", "-5 C"},
                  {"Available Spare", "95 %"},
                  {"Media in Read-only", "Yes"},
                  {"Data Units Written", "340,282,366,920,938,463,463,374,607,431,768,211,455"},
                  {"Controller Busy Time", "3 Min"},
                  {"Power On Hours", "8,760"},
                  {"Thermal Management Temperature 2 Time", "120 Sec"},
                  {"Host Timestamp", "1,700,000,000,123 mS"}});
    info["_metadata"]["commands"].append(Json::Value(Json::objectValue))["return code"] = 2;
    info["_metadata"]["commands"].append(Json::Value(Json::objectValue))["return code"] = 0;
    return info;
}

orka::SampleOutcome FailedOutcome() {
    orka::SampleOutcome outcome;
    outcome.passed = false;
    outcome.rules_passed = false;
    outcome.compare_passed = true;
    outcome.counter_mismatches = 3;
    outcome.duration_seconds = 1.5;
    return outcome;
}

TEST(MetricsTest, FiguresAndVerdictOfOneSample) {
    EXPECT_EQ(Samples(orka::BuildMetricsText(FigureDocument(), FailedOutcome())),
              "brantix_composite_temperature_celsius{" + L + "} 37\n" +  //
                  "brantix_temperature_sensor_celsius{" + L + ",sensor=\"2\"} -5\n" +
                  "brantix_available_spare_ratio{" + L + "} 0.95\n" + "brantix_critical_warning{" + L +
                  ",warning=\"read_only\"} 1\n" + "brantix_data_written_bytes_total{" + L +
                  "} 1.742245718635205e+44\n" + "brantix_controller_busy_seconds_total{" + L + "} 180\n" +
                  "brantix_power_on_seconds_total{" + L + "} 31536000\n" +
                  "brantix_thermal_management_seconds_total{" + L + ",level=\"2\"} 120\n" +
                  "brantix_sample_timestamp_seconds{" + L + "} 1700000000.123\n" + "brantix_sample_passed{" +
                  L + "} 0\n" + "brantix_sample_failed_commands{" + L + "} 1\n" + "brantix_rules_passed{" +
                  L + "} 0\n" + "brantix_compare_passed{" + L + "} 1\n" + "brantix_compare_mismatches{" + L +
                  ",kind=\"static\"} 0\n" + "brantix_compare_mismatches{" + L + ",kind=\"counter\"} 3\n" +
                  "brantix_sample_duration_seconds{" + L + "} 1.5\n");
}

// A display string that does not read as the figure's number and unit leaves
// the figure out rather than export a wrong value.
TEST(MetricsTest, UnreadableFiguresAreLeftOut) {
    const std::string without = orka::BuildMetricsText(Document({}), {});
    for (const auto& [name, value] : Parameters{{"Composite Temperature", "37 F"},
                                                {"Available Spare", "95"},
                                                {"Power Cycles", "12 %"},
                                                {"Power Cycles", "-"},
                                                {"Media in Read-only", "1"}}) {
        EXPECT_EQ(orka::BuildMetricsText(Document({{name, value}}), {}), without) << name << " " << value;
    }
}

TEST(MetricsTest, FileIsReplacedAtomically) {
    testing_support::TempFolder folder("metrics");
    const std::string path = folder.Write("brantix.prom", "old\n");
    orka::WriteTextFileAtomically(path, "new\n");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);
    std::filesystem::create_directory(folder.dir / "taken");
    folder.Write("taken/x", "");
    for (const auto& [target, message] : std::vector<std::pair<std::string, std::string>>{
             {folder.Path("none/brantix.prom"),
              ": cannot create a temporary file: No such file or directory"},
             {folder.Path("taken"), ": cannot rename the temporary file: Is a directory"}}) {
        try {
            orka::WriteTextFileAtomically(target, "x\n");
            ADD_FAILURE() << target;
        } catch (const orka::OrkaError& error) {
            EXPECT_EQ(error.what(), "Failed to write " + target + message);
        }
    }
    // No temporary file is left behind: only brantix.prom and taken.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.dir), {}), 2);
    EXPECT_EQ(testing_support::ReadFile(path), "new\n");
}

// promtool's verdict on the exposition file in `dir`, when promtool is installed (Debian package prometheus).
void ExpectPromtoolAccepts(const std::filesystem::path& dir) {
    if (testing_support::RunProcess({"sh", "-c", "command -v promtool"}, {}, {}, ".", false).exit_code != 0) {
        GTEST_SKIP() << "promtool is not installed: exposition not validated";
    }
    const auto check =
        testing_support::RunProcess({"sh", "-c", "promtool check metrics < brantix.prom"}, {}, {}, dir, true);
    EXPECT_EQ(check.output, "");
    EXPECT_EQ(check.exit_code, 0);
}

TEST(MetricsTest, PromtoolAcceptsEveryFigure) {
    Json::Value info = FigureDocument();
    using Figures = std::vector<std::pair<std::string, std::vector<std::string>>>;
    for (const auto& [value, names] :
         Figures{{"1",
                  {"Data Units Read", "Host Read Commands", "Host Write Commands", "Power Cycles",
                   "Unsafe Shutdowns", "Media and Data Integrity Errors",
                   "Number of Error Information Log Entries", "Thermal Management Temperature 1 Count"}},
                 {"1 Min", {"Warning Composite Temperature Time", "Critical Composite Temperature Time"}},
                 {"1 %", {"Available Spare Threshold", "Percentage Used"}}}) {
        for (const std::string& name : names) {
            info["nvme"]["parameters"][name]["value"] = value;
        }
    }
    testing_support::TempFolder folder("promtool");
    orka::WriteMetricsFile(folder.Path("brantix.prom"), info, FailedOutcome());
    ExpectPromtoolAccepts(folder.dir);
}

// The read writes the file after every sample, with the drive's figures and the sample's verdict.
TEST(MetricsTest, ReadWritesTheMetricsFile) {
    testing_support::RunOptions options;
    options.files = {{"read.cmd.json", testing_support::CommandFile(
                                           "read", {R"({"samples": 2, "interval in ms": 0, "metrics file":
                                                       "brantix.prom", "rules file": "limits.rules.json"})"})},
                     {"limits.rules.json", R"({"rules": ["'Number of Namespaces (NN)' < 4"]})"}};
    const auto run = testing_support::RunBrantixOnProfile("rich-1.4", options);
    EXPECT_EQ(run.exit_code, 22) << run.console;
    const std::string labels =
        R"({device="/dev/nvme0",model="Brantix Sim Rich 2TB NVMe 1.4",serial="RICH14000000000042",firmware="R1.4.0C"})";
    for (const auto& line :
         {"brantix_composite_temperature_celsius" + labels + " 45", "brantix_sample_passed" + labels + " 0",
          "brantix_rules_passed" + labels + " 0", "brantix_sample_failed_commands" + labels + " 0"}) {
        EXPECT_TRUE(testing_support::HasLine(run.Read("brantix.prom"), line)) << line;
    }
    ExpectPromtoolAccepts(run.dir);
}

}  // namespace
