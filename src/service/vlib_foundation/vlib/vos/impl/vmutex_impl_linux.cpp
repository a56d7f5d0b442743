#include "vlib/vos/vmutex.h"

// The results of the POSIX calls are not looked at: with default attributes and a mutex that lives
// as long as its users, none of them fails.

VMutex::VMutex() {
    ::pthread_mutex_init(&osmutex, nullptr);
}

VMutex::~VMutex() {
    ::pthread_mutex_destroy(&osmutex);
}

void VMutex::lock() {
    ::pthread_mutex_lock(&osmutex);
}

void VMutex::unlock() {
    ::pthread_mutex_unlock(&osmutex);
}
