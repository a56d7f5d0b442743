// What a thread asks of the system, and the state that lasts too short to be met otherwise.

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "support/output_capture.h"
#include "support/row_name.h"
#include "support/wait_until.h"
#include "vlib/vos/vthread.h"
#include "vos/runnables.h"
#include "vos/system_calls_double.h"

namespace {

using Sleeps = std::vector<unsigned>;
using Sizes = std::vector<size_t>;

size_t defaultStackSize() {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    size_t size = 0;
    ::pthread_attr_getstacksize(&attributes, &size);
    ::pthread_attr_destroy(&attributes);
    return size;
}

// The system refuses to create threads.
class VThreadCreationFailure : public testing::Test {
protected:
    void SetUp() override { system.failToCreateThreads(EAGAIN); }

    // What start() prints.
    std::string printedByStart() {
        OutputCapture output;
        thread.start();
        return output.text();
    }

    SystemCallsDouble system;
    CountingRunnable runnable;
    PlainThread thread{&runnable};
};

TEST_F(VThreadCreationFailure, IsReportedWithTheErrorNumber) {
    EXPECT_EQ(printedByStart(),
              "[ERR]\tvthread_impl_linux:start():70 - could not create thread - error: 11\r\n");
}

TEST_F(VThreadCreationFailure, LeavesTheThreadDone) {
    printedByStart();
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_FALSE(thread.getRunning());
}

TEST_F(VThreadCreationFailure, LeavesNothingToJoin) {
    printedByStart();
    EXPECT_FALSE(thread.waitJoin());
    thread.stop();
    EXPECT_EQ(thread.getState(), DONE);
}

TEST_F(VThreadCreationFailure, RunsNothingAndCleansNothingUp) {
    printedByStart();
    EXPECT_EQ(runnable.runs(), 0);
    EXPECT_EQ(runnable.cleanups(), 0);
}

TEST_F(VThreadCreationFailure, CannotBeStartedAgain) {
    printedByStart();
    system.failToCreateThreads(0);
    EXPECT_EQ(printedByStart(),
              "[WARN]\tvthread_impl_linux:start():77 - thread [worker] - "
              "(state == STOPPED) && (state != DONE) - state: 4\r\n");
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_EQ(system.stackSizes().size(), 1U);
}

TEST_F(VThreadCreationFailure, StillDeletesARunnableThatIsOwned) {
    static std::atomic<bool> deleted = false;
    class Recorder : public CountingRunnable {
    public:
        ~Recorder() override { deleted = true; }
    };
    const OutputCapture output;
    {
        VThread owner(new Recorder, "owner", 0, VTHREAD_PRIO_AUTO, 0, /*ownsWork=*/true);
        owner.start();
    }
    EXPECT_TRUE(deleted);
}

struct StackRow {
    const char* name;
    uint32_t given;
    size_t requested;
};

std::ostream& operator<<(std::ostream& out, const StackRow& row) {
    return out << row.given << " bytes";
}

class VThreadStackSize : public testing::TestWithParam<StackRow> {
protected:
    void startAndJoin() {
        VThread thread(&runnable, "worker", GetParam().given, VTHREAD_PRIO_AUTO, 0, false);
        thread.start();
        EXPECT_TRUE(thread.waitJoin());
    }

    SystemCallsDouble system;
    CountingRunnable runnable;
};

using VThreadStackSizeRefused = VThreadStackSize;
using VThreadStackSizeTaken = VThreadStackSize;

TEST_P(VThreadStackSizeRefused, IsRaisedTo4096AndLeavesTheDefault) {
    startAndJoin();
    EXPECT_EQ(system.requestedStackSizes(), Sizes{GetParam().requested});
    EXPECT_EQ(system.stackSizes(), Sizes{defaultStackSize()});
    EXPECT_EQ(runnable.cleanups(), 1);
}

INSTANTIATE_TEST_SUITE_P(BelowTheSystemsMinimum, VThreadStackSizeRefused,
                         testing::Values(StackRow{"Zero", 0, 4096}, StackRow{"One", 1, 4096},
                                         StackRow{"JustBelow4096", 4095, 4096},
                                         StackRow{"Exactly4096", 4096, 4096},
                                         StackRow{"JustAbove4096", 4097, 4097}),
                         rowName);

TEST_P(VThreadStackSizeTaken, IsThatOfTheThread) {
    startAndJoin();
    EXPECT_EQ(system.requestedStackSizes(), Sizes{GetParam().requested});
    EXPECT_EQ(system.stackSizes(), Sizes{GetParam().requested});
    EXPECT_EQ(runnable.cleanups(), 1);
}

INSTANTIATE_TEST_SUITE_P(AboveTheSystemsMinimum, VThreadStackSizeTaken,
                         testing::Values(StackRow{"OneMebibyte", 1 << 20, 1 << 20},
                                         StackRow{"NineMebibytes", 9 << 20, 9 << 20}),
                         rowName);

// A thread that was asked for, and whose body has not begun.
class StartingThread : public testing::Test {
protected:
    void SetUp() override {
        system.stopMonotonicClock();  // usleep does not sleep
        system.holdBodies();
        thread.start();
    }
    void TearDown() override { system.letBodiesGo(); }

