#include "velmoralight_standin/http_server.h"

#include <fcntl.h>

#include <exception>
#include <list>
#include <stdexcept>
#include <thread>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include "velmoralight_standin/connection.h"
#include "velmoralight_standin/server_context.h"
#include "velmoralight_standin/thread_name.h"

namespace standin {

namespace {

// Children of the host are no business of its engine's clients. A descriptor that stays open in
// them does no harm to this process, so a failure is ignored.
void closeInChildren(int descriptor) {
    static_cast<void>(::fcntl(descriptor, F_SETFD, FD_CLOEXEC));
}

}  // namespace

class HttpServer::Implementation {
public:
    Implementation(const VelmoraLightServerConfig& config, const std::string& address,
                   const Limits& limits);
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;
    ~Implementation();

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

HttpServer::Implementation::Implementation(const VelmoraLightServerConfig& config,
                                           const std::string& address, const Limits& limits)
    : context_(config, limits) {
    listen(address);
    context_.pool.start();
    asio::co_spawn(io_, acceptClients(), asio::detached);
    thread_ = std::thread([this] { run(); });
}

HttpServer::Implementation::~Implementation() {
    asio::post(io_, [this] { stop(); });
    context_.pool.stop();
    keepRunning_.reset();
    thread_.join();
}

void HttpServer::Implementation::listen(const std::string& address) {
    error_code error;
    const asio::ip::address parsed = asio::ip::make_address(address, error);
    if (error) {
        throw std::runtime_error("VELMORA_LIGHT_BIND names no IPv4 or IPv6 address");
    }
    const asio::ip::tcp::endpoint endpoint(parsed, static_cast<uint16_t>(context_.config.port));
    try {
        acceptor_.open(endpoint.protocol());
        closeInChildren(acceptor_.native_handle());
        acceptor_.set_option(asio::socket_base::reuse_address(true));
        acceptor_.bind(endpoint);
        acceptor_.listen();
    } catch (const boost::system::system_error& failure) {
        throw std::runtime_error("cannot listen on " + address + " port " +
                                 std::to_string(endpoint.port()) + ": " + failure.code().message());
    }
}

void HttpServer::Implementation::run() {
    nameThisThread("velmora-io");
    for (;;) {
        try {
            io_.run();
            return;
        } catch (const std::exception&) {
            // Out of memory while a step was being prepared: that step is lost, the server is not.
            // (Where it happens inside a coroutine of the network library, the process may end.)
        }
    }
}

asio::awaitable<void> HttpServer::Implementation::acceptClients() {
    while (!context_.stopping) {
        if (!mayAccept()) {
            co_await awaitChange(asio::steady_timer::time_point::max());
            continue;
        }
        const bool accepted = co_await acceptClient();
        if (!accepted) {
            // The client is still in the backlog: to try again at once would keep a core busy.
            const auto now = asio::steady_timer::clock_type::now();
            co_await awaitChange(now + context_.limits.acceptPause);
        }
    }
}

// False when there is not enough of something, mostly of descriptors.
asio::awaitable<bool> HttpServer::Implementation::acceptClient() {
    error_code error;
    try {
        Socket socket = co_await acceptor_.async_accept(into(error));
        if (!error) {
            begin(std::move(socket));
        }
    } catch (const std::exception&) {
        co_return false;
    }
    co_return !error || error == asio::error::connection_aborted ||
        error == asio::error::operation_aborted;
}

asio::awaitable<void> HttpServer::Implementation::awaitChange(
    asio::steady_timer::time_point atMost) {
    change_.expires_at(atMost);
    error_code error;  // a cancelled wait is what is waited for
    co_await change_.async_wait(into(error));
}

bool HttpServer::Implementation::mayAccept() const {
    const uint64_t refused = connections_.size() - context_.counters.connectionsOpen;
    return context_.hasFreeConnection() ||
           refused < static_cast<uint64_t>(context_.limits.maxRefusedConns);
}

void HttpServer::Implementation::begin(Socket socket) {
    closeInChildren(socket.native_handle());
    error_code ignored;  // slower, but it works
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    const auto connection = connections_.emplace(connections_.end(), std::move(socket), context_);
    try {
        asio::co_spawn(io_, connection->run(),
                       [this, connection](const std::exception_ptr&) { end(connection); });
    } catch (...) {
        end(connection);
        throw;
    }
}

void HttpServer::Implementation::end(Connections::iterator connection) {
    connections_.erase(connection);
    change_.cancel();
}

void HttpServer::Implementation::stop() {
    context_.stopping = true;
    error_code ignored;  // closed is closed
    acceptor_.close(ignored);
    change_.cancel();
    for (Connection& connection : connections_) {
        connection.stop();
    }
}

HttpServer::HttpServer(const VelmoraLightServerConfig& config, const std::string& address,
                       const Limits& limits)
    : implementation_(std::make_unique<Implementation>(config, address, limits)) {}

HttpServer::~HttpServer() = default;

}  // namespace standin
