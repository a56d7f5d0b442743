// What the connections of one server share.
#pragma once

#include <chrono>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/counters.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/worker_pool.h"

namespace standin {

// But for the pool, everything belongs to the server's I/O thread.
struct ServerContext {
    ServerContext(const VelmoraLightServerConfig& theConfig, const Limits& theLimits)
        : config(theConfig),
          limits(theLimits),
          pool(static_cast<std::size_t>(config.threads),
               static_cast<std::size_t>(config.threadQueueSize),
               std::chrono::milliseconds(config.queueTimeout)) {}

    const VelmoraLightServerConfig config;
    const Limits limits;
    WorkerPool pool;
    Counters counters;
    bool stopping = false;
    // Tells this server from the one before it, and from its copies.
    const std::chrono::system_clock::time_point started = std::chrono::system_clock::now();

    [[nodiscard]] bool hasFreeConnection() const {
        return counters.connectionsOpen < static_cast<uint64_t>(config.conns);
    }
};

}  // namespace standin
