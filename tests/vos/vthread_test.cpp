// A thread's life: its states, who ends it, and what is called on it.

#include "vlib/vos/vthread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>

#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/stopwatch.h"
#include "support/wait_until.h"
#include "vos/runnables.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

std::string startWarning(int state) {
    return "[WARN]\tvthread_impl_linux:start():77 - thread [worker] - "
           "(state == STOPPED) && (state != DONE) - state: " +
           std::to_string(state) + "\r\n";
}

std::string printedByStart(VThread& thread) {
    OutputCapture output;
    thread.start();
    return output.text();
}

// A thread whose body stays in run() until the runnable is released.
class HeldThread : public testing::Test {
protected:
    void SetUp() override {
        thread.start();
        ASSERT_TRUE(runnable.waitUntilInside());
    }
    void TearDown() override { runnable.release(); }

    HeldRunnable runnable;
    PlainThread thread{&runnable};
};

// Sets the flag when it is deleted.
class DeletionRecorder : public CountingRunnable {
public:
    explicit DeletionRecorder(std::atomic<bool>& flag) : deleted(flag) {}
    ~DeletionRecorder() override { deleted = true; }
    DeletionRecorder(const DeletionRecorder&) = delete;
    DeletionRecorder& operator=(const DeletionRecorder&) = delete;

private:
    std::atomic<bool>& deleted;
};

TEST(VThreadStates, HaveTheirNumbers) {
    EXPECT_EQ(STOPPED, 0);
    EXPECT_EQ(STARTING, 1);
    EXPECT_EQ(RUNNING, 2);
    EXPECT_EQ(STOPPING, 3);
    EXPECT_EQ(DONE, 4);
}

TEST(VThreadPriorities, HaveTheirNumbers) {
    EXPECT_EQ(VTHREAD_PRIO_AUTO, 0);
    EXPECT_EQ(VTHREAD_PRIO_LOW, 1);
    EXPECT_EQ(VTHREAD_PRIO_MEDIUM, 2);
    EXPECT_EQ(VTHREAD_PRIO_HIGH, 3);
}

TEST(VIRunnable, IsAnInterfaceWithAVirtualDestructor) {
    EXPECT_TRUE(std::is_abstract_v<VThread::VIRunnable>);
    EXPECT_TRUE(std::has_virtual_destructor_v<VThread::VIRunnable>);
}

TEST(VIRunnable, DoesNothingToCleanUpUnlessItSaysSo) {
    class OnlyRuns : public VThread::VIRunnable {
        void run(VThread* thread) override { thread->setState(STOPPING); }
    } runnable;
    PlainThread thread(&runnable);
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
}

TEST(VThreadConstruction, LeavesTheThreadStopped) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    EXPECT_EQ(thread.getState(), STOPPED);
    EXPECT_FALSE(thread.getRunning());
}

TEST(VThreadConstruction, RunsNothing) {
    CountingRunnable runnable;
    { const PlainThread thread(&runnable); }
    EXPECT_EQ(runnable.runs(), 0);
    EXPECT_EQ(runnable.cleanups(), 0);
}

class VThreadEveryPriority : public testing::TestWithParam<uint32_t> {};

TEST_P(VThreadEveryPriority, RunsAlike) {
    CountingRunnable runnable;
    VThread thread(&runnable, "worker", 0, GetParam(), 0, false);
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_GE(runnable.runs(), 1);
}

INSTANTIATE_TEST_SUITE_P(Values, VThreadEveryPriority,
                         testing::Values(VTHREAD_PRIO_AUTO, VTHREAD_PRIO_LOW, VTHREAD_PRIO_MEDIUM,
                                         VTHREAD_PRIO_HIGH, 4000000000U),
                         testing::PrintToStringParamName());

class VThreadEveryStackSize : public testing::TestWithParam<uint32_t> {};

