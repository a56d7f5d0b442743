// What a server is created with.
#pragma once

#include <optional>
#include <string>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/limits.h"

namespace standin {

// What the host's environment and the library's place say.
struct Surroundings {
    std::string address = "127.0.0.1";  // to listen on, IPv4 or IPv6
    std::string origins;                // of pages that may ask, separated by blanks or commas
    std::string reader;                 // the program that reads pictures
};

// Why a server cannot be created with these numbers, as a phrase such as
// "port 0 is not in 1..65535"; nothing when they make sense. The first number that does not is
// named.
[[nodiscard]] std::optional<std::string> complaintAbout(const VelmoraLightServerConfig& config,
                                                        const Limits& limits);

}  // namespace standin
