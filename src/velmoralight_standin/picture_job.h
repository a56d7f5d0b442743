// One picture on its way through the readers.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/budget.h"
#include "velmoralight_standin/response.h"

namespace standin {

// Shared by the connection that it came from and the pool, which has it read.
struct PictureJob {
    using Clock = std::chrono::steady_clock;
    enum class State {
        Waiting,  // in the queue
        Working,  // handed to a reader
        Ended
    };

    PictureJob(Socket& client, std::string theQuery, std::string theFile, Claim theMemory)
        : wake(client.get_executor()),
          query(std::move(theQuery)),
          file(std::move(theFile)),
          memory(std::move(theMemory)) {}

    // Ends whatever waits for a change.
    void enter(State next) {
        state = next;
        wake.cancel();
    }
    void end(std::optional<Response> theAnswer) {
        answer = std::move(theAnswer);
        enter(State::Ended);
    }

    asio::steady_timer wake;
    State state = State::Waiting;
    std::string query;
    std::string file;
    Claim memory;                    // for the file
    bool handedOver = false;         // all of it was sent to the reader
    bool wasGivenTwice = false;      // because the first reader died without having taken it
    bool isAbandoned = false;        // its client has left
    std::optional<Response> answer;  // at the end, unless nobody waits for it any more
    Clock::time_point since = Clock::now();  // when the present wait or work began
    Clock::duration waited{0};
};

}  // namespace standin
