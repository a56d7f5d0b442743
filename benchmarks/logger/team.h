#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

// Threads that do the same thing at the same time, again and again.
class Team {
public:
    Team(int size, std::function<void()> theWork)
        : work(std::move(theWork)), seconds(static_cast<size_t>(size)) {
        for (double& time : seconds) {
            members.emplace_back([this, &time] { serve(time); });
        }
    }
    ~Team() {
        stopping = true;
        begin();
        for (std::thread& member : members) {
            member.join();
        }
    }
    Team(const Team&) = delete;
    Team& operator=(const Team&) = delete;

    // Has every member do the work once. The mean of the seconds that it took a member.
    double run() {
        begin();
        for (size_t done = finished; done < members.size(); done = finished) {
            finished.wait(done);
        }
        double sum = 0;
        for (const double time : seconds) {
            sum += time;
        }
        return sum / static_cast<double>(seconds.size());
    }

private:
    using Clock = std::chrono::steady_clock;

    void begin() {
        ready = 0;
        finished = 0;
        ++round;
        round.notify_all();
    }

    void serve(double& time) {
        for (unsigned seen = 0;;) {
            round.wait(seen);
            seen = round;
            if (stopping) {
                return;
            }
            // Nobody begins before all are awake.
            for (++ready; ready < members.size();) {
                std::this_thread::yield();
            }
            const Clock::time_point start = Clock::now();
            work();
            time = std::chrono::duration<double>(Clock::now() - start).count();
            ++finished;
            finished.notify_all();
        }
    }

    const std::function<void()> work;
    std::vector<double> seconds;
    std::atomic<bool> stopping = false;
    std::atomic<unsigned> round = 0;
    std::atomic<size_t> ready = 0;
    std::atomic<size_t> finished = 0;
    std::vector<std::thread> members;
};
