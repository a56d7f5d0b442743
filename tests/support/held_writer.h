#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

// Holds a logger's writer thread in the middle of a drain: what is logged meanwhile stays queued.
//
// The writer is given a line for a FIFO. It opens it to look at its size, which this class lets it
// do, and then to append, which waits until somebody reads. Make it before sinks and captures: its
// line is delivered like any other. Declare it after the logger, so that it lets go first.
class HeldWriter {
public:
    explicit HeldWriter(VLog& logger) : log(logger) {
        if (::mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR) != 0) {
            throw std::runtime_error("cannot make a FIFO");
        }
        log.addTopic(topic, VLogConfig::INFO, VLogConfig::SIMPLE, {fifo}, {0});
        log.write(topic, 0, VLogConfig::INFO, "held_writer", 0, "hold");
        log.removeTopic(topic, VLogConfig::INFO);
        // Succeeds once the writer is about to look at the size.
        const bool met = waitUntil([this] {
            writeEnd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return writeEnd >= 0;
        });
        if (!met) {
            throw std::runtime_error("the writer never came to its line");
        }
    }
    ~HeldWriter() {
        release();
        ::close(writeEnd);
        ::close(readEnd);
    }
    HeldWriter(const HeldWriter&) = delete;
    HeldWriter& operator=(const HeldWriter&) = delete;

    // Lets the writer go, and returns when everything queued is in its files.
    void release() {
        if (readEnd < 0) {
            readEnd = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        }
        log.dumpToFile();
    }

private:
    static constexpr const char* topic = "HELDWRITER";

    VLog& log;
    TemporaryDirectory directory;
    const std::string fifo = directory.path("fifo");
    int writeEnd = -1;
    int readEnd = -1;
};
