#include "velmoralight_standin/deadline.h"

namespace standin {

void Deadline::at(Clock::time_point end) {
    state_->end = end;
    state_->timer.expires_at(end);  // which ends the wait for the former one
    if (end != Clock::time_point::max()) {
        await(state_);
    }
}

void Deadline::await(const std::shared_ptr<State>& state) {
    state->timer.async_wait([weak = std::weak_ptr(state)](const error_code& error) {
        const auto ended = weak.lock();
        // The limit may have been set anew when the end of the wait was already on its way.
        if (error || !ended || Clock::now() < ended->end) {
            return;
        }
        error_code ignored;  // nothing to cancel is as good
        ended->socket.cancel(ignored);
        // The operation may have been between two steps, with nothing to cancel: the next one must
        // not get by.
        constexpr std::chrono::milliseconds kNextStep{20};
        ended->timer.expires_after(kNextStep);
        await(ended);
    });
}

}  // namespace standin
