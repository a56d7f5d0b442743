// The places for client connections.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>

#include "velmoralight_standin/counters.h"

namespace standin {

// Who may have to leave when somebody else needs the place.
class Guest {
public:
    // Leaves at once, when the client has hung up, or when it is silent and `isIdle`. False when
    // the guest stays.
    virtual bool leave(bool isIdle) = 0;

protected:
    ~Guest() = default;
};

// As many as there may be connections, counted in the server's counters. When all are taken, a
// newcomer gets the one of the guest that has been idle longest, or whose client has hung up.
class Places {
public:
    using Clock = std::chrono::steady_clock;
    struct Idler {
        Guest* guest;
        Clock::time_point since;  // may lie ahead: the guest is safe until then
    };
    using IdleGuests = std::list<Idler>;

    Places(int32_t number, Counters& counters)
        : number_(static_cast<uint64_t>(number)), counters_(counters) {}

    [[nodiscard]] bool hasFree() const { return counters_.connectionsOpen < number_; }

    // False when there is none to be had.
    [[nodiscard]] bool take() {
        if (!hasFree() && !freeOne()) {
            return false;
        }
        ++counters_.connectionsOpen;
        ++counters_.connectionsAdmitted;
        return true;
    }

    void give() { --counters_.connectionsOpen; }

    // The guests that are idle now; each adds and removes itself.
    IdleGuests idle;

private:
    bool freeOne() {
        const auto now = Clock::now();
        for (auto each = idle.begin(); each != idle.end();) {
            const Idler candidate = *each++;  // who leaves removes itself
            if (candidate.guest->leave(candidate.since <= now)) {
                return true;
            }
        }
        return false;
    }

    const uint64_t number_;
    Counters& counters_;
};

}  // namespace standin
