// A log configuration of many rules, beside one pass of memchr over its text and beside a loop of
// std::getline. Names are "question/how".
#include <benchmark/benchmark.h>

#include <cstring>
#include <sstream>
#include <string>

#include "vlib/vlog/vlog_config.h"

namespace {

std::string textOf(int64_t rules) {
    std::string text;
    for (int64_t i = 0; i < rules; ++i) {
        text += "TOPIC" + std::to_string(i) + " ; INFO ; SIMPLE_TS ; [STDOUT], a.log ; 0, 10M\n";
    }
    return text;
}

void finish(benchmark::State& state, const std::string& text) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
    state.SetItemsProcessed(state.iterations());
    state.SetComplexityN(state.range(0));
}

void load(benchmark::State& state) {
    const std::string text = textOf(state.range(0));
    for (auto _ : state) {
        std::string copy = text;  // loading takes the blanks out of it
        VLogConfig config;
        benchmark::DoNotOptimize(config.loadFromString(copy));
    }
    finish(state, text);
}

void findLineEnds(benchmark::State& state) {
    const std::string text = textOf(state.range(0));
    for (auto _ : state) {
        const char* end = text.data() + text.size();
        int64_t lines = 0;
        for (const char* place = text.data(); place < end; ++lines) {
            const auto length = static_cast<size_t>(end - place);
            place = static_cast<const char*>(std::memchr(place, '\n', length)) + 1;
        }
        benchmark::DoNotOptimize(lines);
    }
    finish(state, text);
}

void getLines(benchmark::State& state) {
    const std::string text = textOf(state.range(0));
    for (auto _ : state) {
        std::istringstream stream(text);
        int64_t lines = 0;
        for (std::string line; std::getline(stream, line);) {
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
    finish(state, text);
}

BENCHMARK(load)->Name("configuration/vlog")->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(findLineEnds)->Name("configuration/floor")->Arg(100000);
BENCHMARK(getLines)->Name("configuration/getline")->Arg(100000);
BENCHMARK(load)
    ->Name("configuration-growth/vlog")
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
