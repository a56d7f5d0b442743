// The worker threads and the queues before them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace standin {

// Runs jobs on a fixed number of threads. Each worker has a queue of its own; a job goes to an idle
// worker, else to the shortest queue that has room. Every job that is taken and not withdrawn is
// called exactly once, on a worker or in stop(). All operations may be called from any thread.
class WorkerPool {
public:
    using Clock = std::chrono::steady_clock;

    // What a job is called for.
    enum class Fate {
        Work,     // do it
        Expired,  // it waited longer than the queue time-out: say so
        Stopped,  // the pool stops: say so
    };
    // A job throws nothing. The duration is how long it waited.
    using Job = std::function<void(Fate, Clock::duration)>;
    using Ticket = uint64_t;

    struct Load {
        std::size_t waiting = 0;
        std::size_t working = 0;
    };

    // `queueSize` jobs may wait for each worker, each for `queueTimeout` (zero: without limit).
    WorkerPool(std::size_t threads, std::size_t queueSize, std::chrono::milliseconds queueTimeout);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    ~WorkerPool();

    // Starts the threads, once. Throws std::system_error when there are not enough of them.
    void start();

    // Hands in a job. Nothing when every queue is full or the pool was stopped.
    [[nodiscard]] std::optional<Ticket> submit(Job job);

    // Takes a waiting job back; it will not be called. False when it is no longer waiting.
    [[nodiscard]] bool withdraw(Ticket ticket);

    // Calls what waits with Fate::Stopped, lets what runs end and joins the threads. May be
    // repeated.
    void stop();

    [[nodiscard]] Load load() const;

private:
    struct Waiting {
        Ticket ticket = 0;
        Clock::time_point since;
        Job job;
    };
    struct Worker {
        std::condition_variable wake;
        bool busy = false;            // has a job, in `next` or at work
        std::optional<Waiting> next;  // what it is to take up
        std::deque<Waiting> queue;
        std::thread thread;
    };

    void run(Worker& worker);
    std::optional<Waiting> takeNext(Worker& worker);
    [[nodiscard]] Worker& leastLoaded() const;
    [[nodiscard]] std::deque<Waiting> takeAllWaiting();

    const std::size_t queueSize_;
    const std::chrono::milliseconds queueTimeout_;
    mutable std::mutex mutex_;  // guards what follows, and the workers but for their threads
    bool stopped_ = false;
    Ticket lastTicket_ = 0;
    std::vector<std::unique_ptr<Worker>> workers_;
};

}  // namespace standin
