// The tool's common ground: error types, text and number helpers, JSON files,
// time texts and the trace log. Every other module includes this header.
#pragma once

#include <json/json.h>

#include <boost/multiprecision/cpp_bin_float.hpp>
#include <boost/multiprecision/cpp_int.hpp>
#include <chrono>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace orka {

// ---------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------

// An operational failure: the drive, a file or the host did not do what was needed.
class OrkaError : public std::runtime_error {
  public:
    explicit OrkaError(const std::string& message) : std::runtime_error(message) {}
};

// A fault in the command line, the command file or the rules. The messages
// "help" and "usage" are requests for the help texts, not faults.
class UsageError : public std::runtime_error {
  public:
    explicit UsageError(const std::string& message) : std::runtime_error(message) {}
};

// To be called inside a catch block: rethrows the exception in flight as
// std::runtime_error whose text is its message (or "Unknown exception type"),
// a newline, " @ ", the function, a blank, the source path and the line.
[[noreturn]] void RethrowWithOrigin(const std::string& function, const std::string& path, unsigned int line);

// ---------------------------------------------------------------------------
// Numbers: 128-bit integers and the quadruple precision float
// ---------------------------------------------------------------------------

using uint128 = boost::multiprecision::uint128_t;
using int128 = boost::multiprecision::int128_t;
using float128 = boost::multiprecision::cpp_bin_float_quad;

// ---------------------------------------------------------------------------
// Text and number helpers
// ---------------------------------------------------------------------------

void LeftTrim(std::string& text);
void RightTrim(std::string& text);
void Trim(std::string& text);
void RemoveCommas(std::string& text);
void LowerCase(std::string& text);
void UpperCase(std::string& text);

// Tolerant parsing: blanks and commas are ignored, trailing text is ignored.
// On failure the result is false and `out` is left as it was.
bool ToLongLong(std::string text, long long& out);
bool ToLongDouble(std::string text, long double& out);

// Inserts a comma every three characters going left from `end` (the index
// just after the last digit of the integer part), while the position is
// greater than `start`: 1 skips a leading "-", 0 counts it as a character.
void GroupThousands(std::string& text, long long end, long long start);

// 16 little-endian bytes as an unsigned 128-bit number.
uint128 To128bitNumber(const unsigned char* bytes);
// Decimal text with a comma every three digits.
std::string ToBigNumberString(const int128& value);
std::string ToBigNumberString(const uint128& value);
// Fixed notation with `precision` decimals; the integer part is grouped.
std::string ToBigFloatNumberString(const float128& value, int precision);

// ---------------------------------------------------------------------------
// JSON files and raw data
// ---------------------------------------------------------------------------

// Reads one JSON document; returns empty, or what is wrong: the system's reason when the file cannot
// be read, "Line <l>, Column <c>: <fault>" when it is not JSON.
std::string ParseJsonFile(const std::string& path, Json::Value& value);
void ReadJsonFile(const std::string& path, Json::Value& value);
// Writes the file through `fill` under a temporary name beside it, then renames it into place; a
// failed write throws OrkaError naming `path` and leaves whatever stood there before.
void WriteFileByRename(const std::string& path, const std::function<void(std::ostream&)>& fill);
void WriteJsonFile(const std::string& path, const Json::Value& value);
void ConvertStringToJson(const std::string& text, Json::Value& value);
// One string per 16 bytes: offset, hex pairs and printable characters.
void FormatHexData(const char* data, unsigned int length, Json::Value& out);
bool AllZeros(const unsigned char* bytes, unsigned long length);

// ---------------------------------------------------------------------------
// Time texts
// ---------------------------------------------------------------------------

constexpr unsigned long long MILLISECONDS_IN_SEC = 1000;
constexpr unsigned long long MILLISECONDS_IN_MIN = 60000;
constexpr unsigned long long MILLISECONDS_IN_HR = 3600000;

