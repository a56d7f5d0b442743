#pragma once

#include <string>

namespace vos {

// Whether path could be opened for appending now. Leaves no new file behind, changes none, and
// never waits (a FIFO without a reader counts as not writable).
[[nodiscard]] bool canAppendTo(const std::string& path);

}  // namespace vos
