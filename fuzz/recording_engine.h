#pragma once

#include <array>

// What the engine of a fuzz target was last asked for: port, connections, threads, queue size,
// queue time-out.
using FiveNumbers = std::array<int, 5>;

inline constexpr FiveNumbers defaultNumbers{51000, 1, 1, 10, 0};

[[nodiscard]] const FiveNumbers& numbersOfLastStart();

// Deletes the controller of the last start, which the daemon keeps until the process ends.
void forgetLastStart();
