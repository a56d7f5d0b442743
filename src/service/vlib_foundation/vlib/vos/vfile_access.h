#pragma once

#include <cstddef>
#include <string>

#include "vlib/vos/vfile.h"

namespace vos {

// The size of a file that was just opened for reading, without moving in it where the system knows
// the size anyway. What VFile::getSize returns otherwise, and 0 when no stream is open.
[[nodiscard]] size_t sizeOf(VFile& file);

// Whether path could be opened for appending now. Leaves no new file behind, changes none, and
// never waits (a FIFO without a reader counts as not writable).
[[nodiscard]] bool canAppendTo(const std::string& path);

// Where a file would come into being that is made under the name path: behind links whose target is
// missing, the target; otherwise path.
[[nodiscard]] std::string creationPath(const std::string& path);

}  // namespace vos
