#include "velmoralight_standin/http_server.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>

namespace standin {

namespace {

// Children of the host are no business of its engine's clients. A descriptor that stays open in
// them does no harm to this process, so a failure is ignored.
void closeInChildren(int descriptor) {
    static_cast<void>(::fcntl(descriptor, F_SETFD, FD_CLOEXEC));
}

}  // namespace

HttpServer::HttpServer(const VelmoraLightServerConfig& config, const Surroundings& surroundings,
                       const Limits& limits)
    : context_(io_, config, surroundings, limits),
      maxConnections_(static_cast<std::size_t>(config.conns) +
                      static_cast<std::size_t>(limits.maxVisitors)) {
    // The system gets the memory of large bodies back as soon as they are gone. By itself the
    // allocator would keep it after the first few, up to all that bodies may have.
    constexpr int kLarge = 1024 * 1024;
    static_cast<void>(::mallopt(M_MMAP_THRESHOLD, kLarge));
    listen();
    std::promise<void> starting;
    std::future<void> started = starting.get_future();
    thread_ = std::jthread([this, &starting] { run(std::move(starting)); });
    started.get();
}

HttpServer::~HttpServer() {
    asio::post(io_, [this] { stop(); });
}

void HttpServer::listen() {
    const std::string& address = context_.surroundings.address;
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

// The readers are started here because they end with the thread that started them.
void HttpServer::run(std::promise<void> started) {
    pthread_setname_np(pthread_self(), "velmora-server");
    try {
        context_.pool.start();
    } catch (const std::exception&) {
        started.set_exception(std::current_exception());
        return;
    }
    started.set_value();
    asio::co_spawn(io_, acceptClients(), endWithIt);
    io_.run();
}

asio::awaitable<void> HttpServer::acceptClients() {
    while (!context_.stopping) {
        if (connections_.size() >= maxConnections_) {
            co_await awaitChange(asio::steady_timer::time_point::max());
            continue;
        }
        error_code error;
        Socket socket = co_await acceptor_.async_accept(into(error));
        if (context_.stopping) {
            // A client that came just before would be one more to wait for.
            continue;
        }
        if (!error) {
            begin(std::move(socket));
        } else if (error != asio::error::connection_aborted) {
            // Not enough of something, mostly of descriptors, of which an idle client has one. The
            // newcomer is still in the backlog: to try again at once would keep a core busy.
            if (!context_.places.freeOne()) {
                const auto now = asio::steady_timer::clock_type::now();
                co_await awaitChange(now + context_.limits.acceptPause);
            }
        }
    }
}

asio::awaitable<void> HttpServer::awaitChange(asio::steady_timer::time_point atMost) {
    change_.expires_at(atMost);
    error_code error;  // a cancelled wait is what is waited for
    co_await change_.async_wait(into(error));
}

void HttpServer::begin(Socket socket) {
    closeInChildren(socket.native_handle());
    error_code ignored;  // slower, but it works
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    const auto connection = connections_.emplace(connections_.end(), std::move(socket), context_);
    asio::co_spawn(io_, connection->run(), [this, connection](const std::exception_ptr&) {
        connections_.erase(connection);
        change_.cancel();
    });
}

void HttpServer::stop() {
    context_.stopping = true;
    error_code ignored;  // closed is closed
    acceptor_.close(ignored);
    change_.cancel();
    context_.pool.stop();
    for (Connection& connection : connections_) {
        connection.stop();
    }
}

}  // namespace standin
