#pragma once

#include <cstdio>

namespace vos {

// Writes a text to an open stream and flushes it, with the stream held, so that what threads print
// stays whole. What cannot be written is lost, as with fputs() and fflush(), and shows in ferror().
void printAndFlush(std::FILE* stream, const char* text);

}  // namespace vos
