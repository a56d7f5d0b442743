// A running engine for a test, through its C interface.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "support/http_client.h"
#include "support/wait_until.h"
#include "velmora_light_api_server.h"

// A port of this machine that is nobody else's until the process ends: it stays bound, without
// listening, and a server that may use it again can listen there all the same.
inline uint16_t reservePort() {
    const int holder = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    ::setsockopt(holder, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(holder, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::getsockname(holder, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("no port");
    }
    return ntohs(address.sin_port);
}

// Numbers that make sense, on a port of the caller's own.
inline VelmoraLightServerConfig sensibleConfig() {
    VelmoraLightServerConfig config{};
    config.port = reservePort();
    config.conns = 8;
    config.threads = 2;
    config.threadQueueSize = 10;
    config.queueTimeout = 0;
    return config;
}

// An engine that runs as long as the object lives.
class Engine {
public:
    explicit Engine(VelmoraLightServerConfig config = sensibleConfig())
        : server(velmoraLightServer_create(&config)),
          listeningPort(static_cast<uint16_t>(config.port)) {
        if (server == nullptr) {
            throw std::runtime_error("no engine");
        }
    }
    ~Engine() { destroy(); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    [[nodiscard]] uint16_t port() const { return listeningPort; }

    // Stops the engine before the object goes.
    int destroy() {
        VelmoraLightServer* mine = server;
        server = nullptr;
        return mine == nullptr ? 0 : velmoraLightServer_destroy(mine);
    }

    // What POST /v1/recognize answers to an image. `query` starts with its question mark.
    [[nodiscard]] HttpReply recognize(const std::string& image,
                                      const std::string& query = "") const {
        return httpExchange(listeningPort, "POST", "/v1/recognize" + query, image);
    }

    // A counter of GET /v1/status, asked for through `client`.
    static int64_t counter(HttpClient& client, const std::string& name) {
        client.send(httpRequest("GET", "/v1/status"));
        return nlohmann::json::parse(client.receive().body)["counters"][name].get<int64_t>();
    }

private:
    VelmoraLightServer* server;
    const uint16_t listeningPort;
};
