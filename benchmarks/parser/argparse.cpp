#include <benchmark/benchmark.h>

#include <string>

#include <argparse/argparse.hpp>

#include "parser/command_lines.h"

namespace {

int readByArgparse(CommandLine& line) {
    argparse::ArgumentParser parser("prog");
    for (const OptionText& option : optionTexts) {
        parser
            .add_argument(std::string("-").append(option.letter),
                          std::string("--").append(option.name))
            .help(option.description)
            .default_value(std::string("0"));
    }
    parser.parse_args(line.count(), line.texts());
    int sum = 0;
    for (const OptionText& option : optionTexts) {
        sum += std::stoi(parser.get<std::string>(std::string("--").append(option.name)));
    }
    return sum;
}

void start(benchmark::State& state) {
    CommandLine line = nineElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByArgparse(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(start)->Name("front-end/argparse");

}  // namespace
