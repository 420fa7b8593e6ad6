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
// out; every sample carries the labels device, model, serial and firmware.
std::string BuildMetricsText(const Json::Value& info, const SampleOutcome& outcome);

// Replaces the file at `path` with `text` atomically: the text goes to a
// temporary file in the same directory, which is then renamed over `path`.
// Throws OrkaError naming the path when any step fails; the old file is then
// left as it was.
void WriteTextFileAtomically(const std::string& path, const std::string& text);

// Both of the above: the one call the read makes after every sample.
void WriteMetricsFile(const std::string& path, const Json::Value& info, const SampleOutcome& outcome);

}  // namespace orka
