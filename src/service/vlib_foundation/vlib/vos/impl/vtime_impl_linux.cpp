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

timeval wallClockNow() {
    timeval now{};
    ::gettimeofday(&now, nullptr);
    return now;
}

utils::VTimestamp makeTimestamp(const tm& time, suseconds_t microseconds) {
    return {.year = static_cast<uint16_t>(time.tm_year + 1900),
            .month = static_cast<uint16_t>(time.tm_mon + 1),
            .day = static_cast<uint16_t>(time.tm_mday),
            .hour = static_cast<uint16_t>(time.tm_hour),
            .min = static_cast<uint16_t>(time.tm_min),
            .sec = static_cast<uint16_t>(time.tm_sec),
            .msec = static_cast<uint16_t>(microseconds / 1000),
            .pad = 0};
}

// Writes a number with leading zeros, and what follows it. Returns where the next one begins.
char* writeDigits(char* place, int digits, int number, char next) {
    for (int i = digits - 1; i >= 0; --i) {
        place[i] = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    place[digits] = next;
    return place + digits + 1;
}

// A year that has not four digits: the C library knows how to write it.
void writeOddTime(char* place, size_t size, const tm& time, suseconds_t microseconds) {
    constexpr size_t scratchSize = 26;
    char scratch[scratchSize] = {};
    ::strftime(scratch, sizeof scratch, "%Y:%m:%d %H:%M:%S", &time);
    // At most 24 characters of it: with the microseconds they fill the text to its NUL.
    std::snprintf(place, size, "%.24s.%06d", scratch, static_cast<int>(microseconds));
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

// Put together by hand, which takes a tenth of what strftime and snprintf take. The zone is asked
// for each time: whether tzset() changed it within the second cannot be seen from outside.
std::string get_formated_time() {
    constexpr size_t textSize = 32;

    const timeval now = wallClockNow();
    tm local{};
    ::localtime_r(&now.tv_sec, &local);
    std::string text(textSize, '\0');
    constexpr int epoch = 1900;  // of tm_year, to which it cannot always be added
    if (local.tm_year < 1000 - epoch || local.tm_year > 9999 - epoch) {
        writeOddTime(text.data(), textSize, local, now.tv_usec);
        return text;
    }
    char* place = text.data();
    place = writeDigits(place, 4, local.tm_year + epoch, ':');
    place = writeDigits(place, 2, local.tm_mon + 1, ':');
    place = writeDigits(place, 2, local.tm_mday, ' ');
    place = writeDigits(place, 2, local.tm_hour, ':');
    place = writeDigits(place, 2, local.tm_min, ':');
    place = writeDigits(place, 2, local.tm_sec, '.');
    writeDigits(place, 6, static_cast<int>(now.tv_usec), '\0');
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
