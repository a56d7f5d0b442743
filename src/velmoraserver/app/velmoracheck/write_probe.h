#pragma once

#include <string>

namespace velmoracheck {

// Why this user could not append to a file, or make it where there is none; empty when nothing is
// in the way. Nothing is made and nothing changed: where there is no file, the permissions of its
// directory are looked at. A FIFO or a socket counts as not writable: the daemon would wait for its
// reader.
[[nodiscard]] std::string whyNotWritable(const std::string& path);

}  // namespace velmoracheck
