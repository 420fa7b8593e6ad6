// Time stamps and readable durations, all from the system (wall) clock.
#include <cstdio>
#include <ctime>
#include <iomanip>

#include "orka.h"

namespace orka {

namespace {

std::string FormatTm(const std::tm& when, const char* format) {
    char buffer[64];
    const std::size_t used = std::strftime(buffer, sizeof buffer, format, &when);
    return std::string(buffer, used);
}

std::string ThreeDigits(unsigned long long value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%03llu", value);
    return buffer;
}

std::string TwoDigits(unsigned long long value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%02llu", value);
    return buffer;
}

std::string Fixed(double value, unsigned int precision) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(static_cast<int>(precision)) << value;
    return out.str();
}

}  // namespace

std::string GetTimestamp(bool utc) {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto whole = std::chrono::system_clock::from_time_t(seconds);
    const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(now - whole).count();
    std::tm parts{};
    if (utc) {
        gmtime_r(&seconds, &parts);
    } else {
        localtime_r(&seconds, &parts);
    }
    std::string text = FormatTm(parts, "%F %T") + "." + ThreeDigits(static_cast<unsigned long long>(millis));
    if (utc) {
        text += " UTC";
    } else if (parts.tm_isdst > 0) {
        text += " DST";
    }
    return text;
}

std::string GetTimeDateString() {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm parts{};
    localtime_r(&seconds, &parts);
    return FormatTm(parts, "%Y%m%d_%H%M%S");
}

std::string MillisecondsToDate(unsigned long long milliseconds) {
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    std::string text = FormatTm(parts, "%F %T") + "." + ThreeDigits(milliseconds % 1000);
    if (parts.tm_isdst > 0) {
        text += " DST";
    }
    return text;
}

unsigned long long TimestampToMilliseconds(const std::string& timestamp) {
    std::tm parts{};
    parts.tm_isdst = 0;
    strptime(timestamp.c_str(), "%Y-%m-%d %H:%M:%S.", &parts);
    const auto point = timestamp.rfind('.');
    // Only the three characters after the last point are the fraction; a text
    // without any point is not one this program writes.
    const std::string fraction = timestamp.substr(point == std::string::npos ? 0 : point + 1, 3);
    const long long millis = std::stoi(fraction);
    if (timestamp.find("UTC") == std::string::npos) {
        if (timestamp.find("DST") != std::string::npos) {
            parts.tm_isdst = 1;
        }
        return static_cast<unsigned long long>(static_cast<long long>(mktime(&parts)) * 1000 + millis);
    }
    // mktime reads the fields as local standard time (the daylight flag stays
    // 0); taking away the zone's offset west of UTC makes them UTC again.
    const long long local = static_cast<long long>(mktime(&parts));
    return static_cast<unsigned long long>((local - static_cast<long long>(timezone)) * 1000 + millis);
}

std::string MillisecondsToTimeString(double milliseconds, unsigned int precision) {
    const auto whole = static_cast<unsigned long long>(milliseconds);
    const unsigned long long hours = whole / MILLISECONDS_IN_HR;
    const unsigned long long minutes = (whole % MILLISECONDS_IN_HR) / MILLISECONDS_IN_MIN;
    const unsigned long long seconds = (whole % MILLISECONDS_IN_MIN) / MILLISECONDS_IN_SEC;
    const unsigned long long millis = whole % 1000;
    if (milliseconds < 1000.0) {
        return Fixed(milliseconds, precision) + " Milliseconds";
    }
    if (milliseconds < 60000.0) {
        return Fixed(milliseconds / 1000.0, precision) + " Seconds (" + std::to_string(seconds) + "." +
               ThreeDigits(millis) + ")";
    }
    if (milliseconds < 3.6e6) {
        return Fixed(milliseconds / 60000.0, precision) + " Minutes (" + std::to_string(minutes) + ":" +
               TwoDigits(seconds) + "." + ThreeDigits(millis) + ")";
    }
    return Fixed(milliseconds / 3.6e6, precision) + " Hours (" + std::to_string(hours) + ":" +
           TwoDigits(minutes) + ":" + TwoDigits(seconds) + "." + ThreeDigits(millis) + ")";
}

std::string GetHiResDiffTimeString(const TimePoint& start, int precision) {
    const TimePoint now = std::chrono::system_clock::now();
    const double elapsed = std::chrono::duration<double, std::milli>(now - start).count();
    return MillisecondsToTimeString(elapsed, static_cast<unsigned int>(precision));
}

std::string GetSystemDiffTimeString(const std::string& timestamp, int precision, unsigned long long& diff) {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto millis = std::chrono::duration_cast<std::chrono::milliseconds>(
                            now - std::chrono::system_clock::from_time_t(seconds))
                            .count();
    const unsigned long long nowMs =
        static_cast<unsigned long long>(seconds) * 1000 + static_cast<unsigned long long>(millis);
    diff = nowMs - TimestampToMilliseconds(timestamp);
    return MillisecondsToTimeString(static_cast<double>(diff), static_cast<unsigned int>(precision));
}

}  // namespace orka
