// An answer of the engine, before it is put on the wire.
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "velmora_light_api_server.h"

namespace standin {

// 204: done, with nothing to say. An answer with it has neither body nor content type.
inline constexpr int kNoContent = 204;

struct Response {
    int status = 200;
    std::string contentType = "application/json";
    std::string body{};
    // Further header fields, such as `Allow`.
    std::vector<std::pair<std::string, std::string>> fields{};
};

// An answer whose body says what went wrong: code and name of the return code, and `message`.
[[nodiscard]] Response errorResponse(int status, VelmoraLightReturnCode code,
                                     const std::string& message);

// What a reader found, `text`, a JSON object of one member or more, with the times added.
[[nodiscard]] Response resultResponse(VelmoraLightReturnCode code, std::string text,
                                      std::chrono::steady_clock::duration waited,
                                      std::chrono::steady_clock::duration worked);

// 503: the client may come back after `retryAfter`.
[[nodiscard]] Response unavailable(const std::string& message, std::chrono::seconds retryAfter);

}  // namespace standin
