#pragma once

#include <chrono>
#include <thread>

// Looks at the condition again and again until it holds; false when it does not within the limit.
// The limit is generous, for machines that are busy and builds that are slow: a test that passes
// never waits for it.
template <typename Condition>
[[nodiscard]] bool waitUntil(Condition condition,
                             std::chrono::milliseconds limit = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
