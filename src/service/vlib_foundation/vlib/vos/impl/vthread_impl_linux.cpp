#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "vlib/vos/vdiagnostic.h"
#include "vlib/vos/vthread.h"
#include "vlib/vos/vtime.h"

namespace {

constexpr uint32_t minStackSize = 4096;
constexpr uint32_t startPollMs = 50;

// The line numbers belong to the text of the diagnostics.
constexpr const char* sourceName = "vthread_impl_linux";
constexpr int createFailedLine = 70;
constexpr int notStoppedLine = 77;
constexpr int noRunnableLine = 197;

// Sleeps until period_ms have passed since a run began that took elapsed milliseconds. An overrun
// is not caught up: the next run begins 1 ms later.
void sleepRestOfPeriod(uint32_t period_ms, double elapsed) {
    if (elapsed > period_ms) {
        VThread::sleep(1);
    } else {
        VThread::sleep(static_cast<uint32_t>(period_ms - elapsed));
    }
}

}  // namespace

VThread::VThread(VIRunnable* work, std::string threadName, uint32_t stackSize, uint32_t prio,
                 uint32_t periodMs, bool ownsWork)
    : name(std::move(threadName)),
      runnable(work),
      joinLock(0),
      period_ms(periodMs),
      stack_size(stackSize),
      priority(prio),
      releaseRunnable(ownsWork) {}

VThread::~VThread() {
    // Without a thread there is nothing to wait for, though setState() may have made it STARTING.
    if (hasThread()) {
        cancel();
        joinAbandoned();
    }
    if (releaseRunnable) {
        delete runnable;
    }
}

void VThread::start() {
    if (getState() == STOPPED) {
        joinAbandoned();
    }
    const VMutexGuard guard(statusMutex);
    // A thread that is still to be joined is the caller itself.
    if (state != STOPPED || joinable) {
        vdiagnostic::print("WARN", sourceName, "start", notStoppedLine,
                           "thread [%s] - (state == STOPPED) && (state != DONE) - state: %d",
                           name.c_str(), static_cast<int>(state));
        return;
    }
    createThread();
}

// The mutex stays locked until the thread exists, so the body's first look at the state waits for
// it.
void VThread::createThread() {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    // Not looked at: a size that the system refuses leaves its default.
    ::pthread_attr_setstacksize(&attributes, std::max(stack_size, minStackSize));
    state = STARTING;
    const auto threadStaticMain = [](void* arg) -> void* {
        static_cast<VThread*>(arg)->runCycles();
        return nullptr;
    };
    const int error = ::pthread_create(&osthread, &attributes, threadStaticMain, this);
    joinable = error == 0;
    if (!joinable) {
        state = DONE;
        vdiagnostic::print("ERR", sourceName, "start", createFailedLine,
                           "could not create thread - error: %d", error);
    }
    ::pthread_attr_destroy(&attributes);
}

void VThread::runCycles() {
    const uint32_t period = period_ms;
    do {
        changeState(STARTING, RUNNING);
        const double begin = utils::get_time_ms();
        if (runnable == nullptr) {
            vdiagnostic::print("WARN", sourceName, "threadStaticMain", noRunnableLine,
                               "none task nor runnable supplied - exiting thread");
            return;
        }
        runnable->run(this);
        if (period > 0) {
            sleepRestOfPeriod(period, utils::get_time_ms() - begin);
        }
    } while (goesOn());
    runnable->cleanup();
}

void VThread::stop() {
    stopNonBlocking();
    waitJoin();
}

void VThread::cancel() {
    stop();
}

void VThread::stopNonBlocking() {
    while (getState() == STARTING) {
        sleep(startPollMs);
    }
    changeState(RUNNING, STOPPING);
}

bool VThread::waitJoin() {
    std::optional<os_thread_t> handle;
    {
        const VMutexGuard guard(statusMutex);
        if (state == STOPPED || state == DONE) {
            return false;
        }
        state = DONE;
        handle = takeHandle();
    }
    return handle && ::pthread_join(*handle, nullptr) == 0;
}

// Waits for a body whose state was set to STOPPED or DONE by setState(): nobody else joins it, and
// it uses this object until it ends.
void VThread::joinAbandoned() {
    std::optional<os_thread_t> handle;
    {
        const VMutexGuard guard(statusMutex);
        if (state == STOPPED || state == DONE) {
            handle = takeHandle();
        }
    }
    if (handle) {
        ::pthread_join(*handle, nullptr);
    }
}

// The handle for the one caller that joins it; none when there is nothing to join, or when the
// thread asks for itself.
std::optional<os_thread_t> VThread::takeHandle() {
    if (!joinable || isOwnBody()) {
        return std::nullopt;
    }
    joinable = false;
    return osthread;
}

// Whether the caller is the newest body. An older one may still be in its last run, where
// setState() made the state STOPPED and somebody called start() while it was being joined.
bool VThread::isOwnBody() const {
    return ::pthread_equal(osthread, self()) != 0;
}

bool VThread::goesOn() {
    const VMutexGuard guard(statusMutex);
    return state == RUNNING && isOwnBody();
}

bool VThread::hasThread() {
    const VMutexGuard guard(statusMutex);
    return joinable;
}

bool VThread::getRunning() {
    const VMutexGuard guard(statusMutex);
    return state == STARTING || state == RUNNING;
}

VThreadState VThread::getState() {
    const VMutexGuard guard(statusMutex);
    return state;
}

void VThread::setState(VThreadState newState) {
    const VMutexGuard guard(statusMutex);
    state = newState;
}

// One locked step, so that a change made in between by somebody else is never overwritten.
void VThread::changeState(VThreadState from, VThreadState to) {
    const VMutexGuard guard(statusMutex);
    if (state == from) {
        state = to;
    }
}

void VThread::sleep(uint32_t ms) {
    ::usleep(ms * 1000U);
}

void VThread::yield() {
    sleep(1);
}

os_thread_t VThread::self() {
    return ::pthread_self();
}
