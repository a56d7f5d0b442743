// The least that can be done, written by hand: what the others are measured against.
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "logger/logger_benchmarks.h"

namespace loggers {

namespace {

[[gnu::noinline]] void take(std::string topic) {
    benchmark::DoNotOptimize(topic);
}

// The line with the time of day, in one call of snprintf. Its second is always the same.
int format(char* buffer, size_t size) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return std::snprintf(buffer, size,
                         "[%s.%06d : %-8s : 0x%04X : %s] -> " VELMORA_BENCHMARK_MESSAGE "\r\n",
                         "2026:11:15 13:21:26", static_cast<int>(now.tv_nsec / 1000), line::topic,
                         static_cast<unsigned>(line::id), "INFO", line::number);
}

struct Floor {
    static void drop() { take(line::topic); }

    static void print() {
        char buffer[1024];
        const int length = format(buffer, sizeof buffer);
        if (::write(STDOUT_FILENO, buffer, static_cast<size_t>(length)) != length) {
            std::abort();
        }
    }

    static void queue() {
        char buffer[1024];
        const int length = format(buffer, sizeof buffer);
        const std::lock_guard<std::mutex> guard(mutex());
        lines().emplace_back(buffer, static_cast<size_t>(length));
    }

    static void drain() {
        std::vector<std::string> taken;
        const std::lock_guard<std::mutex> guard(mutex());
        taken.swap(lines());
    }

    static std::mutex& mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static std::vector<std::string>& lines() {
        static std::vector<std::string> lines;
        return lines;
    }
};

}  // namespace

void addFloor() {
    addDropped<Floor>("floor");
    addConsole<Floor>("floor");
    addCaller<Floor>("floor");
}

}  // namespace loggers
