#include "vlib/vlog/vlog_spare_entry.h"

#include <utility>

#include "vlib/vlog/vlog_format.h"

namespace vlogspare {
namespace {

// Bare, so that they serve to the very end of a thread: destructors may log when the thread's other
// objects are gone.
thread_local VLog::LogEntry* spare = nullptr;
thread_local bool isOver = false;

struct AtEndOfThread {
    ~AtEndOfThread() {
        delete std::exchange(spare, nullptr);
        isOver = true;
    }
};

}  // namespace

std::unique_ptr<VLog::LogEntry> take() {
    if (spare == nullptr) {
        return std::make_unique<VLog::LogEntry>();
    }
    return std::unique_ptr<VLog::LogEntry>(std::exchange(spare, nullptr));
}

void keep(std::unique_ptr<VLog::LogEntry> entry) {
    if (entry == nullptr || isOver || spare != nullptr || !isWorthKeeping(*entry)) {
        return;
    }
    thread_local const AtEndOfThread cleaner;
    spare = entry.release();
}

bool isWorthKeeping(const VLog::LogEntry& entry) {
    return entry.buffer.capacity() <= 2 * vlogformat::bufferSize;
}

}  // namespace vlogspare
