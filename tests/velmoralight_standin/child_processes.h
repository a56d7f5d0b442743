// The processes that another one has started.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// What /proc/PID/stat says behind the name: state and parent. Empty when there is no such process.
inline std::string statOf(const std::string& pid) {
    std::ifstream file("/proc/" + pid + "/stat");
    std::string text;
    std::getline(file, text);
    const size_t end = text.rfind(')');
    return end == std::string::npos ? "" : text.substr(end + 1);
}

// Those that have not ended, whether they were waited for or not.
inline std::vector<pid_t> childrenOf(pid_t parent) {
    std::vector<pid_t> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string pid = entry.path().filename();
        std::istringstream words(statOf(pid));
        char state = 'Z';
        pid_t itsParent = 0;
        words >> state >> itsParent;
        if (itsParent == parent && state != 'Z') {
            children.push_back(std::atoi(pid.c_str()));
        }
    }
    return children;
}

// Whether the process runs; one that has ended and was not waited for does not.
inline bool runs(pid_t pid) {
    const std::string stat = statOf(std::to_string(pid));
    return !stat.empty() && stat.substr(0, 2) != " Z";
}
