// What a server tells about itself.
#pragma once

#include <chrono>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/counters.h"
#include "velmoralight_standin/response.h"
#include "velmoralight_standin/worker_pool.h"

namespace standin {

// What the reports are made from.
struct ServerState {
    const VelmoraLightServerConfig& config;
    const Counters& counters;
    WorkerPool::Load load;
    std::chrono::system_clock::time_point started;  // when the server was created
};

// The answer to GET /v1/status: version, build, the five numbers, counters.
[[nodiscard]] Response statusReport(const ServerState& state);

// The answer to GET /metrics, in the Prometheus text format.
[[nodiscard]] Response metricsReport(const ServerState& state);

// The answer to GET /healthz.
[[nodiscard]] Response healthReport();

}  // namespace standin
