// The console diagnostics of the foundation library: one line on standard output, flushed at once.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace vdiagnostic {

// Prints "[LEVEL]\tfile:function():line - ", the formatted text and "\r\n". The line number belongs
// to the text: readers of the output may rely on it, so it does not follow the source.
[[gnu::format(printf, 5, 6)]] inline void print(const char* level, const char* file,
                                                const char* function, int line, const char* format,
                                                ...) {
    ::flockfile(stdout);  // keeps the pieces of one line together
    std::printf("[%s]\t%s:%s():%d - ", level, file, function, line);
    std::va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\r\n");
    std::fflush(stdout);
    ::funlockfile(stdout);
}

}  // namespace vdiagnostic
