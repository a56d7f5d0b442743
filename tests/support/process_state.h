#pragma once

#include <sys/types.h>

#include <string>

#include "support/files.h"

// Whether the first thread of a process waits in a system call, by its number (SYS_write).
inline bool isInCall(pid_t pid, long call) {
    const std::string now = readFile("/proc/" + std::to_string(pid) + "/syscall");
    return now.starts_with(std::to_string(call) + " ");
}
