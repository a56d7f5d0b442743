// The reader process: takes pictures from the server one by one and tells it the symbols in them.
// What it reads comes from strangers, and it may end at any moment.

#include <malloc.h>

#include <cstdio>
#include <exception>

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/conversation.h"
#include "velmoralight_standin/reader/sandbox.h"

namespace {

// Large blocks go back to the system at once; what small pictures need stays.
void setUpMemory() {
    constexpr int kMebibyte = 1024 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, kMebibyte);
    ::mallopt(M_TRIM_THRESHOLD, 4 * kMebibyte);
}

}  // namespace

int main() {
    try {
        const standin::Limits limits;
        setUpMemory();
        standin::enterSandbox(standin::kReaderSocket, limits);
        bool goesOn = standin::announceReadiness(standin::kReaderSocket);
        while (goesOn) {
            goesOn = standin::answerNextRequest(standin::kReaderSocket, limits);
        }
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "velmoralight-reader: %s\n", failure.what());
        return 1;
    }
}
