// The parts of Asio that the engine's network side uses.
//
// In the engine's coroutines every co_await is a statement of its own, or gives a named variable
// its value: g++ 12 compiles `else if (!co_await ...)` into a crash.
#pragma once

#include <exception>
// Boost 1.74 uses std::exchange in its coroutines without including it.
#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/error_code.hpp>

namespace standin {

namespace asio = boost::asio;
using boost::system::error_code;
// A client's or a reader's.
using Socket = asio::generic::stream_protocol::socket;

// What a coroutine hands to an operation: wait for it, and put its outcome into `error`.
inline auto into(error_code& error) {
    return asio::redirect_error(asio::use_awaitable, error);
}

// For a coroutine without which the server is none: when it fails, for want of memory, so does the
// process, and whoever watches over that starts it again.
inline void endWithIt(const std::exception_ptr& failure) {
    if (failure) {
        std::rethrow_exception(failure);
    }
}

// Closed is closed, whatever the system thinks of it.
inline void closeQuietly(Socket& socket) {
    error_code ignored;
    socket.close(ignored);
}

}  // namespace standin
