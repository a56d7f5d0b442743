// Mutual exclusion.

#include "vlib/vos/vmutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "support/wait_until.h"

namespace {

void addManyTimes(VMutex& mutex, int& sum) {
    for (int i = 0; i < 20000; ++i) {
        mutex.lock();
        ++sum;
        mutex.unlock();
    }
}

void addManyTimesGuarded(VMutex& mutex, int& sum) {
    for (int i = 0; i < 20000; ++i) {
        const VMutexGuard guard(mutex);
        ++sum;
    }
}

TEST(VMutex, LetsOneThreadInAtATime) {
    VMutex mutex;
    int sum = 0;
    {
        const std::jthread other([&] { addManyTimes(mutex, sum); });
        addManyTimes(mutex, sum);
    }
    EXPECT_EQ(sum, 40000);
}

TEST(VMutex, KeepsASecondThreadWaitingUntilItIsUnlocked) {
    VMutex mutex;
    std::atomic<bool> entered = false;
    mutex.lock();
    std::jthread other([&] {
        const VMutexGuard guard(mutex);
        entered = true;
    });
    EXPECT_FALSE(waitUntil([&] { return entered.load(); }, std::chrono::milliseconds(50)));
    mutex.unlock();
    EXPECT_TRUE(waitUntil([&] { return entered.load(); }));
}

TEST(VMutex, CanBeLockedAgainAfterItWasUnlocked) {
    VMutex mutex;
    int rounds = 0;
    for (int i = 0; i < 3; ++i) {
        mutex.lock();
        ++rounds;
        mutex.unlock();
    }
    EXPECT_EQ(rounds, 3);
}

TEST(VMutex, HoldsItsPosixMutexAndNothingElse) {
    EXPECT_EQ(sizeof(VMutex), sizeof(os_mutex_t));
}

TEST(VMutexGuard, LocksForItsScope) {
    VMutex mutex;
    int sum = 0;
    {
        const std::jthread other([&] { addManyTimesGuarded(mutex, sum); });
        addManyTimesGuarded(mutex, sum);
    }
    EXPECT_EQ(sum, 40000);
}

}  // namespace
