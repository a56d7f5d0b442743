#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

// A test whose threads do what chance tells them, for a few seconds. A failure shows the seed, and
// VELMORA_STRESS_SEED=NUMBER in the environment uses it again; the order in which the system runs
// the threads stays its own.
class StressTest : public testing::Test {
protected:
    using Random = std::mt19937;

    // Each thread has its own.
    [[nodiscard]] Random randomOf(int thread) const {
        return Random(seed + static_cast<uint32_t>(thread));
    }

    // A number below limit.
    static int below(int limit, Random& random) {
        return std::uniform_int_distribution<int>(0, limit - 1)(random);
    }

    [[nodiscard]] bool goesOn() const { return std::chrono::steady_clock::now() < end; }

private:
    static uint32_t chosenSeed() {
        const char* given = std::getenv("VELMORA_STRESS_SEED");
        return given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10))
                                : std::random_device{}();
    }

    const uint32_t seed = chosenSeed();
    const testing::ScopedTrace trace{__FILE__, __LINE__,
                                     "VELMORA_STRESS_SEED=" + std::to_string(seed)};
    const std::chrono::steady_clock::time_point end =
        std::chrono::steady_clock::now() + std::chrono::seconds(2);
};
