#include "vos/system_calls_double.h"

#include <semaphore.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace {

struct Settings {
    int createError = 0;
    std::vector<size_t> requestedSizes;
    std::vector<size_t> sizes;
    int mutexes = 0;
    int mutexesWithAttributes = 0;
    std::optional<uint64_t> monotonicUs;
    std::vector<unsigned> sleeps;
    std::optional<timespec> timeOfDay;
    bool passTimedWaits = false;
    std::optional<timespec> deadline;
};

std::mutex mutex;
Settings settings;
std::atomic<bool> bodiesHeld = false;

struct Body {
    void* (*function)(void*);
    void* argument;
};

void* runWhenLetGo(void* memory) {
    const Body body = *static_cast<Body*>(memory);
    delete static_cast<Body*>(memory);
    while (bodiesHeld) {
        std::this_thread::yield();
    }
    return body.function(body.argument);
}

}  // namespace

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp,
// readability-identifier-naming): see above
extern "C" {

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_pthread_attr_setstacksize(pthread_attr_t*, size_t);
int __real_pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*);
int __real_usleep(useconds_t);
int __real_clock_gettime(clockid_t, timespec*);
int __real_gettimeofday(timeval*, void*);
int __real_sem_timedwait(sem_t*, const timespec*);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    {
        const std::lock_guard lock(mutex);
        size_t size = 0;
        ::pthread_attr_getstacksize(attributes, &size);
        settings.sizes.push_back(size);
        if (settings.createError != 0) {
            return settings.createError;
        }
    }
    return __real_pthread_create(thread, attributes, runWhenLetGo, new Body{function, argument});
}

int __wrap_pthread_attr_setstacksize(pthread_attr_t* attributes, size_t size) {
    const std::lock_guard lock(mutex);
    settings.requestedSizes.push_back(size);
    return __real_pthread_attr_setstacksize(attributes, size);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* made, const pthread_mutexattr_t* attributes) {
    const std::lock_guard lock(mutex);
    ++settings.mutexes;
    settings.mutexesWithAttributes += attributes != nullptr ? 1 : 0;
    return __real_pthread_mutex_init(made, attributes);
}

int __wrap_usleep(useconds_t microseconds) {
    {
        const std::lock_guard lock(mutex);
        settings.sleeps.push_back(microseconds);
        if (settings.monotonicUs) {
            *settings.monotonicUs += microseconds;
            microseconds = 0;
        }
    }
    return __real_usleep(microseconds);
}

int __wrap_clock_gettime(clockid_t clock, timespec* now) {
    const std::lock_guard lock(mutex);
    if (clock == CLOCK_MONOTONIC && settings.monotonicUs) {
        now->tv_sec = static_cast<time_t>(*settings.monotonicUs / 1000000);
        now->tv_nsec = static_cast<long>(*settings.monotonicUs % 1000000 * 1000);
        return 0;
    }
    if (clock == CLOCK_REALTIME && settings.timeOfDay) {
        *now = *settings.timeOfDay;
        return 0;
    }
    return __real_clock_gettime(clock, now);
}

int __wrap_gettimeofday(timeval* now, void* zone) {
    const std::lock_guard lock(mutex);
    if (settings.timeOfDay) {
        now->tv_sec = settings.timeOfDay->tv_sec;
        now->tv_usec = settings.timeOfDay->tv_nsec / 1000;
        return 0;
    }
    return __real_gettimeofday(now, zone);
}

int __wrap_sem_timedwait(sem_t* semaphore, const timespec* deadline) {
    {
        const std::lock_guard lock(mutex);
        settings.deadline = *deadline;
        if (settings.passTimedWaits) {
            return 0;
        }
    }
    return __real_sem_timedwait(semaphore, deadline);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier, cert-dcl37-c, cert-dcl51-cpp,
// readability-identifier-naming)

SystemCallsDouble::SystemCallsDouble() {
    const std::lock_guard lock(mutex);
    settings = {};
}

SystemCallsDouble::~SystemCallsDouble() {
    letBodiesGo();
    const std::lock_guard lock(mutex);
    settings = {};
}

void SystemCallsDouble::failToCreateThreads(int error) {
    const std::lock_guard lock(mutex);
    settings.createError = error;
}

void SystemCallsDouble::holdBodies() {
    bodiesHeld = true;
}

void SystemCallsDouble::letBodiesGo() {
    bodiesHeld = false;
}

std::vector<size_t> SystemCallsDouble::requestedStackSizes() const {
    const std::lock_guard lock(mutex);
    return settings.requestedSizes;
}

std::vector<size_t> SystemCallsDouble::stackSizes() const {
    const std::lock_guard lock(mutex);
    return settings.sizes;
}

int SystemCallsDouble::mutexes() const {
    const std::lock_guard lock(mutex);
    return settings.mutexes;
}

int SystemCallsDouble::mutexesWithAttributes() const {
    const std::lock_guard lock(mutex);
    return settings.mutexesWithAttributes;
}

void SystemCallsDouble::stopMonotonicClock() {
    const std::lock_guard lock(mutex);
    settings.monotonicUs = 1000000000;
}

void SystemCallsDouble::advance(uint64_t microseconds) {
    const std::lock_guard lock(mutex);
    *settings.monotonicUs += microseconds;
}

std::vector<unsigned> SystemCallsDouble::sleeps() const {
    const std::lock_guard lock(mutex);
    return settings.sleeps;
}

void SystemCallsDouble::setTimeOfDay(int64_t seconds, int64_t nanoseconds) {
    const std::lock_guard lock(mutex);
    settings.timeOfDay = timespec{.tv_sec = seconds, .tv_nsec = nanoseconds};
}

void SystemCallsDouble::passTimedWaits() {
    const std::lock_guard lock(mutex);
    settings.passTimedWaits = true;
}

std::optional<timespec> SystemCallsDouble::deadline() const {
    const std::lock_guard lock(mutex);
    return settings.deadline;
}
