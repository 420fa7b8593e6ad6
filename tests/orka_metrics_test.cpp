// Fleet metrics: the exposition text made from a hand-made information
// document, its atomic file, and promtool's verdict on it.
#include "orka_metrics.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <iterator>
#include <regex>
#include <sstream>

#include "orka.h"
#include "support/brantix_run.h"
#include "support/simulator.h"

namespace {

// An information document of the drive /dev/nvme0 with the parameters in `text` ("name=value;...").
Json::Value Document(const std::string& text) {
    Json::Value info;
    std::istringstream in(
        "OS Location=/dev/nvme0;Model=Acme \"Fast\" SSD;Serial Number (SN)=S123      ;"
        "Firmware Revision (FR)=1.0     ;" +
        text);
    for (std::string item; std::getline(in, item, ';');) {
        info["nvme"]["parameters"][item.substr(0, item.find('='))]["value"] = item.substr(item.find('=') + 1);
    }
    return info;
}

const orka::SampleOutcome FAILED{false, false, true, 0, 3, 1.5};

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

// Figures of every unit and factor, labelled, with the sample's and the run's verdicts: a few whole lines,
// and promtool's verdict on the whole file.
TEST(MetricsTest, FiguresAndVerdictOfOneSample) {
    Json::Value info = Document(
        "Composite Temperature=37 C;Temperature Sensor 2=-5 C;Available Spare=95 %;Media in Read-only=Yes;"
        "Data Units Written=340,282,366,920,938,463,463,374,607,431,768,211,455;Controller Busy Time=3 Min;"
        "Power On Hours=8,760;Warning Composite Temperature Threshold (WCTEMP)=70 C;Thermal Management "
        "Temperature 2 Time=120 Sec;Host Timestamp=1,700,000,000,123 "
        "mS;Thermal Management Temperature 1 Count=1");
    info["_metadata"]["commands"].append(Json::Value(Json::objectValue))["return code"] = 2;
    info["_metadata"]["commands"].append(Json::Value(Json::objectValue))["return code"] = 0;
    testing_support::TempFolder folder("promtool");
    orka::RunMetrics metrics(folder.Path("brantix.prom"), "/dev/nvme9");
    metrics.Sample(info, FAILED, true);
    metrics.Finish(22, 1700000100.25);
    const std::string text = testing_support::ReadFile(folder.dir / "brantix.prom");
    EXPECT_EQ(text, metrics.Text());
    const std::string l = R"({device="/dev/nvme0",model="Acme \"Fast\" SSD",serial="S123",firmware="1.0")";
    for (const auto& [name, extra, value] :
         std::vector<std::array<std::string, 3>>{{"temperature_sensor_celsius", ",sensor=\"2\"", "-5"},
                                                 {"available_spare_ratio", "", "0.95"},
                                                 {"critical_warning", ",warning=\"read_only\"", "1"},
                                                 {"data_written_bytes_total", "", "1.742245718635205e+44"},
                                                 {"controller_busy_seconds_total", "", "180"},
                                                 {"power_on_seconds_total", "", "31536000"},
                                                 {"thermal_management_seconds_total", ",level=\"2\"", "120"},
                                                 {"sample_timestamp_seconds", "", "1700000000.123"},
                                                 {"sample_failed_commands", "", "1"},
                                                 {"compare_mismatches", ",kind=\"counter\"", "3"},
                                                 {"warning_temperature_threshold_celsius", "", "70"},
                                                 {"sample_duration_seconds", "", "1.5"},
                                                 {"up", "", "1"},
                                                 {"last_run_exit_code", "", "22"},
                                                 {"last_run_timestamp_seconds", "", "1700000100.25"}}) {
        const std::string line = "brantix_" + name + l + extra + "} " + value;
        EXPECT_TRUE(testing_support::HasLine(text, line)) << line;
    }
    ExpectPromtoolAccepts(folder.dir);
}

