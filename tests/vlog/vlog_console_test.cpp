// Lines on standard output: through stdio, so that they and what else the process prints get along.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <thread>

#include "support/output_capture.h"
#include "support/pipe.h"
#include "support/sanitizers.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

namespace {

class VLogConsole : public testing::Test {
protected:
    VLogConsole() { log.addTopic("A", VLogConfig::INFO, VLogConfig::SIMPLE, {"[STDOUT]"}, {0}); }
    void say(const char* text) { log.write("A", 1, VLogConfig::INFO, "a.cpp", 1, "%s", text); }

    VLog log{1};
};

TEST_F(VLogConsole, HasALineAtOnce) {
    const OutputCapture console;
    say("now");
    EXPECT_EQ(console.written(), "[A        : 0x0001 : INFO] -> now\r\n");
}

TEST_F(VLogConsole, HasWhatTheProcessPrintedBefore) {
    const OutputCapture console;
    std::fputs("before ", stdout);
    say("100 %n");
    EXPECT_EQ(console.written(), "before [A        : 0x0001 : INFO] -> 100 %n\r\n");
}

// A process may move in its redirected output.
TEST_F(VLogConsole, KeepsThePlaceOfTheStreamRight) {
    OutputCapture console;
    std::fputs("before\n", stdout);
    std::fseek(stdout, 0, SEEK_CUR);
    say("now");
    std::fseek(stdout, 0, SEEK_CUR);
    std::fputs("after\n", stdout);
    EXPECT_EQ(console.text(), "before\n[A        : 0x0001 : INFO] -> now\r\nafter\n");
}

// Standard output goes into a pipe while the object lives.
class Redirected {
public:
    explicit Redirected(int target) : saved(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        ::dup2(target, STDOUT_FILENO);
    }
    ~Redirected() {
        ::dup2(saved, STDOUT_FILENO);
        ::close(saved);
    }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

private:
    int saved;
};

// Whether another thread can have the stream.
bool isFree(std::FILE* stream) {
    bool isFree = false;
    std::thread([&] {
        isFree = ::ftrylockfile(stream) == 0;
        if (isFree) {
            ::funlockfile(stream);
        }
    }).join();
    return isFree;
}

// The sanitizers' own calls around those of the C library do not let a cancelled thread unwind.
constexpr bool canCancel = !failedAllocationIsFatal;

TEST_F(VLogConsole, IsFreeAfterAThreadIsCancelledInIt) {
    if (!canCancel) {
        GTEST_SKIP() << "no thread is cancelled under a sanitizer";
    }
    Pipe pipe;
    const Redirected redirected(pipe.output());
    pipe.fill();
    ::pthread_t thread{};
    ASSERT_EQ(::pthread_create(
                  &thread, nullptr,
                  [](void* logger) -> void* {
                      static_cast<VLog*>(logger)->write("A", 1, VLogConfig::INFO, "a.cpp", 1,
                                                        "waits");
                      return nullptr;
                  },
                  &log),
              0);
    ASSERT_TRUE(waitUntil([] { return !isFree(stdout); }));
    ASSERT_EQ(::pthread_cancel(thread), 0);
    ASSERT_EQ(::pthread_join(thread, nullptr), 0);
    EXPECT_TRUE(isFree(stdout));
    ::__fpurge(stdout);
}

}  // namespace
