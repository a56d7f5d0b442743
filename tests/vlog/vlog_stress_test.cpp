// Lines, sinks and the global logger, by several threads at once.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "support/files.h"
#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/stress_test.h"
#include "support/temporary_directory.h"
#include "vlib/vlog/vlog.h"

namespace {

constexpr int threadCount = 3;

// Takes the lines of each thread, told apart by their id, and looks that their numbers rise.
class RisingSink : public VLog::ILogSink {
public:
    void consume(VLog* /*log*/, const VLog::LogEntry& entry) override {
        uint32_t& last = lastOf.at(entry.id);
        disorder += static_cast<int>(entry.line <= last);
        last = entry.line;
        ++lines;
    }
    std::atomic<int> lines = 0;
    std::atomic<int> disorder = 0;

private:
    std::array<uint32_t, threadCount> lastOf{};
};

class VLogStress : public StressTest {};

TEST_F(VLogStress, DeliversToTheSinksThatAreThere) {
    VLog log(1);
    log.addTopic("A", VLogConfig::INFO, VLogConfig::FULL, {}, {});
    RisingSink always;
    log.addSink(&always);
    std::array<RisingSink, threadCount> sinks;
    std::atomic<int> written = 0;
    std::atomic<int> late = 0;
    onThreads(threadCount, [&](int number) {
        Random random = randomOf(number);
        RisingSink& own = sinks.at(static_cast<size_t>(number));
        for (int n = 1; goesOn(); ++n) {
            log.write("A", static_cast<uint16_t>(number), VLogConfig::INFO, "f", n, "%d", n);
            ++written;
            if (below(2, random) == 0) {
                log.addSink(&own);
            } else {
                log.removeSink(&own);
                const int lines = own.lines;
                std::this_thread::yield();
                late += static_cast<int>(own.lines != lines);
            }
        }
        log.removeSink(&own);
    });
    EXPECT_EQ(always.lines, written);
    EXPECT_EQ(late, 0);
    EXPECT_EQ(always.disorder + sinks[0].disorder + sinks[1].disorder + sinks[2].disorder, 0);
}

TEST_F(VLogStress, HasOneGlobalLoggerAtATime) {
    const TemporaryDirectory directory;
    const std::string configuration = directory.path("vlog.cfg");
    const std::string file = directory.path("log");
    writeFile(configuration, "LOGGER; INFO; SIMPLE; " + file + "; 0\n");
    OutputCapture warnings;  // of loggers that were not configured
    std::atomic<int> missing = 0;
    onThreads(threadCount, [&](int number) {
        Random random = randomOf(number);
        while (goesOn()) {
            const int step = below(4, random);
            if (step == 0) {
                VLog::destroy();
            } else if (step == 1) {
                missing += static_cast<int>(VLog::getGlobalLog() == nullptr);
            } else {
                VLog::init(configuration);
            }
        }
    });
    VLog::destroy();
    VLog::init(configuration);
    VLog::destroy();
    EXPECT_EQ(missing, 0);

    // Each life of a configured logger is three lines, and none begins before the last one's end.
    const std::string life = "[LOGGER   : 0x0002 : INFO] -> Loaded config file: " + configuration +
                             " - status: OK\r\n"
                             "[LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"
                             "[LOGGER   : 0x0002 : INFO] -> VLib log session stopped\r\n";
    std::string log = readFile(file);
    EXPECT_TRUE(log.starts_with(life));
    while (log.starts_with(life)) {
        log.erase(0, life.size());
    }
    EXPECT_EQ(log, "");
}

}  // namespace
