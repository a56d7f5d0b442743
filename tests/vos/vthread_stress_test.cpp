// Starts and stops that meet the first cycle of the body, again and again. A state that is read and
// then written in two steps hangs here or revives a finished thread; the thread sanitizer sees the
// rest.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "support/on_threads.h"
#include "support/output_capture.h"
#include "vlib/vos/vthread.h"
#include "vos/runnables.h"

namespace {

// What went wrong in the rounds of a test.
struct Tally {
    std::atomic<int> rounds = 0;
    std::atomic<int> notDone = 0;
    std::atomic<int> neverRun = 0;
    std::atomic<int> notCleanedUpOnce = 0;

    void count(const CountingRunnable& runnable) {
        ++rounds;
        neverRun += static_cast<int>(runnable.runs() < 1);
        notCleanedUpOnce += static_cast<int>(runnable.cleanups() != 1);
    }
    void count(const CountingRunnable& runnable, VThread& thread) {
        count(runnable);
        notDone += static_cast<int>(thread.getState() != DONE);
    }
};

class VThreadStress : public testing::Test {
protected:
    // Each round may wait 50 ms for the body to begin, hence several at a time.
    static constexpr int lanes = 8;

    static void repeat(int rounds, const std::function<void()>& round) {
        onThreads(lanes, [&](int /*lane*/) {
            for (int i = 0; i < rounds / lanes; ++i) {
                round();
            }
        });
    }

    void expectAllWell(int rounds) const {
        EXPECT_EQ(tally.rounds, rounds);
        EXPECT_EQ(tally.notDone, 0);
        EXPECT_EQ(tally.neverRun, 0);
        EXPECT_EQ(tally.notCleanedUpOnce, 0);
    }

    Tally tally;
};

TEST_F(VThreadStress, JoinsAtOnceTenThousandTimes) {
    std::atomic<int> notJoined = 0;
    repeat(10000, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable);
        thread.start();
        notJoined += static_cast<int>(!thread.waitJoin());
        tally.count(runnable, thread);
    });
    EXPECT_EQ(notJoined, 0);
    expectAllWell(10000);
}

TEST_F(VThreadStress, StopsAtOnceTwoHundredTimes) {
    repeat(200, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable);
        thread.start();
        thread.stop();
        tally.count(runnable, thread);
    });
    expectAllWell(200);
}

TEST_F(VThreadStress, IsDestroyedAtOnceTwoHundredTimes) {
    repeat(200, [&] {
        CountingRunnable runnable;
        {
            PlainThread thread(&runnable);
            thread.start();
        }
        tally.count(runnable);
    });
    expectAllWell(200);
}

TEST_F(VThreadStress, JoinsWhileAThirdThreadStopsIt) {
    repeat(2000, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable);
        thread.start();
        const std::jthread third([&] { thread.stopNonBlocking(); });
        thread.waitJoin();
        tally.count(runnable, thread);
    });
    expectAllWell(2000);
}

TEST_F(VThreadStress, StopsWhileAThirdThreadStopsIt) {
    repeat(200, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable);
        thread.start();
        const std::jthread third([&] { thread.stopNonBlocking(); });
        thread.stop();
        tally.count(runnable, thread);
    });
    expectAllWell(200);
}

TEST_F(VThreadStress, StartsOnceWhenTwoThreadsStartIt) {
    const OutputCapture warnings;
    repeat(800, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable);
        {
            const std::jthread other([&] { thread.start(); });
            thread.start();
        }
        thread.waitJoin();
        tally.count(runnable, thread);
    });
    expectAllWell(800);
}

TEST_F(VThreadStress, LeavesItsPeriodWhenItIsJoined) {
    repeat(400, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable, 2);
        thread.start();
        thread.waitJoin();
        tally.count(runnable, thread);
    });
    expectAllWell(400);
}

TEST_F(VThreadStress, NeverGoesBackToAnEarlierState) {
    std::atomic<int> stepsBack = 0;
    repeat(400, [&] {
        CountingRunnable runnable;
        PlainThread thread(&runnable);
        const std::jthread reader([&] {
            for (VThreadState last = STOPPED; last != DONE;) {
                const VThreadState now = thread.getState();
                stepsBack += static_cast<int>(now < last);
                last = now;
            }
        });
        thread.start();
        thread.waitJoin();
        tally.count(runnable, thread);
    });
    EXPECT_EQ(stepsBack, 0);
    expectAllWell(400);
}

}  // namespace
