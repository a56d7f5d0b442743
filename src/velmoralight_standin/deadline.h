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

    explicit Deadline(Socket& socket)
        : state_(
              std::make_shared<State>(State{socket, asio::steady_timer(socket.get_executor())})) {}
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

    // Each replaces the limit that was set before.
    void at(Clock::time_point end);
    void within(std::chrono::milliseconds time) { at(Clock::now() + time); }
    void lift() { at(Clock::time_point::max()); }
    [[nodiscard]] bool expired() const { return Clock::now() >= state_->end; }

private:
    // Goes with the deadline, which ends the wait of its timer.
    struct State {
        Socket& socket;
        asio::steady_timer timer;
        Clock::time_point end = Clock::time_point::max();
    };
    static void await(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
};

}  // namespace standin
