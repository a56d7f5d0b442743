// What every logger of the comparison is asked to log: a line such as
//
//     [2026:11:15 13:21:26.004512 : VELMORASRV : 0x0007 : INFO] -> 	port            : 51000
#pragma once

#include <cstdint>

namespace line {

inline constexpr const char* topic = "VELMORASRV";
inline constexpr uint16_t id = 7;
inline constexpr const char* file = "benchmarks/logger/line";
inline constexpr int number = 51000;
// The message with its number, for loggers that format like printf.
#define VELMORA_BENCHMARK_MESSAGE "\tport            : %d"

// Lines between two drains: fewer than the 200 that the queue of VLog holds.
inline constexpr int burst = 160;

}  // namespace line
