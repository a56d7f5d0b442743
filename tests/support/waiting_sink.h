#pragma once

#include <atomic>

#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

// A sink that stays inside consume() until goOn is set.
class WaitingSink : public VLog::ILogSink {
public:
    void consume(VLog* /*log*/, const VLog::LogEntry& /*entry*/) override {
        entered = true;
        letGo = waitUntil([this] { return goOn.load(); });
    }

    std::atomic<bool> entered = false;
    std::atomic<bool> goOn = false;
    std::atomic<bool> letGo = false;  // false when the deadline passed instead
};
