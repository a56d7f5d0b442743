// How long things took.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace standin {

// The upper bounds of the classes, seconds; what is longer falls into one more.
inline constexpr std::array kTimeBounds{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                        0.1,   0.25,   0.5,   1.0,  2.5,   5.0};

struct Histogram {
    std::array<uint64_t, kTimeBounds.size() + 1> counts{};  // each class by itself
    double sum = 0;                                         // seconds

    void add(std::chrono::duration<double> time) {
        std::size_t at = 0;
        while (at < kTimeBounds.size() && time.count() > kTimeBounds[at]) {
            ++at;
        }
        ++counts[at];
        sum += time.count();
    }
};

}  // namespace standin
