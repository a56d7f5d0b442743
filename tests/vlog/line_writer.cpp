// A program that logs, and then ends as it is told. Run by the tests.
//
// usage: line_writer FILE LIMIT LINES STEP...
//
// Logs numbered lines to the console and to FILE, which is rotated above LIMIT bytes (0: never), by
// a logger with the period of the global one: number 0, and when that has come to the file, the
// others up to LINES, all in one period, which lasts for as long as that takes. A STEP is one of
//
//   wait        lets the period end, until what was queued has come to the file
//   term kill abort exit delete   end: by that signal, by exit() with the logger left alone, or by
//                                 deleting the logger and then exit()
//   fork        a child logs the line 90000 and ends
//   fork-drain  a child logs the line 90000, brings what is queued to the file, and ends
//   fork-locked a child that is forked while another thread is inside a sink logs the line 90000;
//               ended from outside as soon as it is seen to wait for a lock
//   fork-held   the same with a child that is forked while the writer is held in a drain, and that
//               logs the line 90000 and then drains

#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "support/files.h"
#include "support/held_writer.h"
#include "support/numbered_lines.h"
#include "support/process_state.h"
#include "support/wait_until.h"
#include "support/waiting_sink.h"
#include "vlib/vlog/vlog.h"

namespace {

// The writer's thread has it while it is awake. Who takes it has that thread go on sleeping.
std::mutex awake;
std::atomic<bool> hasSlept = false;

}  // namespace

// Sleeps of the logger, of which its thread alone has any. The names are the linker's.
extern "C" {

int __real_usleep(useconds_t);

int __wrap_usleep(useconds_t microseconds) {
    if (hasSlept.exchange(true)) {
        awake.unlock();
    }
    const int result = __real_usleep(microseconds);
    awake.lock();
    return result;
}

}  // extern "C"

namespace {

VLog* theLog = nullptr;
std::string theFile;
size_t sizeAfterThePeriod = 0;  // of the file
bool isPeriodHeld = false;

void holdPeriod() {
    if (!waitUntil([] { return hasSlept.load(); })) {
        ::_exit(4);
    }
    awake.lock();
    isPeriodHeld = true;
}

void letPeriodEnd() {
    if (isPeriodHeld) {
        isPeriodHeld = false;
        awake.unlock();
    }
}

void awaitEndOfPeriod() {
    letPeriodEnd();
    if (!waitUntil([] { return readFile(theFile).size() == sizeAfterThePeriod; })) {
        ::_exit(4);
    }
}

void die(int number) {
    ::kill(::getpid(), number);
    ::pause();
}

void forkChild(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        writeLines(*theLog, 90000, 90001);
        work();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    if (status != 0) {
        ::_exit(2);
    }
}

// Whether a child that logs, and does the work then, is seen to wait for a lock.
bool childWaits(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        writeLines(*theLog, 90000, 90001);
        work();
        ::_exit(0);
    }
    if (child < 0) {
        return false;
    }
    const bool waits = waitUntil([child] { return isInCall(child, SYS_futex); });
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    return waits;
}

void forkWhileTheLogIsLocked() {
    WaitingSink sink;
    theLog->addSink(&sink);
    std::thread caller([] { writeLines(*theLog, 90001, 90002); });
    const bool locked = waitUntil([&] { return sink.entered.load(); });
    const bool waits = childWaits([] {});
    sink.goOn = true;
    caller.join();
    theLog->removeSink(&sink);
    if (!locked || !waits) {
        ::_exit(2);
    }
}

void forkWhileTheWriterIsHeld() {
    letPeriodEnd();
    const HeldWriter held(*theLog);
    if (!childWaits([] { theLog->dumpToFile(); })) {
        ::_exit(2);
    }
}

const std::map<std::string, std::function<void()>> steps = {
    {"wait", awaitEndOfPeriod},
    {"term", [] { die(SIGTERM); }},
    {"kill", [] { die(SIGKILL); }},
    {"abort", [] { std::abort(); }},
    {"exit", [] { std::exit(0); }},
    {"delete",
     [] {
         letPeriodEnd();
         delete theLog;
         std::exit(0);
     }},
    {"fork", [] { forkChild([] {}); }},
    {"fork-drain", [] { forkChild([] { theLog->dumpToFile(); }); }},
    {"fork-locked", forkWhileTheLogIsLocked},
    {"fork-held", forkWhileTheWriterIsHeld},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        return 3;
    }
    theFile = argv[1];
    const int lines = std::atoi(argv[3]);
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);

    theLog = new VLog;
    theLog->addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, {"[STDOUT]", theFile},
                     {0, std::strtoul(argv[2], nullptr, 10)});
    const size_t before = readFile(theFile).size();
    writeLines(*theLog, 0, 1);
    if (!waitUntil([&] { return readFile(theFile).size() > before; })) {
        return 4;
    }
    holdPeriod();
    writeLines(*theLog, 1, lines);
    constexpr int mostOfAPeriod = 200;
    sizeAfterThePeriod = before + numberedLines(0, std::min(lines, 1 + mostOfAPeriod)).size();
    for (int i = 4; i < argc; ++i) {
        steps.at(argv[i])();
    }
    return 5;
}
