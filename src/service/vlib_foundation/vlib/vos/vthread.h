#pragma once

#include <cstdint>
#include <string>

#include "vlib/vos/vmutex.h"
#include "vlib/vos/vnoncopyable.h"
#include "vlib/vos/vos_types.h"
#include "vlib/vos/vsemaphore.h"
#include "vlib/vos/vthread_annotations.h"

enum VThreadState {
    STOPPED = 0,   // constructed, never started
    STARTING = 1,  // a thread was asked for; its body has not yet run
    RUNNING = 2,   // the body is calling the runnable
    STOPPING = 3,  // a stop was requested; the body leaves at its next look at the state
    DONE = 4       // joined, or the thread could not be created; final
};

// Names for the priority argument of VThread. The value is stored; no scheduling follows from it.
enum VThreadPriority {
    VTHREAD_PRIO_AUTO = 0,
    VTHREAD_PRIO_LOW = 1,
    VTHREAD_PRIO_MEDIUM = 2,
    VTHREAD_PRIO_HIGH = 3
};

// Runs a VIRunnable on a thread of its own, again and again, until it is asked to stop.
//
//   from                        event                                to
//   (construction)                                                   STOPPED
//   STOPPED                     start()                              STARTING
//   STARTING                    the thread cannot be created         DONE
//   STARTING                    the body begins its first cycle      RUNNING
//   RUNNING                     stopNonBlocking(), stop(), cancel()  STOPPING
//   STARTING, RUNNING, STOPPING waitJoin(), also through stop(),     DONE
//                               cancel() and the destructor
//   any but STOPPED             start()                              unchanged, with a warning
//   STOPPED, DONE               stop(), waitJoin()                   unchanged
//   any                         setState(s)                          s
//
// The body calls run() at least once, calls it again while the state is RUNNING afterwards, then
// calls cleanup() and ends. It never sets DONE: who joins it does.
//
// All operations may be called from any thread; stop(), cancel(), waitJoin() and the destructor not
// from the thread's own body, since they wait for it. The runnable is called without any lock held.
class VThread : public VNoncopyable {
public:
    // The work of a thread.
    class VIRunnable {
    public:
        // Called on the new thread, with the VThread that it belongs to.
        virtual void run(VThread* thread) = 0;
        // Called once on the new thread just before it ends.
        virtual void cleanup() {}
        virtual ~VIRunnable() = default;
    };

    // Stores the arguments; no thread is created yet.
    //
    // work may be null: the thread then ends at once with a warning. With ownsWork the object
    // deletes it in its destructor; otherwise it has to live until the thread is joined. threadName
    // appears in messages only. stackSize is in bytes; less than 4096 counts as 4096, and what the
    // system refuses gives its default size. periodMs is the time from the beginning of one run to
    // the beginning of the next in milliseconds; 0 calls run back to back.
    VThread(VIRunnable* work, std::string threadName, uint32_t stackSize, uint32_t prio,
            uint32_t periodMs, bool ownsWork);

    // Stops and joins the thread, then deletes an owned runnable.
    ~VThread();

    // Creates the thread. In any state but STOPPED a warning is printed and nothing changes; the
    // same after setState(STOPPED), as long as an earlier thread is not joined.
    void start();

    // Asks the body to leave, and waits until the thread has ended.
    void stop();

    // The same as stop(): nothing is cancelled half-way.
    void cancel();

    // Asks the body to leave. While the state is STARTING this waits, in steps of 50 ms.
    void stopNonBlocking();

    // Makes the body leave and joins the thread. False when there was nothing to join.
    bool waitJoin();

    // Whether the state is STARTING or RUNNING.
    [[nodiscard]] bool getRunning();

    [[nodiscard]] VThreadState getState();
    void setState(VThreadState newState);

    // Sleeps for ms milliseconds. The product with 1000 is formed in 32 bits: the longest sleep is
    // 4294967 ms, longer values wrap round.
    static void sleep(uint32_t ms);

    // The same as sleep(1).
    static void yield();

    // The calling thread.
    [[nodiscard]] static os_thread_t self();

private:
    // What there is to join.
    enum Joining { NOTHING, UNJOINED, BEING_JOINED };

    void runCycles();
    Joining getJoining() VOS_EXCLUDES(statusMutex);
    bool claimJoin() VOS_REQUIRES(statusMutex);
    bool join() VOS_EXCLUDES(statusMutex);
    void joinRest() VOS_EXCLUDES(statusMutex);
    void changeState(VThreadState from, VThreadState to) VOS_EXCLUDES(statusMutex);
    void createThread() VOS_REQUIRES(statusMutex);

    std::string name;
    VIRunnable* runnable;
    VSemaphore joinLock;  // part of the class; no operation uses it
    os_thread_t osthread VOS_GUARDED_BY(statusMutex){};
    VMutex statusMutex;
    VThreadState state VOS_GUARDED_BY(statusMutex) = STOPPED;
    uint32_t period_ms;
    uint32_t stack_size;
    [[maybe_unused]] uint32_t priority;  // stored only
    bool releaseRunnable;
    Joining joining VOS_GUARDED_BY(statusMutex) = NOTHING;
};
