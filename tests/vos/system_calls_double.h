#pragma once

#include <pthread.h>
#include <time.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

// Stands between the foundation library and the system, by the linker's --wrap option. What is not
// set goes through to the system. One object at a time.
class SystemCallsDouble {
public:
    SystemCallsDouble();
    ~SystemCallsDouble();
    SystemCallsDouble(const SystemCallsDouble&) = delete;
    SystemCallsDouble& operator=(const SystemCallsDouble&) = delete;

    // pthread_create creates nothing and returns the error.
    void failToCreateThreads(int error);

    // Threads are created, but begin their body only when they are let go.
    void holdBodies();
    void letBodiesGo();

    // The stack sizes that were asked for, and those that the attributes had in the end.
    [[nodiscard]] std::vector<size_t> requestedStackSizes() const;
    [[nodiscard]] std::vector<size_t> stackSizes() const;

    // How many mutexes were made, and how many of them with attributes.
    [[nodiscard]] int mutexes() const;
    [[nodiscard]] int mutexesWithAttributes() const;

    // Stops the monotonic clock, which then moves as it is told and with usleep, which returns at
    // once.
    void stopMonotonicClock();
    void advance(uint64_t microseconds);
    [[nodiscard]] std::vector<unsigned> sleeps() const;

    // Has the clocks of the time of day show this.
    void setTimeOfDay(int64_t seconds, int64_t nanoseconds);

    // sem_timedwait returns at once with success, and its deadline is kept.
    void passTimedWaits();
    [[nodiscard]] std::optional<timespec> deadline() const;
};
