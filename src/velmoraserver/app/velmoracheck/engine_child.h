#pragma once

namespace velmoracheck {

// The name by which the daemon asks for its engine.
inline constexpr const char* engineLibrary = "libvelmoraLight.so";

// What the child process says: one of these, and texts that each end in a zero byte.
inline constexpr char engineAnswered = 'A';  // file, version, build
inline constexpr char engineFailed = 'F';    // the problem

// The child process's work: loads the engine, writes to the pipe what it says, ends the process.
// The engine's own output goes nowhere.
[[noreturn]] void askEngine(int pipe);

}  // namespace velmoracheck
