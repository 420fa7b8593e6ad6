// Time stamps, their reading back, and readable durations.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <regex>
#include <stdexcept>

#include "orka.h"

namespace {

// POSIX zone rules, so the tests do not depend on an installed zone database.
// BERLIN has summer time from the last Sunday in March to the last in October.
const char* const BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";

// Sets TZ for the lifetime of the object.
struct ScopedZone {
    explicit ScopedZone(const char* zone) { Set(zone); }
    ~ScopedZone() { Set(old ? old->c_str() : nullptr); }
    static void Set(const char* zone) {
        zone == nullptr ? unsetenv("TZ") : setenv("TZ", zone, 1);
        tzset();
    }
    const std::optional<std::string> old =
        getenv("TZ") ? std::optional<std::string>(getenv("TZ")) : std::nullopt;
};

unsigned long long NowMs() {
    return static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                               std::chrono::system_clock::now().time_since_epoch())
                                               .count());
}

TEST(Timestamps, TextsAndMillisecondsBothWays) {
    // 2023-06-01 14:03:07.045 UTC and 2023-11-14 22:13:20.123 UTC.
    constexpr unsigned long long SUMMER = 1685628187045ULL;
    constexpr unsigned long long WINTER = 1700000000123ULL;
    const std::pair<unsigned long long, std::string> cases[] = {
        // local time stamps are also what MillisecondsToDate gives
        {SUMMER, "2023-06-01 14:03:07.045 UTC"},
        {0, "1970-01-01 00:00:00.000 UTC"},
        {SUMMER, "2023-06-01 16:03:07.045 DST"},
        {WINTER, "2023-11-14 23:13:20.123"},
        // The last millisecond before Berlin's clocks go forward, and the first after.
        {1679792399999ULL, "2023-03-26 01:59:59.999"},
        {1679792400000ULL, "2023-03-26 03:00:00.000 DST"},
    };
    ScopedZone scoped(BERLIN);
    for (const auto& [ms, text] : cases) {
        if (text.find("UTC") == std::string::npos) {
            EXPECT_EQ(orka::MillisecondsToDate(ms), text);
        }
        EXPECT_EQ(orka::TimestampToMilliseconds(text), ms) << text;
    }
    EXPECT_THROW(orka::TimestampToMilliseconds("2023-06-01 14:03:07.abc UTC"), std::invalid_argument);
}

// The current time stamp has its layout and reads back to a time between just
// before and just after it was taken; differences from a stamp run to now.
TEST(Timestamps, NowReadsBackAndDifferencesFromIt) {
    ScopedZone scoped(BERLIN);
    for (const bool utc : {true, false}) {
        const unsigned long long before = NowMs();
        const std::string stamp = orka::GetTimestamp(utc);
        const unsigned long long after = NowMs();
        const std::string suffix = utc ? " UTC" : "( DST)?";
        EXPECT_TRUE(std::regex_match(stamp, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})" + suffix)))
            << stamp;
        const unsigned long long back = orka::TimestampToMilliseconds(stamp);
        EXPECT_TRUE(before <= back && back <= after) << stamp;
    }
    EXPECT_TRUE(std::regex_match(orka::GetTimeDateString(), std::regex(R"(\d{8}_\d{6})")));
    unsigned long long diff = 0;
    const std::string text =
        orka::GetSystemDiffTimeString(orka::MillisecondsToDate(NowMs() - 90000), 3, diff);
    EXPECT_TRUE(diff >= 90000 && diff < 150000) << diff;
    EXPECT_EQ(text, orka::MillisecondsToTimeString(static_cast<double>(diff), 3));
}

TEST(Durations, TextAtEachUnitBoundary) {
    const struct {
        double ms;
        unsigned int precision;
        std::string text;
    } cases[] = {
        {999.9, 1, "999.9 Milliseconds"},           {1001.5, 2, "1.00 Seconds (1.001)"},
        {59999, 3, "59.999 Seconds (59.999)"},      {60000, 3, "1.000 Minutes (1:00.000)"},
        {3599999, 3, "60.000 Minutes (59:59.999)"}, {3723004, 3, "1.034 Hours (1:02:03.004)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::MillisecondsToTimeString(c.ms, c.precision), c.text);
    }
}

}  // namespace
