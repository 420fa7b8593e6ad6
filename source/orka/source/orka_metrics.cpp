// Fleet metrics in the Prometheus text exposition format.
#include "orka_metrics.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <vector>

#include "orka.h"
#include "orka_data.h"

namespace orka {

namespace {

enum class Kind { kNumber, kYesNo };

// One line of a family: the parameter it comes from and an optional extra
// label. A "#" in the parameter name stands for the temperature sensor
// numbers; the label then takes the number as its value.
struct Series {
    const char* parameter;
    const char* label = nullptr;
    const char* label_value = nullptr;
};

// How a parameter's display string reads: the unit after the number (""
// for none) and the factors that take it to the metric's base unit.
struct Reading {
    Kind kind;
    const char* unit;
    long double multiply;
    long double divide;
};

constexpr Reading COUNT{Kind::kNumber, "", 1, 1};
constexpr Reading CELSIUS{Kind::kNumber, "C", 1, 1};
constexpr Reading PERCENT{Kind::kNumber, "%", 1, 100};
constexpr Reading YES_NO{Kind::kYesNo, "", 1, 1};
constexpr Reading DATA_UNITS{Kind::kNumber, "", 512000, 1};  // 1000 blocks of 512 bytes
constexpr Reading MINUTES{Kind::kNumber, "Min", 60, 1};
constexpr Reading HOURS{Kind::kNumber, "", 3600, 1};
constexpr Reading SECONDS{Kind::kNumber, "Sec", 1, 1};
constexpr Reading MILLISECONDS{Kind::kNumber, "mS", 1, 1000};

// One metric: its name, type and help text, how its parameters read, and
// the lines it is made of.
struct Family {
    const char* name;
    const char* type;
    const char* help;
    Reading reading;
    std::vector<Series> series;
};

Family Metric(const char* name, const char* type, const char* help, Reading reading,
              std::vector<Series> series) {
    return Family{name, type, help, reading, std::move(series)};
}

const std::vector<Family>& Families() {
    static const std::vector<Family> families = {
        Metric("brantix_composite_temperature_celsius", "gauge", "Composite temperature of the controller.",
               CELSIUS, {{"Composite Temperature"}}),
        Metric("brantix_temperature_sensor_celsius", "gauge",
               "Temperature reported by each temperature sensor.", CELSIUS,
               {{"Temperature Sensor #", "sensor"}}),
        Metric(
            "brantix_warning_temperature_threshold_celsius", "gauge",
            "Composite temperature at or above which the drive is in a warning overheat condition (WCTEMP).",
            CELSIUS, {{"Warning Composite Temperature Threshold (WCTEMP)"}}),
        Metric(
            "brantix_critical_temperature_threshold_celsius", "gauge",
            "Composite temperature at or above which the drive is in a critical overheat condition (CCTEMP).",
            CELSIUS, {{"Critical Composite Temperature Threshold (CCTEMP)"}}),
        Metric("brantix_available_spare_ratio", "gauge", "Remaining spare capacity (1 is all of it).",
               PERCENT, {{"Available Spare"}}),
        Metric("brantix_available_spare_threshold_ratio", "gauge",
               "Available spare below which the drive raises a critical warning.", PERCENT,
               {{"Available Spare Threshold"}}),
        Metric("brantix_percentage_used_ratio", "gauge",
               "Estimate of the life used (1 is the rated life; can exceed 1).", PERCENT,
               {{"Percentage Used"}}),
        Metric("brantix_critical_warning", "gauge",
               "Critical warning bits of the health log (1 when raised).", YES_NO,
               {{"Available Space Below Threshold", "warning", "available_spare"},
                {"Temperature Over/Under Threshold", "warning", "temperature"},
                {"NVM Subsystem Unreliable", "warning", "reliability"},
                {"Media in Read-only", "warning", "read_only"},
                {"Volatile Memory Backup Failed", "warning", "volatile_memory_backup"},
                {"Persistent Memory Unreliable", "warning", "persistent_memory"}}),
        Metric("brantix_data_read_bytes_total", "counter", "Data read by the host.", DATA_UNITS,
               {{"Data Units Read"}}),
        Metric("brantix_data_written_bytes_total", "counter", "Data written by the host.", DATA_UNITS,
               {{"Data Units Written"}}),
        Metric("brantix_host_read_commands_total", "counter", "Read commands completed by the controller.",
               COUNT, {{"Host Read Commands"}}),
        Metric("brantix_host_write_commands_total", "counter", "Write commands completed by the controller.",
               COUNT, {{"Host Write Commands"}}),
        Metric("brantix_controller_busy_seconds_total", "counter",
               "Time the controller was busy with I/O commands.", MINUTES, {{"Controller Busy Time"}}),
        Metric("brantix_power_cycles_total", "counter", "Power cycles.", COUNT, {{"Power Cycles"}}),
        Metric("brantix_power_on_seconds_total", "counter",
               "Power-on time, counted in whole hours by the drive.", HOURS, {{"Power On Hours"}}),
        Metric("brantix_unsafe_shutdowns_total", "counter", "Unsafe shutdowns.", COUNT,
               {{"Unsafe Shutdowns"}}),
        Metric("brantix_media_errors_total", "counter", "Unrecovered data integrity errors.", COUNT,
               {{"Media and Data Integrity Errors"}}),
        Metric("brantix_error_log_entries_total", "counter",
               "Error information log entries over the drive's life.", COUNT,
               {{"Number of Error Information Log Entries"}}),
        Metric("brantix_warning_temperature_seconds_total", "counter",
               "Time above the warning composite temperature threshold.", MINUTES,
               {{"Warning Composite Temperature Time"}}),
        Metric("brantix_critical_temperature_seconds_total", "counter",
               "Time above the critical composite temperature threshold.", MINUTES,
               {{"Critical Composite Temperature Time"}}),
        Metric("brantix_thermal_management_transitions_total", "counter",
               "Transitions into host controlled thermal management (level 1 light, level 2 heavy).", COUNT,
               {{"Thermal Management Temperature 1 Count", "level", "1"},
                {"Thermal Management Temperature 2 Count", "level", "2"}}),
        Metric("brantix_thermal_management_seconds_total", "counter",
               "Time spent in host controlled thermal management (level 1 light, level 2 heavy).", SECONDS,
               {{"Thermal Management Temperature 1 Time", "level", "1"},
                {"Thermal Management Temperature 2 Time", "level", "2"}}),
        Metric("brantix_sample_timestamp_seconds", "gauge", "Host time at which the sample was taken.",
               MILLISECONDS, {{"Host Timestamp"}}),
    };
    return families;
}

// Reads a display string such as "1,234", "-5 C" or "12 %": a number with
// thousands commas, then nothing or one blank and exactly `unit`.
bool ReadNumber(const std::string& text, const std::string& unit, long double& out) {
    std::size_t end = 0;
    if (end < text.size() && text[end] == '-') {
        ++end;
    }
    bool digits = false;
    while (end < text.size() && (std::isdigit(static_cast<unsigned char>(text[end])) || text[end] == ',' ||
                                 (text[end] == '.' && digits))) {
        digits = digits || std::isdigit(static_cast<unsigned char>(text[end]));
        ++end;
    }
    const std::string rest = text.substr(end);
    if (!digits || (unit.empty() ? !rest.empty() : rest != " " + unit)) {
        return false;
    }
    return ToLongDouble(text.substr(0, end), out);
}

std::string Number(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    return std::string(buffer, result.ptr);
}

bool ReadFigure(const Json::Value& parameters, const std::string& name, const Family& family,
                std::string& value) {
    const Json::Value& record = parameters[name];
    if (!record.isObject() || !record["value"].isString()) {
        return false;
    }
    const std::string text = record["value"].asString();
    long double number = 0;
    const Reading& reading = family.reading;
    if (reading.kind == Kind::kYesNo) {
        if (text != "Yes" && text != "No") {
            return false;
        }
        number = text == "Yes" ? 1 : 0;
    } else if (!ReadNumber(text, reading.unit, number)) {
        return false;
    }
    value = Number(static_cast<double>(number * reading.multiply / reading.divide));
    return true;
}

std::string EscapeLabel(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\' || c == '"') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out;
}

std::string Trimmed(const Json::Value& parameters, const char* name) {
    const Json::Value& record = parameters[name];
    std::string text = record.isObject() && record["value"].isString() ? record["value"].asString() : "";
    Trim(text);
    return text;
}

// Collects one family's lines and writes them under its HELP and TYPE lines;
// a family with no line is left out entirely.
class Exposition {
  public:
    explicit Exposition(std::string labels) : labels_(std::move(labels)) {}

