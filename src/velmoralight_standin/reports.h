// What a server tells about itself.
#pragma once

#include <chrono>
#include <cstddef>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/counters.h"
#include "velmoralight_standin/response.h"

namespace standin {

// What the reports are made from.
struct ServerState {
    const VelmoraLightServerConfig& config;
    const Counters& counters;
    std::size_t connectionsOpen;                    // that have a place
    std::chrono::system_clock::time_point started;  // when the server was created
};

// The answer to GET /v1/status: version, build, the five numbers, counters.
[[nodiscard]] Response statusReport(const ServerState& state);

// The answer to GET /metrics, in the Prometheus text format.
[[nodiscard]] Response metricsReport(const ServerState& state);

// The answer to GET /healthz: 200 while at least one reader is alive, whether it works or not;
// otherwise 503.
[[nodiscard]] Response healthReport(const ServerState& state, std::chrono::seconds retryAfter);

}  // namespace standin
