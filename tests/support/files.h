#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// The whole content of a file; empty when there is none.
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Makes a file, or replaces its content.
inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}
