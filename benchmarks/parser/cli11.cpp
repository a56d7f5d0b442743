#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include <CLI/CLI.hpp>

#include "parser/command_lines.h"

namespace {

int readByCli11(CommandLine& line) {
    CLI::App app("Velmora Service");
    std::array<int, std::size(optionTexts)> values{};
    for (size_t i = 0; i < values.size(); ++i) {
        const OptionText& option = optionTexts[i];
        app.add_option(std::string("-").append(option.letter).append(",--").append(option.name),
                       values[i], option.description)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
    app.parse(line.count(), line.texts());
    int sum = 0;
    for (const int value : values) {
        sum += value;
    }
    return sum;
}

void start(benchmark::State& state) {
    CommandLine line = nineElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByCli11(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(start)->Name("front-end/cli11");

void many(benchmark::State& state) {
    CommandLine line = manyElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByCli11(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(many)->Name("ten-thousand/cli11");

}  // namespace
