// The clocks' arithmetic, at times that a test cannot wait for.

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>

#include "support/environment_variable.h"
#include "support/row_name.h"
#include "support/time_zone.h"
#include "vlib/vos/vtime.h"
#include "vos/system_calls_double.h"

namespace {

struct TimeRow {
    const char* name;
    int64_t seconds;
    int64_t nanoseconds;
    const char* text;  // in UTC
    utils::VTimestamp fields;
};

std::ostream& operator<<(std::ostream& out, const TimeRow& row) {
    return out << row.text;
}

bool same(const utils::VTimestamp& a, const utils::VTimestamp& b) {
    const auto fields = [](const utils::VTimestamp& t) {
        return std::tie(t.year, t.month, t.day, t.hour, t.min, t.sec, t.msec, t.pad);
    };
    return fields(a) == fields(b);
}

class WallClock : public testing::TestWithParam<TimeRow> {
protected:
    void SetUp() override { system.setTimeOfDay(GetParam().seconds, GetParam().nanoseconds); }

    SystemCallsDouble system;
    TimeZone zone{"UTC0"};
};

TEST_P(WallClock, IsFormattedWithColonsAndMicroseconds) {
    EXPECT_STREQ(utils::get_formated_time().c_str(), GetParam().text);
    EXPECT_EQ(utils::get_formated_time().size(), 32U);
}

TEST_P(WallClock, IsBrokenDownInLocalTime) {
    EXPECT_TRUE(same(utils::get_timestamp(), GetParam().fields));
}

TEST_P(WallClock, IsBrokenDownInUtcWhateverTheTimeZone) {
    const TimeZone elsewhere("TST-5:30");
    EXPECT_TRUE(same(utils::get_utc_timestamp(), GetParam().fields));
}

TEST_P(WallClock, IsCountedInWholeSeconds) {
    EXPECT_EQ(utils::get_epoch_time(), static_cast<uint64_t>(GetParam().seconds));
}

INSTANTIATE_TEST_SUITE_P(
    Times, WallClock,
    testing::Values(
        TimeRow{"AnEveningInNovember",
                1794748886,
                4512000,
                "2026:11:15 13:21:26.004512",
                {2026, 11, 15, 13, 21, 26, 4, 0}},
        TimeRow{"TheFirstOfJanuary",
                1767225600,
                0,
                "2026:01:01 00:00:00.000000",
                {2026, 1, 1, 0, 0, 0, 0, 0}},
        TimeRow{"TheLastOfDecember",
                1798761599,
                999999999,
                "2026:12:31 23:59:59.999999",
                {2026, 12, 31, 23, 59, 59, 999, 0}},
        TimeRow{"ALeapDay",
                1709208000,
                1999000,
                "2024:02:29 12:00:00.001999",
                {2024, 2, 29, 12, 0, 0, 1, 0}},
        TimeRow{"TheEpoch", 0, 0, "1970:01:01 00:00:00.000000", {1970, 1, 1, 0, 0, 0, 0, 0}},
        TimeRow{"After32Bits",
                4294967296,
                0,
                "2106:02:07 06:28:16.000000",
                {2106, 2, 7, 6, 28, 16, 0, 0}}),
    rowName);

class WallClockEastOfGreenwich : public testing::Test {
protected:
    SystemCallsDouble system;
    TimeZone zone{"TST-5:30"};
};

TEST_F(WallClockEastOfGreenwich, IsFormattedInLocalTime) {
    system.setTimeOfDay(1767225599, 0);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2026:01:01 05:29:59.000000");
}

TEST_F(WallClockEastOfGreenwich, IsBrokenDownInLocalTime) {
    system.setTimeOfDay(1767225599, 0);
    EXPECT_TRUE(same(utils::get_timestamp(), {2026, 1, 1, 5, 29, 59, 0, 0}));
}

TEST_F(WallClockEastOfGreenwich, IsTheDayBeforeInUtc) {
    system.setTimeOfDay(1767225599, 0);
    EXPECT_TRUE(same(utils::get_utc_timestamp(), {2025, 12, 31, 23, 59, 59, 0, 0}));
}

TEST_F(WallClockEastOfGreenwich, IsPaddedWhateverTheYear) {
    system.setTimeOfDay(253402300800, 0);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "10000:01:01 05:30:00.000000");
    EXPECT_EQ(utils::get_formated_time().size(), 32U);
}

TEST_F(WallClockEastOfGreenwich, HasAYearOfThreeDigitsAsTheCLibraryWritesIt) {
    system.setTimeOfDay(-30628713600, 0);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "999:06:01 05:30:00.000000");
}

TEST_F(WallClockEastOfGreenwich, LosesADigitOfTheMicrosecondsInAYearOfTenDigits) {
    system.setTimeOfDay(67767976233512999, 4512000);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2147483647:12:31 23:59:59.00451");
}

TEST_F(WallClockEastOfGreenwich, HasFourDigitsFromTheYearThousandOn) {
    system.setTimeOfDay(-30597177600, 0);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "1000:06:01 05:30:00.000000");
}

TEST_F(WallClockEastOfGreenwich, IsFormattedInANewTimeZoneWithinTheSameSecond) {
    system.setTimeOfDay(1767225599, 0);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2026:01:01 05:29:59.000000");
    const TimeZone further("TST-6:30");
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2026:01:01 06:29:59.000000");
}

// Name and difference of both zones are the same: only their summer is another.
TEST_F(WallClockEastOfGreenwich, IsFormattedByNewRulesOfSummerTimeWithinTheSameSecond) {
    const TimeZone northern("XST-1XDT,M3.5.0,M10.5.0");
    system.setTimeOfDay(1767225599, 0);
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2026:01:01 00:59:59.000000");
    const TimeZone southern("XST-1XDT,M10.5.0,M3.5.0");
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2026:01:01 01:59:59.000000");
}

// As localtime_r does it: the variable alone changes nothing before tzset().
TEST_F(WallClockEastOfGreenwich, IsFormattedInTheTimeZoneThatWasSetLast) {
    system.setTimeOfDay(1767225599, 0);
    const EnvironmentVariable variable("TZ", "UTC0");
    EXPECT_STREQ(utils::get_formated_time().c_str(), "2026:01:01 05:29:59.000000");
}

TEST(MonotonicClock, IsCutToWholeUnits) {
    SystemCallsDouble system;
    system.stopMonotonicClock();
    system.advance(999999);
    EXPECT_EQ(vtime::getTimeNs(), 1000999999000U);
    EXPECT_EQ(vtime::getTimeUs(), 1000999999U);
    EXPECT_EQ(vtime::getTimeMs(), 1000999U);
    EXPECT_EQ(utils::get_time_ms(), 1000999.0);
}

}  // namespace