TEST_P(VThreadEveryStackSize, Runs) {
    CountingRunnable runnable;
    VThread thread(&runnable, "worker", GetParam(), VTHREAD_PRIO_AUTO, 0, false);
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_GE(runnable.runs(), 1);
}

INSTANTIATE_TEST_SUITE_P(Bytes, VThreadEveryStackSize,
                         testing::Values(0, 1, 4095, 4096, 4097, 1000000, 1 << 20),
                         testing::PrintToStringParamName());

// The state table, from top to bottom. STARTING, which lasts too short to be met here, is tested
// where the system calls are replaced.

TEST_F(HeldThread, IsRunningOnceItsBodyBegins) {
    EXPECT_EQ(thread.getState(), RUNNING);
    EXPECT_TRUE(thread.getRunning());
}

TEST_F(HeldThread, IsStoppingAfterStopNonBlocking) {
    thread.stopNonBlocking();
    EXPECT_EQ(thread.getState(), STOPPING);
    EXPECT_FALSE(thread.getRunning());
}

TEST_F(HeldThread, IsDoneWhileStopWaitsForTheBody) {
    const std::jthread stopper([&] { thread.stop(); });
    EXPECT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
    EXPECT_EQ(runnable.cleanups(), 0);
    runnable.release();
}

TEST_F(HeldThread, IsDoneAfterStop) {
    runnable.release();
    thread.stop();
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_FALSE(thread.getRunning());
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST_F(HeldThread, IsDoneAfterCancelWhichLetsTheRunEnd) {
    runnable.release();
    thread.cancel();
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST_F(HeldThread, IsDoneAfterWaitJoinOfARunningThread) {
    runnable.release();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST_F(HeldThread, IsDoneAfterWaitJoinOfAStoppingThread) {
    thread.stopNonBlocking();
    runnable.release();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_EQ(thread.getState(), DONE);
}

TEST_F(HeldThread, IsDoneAsSoonAsWaitJoinBeginsToWait) {
    std::jthread joiner([&] { thread.waitJoin(); });
    EXPECT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
    EXPECT_EQ(runnable.cleanups(), 0);
    runnable.release();
}

TEST_F(HeldThread, WarnsAboutAStartWhileRunning) {
    EXPECT_EQ(printedByStart(thread), startWarning(2));
    EXPECT_EQ(thread.getState(), RUNNING);
}

TEST_F(HeldThread, WarnsAboutAStartWhileStopping) {
    thread.stopNonBlocking();
    EXPECT_EQ(printedByStart(thread), startWarning(3));
    EXPECT_EQ(thread.getState(), STOPPING);
}

TEST_F(HeldThread, WarnsAboutAStartWhenDone) {
    runnable.release();
    thread.stop();
    EXPECT_EQ(printedByStart(thread), startWarning(4));
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_FALSE(thread.waitJoin());
}

TEST_F(HeldThread, WarnsAboutAStartAtOnceWhenMadeDoneWhileItsBodyRuns) {
    thread.setState(DONE);
    EXPECT_EQ(printedByStart(thread), startWarning(4));
    EXPECT_EQ(runnable.cleanups(), 0);
}

TEST_F(HeldThread, RunsNothingMoreAfterAStartThatWasWarnedAbout) {
    printedByStart(thread);
    runnable.release();
    thread.stop();
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST_F(HeldThread, IsLeftAloneByAStopNonBlockingWhileStopping) {
    thread.stopNonBlocking();
    thread.stopNonBlocking();
    EXPECT_EQ(thread.getState(), STOPPING);
}

TEST(VThreadName, EndsAtANulAndTheWarningGoesOn) {
    VThread thread(nullptr, std::string("worker\0hidden", 13), 65536, VTHREAD_PRIO_AUTO, 0, false);
    thread.setState(DONE);
    EXPECT_EQ(printedByStart(thread), startWarning(4));
}

TEST(VThreadNeverStarted, IsUnchangedByAStop) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.stop();
    EXPECT_EQ(thread.getState(), STOPPED);
    thread.cancel();
    EXPECT_EQ(thread.getState(), STOPPED);
    thread.stopNonBlocking();
    EXPECT_EQ(thread.getState(), STOPPED);
}

TEST(VThreadNeverStarted, HasNothingToJoin) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    EXPECT_FALSE(thread.waitJoin());
    EXPECT_EQ(thread.getState(), STOPPED);
}

TEST(VThreadNeverStarted, StartsAfterAStop) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.stop();
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_GE(runnable.runs(), 1);
}

TEST(VThreadDone, IsUnchangedByAStop) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.start();
    ASSERT_TRUE(thread.waitJoin());
    thread.stop();
    thread.stopNonBlocking();
    EXPECT_EQ(thread.getState(), DONE);
    EXPECT_FALSE(thread.waitJoin());
    EXPECT_EQ(thread.getState(), DONE);
}

