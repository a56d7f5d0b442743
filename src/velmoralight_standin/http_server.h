// A running server: its listener, its thread, its readers.
#pragma once

#include <memory>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/server_config.h"

namespace standin {

// One thread has all of the server: connections, queue, counters. The images are worked on by
// reader processes. A server without connections has no timer and wakes nobody.
class HttpServer {
public:
    // Listens and serves from here on; the readers become ready beside it. `config` has passed
    // complaintAbout. Throws std::runtime_error, whose text is the reason, when it cannot.
    HttpServer(const VelmoraLightServerConfig& config, const Surroundings& surroundings,
               const Limits& limits);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Stops accepting, answers what waits with 503, lets what is worked on end and be answered,
    // ends the readers and joins the thread.
    ~HttpServer();

private:
    // Keeps the network library, which is slow to compile, out of this header.
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace standin
