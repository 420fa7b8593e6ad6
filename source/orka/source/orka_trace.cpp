// The trace log: two spdlog loggers wired so that one statement reaches the
// console (message only) and the trace file (time stamp, and for diagnostic
// severities also the severity and origin).
#include <spdlog/details/file_helper.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>

#include "orka.h"

namespace orka {

std::string TRACELOG_NAME = "brantix.trace.log";

namespace {

spdlog::level::level_enum ToSpdlogLevel(Severity severity) {
    switch (severity) {
        case Severity::fatal:
            return spdlog::level::critical;
        case Severity::error:
            return spdlog::level::err;
        case Severity::warning:
            return spdlog::level::warn;
        case Severity::info:
            return spdlog::level::info;
        case Severity::debug:
            return spdlog::level::debug;
        case Severity::verbose:
            return spdlog::level::trace;
        case Severity::none:
            break;
    }
    return spdlog::level::off;
}

Severity FromSpdlogLevel(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::critical:
            return Severity::fatal;
        case spdlog::level::err:
            return Severity::error;
        case spdlog::level::warn:
            return Severity::warning;
        case spdlog::level::info:
            return Severity::info;
        case spdlog::level::debug:
            return Severity::debug;
        case spdlog::level::trace:
            return Severity::verbose;
        default:
            return Severity::none;
    }
}

const char* SeverityName(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::critical:
            return "FATAL";
        case spdlog::level::err:
            return "ERROR";
        case spdlog::level::warn:
            return "WARN";
        case spdlog::level::info:
            return "INFO";
        case spdlog::level::debug:
            return "DEBUG";
        case spdlog::level::trace:
            return "VERB";
        default:
            return "NONE";
    }
}

// Trace file line: "[date time.ms]  " then, for severities other than info
// and debug, the severity in five columns and "[function@line] ", then the text.
class OrkaTxtFormatter : public spdlog::formatter {
  public:
    void format(const spdlog::details::log_msg& msg, spdlog::memory_buf_t& dest) override {
        const auto seconds = std::chrono::time_point_cast<std::chrono::seconds>(msg.time);
        const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(msg.time - seconds).count();
        const std::time_t when = std::chrono::system_clock::to_time_t(seconds);
        std::tm local{};
        localtime_r(&when, &local);
        char stamp[64];
        std::snprintf(stamp, sizeof stamp, "[%04d-%02d-%02d %02d:%02d:%02d.%03d]  ", local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                      static_cast<int>(millis));
        std::string line = stamp;
        if (msg.level != spdlog::level::info && msg.level != spdlog::level::debug) {
            char severity[8];
            std::snprintf(severity, sizeof severity, "%-5s", SeverityName(msg.level));
            line += severity;
            line += " [";
            line += msg.source.funcname ? msg.source.funcname : "";
            line += "@" + std::to_string(msg.source.line) + "] ";
        }
        line.append(msg.payload.data(), msg.payload.size());
        line += "\n";
        dest.append(line.data(), line.data() + line.size());
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<OrkaTxtFormatter>(); }
};

// Console line: the message alone, coloured by severity where the terminal allows.
class OrkaFormatter : public spdlog::formatter {
  public:
    void format(const spdlog::details::log_msg& msg, spdlog::memory_buf_t& dest) override {
        msg.color_range_start = 0;
        msg.color_range_end = msg.payload.size();
        dest.append(msg.payload.data(), msg.payload.data() + msg.payload.size());
        dest.push_back('\n');
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return std::make_unique<OrkaFormatter>(); }
};

