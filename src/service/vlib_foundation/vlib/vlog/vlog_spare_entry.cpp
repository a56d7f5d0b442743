#include "vlib/vlog/vlog_spare_entry.h"

#include <pthread.h>

#include <cstddef>
#include <optional>
#include <utility>

#include "vlib/vlog/vlog_format.h"

namespace vlogspare {
namespace {

thread_local VLog::LogEntry* spare = nullptr;
thread_local bool isOver = false;

void dropSpare(void* /*value*/) {
    delete std::exchange(spare, nullptr);
    isOver = true;
}

// A key of POSIX, and no object of the thread: these may be gone already when a destructor of a key
// logs the thread's first line. None where the process has used up its keys.
std::optional<pthread_key_t> makeEndOfThread() {
    pthread_key_t key{};
    return ::pthread_key_create(&key, dropSpare) == 0 ? std::optional(key) : std::nullopt;
}

// Has dropSpare() called when the thread ends. False when that cannot be done.
bool isDroppedAtEndOfThread() {
    static const std::optional<pthread_key_t> endOfThread = makeEndOfThread();
    return endOfThread && ::pthread_setspecific(*endOfThread, &spare) == 0;
}

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
    if (isDroppedAtEndOfThread()) {
        spare = entry.release();
    }
}

bool isWorthKeeping(const VLog::LogEntry& entry) {
    constexpr size_t usualFiles = 64;
    return entry.buffer.capacity() <= 2 * vlogformat::bufferSize &&
           entry.rules.files.capacity() <= usualFiles;
}

}  // namespace vlogspare
