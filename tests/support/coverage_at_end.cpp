// Linked into the programs of a build that counts lines. The counts are written where a program
// ends by exit(); this writes them too where it ends by _exit(), as the checker's child does, or by
// SIGTERM, as the daemon does.

#include <signal.h>
#include <unistd.h>

// The names are the compiler's and the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp,
// readability-identifier-naming): see above
extern "C" {

void __gcov_dump(void);
[[noreturn]] void __real__exit(int);

[[noreturn]] void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}

}  // extern "C"

namespace {

// Not safe in a handler in general; the daemon's first thread sleeps when the signal comes.
void writeCountsAndEnd(int number) {
    __gcov_dump();
    ::signal(number, SIG_DFL);
    ::raise(number);
}

[[gnu::constructor]] void catchTheSignal() {
    ::signal(SIGTERM, writeCountsAndEnd);
}

}  // namespace
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp,
// readability-identifier-naming)