// The file appender. It never rolls; it can be pointed at another file. When
// a file cannot be opened the appender keeps the one it has (or, at start,
// none: records then reach the console only).
class TraceFileSink : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit TraceFileSink(const std::string& path) {
        set_formatter_(std::make_unique<OrkaTxtFormatter>());
        Switch(path);
    }
    // Deletes an old file of that name and writes to a new one there; false
    // when it cannot be opened.
    bool Switch(const std::string& path) {
        std::lock_guard<std::mutex> lock(mutex_);
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        auto next = std::make_unique<spdlog::details::file_helper>();
        try {
            next->open(path, false);
        } catch (const spdlog::spdlog_ex&) {
            return false;
        }
        file_ = std::move(next);
        return true;
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        if (!file_) {
            return;
        }
        spdlog::memory_buf_t formatted;
        formatter_->format(msg, formatted);
        file_->write(formatted);
        file_->flush();
    }
    void flush_() override {
        if (file_) {
            file_->flush();
        }
    }

  private:
    std::unique_ptr<spdlog::details::file_helper> file_;
};

// Hands every record on to another logger, which applies its own threshold.
class LoggerSink : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit LoggerSink(std::shared_ptr<spdlog::logger> target) : target_(std::move(target)) {}

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        target_->log(msg.time, msg.source, msg.level, msg.payload);
    }
    void flush_() override { target_->flush(); }

  private:
    std::shared_ptr<spdlog::logger> target_;
};

struct TraceLoggers {
    std::shared_ptr<TraceFileSink> fileSink;
    std::shared_ptr<spdlog::logger> loggers[2];
};

TraceLoggers* g_trace = nullptr;

spdlog::logger* Logger(int instance) {
    if (g_trace == nullptr || instance < 0 || instance > 1) {
        return nullptr;
    }
    return g_trace->loggers[instance].get();
}

}  // namespace

void InitTraceLog() {
    std::error_code ignored;
    if (std::filesystem::exists(TRACELOG_NAME, ignored)) {
        std::filesystem::remove(TRACELOG_NAME, ignored);
    }
    static TraceLoggers trace = [] {
        TraceLoggers made;
        made.fileSink = std::make_shared<TraceFileSink>(TRACELOG_NAME);
        auto console = std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
        console->set_formatter(std::make_unique<OrkaFormatter>());
        made.loggers[FILE_LOGGER] = std::make_shared<spdlog::logger>("trace", made.fileSink);
        made.loggers[CONSOLE_LOGGER] = std::make_shared<spdlog::logger>(
            "console",
            spdlog::sinks_init_list{std::make_shared<LoggerSink>(made.loggers[FILE_LOGGER]), console});
        return made;
    }();
    if (g_trace != nullptr) {
        // A second start in the same process begins a fresh file.
        trace.fileSink->Switch(TRACELOG_NAME);
    }
    g_trace = &trace;
    SetLogSeverity(Severity::info);
}

bool SwitchTraceLogFile(const std::string& path) {
    return g_trace != nullptr && g_trace->fileSink->Switch(path);
}

void SetLogSeverity(Severity severity) {
    for (int instance : {FILE_LOGGER, CONSOLE_LOGGER}) {
        if (auto* logger = Logger(instance)) {
            logger->set_level(ToSpdlogLevel(severity));
        }
    }
}

Severity GetLogSeverity(int instance) {
    auto* logger = Logger(instance);
    return logger ? FromSpdlogLevel(logger->level()) : Severity::none;
}

bool LogEnabled(int instance, Severity severity) {
    auto* logger = Logger(instance);
    return logger != nullptr && severity != Severity::none && logger->should_log(ToSpdlogLevel(severity));
}

LogRecord::~LogRecord() {
    if (auto* logger = Logger(instance_)) {
        logger->log(spdlog::source_loc{"", static_cast<int>(line_), function_}, ToSpdlogLevel(severity_),
                    spdlog::string_view_t(stream_.str()));
    }
}

void TraceLogDebug(std::string file, unsigned int line) {
    SetLogSeverity(Severity::debug);
    LOG_INFO << "Trace logging set to DEBUG level in file " << file << " @line " << line;
}

void TraceLogVerbose(std::string file, unsigned int line) {
    SetLogSeverity(Severity::verbose);
    LOG_INFO << "Trace logging set to VERBOSE level in file " << file << " @line " << line;
}

void TraceLogInfo(std::string file, unsigned int line) {
    SetLogSeverity(Severity::info);
    LOG_INFO << "Trace logging set to INFO level in file " << file << " @line " << line;
}

}  // namespace orka