// A display string that does not read as the figure's number and unit leaves
// the figure out rather than export a wrong value.
TEST(MetricsTest, UnreadableFiguresAreLeftOut) {
    const std::string without = orka::BuildMetricsText(Document(""), {});
    for (const std::string parameter : {"Composite Temperature=37 F", "Available Spare=95",
                                        "Power Cycles=12 %", "Power Cycles=-", "Media in Read-only=1"}) {
        EXPECT_EQ(orka::BuildMetricsText(Document(parameter), {}), without) << parameter;
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

// The read writes the file after every sample, with the drive's figures and the sample's verdict, and
// once more with the run's; --metrics replaces the command file's "metrics file".
TEST(MetricsTest, ReadWritesTheMetricsFile) {
    testing_support::RunOptions options;
    options.args = {"--metrics", "brantix.prom"};
    options.files = {{"read.cmd.json", testing_support::CommandFile(
                                           "read", {R"({"samples": 2, "interval in ms": 0, "metrics file":
                                                       "other.prom", "rules file": "limits.rules.json"})"})},
                     {"limits.rules.json", R"({"rules": ["'Number of Namespaces (NN)' < 4"]})"}};
    const auto run = testing_support::RunBrantixOnProfile("rich-1.4", options);
    EXPECT_EQ(run.exit_code, 22) << run.console;
    const std::string labels =
        R"({device="/dev/nvme0",model="Brantix Sim Rich 2TB NVMe 1.4",serial="RICH14000000000042",firmware="R1.4.0C"})";
    for (const auto& line :
         {"brantix_composite_temperature_celsius" + labels + " 45", "brantix_sample_passed" + labels + " 0",
          "brantix_rules_passed" + labels + " 0", "brantix_sample_failed_commands" + labels + " 0",
          "brantix_up" + labels + " 1", "brantix_last_run_exit_code" + labels + " 22"}) {
        EXPECT_TRUE(testing_support::HasLine(run.Read("brantix.prom"), line)) << line;
    }
    EXPECT_FALSE(run.Exists("other.prom"));
    ExpectPromtoolAccepts(run.dir);
}

// A run that ends before it reads the drive replaces the file of an earlier run with its own verdict alone.
TEST(MetricsTest, RunThatCannotReadTheDriveDropsTheOldFigures) {
    const struct {
        std::string args, faults;
        int rc;
        std::string device;
    } cases[] = {{"--nvme 0", "open=13", 17, "/dev/nvme0"}, {"--nvme 5", "", 19, "/dev/nvme5"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        testing_support::RunOptions options;
        options.args = testing_support::Words("fleet --metrics brantix.prom " + c.args);
        options.files = {
            {"fleet.cmd.json", testing_support::CommandFile("fleet-read", {R"({"rules file": ""})"})},
            {"brantix.prom", "brantix_composite_temperature_celsius{device=\"" + c.device + "\"} 45\n"}};
        const auto run = testing_support::RunBrantixOnProfile("demo", options, c.faults);
        EXPECT_EQ(run.exit_code, c.rc) << run.console;
        const std::string labels = "{device=\"" + c.device + "\"} ";
        const std::string text = std::regex_replace(
            run.Read("brantix.prom"), std::regex("(_timestamp_seconds\\{.*\\} )[0-9.e+]+\n"), "$1<time>\n");
        EXPECT_EQ(text,
                  "# HELP brantix_up 1 when the latest run read the drive, 0 when it could not.\n"
                  "# TYPE brantix_up gauge\nbrantix_up" +
                      labels +
                      "0\n"
                      "# HELP brantix_last_run_exit_code Exit status of the latest run (0 when it passed).\n"
                      "# TYPE brantix_last_run_exit_code gauge\nbrantix_last_run_exit_code" +
                      labels + std::to_string(c.rc) +
                      "\n"
                      "# HELP brantix_last_run_timestamp_seconds Unix time at which the latest run ended.\n"
                      "# TYPE brantix_last_run_timestamp_seconds gauge\nbrantix_last_run_timestamp_seconds" +
                      labels + "<time>\n");
    }
}

}  // namespace
