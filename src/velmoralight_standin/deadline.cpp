#include "velmoralight_standin/deadline.h"

namespace standin {

struct Deadline::State {
    State(Socket& theSocket) : socket(&theSocket), timer(theSocket.get_executor()) {}

    Socket* socket;
    asio::steady_timer timer;
    // Tells a wait that was replaced while its end was already on its way.
    uint64_t round = 0;
    bool expired = false;
};

Deadline::Deadline(Socket& socket) : state_(std::make_shared<State>(socket)) {}

Deadline::~Deadline() {
    try {
        lift();
    } catch (const boost::system::system_error&) {
        // A timer that cannot be cancelled finds its round gone by.
    }
}

void Deadline::at(asio::steady_timer::time_point end) {
    lift();
    await(state_, end);
}

void Deadline::within(std::chrono::milliseconds time) {
    at(asio::steady_timer::clock_type::now() + time);
}

void Deadline::lift() {
    ++state_->round;
    state_->expired = false;
    state_->timer.cancel();
}

bool Deadline::expired() const {
    return state_->expired;
}

void Deadline::await(const std::shared_ptr<State>& state, asio::steady_timer::time_point end) {
    state->timer.expires_at(end);
    state->timer.async_wait([state, round = state->round](const error_code& error) {
        if (error || round != state->round) {
            return;
        }
        state->expired = true;
        error_code ignored;  // nothing to cancel is as good
        state->socket->cancel(ignored);
        // The operation may have been between two steps, with nothing to cancel: the next one must
        // not get by.
        constexpr std::chrono::milliseconds kNextStep{20};
        await(state, asio::steady_timer::clock_type::now() + kNextStep);
    });
}

}  // namespace standin
