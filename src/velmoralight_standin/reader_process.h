// One reader process.
#pragma once

#include <string>

#include "velmoralight_standin/asio.h"

namespace standin {

// Ended with the object, which waits a second at most until it is gone. The host's other children
// are nobody's business here, and its handling of SIGCHLD may be any.
class ReaderProcess {
public:
    // Starts `program` and connects `socket`, which is closed, to it. The process has the other end
    // and the standard output and error of this one, no other descriptor and no environment. Throws
    // std::system_error.
    ReaderProcess(const std::string& program, Socket& socket);
    ReaderProcess(const ReaderProcess&) = delete;
    ReaderProcess& operator=(const ReaderProcess&) = delete;
    ~ReaderProcess();

    // Ends it without waiting. True once it is gone, with its memory and its entry in the system's
    // table: a large one takes 20 ms, and one that the kernel holds as long as that likes.
    [[nodiscard]] bool end();

private:
    int process_ = -1;  // a descriptor: the number of a process that ended may be another's
};

}  // namespace standin
