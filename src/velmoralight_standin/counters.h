// What a server counts.
#pragma once

#include <cstdint>
#include <map>
#include <string_view>

#include "velmoralight_standin/histogram.h"

namespace standin {

// Since the server was created.
struct Counters {
    uint64_t connectionsAdmitted = 0;
    uint64_t connectionsRefused = 0;
    uint64_t connectionsOpen = 0;          // now; those that have a place
    std::map<int, uint64_t> responses;     // by HTTP status
    std::map<int, uint64_t> recognitions;  // by return code; those that were worked on
    uint64_t symbols = 0;                  // found
    uint64_t queueFull = 0;                // requests refused because the queue was full
    uint64_t queueTimeouts = 0;            // requests that waited too long
    uint64_t bodiesRefused = 0;            // requests refused because of the others' bodies
    Histogram waited;                      // of the recognitions, in the queue and for memory
    Histogram worked;                      // of the recognitions
    uint64_t requestsWaiting = 0;          // now
    uint64_t readersAlive = 0;             // now
    uint64_t readersBusy = 0;              // now
    // By reason; a reason that has not been met yet counts 0.
    std::map<std::string_view, uint64_t> readersReplaced;
};

}  // namespace standin