std::string nameOf(VThreadState state) {
    constexpr std::array names = {"Stopped", "Starting", "Running", "Stopping", "Done"};
    return names.at(state);
}

constexpr auto stateName = [](const auto& row) { return nameOf(row.param); };
constexpr auto pairName = [](const auto& row) {
    return nameOf(std::get<0>(row.param)) + "To" + nameOf(std::get<1>(row.param));
};

using StatePair = std::tuple<VThreadState, VThreadState>;

class VThreadSetState : public testing::TestWithParam<StatePair> {
protected:
    void TearDown() override { thread.setState(STOPPED); }

    CountingRunnable runnable;
    PlainThread thread{&runnable};
};

TEST_P(VThreadSetState, GivesTheStateThatItIsGiven) {
    const auto [from, to] = GetParam();
    thread.setState(from);
    thread.setState(to);
    EXPECT_EQ(thread.getState(), to);
}

TEST_P(VThreadSetState, MakesTheThreadCountAsRunningInStartingAndRunningOnly) {
    const auto [from, to] = GetParam();
    thread.setState(from);
    thread.setState(to);
    EXPECT_EQ(thread.getRunning(), to == STARTING || to == RUNNING);
}

INSTANTIATE_TEST_SUITE_P(
    FromAnyToAny, VThreadSetState,
    testing::Combine(testing::Values(STOPPED, STARTING, RUNNING, STOPPING, DONE),
                     testing::Values(STOPPED, STARTING, RUNNING, STOPPING, DONE)),
    pairName);

// States that are set by hand while there is no thread, or while one is running.

class StateWithoutThread : public testing::TestWithParam<VThreadState> {};

TEST_P(StateWithoutThread, HasNothingToJoinAndBecomesDone) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.setState(GetParam());
    EXPECT_FALSE(thread.waitJoin());
    EXPECT_EQ(thread.getState(), DONE);
}

INSTANTIATE_TEST_SUITE_P(Started, StateWithoutThread, testing::Values(STARTING, RUNNING, STOPPING),
                         stateName);

class StateSetWhileRunning : public testing::TestWithParam<VThreadState> {};

TEST_P(StateSetWhileRunning, MakesTheBodyLeaveAfterItsRun) {
    HeldRunnable runnable;
    PlainThread thread(&runnable);
    thread.start();
    ASSERT_TRUE(runnable.waitUntilInside());
    thread.setState(GetParam());
    runnable.release();
    EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(thread.getState(), GetParam());
    EXPECT_EQ(runnable.runs(), 1);
    thread.setState(STOPPED);  // a destructor that meets STARTING waits for a body to begin
}

INSTANTIATE_TEST_SUITE_P(ByHand, StateSetWhileRunning,
                         testing::Values(STOPPED, STARTING, STOPPING, DONE), stateName);

class StateSetBeforeTheEnd : public testing::TestWithParam<VThreadState> {};

