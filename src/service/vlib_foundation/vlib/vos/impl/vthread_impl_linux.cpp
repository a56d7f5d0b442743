#include <unistd.h>

#include <algorithm>
#include <string>
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
    if (getJoining() == UNJOINED) {
        cancel();
        joinRest();
    }
    while (getJoining() == BEING_JOINED) {
        sleep(1);  // until somebody else's waitJoin() has come to its end
    }
    if (releaseRunnable) {
        delete runnable;
    }
}

void VThread::start() {
    const VMutexGuard guard(statusMutex);
    if (state != STOPPED || joining != NOTHING) {
        const char* const text = name.c_str();  // a NUL ends the name, and not the line
        vdiagnostic::print(
            "WARN", sourceName, "start", notStoppedLine,
            std::string("thread [") + text +
                "] - (state == STOPPED) && (state != DONE) - state: " + std::to_string(state));
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
    if (error == 0) {
        joining = UNJOINED;
    } else {
        state = DONE;
        vdiagnostic::print("ERR", sourceName, "start", createFailedLine,
                           "could not create thread - error: " + std::to_string(error));
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
    } while (getState() == RUNNING);
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

// Whoever sees DONE sees that somebody joins, too.
bool VThread::waitJoin() {
    {
        const VMutexGuard guard(statusMutex);
        if (state == STOPPED || state == DONE) {
            return false;
        }
        state = DONE;
        if (!claimJoin()) {
            return false;
        }
    }
    return join();
}

// Whether the caller is the one who is to join: only one is, and never the thread itself.
bool VThread::claimJoin() {
    if (joining != UNJOINED || ::pthread_equal(osthread, self()) != 0) {
        return false;
    }
    joining = BEING_JOINED;
    return true;
}

// Joins what cancel() leaves: a body whose state setState() made STOPPED or DONE.
void VThread::joinRest() {
    {
        const VMutexGuard guard(statusMutex);
        if (!claimJoin()) {
            return;
        }
    }
    join();
}

// Waits for the thread's end, which the caller has claimed.
bool VThread::join() {
    os_thread_t handle{};
    {
        const VMutexGuard guard(statusMutex);
        handle = osthread;
    }
    const bool joined = ::pthread_join(handle, nullptr) == 0;
    const VMutexGuard guard(statusMutex);
    joining = NOTHING;
    return joined;
}

VThread::Joining VThread::getJoining() {
    const VMutexGuard guard(statusMutex);
    return joining;
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
