// Fed: up to 40 operations on a logger, a byte each and a few for what it is about: rules and sinks
// come and go, lines are written, the queue is drained, and somebody else deletes, cuts, replaces
// and blocks the files. Must hold: the console, the sinks and each file have what the model has.

#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "fuzz/byte_reader.h"
#include "fuzz/vlog_run.h"
#include "support/output_capture.h"
#include "vlib/vlog/vlog.h"

static std::atomic<bool> writerIsOut = false;

// In place of the C library's: the logger's own thread, which alone sleeps here, stays asleep after
// its first look at the empty queue. Only explicit drains write from then on.
extern "C" int usleep(useconds_t /*microseconds*/) {
    writerIsOut = true;
    writerIsOut.notify_all();
    for (;;) {
        ::pause();
    }
}

// One logger for all inputs, since its thread cannot be ended any more. Each input leaves it empty.
static VLog& theLogger() {
    static VLog& log = *new VLog(1);
    writerIsOut.wait(false);
    return log;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    VLog& log = theLogger();
    ByteReader input(data, size);
    OutputCapture console;
    vlogrun::Run run(input, log);
    for (int steps = 0; steps < 40 && !input.empty(); ++steps) {
        run.step();
    }
    run.drain();
    run.compareDelivered(console.text());
    return 0;
}
