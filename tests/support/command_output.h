#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

// What a shell command prints. Throws std::runtime_error when it fails or prints nothing.
inline std::string outputOf(const std::string& command) {
    std::FILE* pipe = ::popen(command.c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    char block[4096];
    for (size_t count = 0; (count = std::fread(block, 1, sizeof block, pipe)) > 0;) {
        output.append(block, count);
    }
    if (::pclose(pipe) != 0 || output.empty()) {
        throw std::runtime_error("failed: " + command);
    }
    return output;
}
