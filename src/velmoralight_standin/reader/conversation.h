// The reader's side of what it and the server say to each other.
#pragma once

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader_protocol.h"

namespace standin {

// Tells the server that pictures can come. False when it is gone.
[[nodiscard]] bool announceReadiness(int socket);

// Takes one picture from `socket` and answers it; waits for as long as it takes. False when the
// server has closed its end.
[[nodiscard]] bool answerNextRequest(int socket, const Limits& limits);

}  // namespace standin
