// A running engine for a test, through its C interface.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "support/http_client.h"
#include "support/wait_until.h"
#include "velmora_light_api_server.h"

// A port of this machine that nobody listens on.
inline uint16_t freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(probe, reinterpret_cast<sockaddr*>(&address), size);
    ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(probe);
    return ntohs(address.sin_port);
}

// Numbers that make sense, on a port that is free.
inline VelmoraLightServerConfig sensibleConfig() {
    VelmoraLightServerConfig config{};
    config.port = freePort();
    config.conns = 8;
    config.threads = 2;
    config.threadQueueSize = 10;
    config.queueTimeout = 0;
    return config;
}

// An engine that runs as long as the object lives.
class Engine {
public:
    explicit Engine(VelmoraLightServerConfig config = sensibleConfig()) {
        // Between the search for a free port and its use, another program may take it.
        for (int attempt = 0; attempt < 5 && server == nullptr; ++attempt) {
            config.port = freePort();
            server = velmoraLightServer_create(&config);
        }
        if (server == nullptr) {
            throw std::runtime_error("no engine");
        }
        listeningPort = static_cast<uint16_t>(config.port);
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
    VelmoraLightServer* server = nullptr;
    uint16_t listeningPort = 0;
};
