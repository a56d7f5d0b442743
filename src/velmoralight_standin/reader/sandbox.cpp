#include "velmoralight_standin/reader/sandbox.h"

#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>

namespace standin {

namespace {

void require(bool done, const char* what, int error) {
    if (!done) {
        throw std::runtime_error(std::string("cannot ") + what + ": " + std::strerror(error));
    }
}

void limit(decltype(RLIMIT_AS) resource, rlim_t value, const char* what) {
    const rlimit both{value, value};
    require(::setrlimit(resource, &both) == 0, what, errno);
}

void setUpProcess() {
    // A host that was killed cannot end its readers any more. One that is gone already has closed
    // its end of the socket, which is noticed there.
    require(::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0, "end with the host", errno);
    require(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "renounce privileges", errno);
    // Nobody of the same user looks at another's picture.
    require(::prctl(PR_SET_DUMPABLE, 0) == 0, "be kept to itself", errno);
    require(::close_range(STDERR_FILENO + 1, UINT_MAX, 0) == 0, "close descriptors", errno);
}

void limitResources([[maybe_unused]] const Limits& limits) {
    limit(RLIMIT_CORE, 0, "do without a core file");
#ifndef VELMORA_READER_UNCONFINED
    limit(RLIMIT_NOFILE, 0, "do without further descriptors");
    limit(RLIMIT_AS, rlim_t{limits.readerMemory} * 1024 * 1024, "limit its memory");
#endif
}

#ifndef VELMORA_READER_UNCONFINED

struct Release {
    void operator()(void* filter) const noexcept { seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, Release>;

void allow(const Filter& filter, int call, std::initializer_list<scmp_arg_cmp> conditions = {}) {
    const int result =
        seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call,
                               static_cast<unsigned>(conditions.size()), conditions.begin());
    require(result == 0, "allow a system call", -result);
}

constexpr scmp_arg_cmp argument(unsigned number, scmp_datum_t value) {
    return {number, SCMP_CMP_EQ, value, 0};
}

constexpr scmp_arg_cmp argumentBits(unsigned number, scmp_datum_t mask, scmp_datum_t value) {
    return {number, SCMP_CMP_MASKED_EQ, mask, value};
}

void allowMemory(const Filter& filter) {
    for (const int call : {SCMP_SYS(brk), SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(madvise)}) {
        allow(filter, call);
    }
    constexpr scmp_arg_cmp kHoldsNoCode = argumentBits(2, PROT_EXEC, 0);
    allow(filter, SCMP_SYS(mmap), {kHoldsNoCode, argumentBits(3, MAP_ANONYMOUS, MAP_ANONYMOUS)});
    allow(filter, SCMP_SYS(mprotect), {kHoldsNoCode});
}

// An assertion says what it is about before it ends the process.
void allowEnd(const Filter& filter) {
    for (const int call : {SCMP_SYS(exit_group), SCMP_SYS(getpid), SCMP_SYS(gettid),
                           SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask)}) {
        allow(filter, call);
    }
    allow(filter, SCMP_SYS(write), {argument(0, STDERR_FILENO)});
    allow(filter, SCMP_SYS(tgkill), {argument(0, static_cast<scmp_datum_t>(::getpid()))});
}

void limitSystemCalls(int socket) {
    // The thread is all of the process. To end a process by name takes a system call that a service
    // manager may have forbidden already.
    const Filter filter(seccomp_init(SCMP_ACT_KILL_THREAD));
    require(filter != nullptr, "make a filter of system calls", ENOMEM);
    allow(filter, SCMP_SYS(recvfrom), {argument(0, static_cast<scmp_datum_t>(socket))});
    allow(filter, SCMP_SYS(sendto), {argument(0, static_cast<scmp_datum_t>(socket))});
    allow(filter, SCMP_SYS(futex));
    allow(filter, SCMP_SYS(rt_sigreturn));
    allowMemory(filter);
    allowEnd(filter);
    const int result = seccomp_load(filter.get());
    require(result == 0, "limit its system calls", -result);
}

#else

void limitSystemCalls(int /*socket*/) {}

#endif

}  // namespace

void enterSandbox(int socket, const Limits& limits) {
    setUpProcess();
    limitResources(limits);
    limitSystemCalls(socket);
}

}  // namespace standin
