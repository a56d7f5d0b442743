// A running server: its listener, its I/O thread, its workers.
#pragma once

#include <memory>
#include <string>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/limits.h"

namespace standin {

// One thread does the network for all connections; the images are worked on by the pool's threads.
// A server without connections has no timer and wakes nobody.
class HttpServer {
public:
    // Listens and serves from here on. `config` has passed complaintAbout; `address` is an IPv4 or
    // IPv6 address as text. Throws std::runtime_error, whose text is the reason, when it cannot.
    HttpServer(const VelmoraLightServerConfig& config, const std::string& address,
               const Limits& limits);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Stops accepting, answers what waits with 503, lets what is worked on end and be answered, and
    // joins every thread.
    ~HttpServer();

private:
    // Keeps the network library, which is slow to compile, out of this header.
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace standin
