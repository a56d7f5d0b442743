#pragma once

namespace qor {

// Brings what is logged to its files, before a process ends whose failure stands in the log only. A
// log file may be a FIFO that nobody reads: the process ends with status 0 after a second, also
// when it is still waiting for one.
void bringLogToFiles();

}  // namespace qor
