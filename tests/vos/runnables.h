#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "support/wait_until.h"
#include "vlib/vos/vthread.h"

// Counts its calls.
class CountingRunnable : public VThread::VIRunnable {
public:
    void run(VThread* /*thread*/) override { ++runCount; }
    void cleanup() override { ++cleanupCount; }

    [[nodiscard]] int runs() const { return runCount; }
    [[nodiscard]] int cleanups() const { return cleanupCount; }

private:
    std::atomic<int> runCount = 0;
    std::atomic<int> cleanupCount = 0;
};

// Calls a function, and counts.
class FunctionRunnable : public CountingRunnable {
public:
    explicit FunctionRunnable(std::function<void(VThread*)> work) : function(std::move(work)) {}

    void run(VThread* thread) override {
        CountingRunnable::run(thread);
        function(thread);
    }

private:
    std::function<void(VThread*)> function;
};

// Stays in each run until it is let go.
class HeldRunnable : public CountingRunnable {
public:
    void run(VThread* thread) override {
        CountingRunnable::run(thread);
        (void)waitUntil([this] { return released.load(); });
    }

    [[nodiscard]] bool waitUntilInside() const {
        return waitUntil([this] { return runs() > 0; });
    }
    void release() { released = true; }

private:
    std::atomic<bool> released = false;
};

// A thread with nothing remarkable about it: back to back, and its runnable is the caller's.
class PlainThread : public VThread {
public:
    explicit PlainThread(VIRunnable* work, uint32_t periodMs = 0)
        : VThread(work, "worker", /*stackSize=*/0, VTHREAD_PRIO_AUTO, periodMs,
                  /*ownsWork=*/false) {}
};
