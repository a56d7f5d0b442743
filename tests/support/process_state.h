#pragma once

#include <sys/types.h>

#include <sstream>
#include <string>

#include "support/files.h"

// Whether the first thread of a process waits in a system call, by its number (SYS_write).
inline bool isInCall(pid_t pid, long call) {
    const std::string now = readFile("/proc/" + std::to_string(pid) + "/syscall");
    return now.starts_with(std::to_string(call) + " ");
}

// What a process has used of the processor, in ticks of the clock: 100 a second, as a rule.
inline long processorTicks(pid_t pid) {
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    // The fields from the third on stand behind the name, which is in brackets.
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    constexpr int userTime = 14;
    std::string skipped;
    for (int field = 3; field < userTime; ++field) {
        fields >> skipped;
    }
    long user = -1;
    long system = -1;
    fields >> user >> system;
    return user + system;
}
