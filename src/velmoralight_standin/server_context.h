// What the connections of one server share.
#pragma once

#include <chrono>
#include <utility>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/budget.h"
#include "velmoralight_standin/counters.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/places.h"
#include "velmoralight_standin/reader_pool.h"
#include "velmoralight_standin/server_config.h"

namespace standin {

// Belongs to the server's thread.
struct ServerContext {
    ServerContext(asio::io_context& io, const VelmoraLightServerConfig& theConfig,
                  Surroundings theSurroundings, const Limits& theLimits)
        : config(theConfig),
          surroundings(std::move(theSurroundings)),
          limits(theLimits),
          places{.free = {static_cast<std::size_t>(config.conns)}},
          bodies{limits.maxBodiesBytes},
          pool(io, config, limits, surroundings.reader, counters) {}

    const VelmoraLightServerConfig config;
    const Surroundings surroundings;
    const Limits limits;
    Counters counters;
    Places places;
    Budget bodies;  // bytes
    ReaderPool pool;
    bool stopping = false;
    // Tells this server from the one before it, and from its copies.
    const std::chrono::system_clock::time_point started = std::chrono::system_clock::now();
};

}  // namespace standin
