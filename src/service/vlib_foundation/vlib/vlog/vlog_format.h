// How a log line is put together. Functions of their arguments alone: no lock, no input or output.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include "vlib/vlog/vlog_config.h"
#include "vlib/vos/vos_types.h"

namespace vlogformat {

// A line's buffer in bytes, with a terminating NUL; most lines fit without growth.
inline constexpr size_t bufferSize = 1024;
// What the prefix may take of it, with a terminating NUL.
inline constexpr size_t prefixLimit = 512;

// What a prefix is made of. No text is null.
struct Prefix {
    uint32_t tagfmt;
    const char* timestamp;
    os_thread_t tid;
    const char* topic;
    uint32_t id;
    const char* level;
    const char* file;
    int line;
};

// The name of a level; "UNKNOWN" for a value that is not one level.
[[nodiscard]] const char* levelName(uint32_t level);

// The name of a tag format; "SIMPLE_TS" for a value that is none, which counts as that.
[[nodiscard]] const char* formatName(uint32_t tagfmt);

// A thread id in decimal, padded with zeros to at least 8 digits.
[[nodiscard]] std::string threadIdText(os_thread_t tid);

// A finished line: prefix, message, "\r\n". A prefix is cut to 511 characters.
// A message that does not fit keeps its first part, and zero bytes take the place of the rest.
[[nodiscard]] std::string formatLine(const Prefix& prefix, const char* fmt, std::va_list args);

}  // namespace vlogformat
