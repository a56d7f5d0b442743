// The places for client connections.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <list>

#include "velmoralight_standin/budget.h"

namespace standin {

// As many as there may be connections; each claims one. When all are taken, a newcomer gets that of
// the guest that has been idle longest, or whose client has hung up.
struct Places {
    using Clock = std::chrono::steady_clock;
    struct IdleGuest {
        // Has it give its place up when its client has hung up, or is silent and `isIdle`. False
        // when it stays.
        std::function<bool(bool isIdle)> leave;
        Clock::time_point since;  // may lie ahead: the guest is safe until then
    };

    // False when there is none to be had.
    [[nodiscard]] bool take(Claim& place) {
        return place.growTo(1) || (freeOne() && place.growTo(1));
    }

    Budget free;
    // Those that are idle now, the longest first; each adds and removes itself.
    std::list<IdleGuest> idle{};

    // Has a guest leave. False when there is none that would.
    [[nodiscard]] bool freeOne() const {
        const auto now = Clock::now();
        return std::any_of(idle.begin(), idle.end(), [now](const IdleGuest& guest) {
            return guest.leave(guest.since <= now);
        });
    }
};

}  // namespace standin
