// Counting, waiting and giving up.

#include "vlib/vos/vsemaphore.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstring>
#include <thread>
#include <vector>

#include "support/output_capture.h"
#include "support/stopwatch.h"
#include "support/wait_until.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// A call that runs on a thread of its own; done() tells whether it has returned.
template <typename Call>
class Elsewhere {
public:
    explicit Elsewhere(Call call)
        : thread([this, call] {
              result = call();
              returned = true;
          }) {}

    [[nodiscard]] bool done() const { return returned; }
    [[nodiscard]] int value() const { return result; }
    void signal(int number) { ::pthread_kill(thread.native_handle(), number); }

private:
    std::atomic<int> result = INT_MIN;
    std::atomic<bool> returned = false;
    std::jthread thread;
};

// Has SIGUSR1 interrupt system calls: its handler does nothing, and calls are not restarted.
class InterruptingSignal {
public:
    InterruptingSignal() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        ::sigaction(SIGUSR1, &action, &before);
    }
    ~InterruptingSignal() { ::sigaction(SIGUSR1, &before, nullptr); }
    InterruptingSignal(const InterruptingSignal&) = delete;
    InterruptingSignal& operator=(const InterruptingSignal&) = delete;

private:
    struct sigaction before {};
};

// Sends the signal until the call returns: the first may come before it waits.
template <typename Call>
bool interrupt(Elsewhere<Call>& call) {
    return waitUntil([&] {
        call.signal(SIGUSR1);
        return call.done();
    });
}

// A semaphore whose construction never ran: all zeros.
class UnconstructedSemaphore {
public:
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): there is no object in it
    VSemaphore& get() { return *reinterpret_cast<VSemaphore*>(storage.data()); }

private:
    alignas(VSemaphore) std::array<std::byte, sizeof(VSemaphore)> storage{};
};

TEST(VSemaphoreLock, ReturnsTheCountAfterTheWait) {
    VSemaphore semaphore(3);
    EXPECT_EQ(semaphore.lock(), 2);
    EXPECT_EQ(semaphore.lock(), 1);
    EXPECT_EQ(semaphore.lock(), 0);
}

TEST(VSemaphoreLock, WaitsUntilItIsReleased) {
    VSemaphore semaphore;
    Elsewhere waiting([&] { return semaphore.lock(); });
    EXPECT_FALSE(waitUntil([&] { return waiting.done(); }, milliseconds(100)));
    semaphore.release();
    EXPECT_TRUE(waitUntil([&] { return waiting.done(); }));
    EXPECT_EQ(waiting.value(), 0);
}

TEST(VSemaphoreLock, ReturnsFromAnInterruptedWaitAsIfItHadSucceeded) {
    const InterruptingSignal handler;
    VSemaphore semaphore;
    Elsewhere waiting([&] { return semaphore.lock(); });
    EXPECT_TRUE(interrupt(waiting));
    EXPECT_EQ(waiting.value(), 0);
}

TEST(VSemaphoreLock, TakesNothingInAnInterruptedWait) {
    const InterruptingSignal handler;
    VSemaphore semaphore;
    Elsewhere waiting([&] { return semaphore.lock(); });
    ASSERT_TRUE(interrupt(waiting));
    semaphore.release();
    EXPECT_EQ(semaphore.lock(0), 0);
}

TEST(VSemaphoreTimedLock, ReturnsTheCountAfterTheWait) {
    VSemaphore semaphore(3);
    EXPECT_EQ(semaphore.lock(1), 2);
    EXPECT_EQ(semaphore.lock(0), 1);
    EXPECT_EQ(semaphore.lock(-1), 0);
}

TEST(VSemaphoreTimedLock, ReturnsMinusOneAtOnceWithTimeoutZeroOnCountZero) {
    VSemaphore semaphore;
    const Stopwatch watch;
    // A second each if they were to wait at all.
    constexpr int times = 10;
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(semaphore.lock(0), -1);
    }
    EXPECT_LT(watch.elapsed(), seconds(times - 1));
}

TEST(VSemaphoreTimedLock, LeavesTheCountAfterATimeout) {
    VSemaphore semaphore;
    ASSERT_EQ(semaphore.lock(0), -1);
    semaphore.release();
    EXPECT_EQ(semaphore.lock(0), 0);
}

TEST(VSemaphoreTimedLock, GivesUpAfterTheSecondsThatItWasGiven) {
    VSemaphore semaphore;
    const Stopwatch watch;
    EXPECT_EQ(semaphore.lock(1), -1);
    EXPECT_GE(watch.elapsed(), milliseconds(950));
    EXPECT_LT(watch.elapsed(), seconds(20));
}

TEST(VSemaphoreTimedLock, ReturnsAsSoonAsItIsReleased) {
    VSemaphore semaphore;
    Elsewhere waiting([&] { return semaphore.lock(3600); });
    EXPECT_FALSE(waitUntil([&] { return waiting.done(); }, milliseconds(50)));
    semaphore.release();
    EXPECT_TRUE(waitUntil([&] { return waiting.done(); }));
    EXPECT_EQ(waiting.value(), 0);
}

