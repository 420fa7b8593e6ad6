// Fleet metrics: one sample's health figures in the Prometheus text exposition
// format, for node-exporter's textfile collector.
#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace orka {

// What the read made of one sample, beyond the drive information itself.
struct SampleOutcome {
    bool passed = true;                  // the sample counted as passed
    std::optional<bool> rules_passed;    // empty when no rules were in force
    std::optional<bool> compare_passed;  // empty when the sample was not compared
    unsigned long long static_mismatches = 0;
    unsigned long long counter_mismatches = 0;
    double duration_seconds = 0.0;  // how long the sample took
};

// The exposition text for one drive information document (parameters under
// "nvme" / "parameters", display strings as the decoders write them) and the
// sample's outcome. Figures whose parameter is absent or unreadable are left
// out; every line carries the label device (the parameter "OS Location") and
// model, serial and firmware when the sample has them.
std::string BuildMetricsText(const Json::Value& info, const SampleOutcome& outcome);

// The metrics file of one run. Each sample replaces the file with its figures
// and brantix_up; Finish replaces it once more with the run's exit code and
// end time, so that a run that fails before its first sample leaves no
// figures of an earlier run behind.
class RunMetrics {
  public:
    // `device` is the drive's path: the label of a run that never read it.
    RunMetrics(std::string path, std::string device);
    // `drive_read`: the sample's read of the drive succeeded.
    void Sample(const Json::Value& info, const SampleOutcome& outcome, bool drive_read);
    // `end_seconds`: Unix time at which the run ended.
    void Finish(int exit_code, double end_seconds);
    // The file's text as the latest call wrote it.
    const std::string& Text() const { return text_; }

  private:
    void Write(const std::string& run_families);

    std::string path_;
    std::string device_;
    std::string labels_;   // of the latest sample, or of the device alone
    std::string figures_;  // the latest sample's families
    bool drive_read_ = false;
    std::string text_;
};

// Replaces the file at `path` with `text` atomically: the text goes to a
// temporary file in the same directory, which is then renamed over `path`.
// Throws OrkaError naming the path when any step fails; the old file is then
// left as it was.
void WriteTextFileAtomically(const std::string& path, const std::string& text);

}  // namespace orka
