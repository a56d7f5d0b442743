// What a reader gives up before it sees its first picture.
#pragma once

#include "velmoralight_standin/limits.h"

namespace standin {

// Whether enterSandbox() limits memory and system calls in this build.
#ifdef VELMORA_READER_UNCONFINED
inline constexpr bool kIsConfined = false;
#else
inline constexpr bool kIsConfined = true;
#endif

// For good and for the whole process: no descriptor but 0 to 2, and none to be had; no core file; a
// limit of memory; an end with the thread that started it; and no system call but those that
// reading from and writing to `socket`, memory and ending need. Whatever else it calls, it is ended
// for. Throws std::runtime_error when one of them is not to be had.
void enterSandbox(int socket, const Limits& limits);

}  // namespace standin
