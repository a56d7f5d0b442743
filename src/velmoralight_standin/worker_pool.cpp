#include "velmoralight_standin/worker_pool.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "velmoralight_standin/thread_name.h"

namespace standin {

WorkerPool::WorkerPool(std::size_t threads, std::size_t queueSize,
                       std::chrono::milliseconds queueTimeout)
    : queueSize_(queueSize), queueTimeout_(queueTimeout) {
    for (std::size_t i = 0; i < threads; ++i) {
        workers_.push_back(std::make_unique<Worker>());
    }
}

WorkerPool::~WorkerPool() {
    stop();
}

void WorkerPool::start() {
    for (const auto& worker : workers_) {
        worker->thread = std::thread([this, &worker = *worker] { run(worker); });
    }
}

std::optional<WorkerPool::Ticket> WorkerPool::submit(Job job) {
    const std::scoped_lock lock(mutex_);
    if (stopped_) {
        return std::nullopt;
    }
    Worker& worker = leastLoaded();
    if (worker.busy && worker.queue.size() >= queueSize_) {
        return std::nullopt;
    }
    Waiting waiting{++lastTicket_, Clock::now(), std::move(job)};
    if (worker.busy) {
        worker.queue.push_back(std::move(waiting));
    } else {
        worker.next = std::move(waiting);
        worker.busy = true;
        worker.wake.notify_one();
    }
    return lastTicket_;
}

bool WorkerPool::withdraw(Ticket ticket) {
    const std::scoped_lock lock(mutex_);
    return std::any_of(workers_.begin(), workers_.end(), [ticket](const auto& worker) {
        return std::erase_if(worker->queue, [ticket](const Waiting& waiting) {
                   return waiting.ticket == ticket;
               }) > 0;
    });
}

void WorkerPool::stop() {
    for (Waiting& waiting : takeAllWaiting()) {
        waiting.job(Fate::Stopped, Clock::now() - waiting.since);
    }
    for (const auto& worker : workers_) {
        if (worker->thread.joinable()) {
            worker->thread.join();
        }
    }
}

WorkerPool::Load WorkerPool::load() const {
    const std::scoped_lock lock(mutex_);
    Load load;
    for (const auto& worker : workers_) {
        load.waiting += worker->queue.size();
        load.working += worker->busy ? 1 : 0;
    }
    return load;
}

void WorkerPool::run(Worker& worker) {
    nameThisThread("velmora-worker");
    while (std::optional<Waiting> next = takeNext(worker)) {
        const Clock::duration waited = Clock::now() - next->since;
        const bool expired = queueTimeout_.count() > 0 && waited > queueTimeout_;
        next->job(expired ? Fate::Expired : Fate::Work, waited);
    }
}

// Waits for the worker's next job. Nothing when the pool was stopped and the worker has none left.
std::optional<WorkerPool::Waiting> WorkerPool::takeNext(Worker& worker) {
    std::unique_lock lock(mutex_);
    if (!worker.next && !worker.queue.empty()) {
        worker.next = std::move(worker.queue.front());
        worker.queue.pop_front();
    }
    worker.busy = worker.next.has_value();
    worker.wake.wait(lock, [&] { return worker.next || stopped_; });
    return std::exchange(worker.next, std::nullopt);
}

WorkerPool::Worker& WorkerPool::leastLoaded() const {
    const auto least =
        std::min_element(workers_.begin(), workers_.end(), [](const auto& a, const auto& b) {
            return std::pair(a->busy, a->queue.size()) < std::pair(b->busy, b->queue.size());
        });
    return **least;
}

std::deque<WorkerPool::Waiting> WorkerPool::takeAllWaiting() {
    const std::scoped_lock lock(mutex_);
    stopped_ = true;
    std::deque<Waiting> all;
    for (const auto& worker : workers_) {
        std::move(worker->queue.begin(), worker->queue.end(), std::back_inserter(all));
        worker->queue.clear();
        worker->wake.notify_one();
    }
    return all;
}

}  // namespace standin
