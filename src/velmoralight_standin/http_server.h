// A running server: its listener, its thread, its readers.
#pragma once

#include <cstddef>
#include <future>
#include <list>
#include <thread>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/connection.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/server_config.h"
#include "velmoralight_standin/server_context.h"

namespace standin {

// One thread has all of the server: connections, queue, counters. The images are worked on by
// reader processes. A server without connections has no timer and wakes nobody.
class HttpServer {
public:
    // Listens and serves from here on; the readers become ready beside it. `config` has been
    // checked. Throws std::runtime_error, whose text is the reason, when it cannot.
    HttpServer(const VelmoraLightServerConfig& config, const Surroundings& surroundings,
               const Limits& limits);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Stops accepting, answers what waits with 503, lets what is worked on end and be answered,
    // ends the readers and joins the thread.
    ~HttpServer();

private:
    void listen();
    void run(std::promise<void> started);
    asio::awaitable<void> acceptClients();
    asio::awaitable<void> awaitChange(asio::steady_timer::time_point atMost);
    void begin(Socket socket);
    void stop();

    asio::io_context io_{1};
    ServerContext context_;
    asio::ip::tcp::acceptor acceptor_{io_};
    // Cancelled whenever a connection ends.
    asio::steady_timer change_{io_};
    std::list<Connection> connections_;
    const std::size_t maxConnections_;  // with a place and without
    std::jthread thread_;               // joined before anything else goes
};

}  // namespace standin
