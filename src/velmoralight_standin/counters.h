// What a server counts.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace standin {

// The upper bounds of a histogram's classes, seconds; what is longer falls into one more.
inline constexpr std::array kTimeBounds{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                        0.1,   0.25,   0.5,   1.0,  2.5,   5.0};

// How long things took.
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

// How often each of several things happened, by their names in the reports.
using Counts = std::map<std::string, uint64_t>;

// Since the server was created.
struct Counters {
    uint64_t connectionsAdmitted = 0;
    uint64_t connectionsRefused = 0;
    Counts responses;              // by HTTP status
    Counts recognitions;           // those that were worked on, by return code
    uint64_t symbols = 0;          // found
    uint64_t queueFull = 0;        // requests refused because the queue was full
    uint64_t queueTimeouts = 0;    // requests that waited too long
    uint64_t bodiesRefused = 0;    // requests refused because of the others' bodies
    Histogram waited;              // of the recognitions, in the queue and for memory
    Histogram worked;              // of the recognitions
    uint64_t requestsWaiting = 0;  // now
    uint64_t readersAlive = 0;     // now
    uint64_t readersBusy = 0;      // now
    Counts readersReplaced;        // by reason; one that has not been met yet counts 0
};

}  // namespace standin
