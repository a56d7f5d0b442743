#include <sys/time.h>
#include <time.h>

#include <cstdio>

#include "vlib/vos/vtime.h"

namespace {

timespec monotonicNow() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

constexpr int epoch = 1900;  // of tm_year

timeval wallClockNow() {
    timeval now{};
    ::gettimeofday(&now, nullptr);
    return now;
}

utils::VTimestamp makeTimestamp(const tm& time, suseconds_t microseconds) {
    return {.year = static_cast<uint16_t>(static_cast<unsigned>(time.tm_year) + epoch),
            .month = static_cast<uint16_t>(time.tm_mon + 1),
            .day = static_cast<uint16_t>(time.tm_mday),
            .hour = static_cast<uint16_t>(time.tm_hour),
            .min = static_cast<uint16_t>(time.tm_min),
            .sec = static_cast<uint16_t>(time.tm_sec),
            .msec = static_cast<uint16_t>(microseconds / 1000),
            .pad = 0};
}

// Writes a number below 100 in two digits, and what follows it. Returns where the next one begins.
char* writePair(char* place, int number, char next) {
    place[0] = static_cast<char>('0' + number / 10);
    place[1] = static_cast<char>('0' + number % 10);
    place[2] = next;
    return place + 3;
}

// By hand, which takes a tenth of what strftime and snprintf take.
void writeUsualTime(char* place, const tm& time, suseconds_t microseconds) {
    const int year = time.tm_year + epoch;
    const auto fraction = static_cast<int>(microseconds);
    place = writePair(place, year / 100, '\0') - 1;
    place = writePair(place, year % 100, ':');
    place = writePair(place, time.tm_mon + 1, ':');
    place = writePair(place, time.tm_mday, ' ');
    place = writePair(place, time.tm_hour, ':');
    place = writePair(place, time.tm_min, ':');
    place = writePair(place, time.tm_sec, '.');
    place = writePair(place, fraction / 10000, '\0') - 1;
    place = writePair(place, fraction / 100 % 100, '\0') - 1;
    writePair(place, fraction % 100, '\0');
}

// A year that has not four digits: the C library knows how to write it. Of a year of ten characters
// the last digit of the microseconds is cut.
void writeOddTime(std::string& text, const tm& time, suseconds_t microseconds) {
    char scratch[26] = {};
    ::strftime(scratch, sizeof scratch, "%Y:%m:%d %H:%M:%S", &time);
    std::snprintf(text.data(), text.size(), "%s.%06d", scratch, static_cast<int>(microseconds));
}

}  // namespace

namespace vtime {

uint64_t getTimeNs() {
    const timespec now = monotonicNow();
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

uint64_t getTimeUs() {
    const timespec now = monotonicNow();
    return static_cast<uint64_t>(now.tv_sec) * 1000000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

uint64_t getTimeMs() {
    const timespec now = monotonicNow();
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

uint64_t getTimeNsISR() {
    return getTimeNs();
}

uint64_t getTimeUsISR() {
    return getTimeUs();
}

uint64_t getTimeMsISR() {
    return getTimeMs();
}

}  // namespace vtime

namespace utils {

double get_time_ms() {
    return static_cast<double>(vtime::getTimeMs());
}

uint64_t get_time_us() {
    return vtime::getTimeUs();
}

std::string get_formated_time() {
    std::string text(32, '\0');
    const timeval now = wallClockNow();
    tm local{};
    ::localtime_r(&now.tv_sec, &local);
    // Compared like this since the epoch cannot be added to every year.
    if (local.tm_year < 1000 - epoch || local.tm_year > 9999 - epoch) {
        writeOddTime(text, local, now.tv_usec);
    } else {
        writeUsualTime(text.data(), local, now.tv_usec);
    }
    return text;
}

uint64_t get_epoch_time() {
    return static_cast<uint64_t>(wallClockNow().tv_sec);
}

VTimestamp get_timestamp() {
    const timeval now = wallClockNow();
    tm local{};
    ::localtime_r(&now.tv_sec, &local);
    return makeTimestamp(local, now.tv_usec);
}

VTimestamp get_utc_timestamp() {
    const timeval now = wallClockNow();
    tm utc{};
    ::gmtime_r(&now.tv_sec, &utc);
    return makeTimestamp(utc, now.tv_usec);
}

}  // namespace utils
