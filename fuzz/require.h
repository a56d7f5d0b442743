#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the process with a line that names the property that does not hold.
inline void require(bool holds, const char* property) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", property);
        std::abort();
    }
}
