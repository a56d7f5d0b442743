// What a server is created with.
#pragma once

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

// Throws std::invalid_argument when no server can be created with these numbers. Its text names the
// first one that makes no sense, as in "port 0 is not in 1..65535".
void check(const VelmoraLightServerConfig& config, const Limits& limits);

}  // namespace standin
