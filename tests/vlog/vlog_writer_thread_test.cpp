// What the logger asks of the system for its thread, and what it does without one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

#include "support/files.h"
#include "support/numbered_lines.h"
#include "support/output_capture.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"
#include "vos/system_calls_double.h"

namespace {

using testing::ElementsAre;

class VLogWriterThread : public testing::Test {
protected:
    // What the thread sleeps for in its first period: a yield, and the rest of it.
    [[nodiscard]] std::vector<unsigned> firstSleeps() const {
        EXPECT_TRUE(waitUntil([this] { return system.sleeps().size() >= 2; }));
        std::vector<unsigned> sleeps = system.sleeps();
        sleeps.resize(2);
        return sleeps;
    }

    SystemCallsDouble system;
};

TEST_F(VLogWriterThread, HasAStackOf65536Bytes) {
    const VLog log(1);
    // The thread sanitizer asks again, for room of its own.
    ASSERT_THAT(system.requestedStackSizes(), testing::Not(testing::IsEmpty()));
    EXPECT_EQ(system.requestedStackSizes().front(), 65536U);
}

TEST_F(VLogWriterThread, LooksAtTheQueueEvery500Milliseconds) {
    system.stopMonotonicClock();
    const VLog log;
    EXPECT_THAT(firstSleeps(), ElementsAre(1000U, 499000U));
}

TEST_F(VLogWriterThread, LooksAtTheQueueAsOftenAsItIsTold) {
    system.stopMonotonicClock();
    const VLog log(30);
    EXPECT_THAT(firstSleeps(), ElementsAre(1000U, 29000U));
}

TEST_F(VLogWriterThread, LooksAtTheGlobalQueueEvery500Milliseconds) {
    system.stopMonotonicClock();
    const OutputCapture console;
    VLog::init("");
    EXPECT_THAT(firstSleeps(), ElementsAre(1000U, 499000U));
    VLog::destroy();
}

TEST_F(VLogWriterThread, IsMissedByNoLineAtTheEnd) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("log");
    system.failToCreateThreads(EAGAIN);
    const OutputCapture console;
    {
        VLog log;
        log.addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, {file}, {0});
        writeLines(log, 0, 3);
    }
    EXPECT_EQ(readFile(file), numberedLines(0, 3));
}

}  // namespace
