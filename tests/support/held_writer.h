#pragma once

#include <stdexcept>
#include <string>

#include "support/held_fifo.h"
#include "support/temporary_directory.h"
#include "vlib/vlog/vlog.h"

// Holds a logger's writer thread in the middle of a drain: what is logged meanwhile stays queued.
//
// The writer is given a line that is longer than its FIFO takes. Make it before sinks and captures:
// its line is delivered like any other. Declare it after the logger, so that it lets go first.
class HeldWriter {
public:
    explicit HeldWriter(VLog& logger) : log(logger) {
        log.addTopic(topic, VLogConfig::INFO, VLogConfig::SIMPLE, {path}, {0});
        const std::string message(HeldFifo::capacity, 'h');
        log.write(topic, 0, VLogConfig::INFO, "held_writer", 0, "%s", message.c_str());
        log.removeTopic(topic, VLogConfig::INFO);
        if (!fifo.isFull()) {
            throw std::runtime_error("the writer never came to its line");
        }
    }
    ~HeldWriter() { release(); }
    HeldWriter(const HeldWriter&) = delete;
    HeldWriter& operator=(const HeldWriter&) = delete;

    // Lets the writer go, and returns when everything queued is in its files.
    void release() {
        if (!isReleased) {
            isReleased = fifo.take(HeldFifo::capacity).size() >= HeldFifo::capacity;
        }
        log.dumpToFile();
    }

private:
    static constexpr const char* topic = "HELDWRITER";

    VLog& log;
    TemporaryDirectory directory;
    const std::string path = directory.path("fifo");
    HeldFifo fifo{path};
    bool isReleased = false;
};
