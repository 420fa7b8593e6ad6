// The trace log: two spdlog loggers wired so that one statement reaches the
// console (message only) and the trace file (time stamp, and for diagnostic
// severities also the severity and origin).
#include <fcntl.h>
#include <spdlog/details/file_helper.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <unistd.h>

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

// Records held before the trace has a file are kept up to this size; later ones reach the console only.
constexpr std::size_t MAX_HELD_TRACE = 16 * 1024 * 1024;

// The file appender. It never rolls; it can be pointed at another file. Until it has a file it holds
// the records in memory, so that no file is touched before the run knows where its trace belongs; the
// held records go into the first file it is pointed at. When a file cannot be opened the appender
// keeps what it has.
class TraceFileSink : public spdlog::sinks::base_sink<std::mutex> {
  public:
    TraceFileSink() { set_formatter_(std::make_unique<OrkaTxtFormatter>()); }
    // Drops the file and any held records and holds the records to come.
    void Hold() {
        std::lock_guard<std::mutex> lock(mutex_);
        file_.reset();
        held_.clear();
        holding_ = true;
    }
    bool Holding() {
        std::lock_guard<std::mutex> lock(mutex_);
        return holding_;
    }
    // Deletes an old file of that name and writes to a new one there, starting with the held records;
    // false when it cannot be opened.
    bool Switch(const std::string& path) {
        std::lock_guard<std::mutex> lock(mutex_);
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        return Open(path);
    }
    // Writes the held records to a new file at `path`; false, touching nothing, when a file of that name
    // exists or cannot be made.
    bool WriteNew(const std::string& path) {
        std::lock_guard<std::mutex> lock(mutex_);
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0) {
            return false;
        }
        ::close(fd);
        return Open(path);
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        spdlog::memory_buf_t formatted;
        if (file_) {
            formatter_->format(msg, formatted);
            file_->write(formatted);
            file_->flush();
        } else if (holding_ && held_.size() < MAX_HELD_TRACE) {
            formatter_->format(msg, formatted);
            held_.append(formatted.data(), formatted.size());
        }
    }
    void flush_() override {
        if (file_) {
            file_->flush();
        }
    }

  private:
    bool Open(const std::string& path) {
        auto next = std::make_unique<spdlog::details::file_helper>();
        try {
            next->open(path, false);
            if (holding_) {
                spdlog::memory_buf_t held;
                held.append(held_.data(), held_.data() + held_.size());
                next->write(held);
                next->flush();
            }
        } catch (const spdlog::spdlog_ex&) {
            return false;
        }
        file_ = std::move(next);
        held_.clear();
        holding_ = false;
        return true;
    }

    std::unique_ptr<spdlog::details::file_helper> file_;
    std::string held_;
    bool holding_ = true;
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
    static TraceLoggers trace = [] {
        TraceLoggers made;
        made.fileSink = std::make_shared<TraceFileSink>();
        auto console = std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
        console->set_formatter(std::make_unique<OrkaFormatter>());
        made.loggers[FILE_LOGGER] = std::make_shared<spdlog::logger>("trace", made.fileSink);
        made.loggers[CONSOLE_LOGGER] = std::make_shared<spdlog::logger>(
            "console",
            spdlog::sinks_init_list{std::make_shared<LoggerSink>(made.loggers[FILE_LOGGER]), console});
        return made;
    }();
    // A second start in the same process holds its records afresh.
    trace.fileSink->Hold();
    g_trace = &trace;
    SetLogSeverity(Severity::info);
}

bool SwitchTraceLogFile(const std::string& path) {
    return g_trace != nullptr && g_trace->fileSink->Switch(path);
}

std::string WriteHeldTraceLog() {
    if (g_trace == nullptr || !g_trace->fileSink->Holding()) {
        return "";
    }
    const std::filesystem::path name = TRACELOG_NAME;
    const std::string stem = name.stem().string();
    const std::string suffix = name.extension().string();
    for (unsigned int i = 0; i < 1000; ++i) {
        const std::string path =
            i == 0 ? name.string()
                   : (name.parent_path() / (stem + "-" + std::to_string(i) + suffix)).string();
        if (g_trace->fileSink->WriteNew(path)) {
            return path;
        }
        std::error_code ignored;
        if (!std::filesystem::exists(path, ignored)) {
            break;  // not a name taken, a folder that takes no files
        }
    }
    return "";
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
