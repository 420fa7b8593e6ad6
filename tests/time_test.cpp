// Time stamps, their reading back, and readable durations.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <regex>
#include <stdexcept>
#include <vector>

#include "orka.h"

namespace {

// POSIX zone rules, so the tests do not depend on an installed zone database.
// BERLIN is Central European Time with summer time from the last Sunday in
// March to the last Sunday in October.
const char* const BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
const char* const NEW_YORK = "EST5EDT,M3.2.0,M11.1.0";
const char* const UTC_ZONE = "UTC0";

// Sets TZ for the lifetime of the object and restores the old value after.
class ScopedZone {
  public:
    explicit ScopedZone(const char* zone) {
        const char* old = std::getenv("TZ");
        hadOld_ = old != nullptr;
        if (hadOld_) {
            old_ = old;
        }
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedZone() {
        if (hadOld_) {
            setenv("TZ", old_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

  private:
    bool hadOld_ = false;
    std::string old_;
};

unsigned long long NowMs() {
    return static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                               std::chrono::system_clock::now().time_since_epoch())
                                               .count());
}

// The current time stamp has the layout with `suffix` and reads back to a
// time between just before and just after it was taken.
void ExpectNowReadsBack(bool utc, const std::string& suffix) {
    const unsigned long long before = NowMs();
    const std::string stamp = orka::GetTimestamp(utc);
    const unsigned long long after = NowMs();
    EXPECT_TRUE(std::regex_match(stamp, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})" + suffix)))
        << stamp;
    const unsigned long long back = orka::TimestampToMilliseconds(stamp);
    EXPECT_LE(before, back) << stamp;
    EXPECT_LE(back, after) << stamp;
}

// 2023-06-01 14:03:07.045 UTC and 2023-11-14 22:13:20.123 UTC.
constexpr unsigned long long SUMMER = 1685628187045ULL;
constexpr unsigned long long WINTER = 1700000000123ULL;

TEST(Timestamps, UtcTextsReadBackInEveryZone) {
    for (const char* zone : {BERLIN, NEW_YORK, UTC_ZONE}) {
        ScopedZone scoped(zone);
        EXPECT_EQ(orka::TimestampToMilliseconds("2023-06-01 14:03:07.045 UTC"), SUMMER) << zone;
        EXPECT_EQ(orka::TimestampToMilliseconds("2023-11-14 22:13:20.123 UTC"), WINTER) << zone;
        EXPECT_EQ(orka::TimestampToMilliseconds("1970-01-01 00:00:00.000 UTC"), 0u) << zone;
        ExpectNowReadsBack(true, R"( UTC)");
    }
}

TEST(Timestamps, LocalTextsMarkDaylightSavingAndReadBack) {
    struct Case {
        const char* zone;
        unsigned long long ms;
        std::string text;
    };
    const std::vector<Case> cases = {
        {BERLIN, SUMMER, "2023-06-01 16:03:07.045 DST"},
        {BERLIN, WINTER, "2023-11-14 23:13:20.123"},
        {NEW_YORK, SUMMER, "2023-06-01 10:03:07.045 DST"},
        {UTC_ZONE, SUMMER, "2023-06-01 14:03:07.045"},
        // The last millisecond before Berlin's clocks go forward, and the first after.
        {BERLIN, 1679792399999ULL, "2023-03-26 01:59:59.999"},
        {BERLIN, 1679792400000ULL, "2023-03-26 03:00:00.000 DST"},
    };
    for (const auto& c : cases) {
        ScopedZone scoped(c.zone);
        EXPECT_EQ(orka::MillisecondsToDate(c.ms), c.text) << c.zone;
        EXPECT_EQ(orka::TimestampToMilliseconds(c.text), c.ms) << c.zone << " " << c.text;
    }
}

TEST(Timestamps, LocalNowHasNoUtcMarkAndReadsBack) {
    for (const char* zone : {BERLIN, UTC_ZONE}) {
        ScopedZone scoped(zone);
        ExpectNowReadsBack(false, R"(( DST)?)");
    }
    ScopedZone scoped(UTC_ZONE);
    EXPECT_EQ(orka::GetTimestamp(false).size(), 23u);
    EXPECT_TRUE(std::regex_match(orka::GetTimeDateString(), std::regex(R"(\d{8}_\d{6})")));
}

TEST(Timestamps, UnreadableFractionThrows) {
    EXPECT_THROW(orka::TimestampToMilliseconds("2023-06-01 14:03:07.abc UTC"), std::invalid_argument);
}

TEST(Durations, TextAtEachUnitBoundary) {
    struct Case {
        double ms;
        unsigned int precision;
        std::string text;
    };
    const std::vector<Case> cases = {
        {12.5, 3, "12.500 Milliseconds"},          {999.9, 1, "999.9 Milliseconds"},
        {1001.5, 2, "1.00 Seconds (1.001)"},       {59999, 3, "59.999 Seconds (59.999)"},
        {60000, 3, "1.000 Minutes (1:00.000)"},    {3599999, 3, "60.000 Minutes (59:59.999)"},
        {3723004, 3, "1.034 Hours (1:02:03.004)"}, {360000000, 1, "100.0 Hours (100:00:00.000)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(orka::MillisecondsToTimeString(c.ms, c.precision), c.text);
    }
}

TEST(Durations, DifferenceFromATimestamp) {
    ScopedZone scoped(BERLIN);
    const unsigned long long earlier = NowMs() - 90000;
    unsigned long long diff = 0;
    const std::string text = orka::GetSystemDiffTimeString(orka::MillisecondsToDate(earlier), 3, diff);
    EXPECT_GE(diff, 90000u);
    EXPECT_LT(diff, 150000u);
    EXPECT_EQ(text, orka::MillisecondsToTimeString(static_cast<double>(diff), 3));

    // A time stamp in the future wraps around to a huge unsigned difference.
    orka::GetSystemDiffTimeString(orka::MillisecondsToDate(NowMs() + 3600000), 3, diff);
    EXPECT_GT(diff, 1ULL << 63);

    const orka::TimePoint start = std::chrono::system_clock::now() - std::chrono::seconds(2);
    EXPECT_TRUE(std::regex_match(orka::GetHiResDiffTimeString(start, 3),
                                 std::regex(R"(\d\.\d{3} Seconds \(\d\.\d{3}\))")));
}

}  // namespace
