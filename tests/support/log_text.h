#pragma once

#include <regex>
#include <string>

// Log text with what differs from run to run replaced: time stamps by "<time>", the thread of a
// FULL line by "<thread>", the service's build identifier, seven hexadecimal digits, by "<build>",
// and the source line of the logger's console warning by "<line>". A value of another form stays.
inline std::string normalised(const std::string& text) {
    static const std::regex time(R"(\[\d{4}:[01]\d:[0-3]\d [0-2]\d:[0-5]\d:[0-6]\d\.\d{6} : )");
    static const std::regex thread(R"(\[<time> : \d{8,} : )");
    static const std::regex build("(\tBUILD           :)[0-9a-f]{7}\r\n");
    static const std::regex line(R"((\tvlog:init\(\):)[1-9]\d* - )");

    std::string result = std::regex_replace(text, time, "[<time> : ");
    result = std::regex_replace(result, thread, "[<time> : <thread> : ");
    result = std::regex_replace(result, build, "$1<build>\r\n");
    return std::regex_replace(result, line, "$1<line> - ");
}
