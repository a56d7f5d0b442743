// What a process can still do once it is a reader. Each attempt is made by a child of its own.

#include "velmoralight_standin/reader/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <new>
#include <ostream>
#include <vector>

#include "support/row_name.h"

namespace {

constexpr int kSandboxFailed = 99;
const pid_t host = ::getpid();

// How a child ended that entered the sandbox, with a socket at 0, and then did `attempt`; its
// result is the exit status.
int statusAfter(int (*attempt)()) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[0], 0);
        try {
            standin::enterSandbox(0, standin::Limits());
        } catch (...) {
            ::_exit(kSandboxFailed);
        }
        ::_exit(attempt());
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    ::close(ends[0]);
    ::close(ends[1]);
    return status;
}

struct Attempt {
    const char* name;
    int (*act)();
};

std::ostream& operator<<(std::ostream& out, const Attempt& row) {
    return out << row.name;
}

class ReaderSandboxEnds : public testing::TestWithParam<Attempt> {};

TEST_P(ReaderSandboxEnds, WhoeverTries) {
    if (!standin::kIsConfined) {
        GTEST_SKIP() << "this build keeps its system calls";
    }
    const int status = statusAfter(GetParam().act);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
}

// System calls by number: what the C library does around them is not the point.
INSTANTIATE_TEST_SUITE_P(
    Attempts, ReaderSandboxEnds,
    testing::Values(
        Attempt{"ToOpenAFile",
                [] { return int(::syscall(SYS_openat, AT_FDCWD, "/etc/passwd", O_RDONLY)); }},
        Attempt{"ToMakeASocket", [] { return ::socket(AF_INET, SOCK_STREAM, 0); }},
        Attempt{"ToConnect", [] { return ::connect(0, nullptr, 0); }},
        Attempt{"ToMakeAPipe", [] { return ::pipe(nullptr); }},
        Attempt{"ToDoubleADescriptor", [] { return ::dup(0); }},
        Attempt{"ToDoubleADescriptorByControl", [] { return ::fcntl(0, F_DUPFD, 7); }},
        Attempt{"ToTakeADescriptorFromTheSocket", [] { return int(::recvmsg(0, nullptr, 0)); }},
        Attempt{"ToReadFromAnotherDescriptor", [] { return int(::recv(1, nullptr, 0, 0)); }},
        Attempt{"ToFork", [] { return int(::syscall(SYS_fork)); }},
        Attempt{"ToMakeAThread", [] { return int(::syscall(SYS_clone, 0, 0, 0, 0, 0)); }},
        Attempt{"ToMakeAProcessTheNewWay", [] { return int(::syscall(SYS_clone3, 0, 0)); }},
        Attempt{"ToRunAProgram",
                [] {
                    char* const none[] = {nullptr};
                    return ::execve("/bin/true", none, none);
                }},
        Attempt{"ToSignalTheHost", [] { return ::kill(host, 0); }},
        Attempt{"ToSignalAThreadOfTheHost",
                [] { return int(::syscall(SYS_tgkill, host, host, 0)); }},
        Attempt{"ToTrace", [] { return int(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); }},
        Attempt{"ToReadTheHostsMemory",
                [] { return int(::syscall(SYS_process_vm_readv, host, 0, 0, 0, 0, 0)); }},
        Attempt{"ToMapMemoryForCode",
                [] {
                    (void)::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS,
                                 -1, 0);
                    return 0;
                }},
        Attempt{"ToMapAFile",
                [] {
                    (void)::mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, 0, 0);
                    return 0;
                }},
        Attempt{"ToRaiseItsLimits",
                [] { return int(::syscall(SYS_prlimit64, 0, RLIMIT_AS, 0, 0)); }},
        Attempt{"ToBecomeDumpable", [] { return ::prctl(PR_SET_DUMPABLE, 1); }},
        Attempt{"ToControlADevice", [] { return int(::syscall(SYS_ioctl, 0, 0, 0)); }},
        Attempt{"ToOpenARing", [] { return int(::syscall(SYS_io_uring_setup, 1, 0)); }}),
    rowName);

class ReaderSandboxLeaves : public testing::TestWithParam<Attempt> {};

TEST_P(ReaderSandboxLeaves, WhatReadingNeeds) {
    const int status = statusAfter(GetParam().act);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

INSTANTIATE_TEST_SUITE_P(
    Attempts, ReaderSandboxLeaves,
    testing::Values(Attempt{"TheSocket",
                            [] { return ::send(0, "a", 1, MSG_NOSIGNAL) == 1 ? 0 : 1; }},
                    Attempt{"Memory",
                            [] {
                                const std::vector<char> block(std::size_t{64} * 1024 * 1024, 'a');
                                return block.back() == 'a' ? 0 : 1;
                            }},
                    Attempt{"Exceptions",
                            [] {
                                try {
                                    throw std::bad_alloc();
                                } catch (const std::bad_alloc&) {
                                    return 0;
                                }
                            }}),
    rowName);

}  // namespace

TEST(ReaderSandbox, LetsAnAssertionEndTheProcess) {
    const int status = statusAfter([]() -> int { std::abort(); });
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
}

TEST(ReaderSandbox, LimitsMemory) {
    if (!standin::kIsConfined) {
        GTEST_SKIP() << "this build keeps its memory";
    }
    const int status = statusAfter([] {
        void* const block = std::malloc(std::size_t{513} * 1024 * 1024);
        const bool refused = block == nullptr;
        std::free(block);
        return refused ? 0 : 1;
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(ReaderSandbox, ClosesWhatWasLeftOpen) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    // The child stays alive until it is killed; only its own closing ends what is read here.
    const pid_t child = ::fork();
    if (child == 0) {
        standin::enterSandbox(0, standin::Limits());
        for (;;) {
        }
    }
    ASSERT_GT(child, 0);
    ::close(ends[1]);
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 0);
    EXPECT_EQ(::waitpid(child, nullptr, WNOHANG), 0);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(ends[0]);
}