using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// "YYYY-MM-DD HH:MM:SS.mmm" plus " UTC", " DST" or nothing.
std::string GetTimestamp(bool utc);
// "YYYYMMDD_HHMMSS" in local time.
std::string GetTimeDateString();
std::string MillisecondsToDate(unsigned long long milliseconds);
unsigned long long TimestampToMilliseconds(const std::string& timestamp);
// A readable duration such as "1.234 Seconds (1.234)".
std::string MillisecondsToTimeString(double milliseconds, unsigned int precision);
std::string GetHiResDiffTimeString(const TimePoint& start, int precision);
std::string GetSystemDiffTimeString(const std::string& timestamp, int precision, unsigned long long& diff);

// ---------------------------------------------------------------------------
// Trace log
// ---------------------------------------------------------------------------

// Severities in order; a record is written when its severity is at or below
// the logger's maximum severity.
enum class Severity { none = 0, fatal = 1, error = 2, warning = 3, info = 4, debug = 5, verbose = 6 };

// Logger instances: FILE_LOGGER writes to the trace file only; CONSOLE_LOGGER
// writes to the console and hands every record on to FILE_LOGGER.
constexpr int FILE_LOGGER = 0;
constexpr int CONSOLE_LOGGER = 1;

// The trace file name; becomes the full path inside the log directory once
// that directory exists.
extern std::string TRACELOG_NAME;

// Creates both loggers at info severity (once per process; later calls reset
// the severities). The trace file's records are held in memory, touching no
// file, until SwitchTraceLogFile or WriteHeldTraceLog gives them a file.
void InitTraceLog();
// Points the file appender at a new path, writing the held records first; an
// existing file there is deleted. False, and the appender keeps its file (or
// goes on holding), when the new one cannot be opened.
bool SwitchTraceLogFile(const std::string& path);
// For a run that ends before its log directory is known: writes the held
// records to TRACELOG_NAME when no file of that name exists, else beside it
// under the first free name "<stem>-<n><suffix>", and goes on writing there.
// Returns the path, or empty when nothing was held or no file could be made.
std::string WriteHeldTraceLog();
void SetLogSeverity(Severity severity);  // both instances
Severity GetLogSeverity(int instance);
bool LogEnabled(int instance, Severity severity);

void TraceLogDebug(std::string file, unsigned int line);
void TraceLogVerbose(std::string file, unsigned int line);
void TraceLogInfo(std::string file, unsigned int line);

// One record: collects the streamed message and writes it when destroyed.
class LogRecord {
  public:
    LogRecord(int instance, Severity severity, const char* function, unsigned int line)
        : instance_(instance), severity_(severity), function_(function), line_(line) {}
    ~LogRecord();
    LogRecord(const LogRecord&) = delete;
    LogRecord& operator=(const LogRecord&) = delete;

    template <typename T>
    LogRecord& operator<<(const T& value) {
        stream_ << value;
        return *this;
    }

  private:
    int instance_;
    Severity severity_;
    const char* function_;
    unsigned int line_;
    std::ostringstream stream_;
};

}  // namespace orka

#define ORKA_LOG_TO(instance, severity)                \
    if (!::orka::LogEnabled((instance), (severity))) { \
    } else                                             \
        ::orka::LogRecord((instance), (severity), __func__, __LINE__)

// Console and trace file.
#define LOG_FATAL ORKA_LOG_TO(::orka::CONSOLE_LOGGER, ::orka::Severity::fatal)
#define LOG_ERROR ORKA_LOG_TO(::orka::CONSOLE_LOGGER, ::orka::Severity::error)
#define LOG_WARNING ORKA_LOG_TO(::orka::CONSOLE_LOGGER, ::orka::Severity::warning)
#define LOG_INFO ORKA_LOG_TO(::orka::CONSOLE_LOGGER, ::orka::Severity::info)
#define LOG_DEBUG ORKA_LOG_TO(::orka::CONSOLE_LOGGER, ::orka::Severity::debug)
#define LOG_VERBOSE ORKA_LOG_TO(::orka::CONSOLE_LOGGER, ::orka::Severity::verbose)
// Trace file only.
#define FILE_LOG_INFO ORKA_LOG_TO(::orka::FILE_LOGGER, ::orka::Severity::info)
