#pragma once

#include <string>

namespace velmoracheck {

// Whether a server could listen now.
struct PortState {
    enum Kind {
        Free,
        InUse,
        Forbidden,  // to this user, whoever else uses it
        Unusable    // the address is none, or none of this machine
    };
    Kind kind = Free;
    std::string problem;  // unless Free: what the system says
};

// Takes a TCP port (1 to 65535) of a numeric address of either family and gives it back at once.
// Nothing can connect meanwhile.
[[nodiscard]] PortState probePort(const std::string& address, int port);

}  // namespace velmoracheck
