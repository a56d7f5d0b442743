// The daemon's command line, by every parser of the comparison: construct, declare eight options,
// parse nine elements, read the values. And how long a command line of 10,000 elements takes.
// Names are "question/parser".
#include <benchmark/benchmark.h>
#include <getopt.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "parser/command_lines.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

struct OurParser {
    ArgvParser parser;

    OurParser() {
        parser.setIntroductoryDescription("Velmora Service");
        parser.setHelpOption("h", "help", "Velmora Service Help.");
        for (const OptionText& option : optionTexts) {
            parser.defineOption(option.name, option.description, ArgvParser::OptionRequiresValue);
            parser.defineOptionAlternative(option.name, option.letter);
        }
    }
    int read(CommandLine& line) {
        if (parser.parse(line.count(), line.texts()) != ArgvParser::NoParserError) {
            std::abort();
        }
        int sum = 0;
        for (const OptionText& option : optionTexts) {
            if (parser.foundOption(option.name)) {
                sum += std::atoi(parser.optionValue(option.name).c_str());
            }
        }
        return sum;
    }
};

void ourStart(benchmark::State& state) {
    CommandLine line = nineElements();
    for (auto _ : state) {
        OurParser ours;
        benchmark::DoNotOptimize(ours.read(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ourStart)->Name("front-end/argvparser");

void ourMany(benchmark::State& state) {
    CommandLine line = manyElements();
    for (auto _ : state) {
        OurParser ours;
        benchmark::DoNotOptimize(ours.read(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ourMany)->Name("ten-thousand/argvparser");

int readByGetopt(CommandLine& line) {
    static const option options[] = {
        {"help", no_argument, nullptr, 'h'},
        {"connections", required_argument, nullptr, 'c'},
        {"ini", required_argument, nullptr, 'i'},
        {"port", required_argument, nullptr, 'p'},
        {"threads", required_argument, nullptr, 't'},
        {"threadQueuesize", required_argument, nullptr, 'q'},
        {"queueTimeout", required_argument, nullptr, 'o'},
        {"verbose", required_argument, nullptr, 'v'},
        {nullptr, 0, nullptr, 0},
    };
    int values[256] = {};
    optind = 0;  // begins anew
    for (int found = 0; (found = ::getopt_long(line.count(), line.texts(),
                                               "+hc:i:p:t:q:o:v:", options, nullptr)) != -1;) {
        values[static_cast<unsigned char>(found)] = std::atoi(optarg);
    }
    int sum = 0;
    for (const OptionText& text : optionTexts) {
        sum += values[static_cast<unsigned char>(text.letter[0])];
    }
    return sum;
}

void getoptStart(benchmark::State& state) {
    CommandLine line = nineElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByGetopt(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(getoptStart)->Name("front-end/floor");

void getoptMany(benchmark::State& state) {
    CommandLine line = manyElements();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readByGetopt(line));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(getoptMany)->Name("ten-thousand/floor");

}  // namespace
