#pragma once

#include <time.h>

#include <optional>

#include "support/environment_variable.h"

// The local time zone of the process while the object lives, as the variable TZ takes it:
// "TST-5:30" is 5 h 30 min east of Greenwich.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        variable.emplace("TZ", zone);
        ::tzset();
    }
    ~TimeZone() {
        variable.reset();
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<EnvironmentVariable> variable;
};
