// Whether the cost of the command-line parser grows linearly with its input: the figure to look at
// is the complexity below each group (its RMS is small when the curve fits).

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "velmoraserver/parseargs/argvparser.h"

namespace {

using namespace CommandLineProcessing;

std::string labelOf(int64_t number) {
    return std::string("option").append(std::to_string(number));
}

void declareOptions(ArgvParser& parser, int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        parser.defineOption(labelOf(i), "What the option is for", ArgvParser::OptionRequiresValue);
        parser.defineOptionAlternative(labelOf(i), labelOf(i) + "x");
    }
}

// An argument vector that owns its texts.
class CommandLine {
public:
    explicit CommandLine(std::vector<std::string> elements) : texts(std::move(elements)) {
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
    }

    ArgvParser::ParserResults parseWith(ArgvParser& parser) {
        return parser.parse(static_cast<int>(pointers.size()), pointers.data());
    }

private:
    std::vector<std::string> texts;
    std::vector<char*> pointers;
};

CommandLine everyOption(int64_t count) {
    std::vector<std::string> elements{"prog"};
    for (int64_t i = 0; i < count; ++i) {
        elements.push_back(std::string("--").append(labelOf(i)).append("=value"));
    }
    return CommandLine(std::move(elements));
}

void declareAndParseOptions(benchmark::State& state) {
    CommandLine line = everyOption(state.range(0));
    for (auto _ : state) {
        ArgvParser parser;
        declareOptions(parser, state.range(0));
        benchmark::DoNotOptimize(line.parseWith(parser));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(declareAndParseOptions)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Complexity(benchmark::oN);

void parseElements(benchmark::State& state) {
    std::vector<std::string> elements(static_cast<std::size_t>(state.range(0)), "-abc");
    CommandLine line(std::move(elements));
    for (auto _ : state) {
        ArgvParser parser;
        parser.defineOption("a", "", ArgvParser::NoOptionAttribute);
        parser.defineOption("b", "", ArgvParser::NoOptionAttribute);
        parser.defineOption("c", "", ArgvParser::NoOptionAttribute);
        benchmark::DoNotOptimize(line.parseWith(parser));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(parseElements)->RangeMultiplier(10)->Range(1000, 100000)->Complexity(benchmark::oN);

void parseArguments(benchmark::State& state) {
    std::vector<std::string> elements(static_cast<std::size_t>(state.range(0)), "argument");
    CommandLine line(std::move(elements));
    for (auto _ : state) {
        ArgvParser parser;
        benchmark::DoNotOptimize(line.parseWith(parser));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(parseArguments)->RangeMultiplier(10)->Range(1000, 100000)->Complexity(benchmark::oN);

void renderUsageText(benchmark::State& state) {
    ArgvParser parser;
    declareOptions(parser, state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(parser.usageDescription(80));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(renderUsageText)->RangeMultiplier(10)->Range(1000, 100000)->Complexity(benchmark::oN);

void wrapText(benchmark::State& state, const std::string& word) {
    std::string text;
    while (text.length() < static_cast<std::size_t>(state.range(0))) {
        text += word;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(formatString(text, 80, 4));
    }
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK_CAPTURE(wrapText, words, std::string("description "))
    ->RangeMultiplier(16)
    ->Range(1 << 12, 1 << 20)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(wrapText, oneWord, std::string("x"))
    ->RangeMultiplier(16)
    ->Range(1 << 12, 1 << 20)
    ->Complexity(benchmark::oN);
BENCHMARK_CAPTURE(wrapText, blanks, std::string(" "))
    ->RangeMultiplier(16)
    ->Range(1 << 12, 1 << 20)
    ->Complexity(benchmark::oN);

void splitText(benchmark::State& state) {
    std::string text;
    while (text.length() < static_cast<std::size_t>(state.range(0))) {
        text += "piece,,";
    }
    for (auto _ : state) {
        std::vector<std::string> pieces;
        splitString(pieces, text, ",");
        benchmark::DoNotOptimize(pieces);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(splitText)->RangeMultiplier(16)->Range(1 << 12, 1 << 20)->Complexity(benchmark::oN);

}  // namespace
