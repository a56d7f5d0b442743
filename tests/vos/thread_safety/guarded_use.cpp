// Compiled only, by clang: right use of the mutex passes its thread-safety analysis, and each of
// the mistakes that can be switched on below is an error.

#include "vlib/vos/vmutex.h"
#include "vlib/vos/vthread_annotations.h"

class Account {
public:
    void deposit(int amount) VOS_EXCLUDES(mutex) {
#ifndef MISTAKE_WRITE_WITHOUT_LOCK
        const VMutexGuard guard(mutex);
#endif
        balance += amount;
    }

    int read() VOS_EXCLUDES(mutex) {
#ifndef MISTAKE_READ_WITHOUT_LOCK
        const VMutexGuard guard(mutex);
#endif
        return balance;
    }

    void close() VOS_EXCLUDES(mutex) {
#ifndef MISTAKE_CALL_WITHOUT_LOCK
        const VMutexGuard guard(mutex);
#endif
        clear();
    }

    void move(int amount) VOS_EXCLUDES(mutex) {
#ifdef MISTAKE_CALL_WITH_LOCK
        const VMutexGuard guard(mutex);
#endif
        deposit(amount);
    }

    void lockByHand() VOS_EXCLUDES(mutex) {
        mutex.lock();
#ifdef MISTAKE_LOCK_TWICE
        mutex.lock();
#endif
        balance = 0;
#ifndef MISTAKE_NEVER_UNLOCK
        mutex.unlock();
#endif
#ifdef MISTAKE_UNLOCK_TWICE
        mutex.unlock();
#endif
    }

private:
    void clear() VOS_REQUIRES(mutex) {
        balance = 0;
    }

    VMutex mutex;
    int balance VOS_GUARDED_BY(mutex) = 0;
};

int useAll();
int useAll() {
    Account account;
    account.deposit(1);
    account.move(2);
    account.close();
    account.lockByHand();
    return account.read();
}
