#pragma once

#include <string>

#include "vlib/vlog/vlog.h"

// Lines that can be counted: number N is "[A        : 0x0001 : INFO] -> N\r\n", where a rule for
// (numberedTopic, INFO) has the format SIMPLE.
constexpr const char* numberedTopic = "A";

// Logs the lines from `begin` up to, without, `end`.
inline void writeLines(VLog& log, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        log.write(numberedTopic, 1, VLogConfig::INFO, "numbered_lines", 0, "%05d", i);
    }
}

// What is found of them when none is missing.
inline std::string numberedLines(int begin, int end) {
    std::string all;
    for (int i = begin; i < end; ++i) {
        const std::string number = std::to_string(i);
        all += "[A        : 0x0001 : INFO] -> " + std::string(5 - number.size(), '0') + number +
               "\r\n";
    }
    return all;
}
