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
};

// How long an engine may take to be loaded and to answer, and to serve.
inline constexpr std::chrono::milliseconds engineTimeLimit{5000};
inline constexpr std::chrono::milliseconds serveTimeLimit{10000};

// Asks the engine that the daemon would load for its version and build. Another process does so: an
// engine that crashes, ends the process or never answers is a problem like any other.
[[nodiscard]] EngineProbe probeEngine(std::chrono::milliseconds limit = engineTimeLimit);

struct Rehearsal {
    std::chrono::milliseconds duration{};  // until it listened, from the start of its process
    std::string problem;                   // why it did not; empty when it did
};

// Has the engine create its server in another process, waits until that listens on the port, and
// ends it.
[[nodiscard]] Rehearsal rehearse(const qor::Settings& settings,
                                 std::chrono::milliseconds limit = serveTimeLimit);

}  // namespace velmoracheck