    void Add(const std::string& label, const std::string& label_value, const std::string& value) {
        std::string line = "{" + labels_;
        if (!label.empty()) {
            line += "," + label + "=\"" + EscapeLabel(label_value) + "\"";
        }
        lines_.push_back(line + "} " + value + "\n");
    }

    void Close(const std::string& name, const char* type, const char* help) {
        if (!lines_.empty()) {
            text_ += "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
            for (const std::string& line : lines_) {
                text_ += name + line;
            }
        }
        lines_.clear();
    }

    const std::string& Text() const { return text_; }

  private:
    std::string labels_;
    std::vector<std::string> lines_;
    std::string text_;
};

unsigned long long FailedCommands(const Json::Value& info) {
    unsigned long long failed = 0;
    for (const Json::Value& command : info["_metadata"]["commands"]) {
        if (command["return code"].asInt() != 0 && !command["allowed"].asBool()) {
            ++failed;
        }
    }
    return failed;
}

// device="..." and whichever of model, serial and firmware the sample has; the
// device is `device` when the sample does not name it.
std::string Labels(const Json::Value& info, const std::string& device) {
    const Json::Value& parameters = info["nvme"]["parameters"];
    std::string location = Trimmed(parameters, "OS Location");
    std::string labels = "device=\"" + EscapeLabel(location.empty() ? device : location) + "\"";
    for (const auto& [label, parameter] :
         {std::pair{"model", "Model"}, std::pair{"serial", "Serial Number (SN)"},
          std::pair{"firmware", "Firmware Revision (FR)"}}) {
        const std::string value = Trimmed(parameters, parameter);
        if (!value.empty()) {
            labels += std::string(",") + label + "=\"" + EscapeLabel(value) + "\"";
        }
    }
    return labels;
}

std::string SampleText(const std::string& labels, const Json::Value& info, const SampleOutcome& outcome) {
    const Json::Value& parameters = info["nvme"]["parameters"];
    Exposition out(labels);
    for (const Family& family : Families()) {
        for (const Series& series : family.series) {
            const std::string name = series.parameter;
            const std::size_t hash = name.find('#');
            std::string value;
            if (hash == std::string::npos) {
                if (ReadFigure(parameters, name, family, value)) {
                    out.Add(series.label ? series.label : "", series.label_value ? series.label_value : "",
                            value);
                }
                continue;
            }
            for (unsigned int n = 1; n <= MAX_TEMP_SENSORS; ++n) {
                const std::string number = std::to_string(n);
                if (ReadFigure(parameters, name.substr(0, hash) + number + name.substr(hash + 1), family,
                               value)) {
                    out.Add(series.label, number, value);
                }
            }
        }
        out.Close(family.name, family.type, family.help);
    }

    out.Add("", "", outcome.passed ? "1" : "0");
    out.Close("brantix_sample_passed", "gauge", "1 when the sample passed its read, rules and comparison.");
    out.Add("", "", std::to_string(FailedCommands(info)));
    out.Close("brantix_sample_failed_commands", "gauge", "Admin commands of the sample that failed.");
    if (outcome.rules_passed) {
        out.Add("", "", *outcome.rules_passed ? "1" : "0");
    }
    out.Close("brantix_rules_passed", "gauge", "1 when the sample passed every rule of the rules file.");
    if (outcome.compare_passed) {
        out.Add("", "", *outcome.compare_passed ? "1" : "0");
        out.Close("brantix_compare_passed", "gauge", "1 when the sample matched its reference.");
        out.Add("kind", "static", std::to_string(outcome.static_mismatches));
        out.Add("kind", "counter", std::to_string(outcome.counter_mismatches));
        out.Close("brantix_compare_mismatches", "gauge", "Parameters that differed from the reference.");
    }
    out.Add("", "", Number(outcome.duration_seconds));
    out.Close("brantix_sample_duration_seconds", "gauge", "Time the sample took.");
    return out.Text();
}

}  // namespace

std::string BuildMetricsText(const Json::Value& info, const SampleOutcome& outcome) {
    return SampleText(Labels(info, ""), info, outcome);
}

RunMetrics::RunMetrics(std::string path, std::string device)
    : path_(std::move(path)), device_(std::move(device)), labels_(Labels(Json::Value(), device_)) {}

void RunMetrics::Sample(const Json::Value& info, const SampleOutcome& outcome, bool drive_read) {
    labels_ = Labels(info, device_);
    figures_ = SampleText(labels_, info, outcome);
    drive_read_ = drive_read;
    Write("");
}

void RunMetrics::Finish(int exit_code, double end_seconds) {
    Exposition out(labels_);
    out.Add("", "", std::to_string(exit_code));
    out.Close("brantix_last_run_exit_code", "gauge", "Exit status of the latest run (0 when it passed).");
    out.Add("", "", Number(end_seconds));
    out.Close("brantix_last_run_timestamp_seconds", "gauge", "Unix time at which the latest run ended.");
    Write(out.Text());
}

void RunMetrics::Write(const std::string& run_families) {
    Exposition out(labels_);
    out.Add("", "", drive_read_ ? "1" : "0");
    out.Close("brantix_up", "gauge", "1 when the latest run read the drive, 0 when it could not.");
    text_ = figures_ + out.Text() + run_families;
    WriteTextFileAtomically(path_, text_);
}

void WriteTextFileAtomically(const std::string& path, const std::string& text) {
    const std::filesystem::path target(path);
    const std::filesystem::path folder = target.has_parent_path() ? target.parent_path() : ".";
    std::string temporary = (folder / ("." + target.filename().string() + ".XXXXXX")).string();
    const auto fail = [&](const std::string& step) {
        throw OrkaError("Failed to write " + path + ": " + step + ": " + std::strerror(errno));
    };
    const int fd = mkstemp(temporary.data());
    if (fd < 0) {
        fail("cannot create a temporary file");
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            const int error = errno;
            close(fd);
            unlink(temporary.c_str());
            errno = error;
            fail("cannot write the temporary file");
        }
        done += static_cast<std::size_t>(written);
    }
    // The collector reads the file as another user: make it readable.
    const bool finished = fchmod(fd, 0644) == 0 && fsync(fd) == 0;
    const int error = errno;
    if (close(fd) != 0 || !finished) {
        unlink(temporary.c_str());
        errno = finished ? errno : error;
        fail("cannot finish the temporary file");
    }
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        errno = error;
        fail("cannot rename the temporary file");
    }
}

}  // namespace orka
