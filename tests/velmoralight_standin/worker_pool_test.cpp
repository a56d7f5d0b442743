#include "velmoralight_standin/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "support/wait_until.h"

namespace {

using standin::WorkerPool;
using Fate = WorkerPool::Fate;
using std::chrono::milliseconds;

constexpr milliseconds kNoLimit{0};

// Jobs that stay at work until they are let go. Outlives the pool, as a Record does.
class Gate {
public:
    WorkerPool::Job job() {
        return [this](Fate fate, WorkerPool::Clock::duration) {
            ++entered;
            opened.wait();
            fates.push_back(fate);
        };
    }
    void open() { door.set_value(); }
    [[nodiscard]] bool holds(int count) const {
        return waitUntil([&] { return entered == count; });
    }

    std::vector<Fate> fates;  // of one worker's jobs

private:
    std::atomic<int> entered = 0;
    std::promise<void> door;
    std::shared_future<void> opened = door.get_future().share();
};

// A job that keeps what it was called with.
struct Record {
    std::atomic<int> calls = 0;
    std::atomic<Fate> fate = Fate::Work;
    std::atomic<int64_t> waitedNs = -1;

    WorkerPool::Job job() {
        return [this](Fate called, WorkerPool::Clock::duration waited) {
            fate = called;
            waitedNs = waited.count();
            ++calls;
        };
    }
};

}  // namespace

TEST(WorkerPool, RunsAJob) {
    Record record;
    WorkerPool pool(1, 1, kNoLimit);
    pool.start();
    EXPECT_TRUE(pool.submit(record.job()));
    EXPECT_TRUE(waitUntil([&] { return record.calls == 1; }));
    EXPECT_EQ(record.fate, Fate::Work);
    EXPECT_GE(record.waitedNs, 0);
}

TEST(WorkerPool, GivesEachWorkerItsOwnJob) {
    std::vector<Gate> gates(3);
    WorkerPool pool(3, 0, kNoLimit);
    pool.start();
    for (Gate& gate : gates) {
        EXPECT_TRUE(pool.submit(gate.job()));
    }
    for (Gate& gate : gates) {
        EXPECT_TRUE(gate.holds(1));
        gate.open();
    }
}

TEST(WorkerPool, RefusesAJobWhenEveryQueueIsFull) {
    std::vector<Gate> gates(6);
    WorkerPool pool(2, 2, kNoLimit);
    pool.start();
    for (Gate& gate : gates) {
        EXPECT_TRUE(pool.submit(gate.job()));
    }
    EXPECT_FALSE(pool.submit([](Fate, WorkerPool::Clock::duration) {}));
    EXPECT_EQ(pool.load().waiting, 4U);
    EXPECT_EQ(pool.load().working, 2U);
    for (Gate& gate : gates) {
        gate.open();
    }
}

TEST(WorkerPool, FillsTheShortestQueueFirst) {
    Gate first;
    Gate second;
    Record third;
    Record fourth;
    WorkerPool pool(2, 1, kNoLimit);
    pool.start();
    EXPECT_TRUE(pool.submit(first.job()));
    EXPECT_TRUE(pool.submit(second.job()));
    // With one place in each queue, both are taken only if the two jobs go to different ones.
    EXPECT_TRUE(pool.submit(third.job()));
    EXPECT_TRUE(pool.submit(fourth.job()));
    first.open();
    EXPECT_TRUE(waitUntil([&] { return third.calls + fourth.calls == 1; }));
    second.open();
    EXPECT_TRUE(waitUntil([&] { return third.calls + fourth.calls == 2; }));
}

TEST(WorkerPool, KeepsTheOrderOfAQueue) {
    Gate gate;
    std::vector<int> order;
    WorkerPool pool(1, 3, kNoLimit);
    pool.start();
    EXPECT_TRUE(pool.submit(gate.job()));
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(
            pool.submit([&order, i](Fate, WorkerPool::Clock::duration) { order.push_back(i); }));
    }
    gate.open();
    EXPECT_TRUE(waitUntil([&] { return pool.load().working == 0; }));
    pool.stop();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
}

TEST(WorkerPool, CallsAJobThatWaitedTooLongExpired) {
    Gate gate;
    Record late;
    WorkerPool pool(1, 1, milliseconds(1));
    pool.start();
    EXPECT_TRUE(pool.submit(gate.job()));
    EXPECT_TRUE(gate.holds(1));
    EXPECT_TRUE(pool.submit(late.job()));
    std::this_thread::sleep_for(milliseconds(5));  // the time that is too long
    gate.open();
    EXPECT_TRUE(waitUntil([&] { return late.calls == 1; }));
    EXPECT_EQ(late.fate, Fate::Expired);
}

TEST(WorkerPool, NeverCallsAJobThatWasWithdrawn) {
    Gate gate;
    Record waiting;
    WorkerPool pool(1, 1, kNoLimit);
    pool.start();
    EXPECT_TRUE(pool.submit(gate.job()));
    const auto ticket = pool.submit(waiting.job());
    ASSERT_TRUE(ticket);
    EXPECT_TRUE(pool.withdraw(*ticket));
    EXPECT_FALSE(pool.withdraw(*ticket));
    EXPECT_EQ(pool.load().waiting, 0U);
    gate.open();
    pool.stop();
    EXPECT_EQ(waiting.calls, 0);
}

TEST(WorkerPool, DoesNotGiveBackAJobThatRuns) {
    Gate gate;
    WorkerPool pool(1, 1, kNoLimit);
    pool.start();
    const auto ticket = pool.submit(gate.job());
    EXPECT_TRUE(gate.holds(1));
    EXPECT_FALSE(pool.withdraw(*ticket));
    gate.open();
}

TEST(WorkerPool, TellsWaitingJobsThatItStopsAndLetsRunningOnesEnd) {
    Gate gate;
    Record waiting;
    WorkerPool pool(1, 1, kNoLimit);
    pool.start();
    EXPECT_TRUE(pool.submit(gate.job()));
    EXPECT_TRUE(gate.holds(1));
    EXPECT_TRUE(pool.submit(waiting.job()));
    std::thread stopper([&] { pool.stop(); });
    EXPECT_TRUE(waitUntil([&] { return waiting.calls == 1; }));
    EXPECT_EQ(waiting.fate, Fate::Stopped);
    gate.open();
    stopper.join();
    EXPECT_EQ(gate.fates, std::vector<Fate>{Fate::Work});
}

TEST(WorkerPool, TakesNothingAfterItWasStopped) {
    WorkerPool pool(1, 1, kNoLimit);
    pool.start();
    pool.stop();
    EXPECT_FALSE(pool.submit([](Fate, WorkerPool::Clock::duration) {}));
}

TEST(WorkerPool, MayBeStoppedTwiceAndWithoutHavingStarted) {
    WorkerPool pool(2, 1, kNoLimit);
    pool.stop();
    pool.stop();
    EXPECT_EQ(pool.load().working, 0U);
}
