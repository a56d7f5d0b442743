// The console diagnostics of the foundation library: one line on standard output, flushed at once.
#pragma once

#include <cstdio>
#include <string>

namespace vdiagnostic {

// Prints "[LEVEL]\tfile:function():line - text\r\n". The line number belongs to the text: readers
// of the output may rely on it, so it does not follow the source.
inline void print(const char* level, const char* file, const char* function, int line,
                  const std::string& text) {
    std::printf("[%s]\t%s:%s():%d - %s\r\n", level, file, function, line, text.c_str());
    std::fflush(stdout);
}

}  // namespace vdiagnostic