TEST(VSemaphoreTimedLock, WaitsWithoutLimitWithANegativeTimeout) {
    VSemaphore semaphore;
    Elsewhere waiting([&] { return semaphore.lock(-1); });
    EXPECT_FALSE(waitUntil([&] { return waiting.done(); }, milliseconds(1200)));
    semaphore.release();
    EXPECT_TRUE(waitUntil([&] { return waiting.done(); }));
    EXPECT_EQ(waiting.value(), 0);
}

TEST(VSemaphoreTimedLock, TakesTheLowestTimeoutAsNoLimit) {
    VSemaphore semaphore(1);
    EXPECT_EQ(semaphore.lock(INT_MIN), 0);
}

TEST(VSemaphoreTimedLock, TakesTheHighestTimeout) {
    VSemaphore semaphore(1);
    EXPECT_EQ(semaphore.lock(INT_MAX), 0);
}

TEST(VSemaphoreTimedLock, ReturnsMinusOneFromAnInterruptedWait) {
    const InterruptingSignal handler;
    VSemaphore semaphore;
    Elsewhere waiting([&] { return semaphore.lock(3600); });
    EXPECT_TRUE(interrupt(waiting));
    EXPECT_EQ(waiting.value(), -1);
}

TEST(VSemaphoreRelease, AddsOneToTheCount) {
    VSemaphore semaphore;
    semaphore.release();
    semaphore.release();
    EXPECT_EQ(semaphore.lock(0), 1);
}

TEST(VSemaphoreRelease, LetsOneOfSeveralWaitersGo) {
    VSemaphore semaphore;
    std::atomic<int> through = 0;
    std::vector<std::jthread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] {
            semaphore.lock();
            ++through;
        });
    }
    semaphore.release();
    EXPECT_TRUE(waitUntil([&] { return through == 1; }));
    EXPECT_FALSE(waitUntil([&] { return through > 1; }, milliseconds(50)));
    semaphore.release();
    semaphore.release();
    EXPECT_TRUE(waitUntil([&] { return through == 3; }));
}

TEST(VSemaphoreRelease, HandsOverWhatWasWrittenBefore) {
    VSemaphore filled;
    VSemaphore emptied(1);
    long box = 0;
    long sum = 0;
    const std::jthread producer([&] {
        for (int i = 1; i <= 1000; ++i) {
            emptied.lock();
            box = i;
            filled.release();
        }
    });
    for (int i = 0; i < 1000; ++i) {
        filled.lock();
        sum += box;
        emptied.release();
    }
    EXPECT_EQ(sum, 500500);
}

TEST(VSemaphoreConstructor, BeginsAtZero) {
    VSemaphore semaphore;
    EXPECT_EQ(semaphore.lock(0), -1);
}

// The system refuses such a count; the semaphore is used as it is.
TEST(VSemaphoreConstructor, TakesANegativeValueAsZero) {
    VSemaphore semaphore(-1);
    EXPECT_EQ(semaphore.lock(0), -1);
    semaphore.release();
    EXPECT_EQ(semaphore.lock(0), 0);
}

TEST(VSemaphoreConstructor, TakesTheHighestValue) {
    VSemaphore semaphore(INT_MAX);
    EXPECT_EQ(semaphore.lock(), INT_MAX - 1);
}

TEST(UninitializedSemaphore, ReportsALock) {
    UnconstructedSemaphore semaphore;
    OutputCapture output;
    const int result = semaphore.get().lock();
    EXPECT_EQ(output.text(),
              "[ERR]\tvsemaphore_impl_linux:lock():50 - semaphore was not initialized\r\n");
    EXPECT_EQ(result, -1);
}

TEST(UninitializedSemaphore, ReportsATimedLock) {
    UnconstructedSemaphore semaphore;
    OutputCapture output;
    const int result = semaphore.get().lock(1);
    EXPECT_EQ(output.text(),
              "[ERR]\tvsemaphore_impl_linux:lock():74 - semaphore was not initialized\r\n");
    EXPECT_EQ(result, -1);
}

TEST(UninitializedSemaphore, ReportsATimedLockWithoutLimitAsSuch) {
    UnconstructedSemaphore semaphore;
    OutputCapture output;
    const int result = semaphore.get().lock(-1);
    EXPECT_EQ(output.text(),
              "[ERR]\tvsemaphore_impl_linux:lock():74 - semaphore was not initialized\r\n");
    EXPECT_EQ(result, -1);
}

TEST(UninitializedSemaphore, IsNotReleased) {
    UnconstructedSemaphore semaphore;
    const UnconstructedSemaphore before = semaphore;
    OutputCapture output;
    semaphore.get().release();
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(std::memcmp(&semaphore, &before, sizeof before), 0);
}

}  // namespace
