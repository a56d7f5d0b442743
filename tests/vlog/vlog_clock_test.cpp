// The wall clock is set back and forward while the logger works.
#include <gtest/gtest.h>
#include <sys/time.h>
#include <time.h>

#include <atomic>
#include <string>

#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/numbered_lines.h"
#include "support/temporary_directory.h"
#include "support/time_zone.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

namespace {

// What the wall clock is ahead of the system's, in seconds. The monotonic one goes on as it does
// where an operator sets the time.
std::atomic<time_t> ahead = 0;

}  // namespace

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp,
// readability-identifier-naming): see above
extern "C" {

int __real_clock_gettime(clockid_t, timespec*);
int __real_gettimeofday(timeval*, void*);

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    const int result = __real_clock_gettime(clock, now);
    now->tv_sec += clock == CLOCK_REALTIME ? ahead.load() : 0;
    return result;
}

int __wrap_gettimeofday(timeval* now, void* zone) {
    const int result = __real_gettimeofday(now, zone);
    now->tv_sec += ahead;
    return result;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp,
// readability-identifier-naming)

namespace {

constexpr time_t hour = 3600;

class VLogClock : public testing::Test {
protected:
    VLogClock() { log.addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, {file}, {0}); }
    ~VLogClock() override { ahead = 0; }

    // Waits for the writer's thread to bring the next ten lines to the file.
    void writeTen() {
        writeLines(log, written, written + 10);
        written += 10;
        ASSERT_TRUE(waitUntil([this] { return readFile(file) == numberedLines(0, written); }));
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    int written = 0;
    const TimeZone zone{"UTC0"};
    VLog log{50};
};

TEST_F(VLogClock, LosesNoneOfThirtyLinesWhenItIsSetBackAndForward) {
    writeTen();
    ahead = -hour;
    writeTen();
    ahead = 24 * hour;
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(0, 30));
}

TEST_F(VLogClock, IsWhatTheLinesAreStampedWith) {
    const CapturingSink sink(log);
    ahead = hour - ::time(nullptr);
    writeLines(log, 0, 1);
    ahead = 24 * hour - ::time(nullptr);
    writeLines(log, 1, 2);
    ahead = -::time(nullptr);
    writeLines(log, 2, 3);
    ASSERT_EQ(sink.entries.size(), 3);
    EXPECT_EQ(sink.entries[0].timestamp.substr(0, 16), "1970:01:01 01:00");
    EXPECT_EQ(sink.entries[1].timestamp.substr(0, 16), "1970:01:02 00:00");
    EXPECT_EQ(sink.entries[2].timestamp.substr(0, 16), "1970:01:01 00:00");
}

}  // namespace
