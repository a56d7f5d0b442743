#pragma once

#include <string>
#include <vector>

#include "vlib/vlog/vlog.h"

// Keeps every line that a logger delivers while the object lives. Read it after the calls that
// write have returned.
class CapturingSink : public VLog::ILogSink {
public:
    explicit CapturingSink(VLog& logger) : log(logger) { log.addSink(this); }
    ~CapturingSink() override { log.removeSink(this); }
    CapturingSink(const CapturingSink&) = delete;
    CapturingSink& operator=(const CapturingSink&) = delete;

    void consume(VLog*, const VLog::LogEntry& entry) override { entries.push_back(entry); }

    // The finished lines, "\r\n" included.
    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> all;
        for (const VLog::LogEntry& entry : entries) {
            all.push_back(entry.buffer);
        }
        return all;
    }

    // All of them joined.
    [[nodiscard]] std::string text() const {
        std::string all;
        for (const VLog::LogEntry& entry : entries) {
            all += entry.buffer;
        }
        return all;
    }

    // The newest line; empty when there is none.
    [[nodiscard]] std::string last() const { return entries.empty() ? "" : entries.back().buffer; }

    std::vector<VLog::LogEntry> entries;

private:
    VLog& log;
};