TEST_P(StateSetBeforeTheEnd, DoesNotKeepTheDestructorFromWaitingForTheBody) {
    FunctionRunnable runnable([](VThread* thread) {
        thread->setState(GetParam());
        VThread::sleep(50);  // the destructor comes meanwhile
    });
    {
        PlainThread thread(&runnable);
        thread.start();
        ASSERT_TRUE(waitUntil([&] { return thread.getState() == GetParam(); }));
    }
    EXPECT_EQ(runnable.cleanups(), 1);
}

INSTANTIATE_TEST_SUITE_P(ByHand, StateSetBeforeTheEnd, testing::Values(STOPPED, STOPPING, DONE),
                         stateName);

TEST(VThreadMadeStopped, RunsAgainAfterAStart) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.start();
    ASSERT_TRUE(thread.waitJoin());
    thread.setState(STOPPED);
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_EQ(runnable.cleanups(), 2);
}

TEST_F(HeldThread, IsNotStartedAgainBeforeItIsJoinedThoughMadeStopped) {
    thread.setState(STOPPED);
    EXPECT_EQ(printedByStart(thread), startWarning(0));
    EXPECT_EQ(thread.getState(), STOPPED);
    runnable.release();
    EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(printedByStart(thread), startWarning(0));
}

TEST_F(HeldThread, IsNotStartedAgainByTwoWhoMeetThoughMadeStopped) {
    thread.setState(STOPPED);
    OutputCapture output;
    onThreads(2, [this](int) { thread.start(); });
    EXPECT_EQ(output.text(), startWarning(0) + startWarning(0));
    runnable.release();
    EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(runnable.runs(), 1);
}

TEST_F(HeldThread, IsNotStartedAgainWhileSomebodyJoinsItThoughMadeStopped) {
    const std::jthread joiner([&] { thread.waitJoin(); });
    ASSERT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
    thread.setState(STOPPED);
    EXPECT_EQ(printedByStart(thread), startWarning(0));
    runnable.release();
}

TEST_F(HeldThread, IsJoinedByOneOnlyThoughMadeRunningAgain) {
    std::atomic<int> joins = 0;
    {
        const std::jthread joiner([&] { joins += static_cast<int>(thread.waitJoin()); });
        ASSERT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
        thread.setState(RUNNING);
        EXPECT_FALSE(thread.waitJoin());
        runnable.release();
    }
    EXPECT_EQ(joins, 1);
}

TEST(VThreadDestructor, WaitsForABodyThatSomebodyElseJoins) {
    HeldRunnable runnable;
    std::jthread joiner;
    std::jthread releaser;
    {
        PlainThread thread(&runnable);
        thread.start();
        ASSERT_TRUE(runnable.waitUntilInside());
        joiner = std::jthread([&] { thread.waitJoin(); });
        ASSERT_TRUE(waitUntil([&] { return thread.getState() == DONE; }));
        releaser = std::jthread([&] {
            VThread::sleep(50);  // the destructor comes meanwhile
            runnable.release();
        });
    }
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST(VThreadMadeStopped, IsNotStartedByItsOwnBody) {
    FunctionRunnable runnable([](VThread* thread) {
        thread->setState(STOPPED);
        thread->start();
    });
    OutputCapture output;
    {
        PlainThread thread(&runnable);
        thread.start();
        EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    }
    EXPECT_EQ(output.text(), startWarning(0));
    EXPECT_EQ(runnable.runs(), 1);
}

TEST(VThreadMadeStarting, KeepsAStopWaitingWithoutAThreadToo) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.setState(STARTING);
    std::atomic<bool> returned = false;
    const std::jthread stopper([&] {
        thread.stopNonBlocking();
        returned = true;
    });
    EXPECT_FALSE(waitUntil([&] { return returned.load(); }, std::chrono::milliseconds(150)));
    thread.setState(RUNNING);
    EXPECT_TRUE(waitUntil([&] { return returned.load(); }));
    EXPECT_EQ(thread.getState(), STOPPING);
}

