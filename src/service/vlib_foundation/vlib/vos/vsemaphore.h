#pragma once

#include <string>

#include "vlib/vos/vnoncopyable.h"
#include "vlib/vos/vos_types.h"

// A counting semaphore for the threads of one process. Safe to use from several threads.
class VSemaphore : public VNoncopyable {
public:
    VSemaphore();                    // initial count 0
    explicit VSemaphore(int value);  // initial count value
    ~VSemaphore();

    // Waits without limit; an interrupted wait returns as if it had succeeded. Returns the count
    // after the wait.
    int lock();

    // Waits at most timeout seconds of wall-clock time; 0 does not wait, a negative timeout waits
    // without limit. Returns the count after the wait, -1 on time-out or any other failure.
    int lock(int timeout);

    // Adds one to the count.
    void release();

private:
    [[nodiscard]] int count();

    os_sem_t semaphore{};
    bool initialized;
    std::string name;
};
