// One picture on its way through the readers.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/budget.h"

namespace standin {

// Shared by the connection, which waits for it, and the pool, which has it read.
struct PictureJob {
    using Clock = std::chrono::steady_clock;
    enum class State {
        Waiting,  // in the queue
        Working,  // handed to a reader
        Read,     // what follows `code` is the reader's answer
        Failed,   // the reader had to be replaced; `text` says why
        Refused,  // nobody works on it; `text` says why
        Left      // nor does anybody wait for it
    };

    PictureJob(Socket& client, std::string theQuery, std::string theFile, Claim theMemory)
        : wake(client.get_executor()),
          query(std::move(theQuery)),
          file(std::move(theFile)),
          memory(std::move(theMemory)) {}

    [[nodiscard]] bool isUnderWay() const {
        return state == State::Waiting || state == State::Working;
    }

    // Wakes the connection.
    void end(State how, std::string what) {
        text = std::move(what);
        enter(how);
    }
    void putBack() { enter(State::Waiting); }

    asio::steady_timer wake;
    State state = State::Waiting;
    std::string query;
    std::string file;
    Claim memory;                // for the file
    bool handedOver = false;     // all of it was sent to the reader
    bool wasGivenTwice = false;  // because the first reader died without having taken it
    bool isAbandoned = false;    // its client has left while it was worked on
    int32_t code = 0;
    uint32_t symbols = 0;
    std::string text;
    Clock::time_point since = Clock::now();  // when the present wait or work began
    Clock::duration waited{0};
    Clock::duration worked{0};

private:
    void enter(State next) {
        state = next;
        wake.cancel();
    }
};

}  // namespace standin
