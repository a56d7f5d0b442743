// A time limit on the operations of a socket.
#pragma once

#include <chrono>
#include <memory>

#include "velmoralight_standin/asio.h"

namespace standin {

// When the time is over, what the socket waits for ends with an error, and so does what it starts
// to wait for later, until the limit is set anew or lifted. The socket stays open, so that a client
// may still be told. Used on the socket's thread only; the socket outlives it.
class Deadline {
public:
    using Clock = asio::steady_timer::clock_type;

    explicit Deadline(Socket& socket);

    // Each replaces the limit that was set before.
    void at(Clock::time_point end);
    void within(std::chrono::milliseconds time) { at(Clock::now() + time); }
    void lift() { at(Clock::time_point::max()); }
    [[nodiscard]] bool expired() const;

private:
    struct State;
    static void await(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
};

}  // namespace standin