    SystemCallsDouble system;
    CountingRunnable runnable;
    PlainThread thread{&runnable};
};

TEST_F(StartingThread, CountsAsRunning) {
    EXPECT_EQ(thread.getState(), STARTING);
    EXPECT_TRUE(thread.getRunning());
    EXPECT_EQ(runnable.runs(), 0);
}

TEST_F(StartingThread, IsRunningOnceItsBodyBegins) {
    system.letBodiesGo();
    EXPECT_TRUE(waitUntil([&] { return thread.getState() == RUNNING; }));
    EXPECT_TRUE(waitUntil([&] { return runnable.runs() > 0; }));
}

TEST_F(StartingThread, WarnsAboutAStart) {
    OutputCapture output;
    thread.start();
    EXPECT_EQ(output.text(),
              "[WARN]\tvthread_impl_linux:start():77 - thread [worker] - "
              "(state == STOPPED) && (state != DONE) - state: 1\r\n");
    EXPECT_EQ(thread.getState(), STARTING);
    EXPECT_EQ(system.stackSizes().size(), 1U);
}

TEST_F(StartingThread, IsLookedAtEvery50MillisecondsByAStop) {
    const std::jthread stopper([&] { thread.stopNonBlocking(); });
    EXPECT_TRUE(waitUntil([&] { return system.sleeps().size() >= 3; }));
    EXPECT_EQ(thread.getState(), STARTING);
    const Sleeps sleeps = system.sleeps();
    EXPECT_EQ(sleeps, Sleeps(sleeps.size(), 50000));
    system.letBodiesGo();
}

TEST_F(StartingThread, StopsOnceItsBodyHasBegun) {
    {
        const std::jthread stopper([&] { thread.stopNonBlocking(); });
        EXPECT_TRUE(waitUntil([&] { return !system.sleeps().empty(); }));
        system.letBodiesGo();
    }
    EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(thread.getState(), STOPPING);
    EXPECT_TRUE(thread.waitJoin());
}

TEST_F(StartingThread, IsDoneAfterAStop) {
    {
        const std::jthread stopper([&] { thread.stop(); });
        EXPECT_TRUE(waitUntil([&] { return !system.sleeps().empty(); }));
        system.letBodiesGo();
    }
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_GE(runnable.runs(), 1);
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST_F(StartingThread, IsDoneWhileItIsJoinedAndRunsOnce) {
    std::atomic<bool> joined = false;
    {
        const std::jthread joiner([&] { joined = thread.waitJoin(); });
        EXPECT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
        system.letBodiesGo();
    }
    EXPECT_TRUE(joined);
    EXPECT_EQ(runnable.runs(), 1);
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST_F(StartingThread, IsNotRevivedByABodyThatBeginsAfterTheJoin) {
    const std::jthread joiner([&] { thread.waitJoin(); });
    ASSERT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
    system.letBodiesGo();
    EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(thread.getState(), DONE);
}

struct PeriodRow {
    const char* name;
    uint32_t periodMs;
    unsigned workUs;
    Sleeps sleeps;  // in microseconds, of two runs
};

std::ostream& operator<<(std::ostream& out, const PeriodRow& row) {
    return out << row.name;
}

class VThreadPeriod : public testing::TestWithParam<PeriodRow> {};

// The clock stands still but for the work and the sleeps.
TEST_P(VThreadPeriod, SleepsForItsRest) {
    SystemCallsDouble system;
    system.stopMonotonicClock();
    FunctionRunnable runnable([&, runs = 0](VThread* thread) mutable {
        system.advance(GetParam().workUs);
        thread->setState(++runs == 2 ? STOPPING : RUNNING);
    });
    PlainThread thread(&runnable, GetParam().periodMs);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(system.sleeps(), GetParam().sleeps);
    EXPECT_EQ(runnable.runs(), 2);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, VThreadPeriod,
    testing::Values(PeriodRow{"RunOf30In100", 100, 30000, {70000, 70000}},
                    PeriodRow{"RunOf150In100", 100, 150000, {1000, 1000}},
                    PeriodRow{"RunOfOneMoreThanThePeriod", 100, 101000, {1000, 1000}},
                    PeriodRow{"RunOfExactlyThePeriod", 100, 100000, {0, 0}},
                    PeriodRow{"RunOfNoTime", 100, 0, {100000, 100000}},
                    PeriodRow{"MillisecondsAreWhole", 100, 30400, {70000, 70000}},
                    PeriodRow{"PeriodOfAMillisecond", 1, 0, {1000, 1000}},
                    PeriodRow{"NoPeriod", 0, 30000, {}}),
    rowName);

TEST(VThreadPeriodLeft, IsSleptOutBeforeTheStateIsLookedAt) {
    SystemCallsDouble system;
    system.stopMonotonicClock();
    FunctionRunnable runnable([](VThread* thread) { thread->setState(STOPPING); });
    PlainThread thread(&runnable, 500);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(system.sleeps(), Sleeps{500000});
}

struct SleepRow {
    const char* name;
    uint32_t milliseconds;
    unsigned microseconds;
};

std::ostream& operator<<(std::ostream& out, const SleepRow& row) {
    return out << row.milliseconds << " ms";
}

class VThreadSleep : public testing::TestWithParam<SleepRow> {};

TEST_P(VThreadSleep, MultipliesIn32Bits) {
    SystemCallsDouble system;
    system.stopMonotonicClock();
    VThread::sleep(GetParam().milliseconds);
    EXPECT_EQ(system.sleeps(), Sleeps{GetParam().microseconds});
}

INSTANTIATE_TEST_SUITE_P(Milliseconds, VThreadSleep,
                         testing::Values(SleepRow{"Zero", 0, 0}, SleepRow{"One", 1, 1000},
                                         SleepRow{"MoreThanASecond", 1500, 1500000},
                                         SleepRow{"Longest", 4294967, 4294967000},
                                         SleepRow{"FirstToWrapRound", 4294968, 704},
                                         SleepRow{"Highest", 4294967295, 4294966296}),
                         rowName);

TEST(VThreadYield, SleepsForOneMillisecond) {
    SystemCallsDouble system;
    system.stopMonotonicClock();
    VThread::yield();
    EXPECT_EQ(system.sleeps(), Sleeps{1000});
}

}  // namespace
