#include "velmoraserver/app/velmoraserviced/log_at_end.h"

#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "vlib/vlog/vlog.h"

namespace qor {

void bringLogToFiles() {
    try {
        std::thread([] {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            std::_Exit(EXIT_SUCCESS);
        }).detach();
    } catch (const std::system_error&) {
        return;  // without a thread that ends the wait there is none
    }
    VLog::getGlobalLog()->dumpToFile();
}

}  // namespace qor
