// A server with limits and readers of the test's own.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "child_processes.h"
#include "engine.h"
#include "support/files.h"
#include "velmoralight_standin/http_server.h"

class LimitedServer {
public:
    explicit LimitedServer(const standin::Limits& limits, int32_t conns = 4)
        : LimitedServer(withConnections(conns), limits, VELMORA_READER_FILE) {}

    LimitedServer(VelmoraLightServerConfig config, const standin::Limits& limits,
                  const std::string& reader, const std::string& origins = "")
        : server(std::make_unique<standin::HttpServer>(
              config, standin::Surroundings{"127.0.0.1", origins, reader}, limits)),
          port(static_cast<uint16_t>(config.port)) {}

    // Stops it before the object goes.
    void stop() { server.reset(); }

    // What POST /v1/recognize answers to a picture.
    [[nodiscard]] HttpReply recognize(const std::string& picture) const {
        return httpExchange(port, "POST", "/v1/recognize", picture);
    }

    // The counters of GET /v1/status.
    [[nodiscard]] nlohmann::json counters() const {
        const HttpReply reply = httpExchange(port, "GET", "/v1/status");
        return nlohmann::json::parse(reply.body)["counters"];
    }

private:
    static VelmoraLightServerConfig withConnections(int32_t conns) {
        VelmoraLightServerConfig config = sensibleConfig();
        config.conns = conns;
        return config;
    }

    std::unique_ptr<standin::HttpServer> server;

public:
    const uint16_t port;
};

// Whether a scripted reader has come so far as this name says.
inline bool isCalled(pid_t reader, const std::string& name) {
    return readFile("/proc/" + std::to_string(reader) + "/comm") == name + "\n";
}

// Waits until so many readers of a process have this name.
inline void awaitReaders(size_t count, const std::string& name, pid_t host = ::getpid()) {
    EXPECT_TRUE(waitUntil([&] {
        const std::vector<pid_t> readers = childrenOf(host);
        const auto isThere = [&name](pid_t reader) { return isCalled(reader, name); };
        return std::count_if(readers.begin(), readers.end(), isThere) ==
               static_cast<std::ptrdiff_t>(count);
    })) << name;
}

// Has the scripted readers of this process answer the pictures that told them to hold.
inline void letReadersGoOn() {
    for (const pid_t reader : childrenOf(::getpid())) {
        ::kill(reader, SIGUSR1);
    }
}
