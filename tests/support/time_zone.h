#pragma once

#include <time.h>

#include <cstdlib>
#include <optional>
#include <string>

// The local time zone of the process while the object lives, as the variable TZ takes it:
// "TST-5:30" is 5 h 30 min east of Greenwich.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        if (const char* before = std::getenv("TZ")) {
            previous = before;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~TimeZone() {
        if (previous) {
            ::setenv("TZ", previous->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<std::string> previous;
};
