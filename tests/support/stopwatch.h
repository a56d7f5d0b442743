#pragma once

#include <chrono>

// The time since its construction.
class Stopwatch {
public:
    [[nodiscard]] std::chrono::microseconds elapsed() const {
        return std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - begin);
    }

private:
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};
