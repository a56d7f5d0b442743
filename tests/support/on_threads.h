#pragma once

#include <functional>
#include <thread>
#include <vector>

// Runs the work on so many threads at once, each with its number from 0, and returns when all have
// ended.
inline void onThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
