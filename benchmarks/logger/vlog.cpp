#include "vlib/vlog/vlog.h"

#include <string>

#include "logger/logger_benchmarks.h"

namespace loggers {

namespace {

// With the 18 built-in rules, and one for the line where a destination is given. Never deleted,
// since its thread would have to wake for that: its period keeps it out of the measurement.
VLog& makeLog(const std::string& destination) {
    constexpr uint32_t periodMs = 4000000;
    VLog& log = *new VLog(periodMs);
    log.configFromDefault();
    if (!destination.empty()) {
        log.addTopic(line::topic, VLogConfig::INFO, VLogConfig::SIMPLE_TS, {destination}, {0});
    }
    return log;
}

void writeLine(VLog& log) {
    log.write(line::topic, line::id, VLogConfig::INFO, line::file, 64, VELMORA_BENCHMARK_MESSAGE,
              line::number);
}

struct Vlog {
    static void drop() {
        static VLog& log = makeLog("");
        writeLine(log);
    }

    // Lines for the console are queued as well, up to the 200 that fill the queue.
    static void print() {
        static VLog& log = makeLog("[STDOUT]");
        writeLine(log);
    }

    // A file that cannot be opened, so that drains are short: only the callers are measured.
    static VLog& fileLog() {
        static VLog& log = makeLog("/dev/null/log");
        return log;
    }
    static void queue() { writeLine(fileLog()); }
    static void drain() { fileLog().dumpToFile(); }
};

}  // namespace

void addVlog() {
    addDropped<Vlog>("vlog");
    addConsole<Vlog>("vlog");
    addCaller<Vlog>("vlog");
}

}  // namespace loggers
