// What a server counts.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>

namespace standin {

// Since the server was created. Belongs to the server's I/O thread: no lock.
struct Counters {
    uint64_t connectionsAdmitted = 0;
    uint64_t connectionsRefused = 0;
    uint64_t connectionsOpen = 0;            // now, without the refused ones
    std::map<int, uint64_t> responses;       // by HTTP status
    std::map<int, uint64_t> recognitions;    // by return code; those that were worked on
    uint64_t symbols = 0;                    // found
    uint64_t queueFull = 0;                  // requests refused because every queue was full
    uint64_t queueTimeouts = 0;              // requests that waited too long
    std::chrono::nanoseconds waitedTime{0};  // of the recognitions
    std::chrono::nanoseconds workedTime{0};  // of the recognitions
};

}  // namespace standin
