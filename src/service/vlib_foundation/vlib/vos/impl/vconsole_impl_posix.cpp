#include <stdio_ext.h>
#include <unistd.h>

#include <cstring>

#include "vlib/vos/vconsole.h"

namespace vos {
namespace {

// Writes as much of the text as the stream's descriptor takes at once; returns how much.
size_t writeToDescriptor(std::FILE* stream, const char* text, size_t length) {
    const ssize_t written = ::write(::fileno_unlocked(stream), text, length);
    return written > 0 ? static_cast<size_t>(written) : 0;
}

}  // namespace

// To the descriptor itself where nothing waits in the stream: through the stream's buffer a line
// into /dev/null takes a tenth longer. The stream gets what is left, also where it has no
// descriptor.
void printAndFlush(std::FILE* stream, const char* text) {
    ::flockfile(stream);
    const size_t length = std::strlen(text);
    const bool waits = ::__fpending(stream) > 0;
    const size_t written = waits ? 0 : writeToDescriptor(stream, text, length);
    if (waits || written < length) {
        std::fwrite(text + written, 1, length - written, stream);
        std::fflush(stream);
    }
    ::funlockfile(stream);
}

}  // namespace vos
