// How often a line asks for memory. A program of its own: it counts every call of operator new.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "logger/line.h"
#include "logger/redirected_output.h"
#include "vlib/vlog/vlog.h"

namespace {

std::atomic<int64_t> allocations = 0;

void countAllocations(benchmark::State& state, const char* destination) {
    constexpr uint32_t periodMs = 4000000;
    VLog& log = *new VLog(periodMs);  // never deleted: that would wait for its thread's period
    log.addTopic(line::topic, VLogConfig::INFO, VLogConfig::SIMPLE_TS, {destination}, {0});
    const RedirectedOutput redirected(Console::null);
    const auto writeBurst = [&log] {
        for (int i = 0; i < line::burst; ++i) {
            log.write(line::topic, line::id, VLogConfig::INFO, line::file, 64,
                      VELMORA_BENCHMARK_MESSAGE, line::number);
        }
    };
    const int64_t atFirst = allocations;
    writeBurst();
    state.counters["allocations_a_first_line"] =
        static_cast<double>(allocations - atFirst) / line::burst;
    log.dumpToFile();
    int64_t counted = 0;
    for (auto _ : state) {
        const int64_t before = allocations;
        writeBurst();
        counted += allocations - before;
        log.dumpToFile();
    }
    state.counters["allocations_a_line"] =
        static_cast<double>(counted) / static_cast<double>(state.iterations() * line::burst);
}
BENCHMARK_CAPTURE(countAllocations, console, "[STDOUT]")->Name("allocations/console");
BENCHMARK_CAPTURE(countAllocations, file, "/dev/null")->Name("allocations/file");

}  // namespace

// Not inlined: where g++ sees memory of new end in free, it warns.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