TEST(VThreadMadeStarting, IsDestroyedAtOnceWithoutAThread) {
    CountingRunnable runnable;
    {
        PlainThread thread(&runnable);
        thread.setState(STARTING);
    }
    EXPECT_EQ(runnable.runs(), 0);
}

TEST(VThreadStoppedFromItsBody, LeavesAfterTheRun) {
    FunctionRunnable runnable([](VThread* thread) { thread->stopNonBlocking(); });
    PlainThread thread(&runnable);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
    EXPECT_EQ(thread.getState(), STOPPING);
    EXPECT_EQ(runnable.runs(), 1);
    EXPECT_TRUE(thread.waitJoin());
}

TEST(VThreadStoppedFromItsBody, DoesNotWaitForItself) {
    std::atomic<bool> joined = true;
    FunctionRunnable runnable([&](VThread* thread) { joined = thread->waitJoin(); });
    {
        PlainThread thread(&runnable);
        thread.start();
        ASSERT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
        EXPECT_EQ(thread.getState(), DONE);
    }
    EXPECT_FALSE(joined);
    EXPECT_EQ(runnable.runs(), 1);
}

// What the body calls, and where.

TEST(VThreadBody, CallsRunAgainAndAgain) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.start();
    EXPECT_TRUE(waitUntil([&] { return runnable.runs() > 100; }));
    thread.stop();
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST(VThreadBody, RunsOnAThreadOfItsOwn) {
    std::atomic<pthread_t> runner = {};
    FunctionRunnable runnable([&](VThread*) { runner = VThread::self(); });
    PlainThread thread(&runnable);
    thread.start();
    thread.waitJoin();
    EXPECT_EQ(::pthread_equal(runner, ::pthread_self()), 0);
    EXPECT_NE(runner, pthread_t{});
}

TEST(VThreadBody, CleansUpOnTheSameThreadAfterTheLastRun) {
    class RecordsThreads : public CountingRunnable {
    public:
        void run(VThread*) override { runner = VThread::self(); }
        void cleanup() override { cleaner = VThread::self(); }
        pthread_t runner{};
        pthread_t cleaner{};
    } runnable;
    PlainThread thread(&runnable);
    thread.start();
    thread.waitJoin();
    EXPECT_NE(::pthread_equal(runnable.runner, runnable.cleaner), 0);
}

TEST(VThreadBody, HandsItsVThreadToTheRunnable) {
    std::atomic<VThread*> given = nullptr;
    FunctionRunnable runnable([&](VThread* thread) { given = thread; });
    PlainThread thread(&runnable);
    thread.start();
    thread.waitJoin();
    EXPECT_EQ(given, &thread);
}

TEST(VThreadBody, IsRunningDuringItsFirstRun) {
    std::atomic<int> seen = -1;
    FunctionRunnable runnable([&](VThread* thread) {
        int expected = -1;
        seen.compare_exchange_strong(expected, thread->getState());
    });
    PlainThread thread(&runnable);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return runnable.runs() > 1; }));
    EXPECT_EQ(seen, RUNNING);
}

// A runnable may have a loop of its own.
TEST(VThreadBody, EndsWhenARunnableSeesTheStateChange) {
    FunctionRunnable runnable([](VThread* thread) {
        while (thread->getRunning()) {
            VThread::yield();
        }
    });
    PlainThread thread(&runnable);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return runnable.runs() == 1; }));
    thread.stop();
    EXPECT_EQ(runnable.runs(), 1);
    EXPECT_EQ(runnable.cleanups(), 1);
}

TEST(VThreadBody, HoldsNoLockDuringARun) {
    FunctionRunnable runnable([](VThread* thread) {
        thread->setState(thread->getState());
        thread->setState(STOPPING);
    });
    PlainThread thread(&runnable);
    thread.start();
    EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
}

