#pragma once

#include "vlib/vos/vnoncopyable.h"
#include "vlib/vos/vos_types.h"
#include "vlib/vos/vthread_annotations.h"

// A lock for threads of one process. Not recursive: a thread that locks it twice waits for itself.
// Prefer VMutexGuard to calling lock() and unlock().
class VOS_CAPABILITY("mutex") VMutex : public VNoncopyable {
public:
    VMutex();
    ~VMutex();

    void lock() VOS_ACQUIRE();
    void unlock() VOS_RELEASE();

private:
    os_mutex_t osmutex;
};

// Holds a VMutex from its construction to its destruction. (Clang's analysis does not see through
// std::lock_guard of libstdc++, hence a guard of our own.)
class VOS_SCOPED_CAPABILITY VMutexGuard : public VNoncopyable {
public:
    explicit VMutexGuard(VMutex& toHold) VOS_ACQUIRE(toHold) : mutex(toHold) { mutex.lock(); }
    ~VMutexGuard() VOS_RELEASE() { mutex.unlock(); }

private:
    VMutex& mutex;
};
