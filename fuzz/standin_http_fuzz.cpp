// Fed: what a client sends on one connection before it shuts its side, at most 1 KiB of it. Must
// hold: the connection ends, is given back, and nothing but as many answers as were counted comes
// out of it.

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>  // for Boost 1.74, which uses std::exchange without it

#include <boost/asio/co_spawn.hpp>

#include "fuzz/require.h"
#include "velmoralight_standin/connection.h"
#include "velmoralight_standin/server_context.h"

using namespace standin;

// What has arrived at the socket by now.
static void takeArrived(int descriptor, std::string& text) {
    char block[4096];
    for (ssize_t n = 0; (n = ::recv(descriptor, block, sizeof block, MSG_DONTWAIT)) > 0;) {
        text.append(block, static_cast<size_t>(n));
    }
}

static uint64_t countOf(const std::string& text, const std::string& part) {
    uint64_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

// Serves the connection until it ends; returns what the client has received then.
static std::string serve(asio::io_context& io, ServerContext& context, int server, int client) {
    Connection connection(Socket(io, asio::generic::stream_protocol(AF_UNIX, 0), server), context);
    bool ended = false;
    asio::co_spawn(io, connection.run(), [&ended](const std::exception_ptr& failure) {
        require(failure == nullptr, "the connection ends without an exception");
        ended = true;
    });
    std::string received;
    while (!ended) {
        io.run_one_for(std::chrono::milliseconds(10));
        takeArrived(client, received);
    }
    takeArrived(client, received);
    return received;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    int ends[2];
    require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there is a socket");
    const size_t length = std::min<size_t>(size, 1024);
    require(::send(ends[0], data, length, 0) == static_cast<ssize_t>(length),
            "the socket takes it");
    ::shutdown(ends[0], SHUT_WR);

    // Without readers: pictures are refused, as they are when no reader is alive.
    asio::io_context io(1);
    ServerContext context(
        io, {.port = 1, .conns = 1, .threads = 1, .threadQueueSize = 1, .queueTimeout = 0}, {}, {});
    const std::string received = serve(io, context, ends[1], ends[0]);
    ::close(ends[0]);

    uint64_t counted = 0;
    for (const auto& [status, count] : context.counters.responses) {
        require(status >= "200" && status < "600", "the status is one of an answer");
        counted += count;
    }
    require(context.places.free.left == 1, "the place is given back");
    require(context.bodies.left == context.limits.maxBodiesBytes, "so is the memory");
    require(received.empty() || received.starts_with("HTTP/1."), "an answer comes first");
    require(countOf(received, "\r\nServer: velmoraLight-stand-in/") == counted,
            "as many answers as were counted");
    return 0;
}
