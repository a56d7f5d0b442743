// A daemon that serves: it sleeps, and a signal ends it.

#include <signal.h>
#include <sys/syscall.h>

#include <chrono>
#include <ostream>
#include <sstream>
#include <thread>

#include "daemon/daemon_test.h"
#include "support/process_state.h"
#include "support/row_name.h"
#include "support/stopwatch.h"

namespace {

TEST_F(DaemonTest, SleepsWhileItServes) {
    startServing({"-p", "6000"});

    const long before = processorTicks(process->pid());
    // The time is what is measured; there is no condition to wait for.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const long used = processorTicks(process->pid()) - before;

    EXPECT_GE(before, 0);
    // Of 300, which is what a busy loop would use. A twentieth leaves room for a slow machine.
    EXPECT_LE(used, 15);
    EXPECT_FALSE(process->hasEnded());
    EXPECT_EQ(calls(),
              callsUpTo("create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

// How often the main thread of a process has gone to sleep by itself.
long sleepsOfMainThread(pid_t pid) {
    const std::string number = std::to_string(pid);
    std::istringstream status(readFile("/proc/" + number + "/task/" + number + "/status"));
    for (std::string word; status >> word;) {
        if (word == "voluntary_ctxt_switches:") {
            long count = -1;
            status >> count;
            return count;
        }
    }
    return -1;
}

// Waits for the main thread to go to sleep, and says how long it takes until it does so again.
std::chrono::steady_clock::duration nextSleepOf(pid_t pid) {
    const auto awaitSleep = [pid] {
        const long before = sleepsOfMainThread(pid);
        EXPECT_TRUE(waitUntil([&] { return sleepsOfMainThread(pid) > before; }));
    };
    awaitSleep();
    const Stopwatch stopwatch;
    awaitSleep();
    return stopwatch.elapsed();
}

TEST_F(DaemonTest, LooksUpOnceASecondWhileItServes) {
    startServing({"-p", "6000"});
    ASSERT_TRUE(waitUntil([&] { return isInCall(process->pid(), SYS_clock_nanosleep); }));

    const Stopwatch stopwatch;
    const long before = sleepsOfMainThread(process->pid());
    ASSERT_GE(before, 0);
    ASSERT_TRUE(waitUntil([&] { return sleepsOfMainThread(process->pid()) >= before + 3; }));
    // Two whole seconds are between the first of them and the third.
    EXPECT_GE(stopwatch.elapsed(), std::chrono::milliseconds(1900));
    // A busy machine holds some of them up, and not all.
    EXPECT_TRUE(waitUntil([&] { return nextSleepOf(process->pid()) < std::chrono::seconds(2); }));
}

struct Signal {
    const char* name;
    int number;
    const char* ending;
};

std::ostream& operator<<(std::ostream& out, const Signal& signal) {
    return out << signal.ending;
}

class DaemonSignal : public DaemonTest, public testing::WithParamInterface<Signal> {};

// No signal is handled: neither the engine is told nor anything printed.
TEST_P(DaemonSignal, EndsTheDaemonByItsDefaultAction) {
    startServing({"-p", "6000"});

    process->signal(GetParam().number);

    const Outcome ended = outcome();
    EXPECT_EQ(ended.ending, GetParam().ending);
    EXPECT_EQ(ended.output, logDisabled);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.calls,
              callsUpTo("create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

constexpr Signal signals[] = {{"Terminate", SIGTERM, "signal 15"},
                              {"Interrupt", SIGINT, "signal 2"},
                              {"HangUp", SIGHUP, "signal 1"},
                              {"User", SIGUSR1, "signal 10"}};
INSTANTIATE_TEST_SUITE_P(Signals, DaemonSignal, testing::ValuesIn(signals), rowName);

}  // namespace