TEST(VThreadBody, RunsOnceEvenWhenItIsJoinedAtOnce) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
    EXPECT_GE(runnable.runs(), 1);
    EXPECT_EQ(runnable.cleanups(), 1);
}

constexpr const char* noRunnableWarning =
    "[WARN]\tvthread_impl_linux:threadStaticMain():197 - "
    "none task nor runnable supplied - exiting thread\r\n";

class ThreadWithoutRunnable : public testing::TestWithParam<uint32_t> {};

TEST_P(ThreadWithoutRunnable, WarnsOnceAndIsStillJoinedByAStop) {
    OutputCapture output;
    PlainThread thread(nullptr, GetParam());
    thread.start();
    EXPECT_TRUE(waitUntil([&] { return thread.getState() == RUNNING; }));
    thread.stop();
    EXPECT_EQ(output.text(), noRunnableWarning);
    EXPECT_EQ(thread.getState(), DONE);
}

TEST_P(ThreadWithoutRunnable, StaysRunningUntilItIsJoined) {
    const OutputCapture output;
    PlainThread thread(nullptr, GetParam());
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return thread.getState() == RUNNING; }));
    EXPECT_FALSE(waitUntil([&] { return !thread.getRunning(); }, milliseconds(30)));
    EXPECT_TRUE(thread.waitJoin());
}

TEST_P(ThreadWithoutRunnable, DeletesNothingThoughItOwnsIt) {
    const OutputCapture output;
    VThread thread(nullptr, "worker", 0, VTHREAD_PRIO_AUTO, GetParam(), /*ownsWork=*/true);
    thread.start();
    EXPECT_TRUE(thread.waitJoin());
}

INSTANTIATE_TEST_SUITE_P(Periods, ThreadWithoutRunnable, testing::Values(0, 10),
                         testing::PrintToStringParamName());

TEST(VThreadDestructor, ReturnsAtOnceWhenNeverStarted) {
    const Stopwatch watch;
    { const PlainThread thread(nullptr); }
    EXPECT_LT(watch.elapsed(), seconds(60));
}

TEST(VThreadDestructor, StopsAndJoinsARunningThread) {
    CountingRunnable runnable;
    {
        PlainThread thread(&runnable);
        thread.start();
    }
    EXPECT_GE(runnable.runs(), 1);
    EXPECT_EQ(runnable.cleanups(), 1);
}

class RunnableOwnership : public testing::Test {
protected:
    // The life of a thread over the runnable, started or not.
    static void live(VThread::VIRunnable* runnable, bool owned, bool started) {
        VThread thread(runnable, "worker", 0, VTHREAD_PRIO_AUTO, 0, owned);
        if (started) {
            thread.start();
        }
    }

    std::atomic<bool> deleted = false;
};

TEST_F(RunnableOwnership, IsDeletedWithAThreadThatRan) {
    live(new DeletionRecorder(deleted), /*owned=*/true, /*started=*/true);
    EXPECT_TRUE(deleted);
}

TEST_F(RunnableOwnership, IsDeletedWithAThreadThatWasNeverStarted) {
    live(new DeletionRecorder(deleted), /*owned=*/true, /*started=*/false);
    EXPECT_TRUE(deleted);
}

TEST_F(RunnableOwnership, IsNotDeletedUnlessOwned) {
    const auto runnable = std::make_unique<DeletionRecorder>(deleted);
    live(runnable.get(), /*owned=*/false, /*started=*/true);
    EXPECT_FALSE(deleted);
    EXPECT_EQ(runnable->cleanups(), 1);
}

TEST_F(RunnableOwnership, IsNotDeletedUnlessOwnedWhenNeverStarted) {
    const auto runnable = std::make_unique<DeletionRecorder>(deleted);
    live(runnable.get(), /*owned=*/false, /*started=*/false);
    EXPECT_FALSE(deleted);
}

