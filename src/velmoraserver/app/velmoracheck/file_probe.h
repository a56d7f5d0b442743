// What this user could do with a file. Nothing is made and nothing changed.
#pragma once

#include <string>

namespace velmoracheck {

// What is the same for two names of one file, whether it is there already or not.
[[nodiscard]] std::string identityOf(const std::string& path);

// Why a file could not be appended to, or made where there is none; empty when nothing is in the
// way. Where there is no file, the permissions of its directory are looked at. A FIFO or a socket
// is no such file, but for a pipe that is standard output or standard error: the daemon, started in
// this place, would have it too.
[[nodiscard]] std::string whyNotWritable(const std::string& path);

// Whether a file is another FIFO that this user may write to, which the daemon does once somebody
// reads it. It is not opened: that would end its reader.
[[nodiscard]] bool isWritableFifo(const std::string& path);

// Why a file that is there could not be read; empty when nothing is in the way.
[[nodiscard]] std::string whyNotReadable(const std::string& path);

}  // namespace velmoracheck
