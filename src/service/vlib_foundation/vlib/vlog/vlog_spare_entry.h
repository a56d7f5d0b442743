#pragma once

#include <memory>

#include "vlib/vlog/vlog.h"

// Each thread keeps an entry from line to line, since the texts and lists of a new one cost five
// allocations.
namespace vlogspare {

// An entry to build a line in: the calling thread's, or a new one when it has none, as in a sink
// that logs. What it holds is that of an earlier line, to be replaced.
[[nodiscard]] std::unique_ptr<VLog::LogEntry> take();

// Leaves an entry to the calling thread. One that the thread cannot use is deleted. May be null.
void keep(std::unique_ptr<VLog::LogEntry> entry);

// Whether an entry's memory is of the size that lines usually take. That of a huge line, or of one
// for very many files, goes back to the system.
[[nodiscard]] bool isWorthKeeping(const VLog::LogEntry& entry);

}  // namespace vlogspare
