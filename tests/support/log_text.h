#pragma once

#include <regex>
#include <string>

// A log text with every timestamp replaced by "TIME".
inline std::string withoutTimes(const std::string& text) {
    static const std::regex timestamp(
        R"([0-9]{4}:[0-9]{2}:[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{6})");
    return std::regex_replace(text, timestamp, "TIME");
}