TEST_F(RunnableOwnership, IsNotDeletedByAStop) {
    VThread thread(new DeletionRecorder(deleted), "worker", 0, VTHREAD_PRIO_AUTO, 0, true);
    thread.start();
    thread.stop();
    EXPECT_FALSE(deleted);
}

TEST(VThreadJoin, SucceedsForOneOfSeveralCallers) {
    CountingRunnable runnable;
    PlainThread thread(&runnable);
    thread.start();
    std::atomic<int> joins = 0;
    {
        const std::jthread first([&] { joins += static_cast<int>(thread.waitJoin()); });
        const std::jthread second([&] { joins += static_cast<int>(thread.waitJoin()); });
    }
    EXPECT_EQ(joins, 1);
}

TEST(VThreadSleep, SleepsAtLeastAsLongAsAsked) {
    const Stopwatch watch;
    VThread::sleep(50);
    EXPECT_GE(watch.elapsed(), milliseconds(49));
    EXPECT_LT(watch.elapsed(), seconds(60));
}

// 4294968 * 1000 is 704 more than 32 bits hold.
TEST(VThreadSleep, WrapsRoundAt32BitsOfMicroseconds) {
    const Stopwatch watch;
    VThread::sleep(4294968);
    EXPECT_LT(watch.elapsed(), seconds(60));
}

TEST(VThreadSleep, ReturnsAtOnceForZero) {
    const Stopwatch watch;
    VThread::sleep(0);
    EXPECT_LT(watch.elapsed(), seconds(60));
}

TEST(VThreadYield, SleepsAMillisecond) {
    const Stopwatch watch;
    VThread::yield();
    EXPECT_GE(watch.elapsed(), std::chrono::microseconds(990));
}

TEST(VThreadSelf, IsTheCallingThread) {
    EXPECT_NE(::pthread_equal(VThread::self(), ::pthread_self()), 0);
}

// In the periodic mode. The sleeps themselves are measured where the system calls are replaced.

class PeriodicThread : public testing::Test {
protected:
    // Runs twice with the given work, and returns the time from just before the thread's start to
    // the beginning of the second run. Whoever is held up only makes it longer.
    static std::chrono::microseconds timeToSecondRun(uint32_t periodMs, uint32_t workMs) {
        std::chrono::microseconds begin{};
        std::atomic<size_t> run = 0;
        const Stopwatch watch;
        FunctionRunnable runnable([&](VThread* thread) {
            begin = watch.elapsed();
            VThread::sleep(workMs);
            thread->setState(++run == 2 ? STOPPING : thread->getState());
        });
        PlainThread thread(&runnable, periodMs);
        thread.start();
        EXPECT_TRUE(waitUntil([&] { return runnable.cleanups() == 1; }));
        thread.waitJoin();
        return begin;
    }
};

TEST_F(PeriodicThread, BeginsTheNextRunOnePeriodAfterAShortOne) {
    const auto time = timeToSecondRun(/*periodMs=*/100, /*workMs=*/30);
    EXPECT_GE(time, milliseconds(97));
    EXPECT_LT(time, seconds(20));
}

TEST_F(PeriodicThread, BeginsTheNextRunOneMillisecondAfterAnOverrun) {
    const auto time = timeToSecondRun(/*periodMs=*/100, /*workMs=*/150);
    EXPECT_GE(time, milliseconds(150));
    EXPECT_LT(time, seconds(20));
}

TEST_F(PeriodicThread, BeginsTheNextRunAtOnceWithoutAPeriod) {
    EXPECT_LT(timeToSecondRun(/*periodMs=*/0, /*workMs=*/0), seconds(20));
}

TEST_F(PeriodicThread, CleansUpOnceAfterTheSleep) {
    CountingRunnable runnable;
    PlainThread thread(&runnable, 20);
    thread.start();
    ASSERT_TRUE(waitUntil([&] { return runnable.runs() >= 2; }));
    thread.stop();
    EXPECT_EQ(runnable.cleanups(), 1);
}

}  // namespace
