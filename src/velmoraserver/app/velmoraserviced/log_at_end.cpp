#include "velmoraserver/app/velmoraserviced/log_at_end.h"

#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "vlib/vlog/vlog.h"

namespace qor {

namespace {

// Two periods of the logger's own thread.
constexpr std::chrono::seconds patience(1);

}  // namespace

void bringLogToFiles() {
    try {
        std::thread([] {
            std::this_thread::sleep_for(patience);
            std::_Exit(EXIT_SUCCESS);
        }).detach();
    } catch (const std::system_error&) {
        // Nothing would end a wait for a file, so the logger's own thread gets the time.
        std::this_thread::sleep_for(patience);
        return;
    }
    VLog::getGlobalLog()->dumpToFile();
}

}  // namespace qor
