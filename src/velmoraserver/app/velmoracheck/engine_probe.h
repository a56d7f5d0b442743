#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace velmoracheck {

// The engine as it describes itself.
struct Engine {
    std::string file;
    std::string version;  // "1.2.3"
    std::string build;
};

struct EngineProbe {
    std::optional<Engine> engine;
    std::string problem;  // without an engine: what is wrong with it
};

// How long an engine may take to be loaded and to answer.
inline constexpr std::chrono::milliseconds engineTimeLimit{5000};

// Loads the engine that the daemon would load and asks for its version and build. A child process
// does so: an engine that crashes, ends the process or never answers is a problem like any other.
// The calling process has one thread.
[[nodiscard]] EngineProbe probeEngine(std::chrono::milliseconds limit = engineTimeLimit);

}  // namespace velmoracheck
