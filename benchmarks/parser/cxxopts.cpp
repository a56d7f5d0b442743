#include <benchmark/benchmark.h>

#include <string>

#include <cxxopts.hpp>

#include "parser/command_lines.h"

namespace {

int readByCxxopts(CommandLine& line) {
    cxxopts::Options options("prog", "Velmora Service");
    options.add_options()("h,help", "Velmora Service Help.");
    for (const OptionText& option : optionTexts) {
        options.add_options()(std::string(option.letter).append(",").append(option.name),
                              option.description, cxxopts::value<int>());
    }
    const cxxopts::ParseResult result = options.parse(line.count(), line.texts());
    int sum = 0;
    for (const OptionText& option : optionTexts) {
        sum += result.count(option.name) > 0 ? result[option.name].as<int>() : 0;
    }
    return sum;
}

void start(benchmark::State& state) {
    CommandLine line = nineElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByCxxopts(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(start)->Name("front-end/cxxopts");

void many(benchmark::State& state) {
    CommandLine line = manyElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByCxxopts(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(many)->Name("ten-thousand/cxxopts");

}  // namespace
