#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "velmoraserver/app/velmoraserviced/settings.h"

namespace velmoracheck {

// The name by which the daemon asks for its engine.
inline constexpr const char* engineLibrary = "libvelmoraLight.so";

// The engine as it describes itself.
struct Engine {
    std::string file;
    std::string version;  // "1.2.3"
    std::string build;

    // Whether it is the engine that is built with this program, of which more is known.
    [[nodiscard]] bool isStandIn() const { return build.starts_with("stand-in-"); }
};

struct EngineProbe {
    std::optional<Engine> engine;
    std::string problem;  // without an engine: what is wrong with it
    bool isLate = false;  // ... which is only that it has not answered yet
};

// Asks the engine that the daemon would load for its version and build, within 5 s. A process of
// its own does so: an engine that crashes, ends it or never answers harms nobody else.
[[nodiscard]] EngineProbe probeEngine();

struct Rehearsal {
    std::chrono::milliseconds duration{};  // until it listened, from the start of its process
    std::string problem;                   // why it did not; empty when it did
};

// Has the engine create its server in a process of its own, waits until that listens on the port,
// for 10 s at most, and ends it as the daemon is ended.
[[nodiscard]] Rehearsal rehearse(const qor::Settings& settings);

}  // namespace velmoracheck
