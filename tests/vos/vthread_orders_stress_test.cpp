// Starts, stops, joins and the end of a thread that come from three other threads, in every order.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <thread>

#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/stress_test.h"
#include "vlib/vos/vthread.h"

namespace {

class Work : public VThread::VIRunnable {
public:
    void run(VThread* /*thread*/) override { ++runs; }
    void cleanup() override { ++cleanups; }
    std::atomic<int> runs = 0;
    std::atomic<int> cleanups = 0;
};

class VThreadOrders : public StressTest {
public:
    using Step = void (VThreadOrders::*)();

    void start() { thread->start(); }
    void stop() { thread->stop(); }
    void join() { joins += static_cast<int>(thread->waitJoin()); }
    void askToStop() { thread->stopNonBlocking(); }
    void cancel() { thread->cancel(); }

    // All states are allowed while others are at work.
    void look() { badStates += static_cast<int>(thread->getState() > DONE); }

protected:
    void expectOneLife() const {
        EXPECT_GE(work.runs, 1);
        EXPECT_EQ(work.cleanups, 1);
        EXPECT_LE(joins, 1);
        EXPECT_EQ(badStates, 0);
    }

    OutputCapture warnings;
    Work work;
    std::unique_ptr<VThread> thread =
        std::make_unique<VThread>(&work, "work", 65536, VTHREAD_PRIO_AUTO, 1, /*ownsWork=*/false);
    std::atomic<int> joins = 0;
    std::atomic<int> badStates = 0;

    // Forgets the thread of the last round.
    void newRound() {
        thread = std::make_unique<VThread>(&work, "work", 65536, VTHREAD_PRIO_AUTO, 1, false);
        work.runs = work.cleanups = joins = 0;
    }
};

TEST_F(VThreadOrders, RunAndCleanUpOnceWhateverTheOrder) {
    std::array<Step, 3> steps{&VThreadOrders::start, &VThreadOrders::stop, &VThreadOrders::join};
    std::array<int, 3> order{0, 1, 2};
    do {
        newRound();
        for (const int step : order) {
            std::thread([&] { (this->*steps[static_cast<size_t>(step)])(); }).join();
        }
        std::thread([&] { thread.reset(); }).join();
        expectOneLife();
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(VThreadOrders, RunAndCleanUpOnceWhenThreeThreadsMeet) {
    const std::array<Step, 6> steps{&VThreadOrders::start,     &VThreadOrders::stop,
                                    &VThreadOrders::join,      &VThreadOrders::cancel,
                                    &VThreadOrders::askToStop, &VThreadOrders::look};
    std::array<Random, 3> random{randomOf(0), randomOf(1), randomOf(2)};
    while (goesOn() && !HasFailure()) {
        newRound();
        onThreads(3, [&](int number) {
            for (int n = 0; n < 4; ++n) {
                const int step = below(6, random[static_cast<size_t>(number)]);
                (this->*steps[static_cast<size_t>(step)])();
            }
        });
        start();  // where chance had none
        thread.reset();
        expectOneLife();
    }
}

}  // namespace
