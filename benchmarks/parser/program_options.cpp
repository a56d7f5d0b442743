#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include <boost/program_options.hpp>

#include "parser/command_lines.h"

namespace {

namespace po = boost::program_options;

// Options are lists, since the library refuses an option that is given twice.
int readByProgramOptions(CommandLine& line) {
    po::options_description description("Velmora Service");
    description.add_options()("help,h", "Velmora Service Help.");
    for (const OptionText& option : optionTexts) {
        description.add_options()(
            std::string(option.name).append(",").append(option.letter).c_str(),
            po::value<std::vector<int>>(), option.description);
    }
    po::variables_map values;
    po::store(po::parse_command_line(line.count(), line.texts(), description), values);
    int sum = 0;
    for (const OptionText& option : optionTexts) {
        sum +=
            values.count(option.name) > 0 ? values[option.name].as<std::vector<int>>().back() : 0;
    }
    return sum;
}

void start(benchmark::State& state) {
    CommandLine line = nineElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByProgramOptions(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(start)->Name("front-end/program-options");

void many(benchmark::State& state) {
    CommandLine line = manyElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByProgramOptions(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(many)->Name("ten-thousand/program-options");

}  // namespace
