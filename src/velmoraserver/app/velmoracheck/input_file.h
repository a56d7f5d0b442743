#pragma once

#include <string>

#include "velmoraserver/app/velmoracheck/finding.h"

namespace velmoracheck {

// A configuration file that was read, or why it was not.
struct InputFile {
    enum State {
        Read,
        Unopened,   // nobody could open it, the daemon included
        Directory,  // it can be opened, and has nothing to read
        Refused     // what the daemon makes of it is not known
    };
    State state = Read;
    std::string text;  // what was read; otherwise why not: "cannot be opened: ..."
};

// Reads a regular file of at most 4 MiB, or /dev/null, which is empty. Everything else is refused
// without being opened, so that this never waits (for the writer of a FIFO) and never runs out of
// memory.
[[nodiscard]] InputFile readInput(const std::string& path);

// Finds what no text file has: zero bytes (an error), lines of many thousand characters (a
// warning). False when the content is no text.
[[nodiscard]] bool checkIsText(const std::string& path, const std::string& content,
                               Findings& findings);

}  // namespace velmoracheck
