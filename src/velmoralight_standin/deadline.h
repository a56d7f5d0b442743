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
    explicit Deadline(Socket& socket);
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;
    ~Deadline();

    // Each replaces the limit that was set before.
    void at(asio::steady_timer::time_point end);
    void within(std::chrono::milliseconds time);
    void lift();
    [[nodiscard]] bool expired() const;

private:
    struct State;
    static void await(const std::shared_ptr<State>& state, asio::steady_timer::time_point end);

    std::shared_ptr<State> state_;
};

}  // namespace standin
