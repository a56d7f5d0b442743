#pragma once

#include <cstdint>
#include <string>

// Readings of the monotonic clock: they never go back and count from an arbitrary point in the
// past. All functions of this header may be called from any thread and have no failure path.
namespace vtime {

[[nodiscard]] uint64_t getTimeNs();  // nanoseconds
[[nodiscard]] uint64_t getTimeUs();  // microseconds
[[nodiscard]] uint64_t getTimeMs();  // milliseconds

// The variants for interrupt context; on Linux the plain ones.
[[nodiscard]] uint64_t getTimeNsISR();
[[nodiscard]] uint64_t getTimeUsISR();
[[nodiscard]] uint64_t getTimeMsISR();

}  // namespace vtime

namespace utils {

// A broken-down point in time.
struct VTimestamp {
    uint16_t year;   // full, such as 2026
    uint16_t month;  // 1 to 12
    uint16_t day;    // 1 to 31
    uint16_t hour;   // 0 to 23
    uint16_t min;    // 0 to 59
    uint16_t sec;    // 0 to 60
    uint16_t msec;   // 0 to 999
    uint16_t pad;    // 0
};

// The monotonic clock in milliseconds, and in microseconds.
[[nodiscard]] double get_time_ms();
[[nodiscard]] uint64_t get_time_us();

// The local time of day as "2026:11:15 13:21:26.004512". The string's length is always 32: the text
// ends with a NUL and NULs follow, so use it through c_str().
[[nodiscard]] std::string get_formated_time();

// Whole seconds since 1970-01-01 00:00:00 UTC.
[[nodiscard]] uint64_t get_epoch_time();

// The time of day in the local time zone, and in UTC.
[[nodiscard]] VTimestamp get_timestamp();
[[nodiscard]] VTimestamp get_utc_timestamp();

}  // namespace utils
