#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>

#include "vlib/vos/vdiagnostic.h"

namespace vutils {

// Formats like printf into a string of 1 to 511 characters. A longer text is not returned, not even
// cut, and neither is an empty one: both print one "[ERR]" line on standard output and return an
// empty string. Re-entrant.
[[gnu::format(printf, 1, 2)]] inline std::string toStringFormat(const char* format, ...) {
    constexpr std::size_t limit = 512;  // with the terminating NUL
    constexpr int failureLine = 265;    // belongs to the text of the diagnostic

    char buffer[limit];
    std::va_list args;
    va_start(args, format);
    const int length = format != nullptr ? std::vsnprintf(buffer, sizeof buffer, format, args) : -1;
    va_end(args);
    if (length < 1 || static_cast<std::size_t>(length) >= limit) {
        vdiagnostic::print("ERR", "vutils_strings", "toStringFormat", failureLine,
                           "Failed to format");
        return {};
    }
    return buffer;
}

}  // namespace vutils
