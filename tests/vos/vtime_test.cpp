// The clocks, against the operating system's own readings before and after.

#include "vlib/vos/vtime.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>
#include <type_traits>

#include "support/row_name.h"
#include "support/time_zone.h"

namespace {

constexpr int64_t secondsEastOfGreenwich = 5 * 3600 + 30 * 60;
constexpr const char* zoneEastOfGreenwich = "TST-5:30";

uint64_t monotonicNs() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

// Microseconds since 1970 of a time of day, taken as if it were UTC.
int64_t microsecondsOf(tm time, int64_t microseconds) {
    time.tm_year -= 1900;
    time.tm_mon -= 1;
    return static_cast<int64_t>(::timegm(&time)) * 1000000 + microseconds;
}

int64_t microsecondsOf(const utils::VTimestamp& t) {
    tm time{};
    time.tm_year = t.year;
    time.tm_mon = t.month;
    time.tm_mday = t.day;
    time.tm_hour = t.hour;
    time.tm_min = t.min;
    time.tm_sec = t.sec;
    return microsecondsOf(time, t.msec * 1000);
}

int64_t microsecondsOf(const std::string& text) {
    tm time{};
    int microseconds = -1;
    // NOLINTNEXTLINE(cert-err34-c): the form has been checked
    std::sscanf(text.c_str(), "%d:%d:%d %d:%d:%d.%d", &time.tm_year, &time.tm_mon, &time.tm_mday,
                &time.tm_hour, &time.tm_min, &time.tm_sec, &microseconds);
    return microsecondsOf(time, microseconds);
}

int64_t wallClockUs() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

struct ClockRow {
    const char* name;
    uint64_t (*read)();
    uint64_t nsPerUnit;
};

std::ostream& operator<<(std::ostream& out, const ClockRow& row) {
    return out << row.name;
}

class MonotonicClock : public testing::TestWithParam<ClockRow> {};

TEST_P(MonotonicClock, ReadsTheMonotonicClockInWholeUnits) {
    const auto [name, read, nsPerUnit] = GetParam();
    const uint64_t before = monotonicNs() / nsPerUnit;
    const uint64_t value = read();
    const uint64_t after = monotonicNs() / nsPerUnit;
    EXPECT_GE(value, before);
    EXPECT_LE(value, after);
}

TEST_P(MonotonicClock, NeverGoesBack) {
    int stepsBack = 0;
    uint64_t last = GetParam().read();
    for (int i = 0; i < 10000; ++i) {
        const uint64_t next = GetParam().read();
        stepsBack += static_cast<int>(next < last);
        last = next;
    }
    EXPECT_EQ(stepsBack, 0);
}

TEST_P(MonotonicClock, Advances) {
    const uint64_t first = GetParam().read();
    const timespec pause = {.tv_sec = 0, .tv_nsec = 5000000};
    ::nanosleep(&pause, nullptr);
    EXPECT_GE(GetParam().read() - first, 4000000 / GetParam().nsPerUnit);
}

INSTANTIATE_TEST_SUITE_P(Readings, MonotonicClock,
                         testing::Values(ClockRow{"Ns", vtime::getTimeNs, 1},
                                         ClockRow{"Us", vtime::getTimeUs, 1000},
                                         ClockRow{"Ms", vtime::getTimeMs, 1000000},
                                         ClockRow{"NsISR", vtime::getTimeNsISR, 1},
                                         ClockRow{"UsISR", vtime::getTimeUsISR, 1000},
                                         ClockRow{"MsISR", vtime::getTimeMsISR, 1000000},
                                         ClockRow{"UtilsUs", utils::get_time_us, 1000}),
                         rowName);

TEST(GetTimeMs, IsADouble) {
    EXPECT_TRUE((std::is_same_v<decltype(utils::get_time_ms()), double>));
}

TEST(GetTimeMs, IsAWholeNumberOfMilliseconds) {
    const double value = utils::get_time_ms();
    EXPECT_EQ(value, std::floor(value));
}

TEST(GetTimeMs, ReadsTheSameClockAsVtime) {
    const uint64_t before = vtime::getTimeMs();
    const double value = utils::get_time_ms();
    const uint64_t after = vtime::getTimeMs();
    EXPECT_GE(value, static_cast<double>(before));
    EXPECT_LE(value, static_cast<double>(after));
}

TEST(GetEpochTime, CountsTheSecondsSince1970) {
    const int64_t before = wallClockUs() / 1000000;
    const auto value = static_cast<int64_t>(utils::get_epoch_time());
    EXPECT_GE(value, before);
    EXPECT_LE(value, wallClockUs() / 1000000);
}

TEST(GetEpochTime, DoesNotDependOnTheTimeZone) {
    const uint64_t before = utils::get_epoch_time();
    const TimeZone zone(zoneEastOfGreenwich);
    EXPECT_LE(utils::get_epoch_time() - before, 60U);
}

TEST(GetFormatedTime, HasTheLength32) {
    EXPECT_EQ(utils::get_formated_time().size(), 32U);
}

TEST(GetFormatedTime, HasATextOf26Characters) {
    EXPECT_EQ(std::strlen(utils::get_formated_time().c_str()), 26U);
}

TEST(GetFormatedTime, IsFilledUpWithNulCharacters) {
    EXPECT_EQ(utils::get_formated_time().substr(26), std::string(6, '\0'));
}

TEST(GetFormatedTime, HasColonsBetweenTheFieldsOfTheDate) {
    std::string text = utils::get_formated_time().c_str();
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
    EXPECT_EQ(text, "0000:00:00 00:00:00.000000");
}

TEST(GetFormatedTime, IsTheTimeOfDayInTheLocalTimeZone) {
    const TimeZone zone(zoneEastOfGreenwich);
    const int64_t before = wallClockUs();
    const int64_t value =
        microsecondsOf(utils::get_formated_time()) - secondsEastOfGreenwich * 1000000;
    EXPECT_GE(value, before);
    EXPECT_LE(value, wallClockUs());
}

TEST(GetTimestamp, IsTheTimeOfDayInTheLocalTimeZone) {
    const TimeZone zone(zoneEastOfGreenwich);
    const int64_t before = wallClockUs();
    const int64_t value = microsecondsOf(utils::get_timestamp()) - secondsEastOfGreenwich * 1000000;
    EXPECT_GE(value, before - 999);
    EXPECT_LE(value, wallClockUs());
}

TEST(GetUtcTimestamp, IsTheTimeOfDayInUtcWhateverTheTimeZone) {
    const TimeZone zone(zoneEastOfGreenwich);
    const int64_t before = wallClockUs();
    const int64_t value = microsecondsOf(utils::get_utc_timestamp());
    EXPECT_GE(value, before - 999);
    EXPECT_LE(value, wallClockUs());
}

TEST(GetTimestamp, HasNoPadding) {
    EXPECT_EQ(utils::get_timestamp().pad, 0);
    EXPECT_EQ(utils::get_utc_timestamp().pad, 0);
}

TEST(VTimestamp, HasItsEightFieldsInOrder) {
    using utils::VTimestamp;
    EXPECT_EQ(offsetof(VTimestamp, year), 0U);
    EXPECT_EQ(offsetof(VTimestamp, month), 2U);
    EXPECT_EQ(offsetof(VTimestamp, day), 4U);
    EXPECT_EQ(offsetof(VTimestamp, hour), 6U);
    EXPECT_EQ(offsetof(VTimestamp, min), 8U);
    EXPECT_EQ(offsetof(VTimestamp, sec), 10U);
    EXPECT_EQ(offsetof(VTimestamp, msec), 12U);
    EXPECT_EQ(offsetof(VTimestamp, pad), 14U);
}

TEST(VTimestamp, HasUnsignedFieldsOf16Bits) {
    using utils::VTimestamp;
    EXPECT_TRUE((std::is_same_v<decltype(VTimestamp::year), uint16_t>));
    EXPECT_TRUE((std::is_same_v<decltype(VTimestamp::pad), uint16_t>));
    EXPECT_EQ(sizeof(VTimestamp), 16U);
}

}  // namespace
