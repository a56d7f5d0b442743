#include <time.h>

#include "vlib/vos/vdiagnostic.h"
#include "vlib/vos/vsemaphore.h"

namespace {

// The line numbers belong to the text of the diagnostic.
constexpr int lockLine = 50;
constexpr int timedLockLine = 74;

void reportNotInitialized(int line) {
    vdiagnostic::print("ERR", "vsemaphore_impl_linux", "lock", line,
                       "semaphore was not initialized");
}

}  // namespace

VSemaphore::VSemaphore() : VSemaphore(0) {}

VSemaphore::VSemaphore(int value) : initialized(false) {
    // A count that sem_init refuses (a negative one) leaves the semaphore zeroed, which is a count
    // of 0.
    ::sem_init(&semaphore, 0, static_cast<unsigned int>(value));
    initialized = true;
}

VSemaphore::~VSemaphore() {
    if (initialized) {
        ::sem_destroy(&semaphore);
    }
}

int VSemaphore::lock() {
    if (!initialized) {
        reportNotInitialized(lockLine);
        return -1;
    }
    ::sem_wait(&semaphore);  // not looked at: an interrupted wait counts as a wait
    return count();
}

int VSemaphore::lock(int timeout) {
    if (!initialized) {
        reportNotInitialized(timedLockLine);
        return -1;
    }
    if (timeout < 0) {
        return lock();
    }
    timespec deadline{};
    ::clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += timeout;
    if (::sem_timedwait(&semaphore, &deadline) != 0) {
        return -1;
    }
    return count();
}

void VSemaphore::release() {
    if (initialized) {
        ::sem_post(&semaphore);
    }
}

int VSemaphore::count() {
    int value = 0;
    ::sem_getvalue(&semaphore, &value);
    return value;
}
