#pragma once

#include <string>

#include "vlib/vlog/vlog.h"

// Collects the lines that a logger delivers, from construction to destruction. For one thread.
class CapturingSink : public VLog::ILogSink {
public:
    explicit CapturingSink(VLog& logger) : log(logger) { log.addSink(this); }
    ~CapturingSink() override { log.removeSink(this); }
    CapturingSink(const CapturingSink&) = delete;
    CapturingSink& operator=(const CapturingSink&) = delete;

    void consume(VLog* /*source*/, const VLog::LogEntry& entry) override { lines += entry.buffer; }

    [[nodiscard]] const std::string& text() const { return lines; }

private:
    VLog& log;
    std::string lines;
};
