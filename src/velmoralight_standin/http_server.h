// A running server: its listener, its I/O thread, its workers.
#pragma once

#include <list>
#include <string>
#include <thread>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/connection.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/server_context.h"

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
    using Connections = std::list<Connection>;

    void listen(const std::string& address);
    void run();
    asio::awaitable<void> acceptClients();
    asio::awaitable<bool> acceptClient();
    asio::awaitable<void> awaitChange(asio::steady_timer::time_point atMost);
    [[nodiscard]] bool mayAccept() const;
    void begin(Socket socket);
    void end(Connections::iterator connection);
    void stop();

    ServerContext context_;
    asio::io_context io_{1};
    asio::executor_work_guard<asio::io_context::executor_type> keepRunning_{io_.get_executor()};
    asio::ip::tcp::acceptor acceptor_{io_};
    // Cancelled whenever a connection ends.
    asio::steady_timer change_{io_};
    Connections connections_;
    std::thread thread_;
};

}  // namespace standin
