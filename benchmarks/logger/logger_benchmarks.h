// The questions that are put to every logger of the comparison. A logger is a class of static
// functions; each benchmark needs some of them:
//
//   dropped        drop()           a message that the logger's rules let nowhere
//   console        print()          a line on standard output (or error), there when it returns
//   caller         queue(), drain() a line handed to the logger's thread; wait until all are
//   written
//
// Names are "question/logger": what shares a question is compared.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "logger/line.h"
#include "logger/redirected_output.h"
#include "logger/team.h"

namespace loggers {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

template <typename Logger>
void dropped(benchmark::State& state) {
    Logger::drop();
    for (auto _ : state) {
        Logger::drop();
    }
    state.SetItemsProcessed(state.iterations());
}

template <typename Logger>
void console(benchmark::State& state, Console where) {
    const RedirectedOutput redirected(where);
    Logger::print();
    for (auto _ : state) {
        Logger::print();
    }
    state.SetItemsProcessed(state.iterations());
}

// Only the calls are timed: what the logger's own thread does afterwards is not the caller's cost.
template <typename Logger>
void caller(benchmark::State& state) {
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < line::burst; ++i) {
            Logger::queue();
        }
        state.SetIterationTime(secondsSince(start));
        Logger::drain();
    }
    state.SetItemsProcessed(state.iterations() * line::burst);
}

template <typename Logger>
void callers(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const int share = line::burst / size;
    Team team(size, [share] {
        for (int i = 0; i < share; ++i) {
            Logger::queue();
        }
    });
    for (auto _ : state) {
        state.SetIterationTime(team.run());
        Logger::drain();
    }
    state.SetItemsProcessed(state.iterations() * share);
}

// The spread of single calls. A reading of the clock is in each of them.
template <typename Logger>
void latency(benchmark::State& state) {
    std::vector<double> times;
    for (auto _ : state) {
        double sum = 0;
        for (int i = 0; i < line::burst; ++i) {
            const Clock::time_point start = Clock::now();
            Logger::queue();
            times.push_back(secondsSince(start));
            sum += times.back();
        }
        state.SetIterationTime(sum);
        Logger::drain();
    }
    std::ranges::sort(times);
    const auto percentile = [&times](double share) {
        return times[static_cast<size_t>(share * static_cast<double>(times.size() - 1))] * 1e9;
    };
    state.counters["p50_ns"] = percentile(0.5);
    state.counters["p99_ns"] = percentile(0.99);
    state.counters["p999_ns"] = percentile(0.999);
    state.SetItemsProcessed(state.iterations() * line::burst);
}

template <typename Logger>
void addDropped(const std::string& name) {
    benchmark::RegisterBenchmark(("dropped/" + name).c_str(), dropped<Logger>);
}

template <typename Logger>
void addConsole(const std::string& name) {
    benchmark::RegisterBenchmark(("console-null/" + name).c_str(), console<Logger>, Console::null);
    benchmark::RegisterBenchmark(("console-pipe/" + name).c_str(), console<Logger>, Console::pipe)
        ->UseRealTime();
}

template <typename Logger>
void addCaller(const std::string& name) {
    benchmark::RegisterBenchmark(("caller/" + name).c_str(), caller<Logger>)->UseManualTime();
    benchmark::RegisterBenchmark(("caller-latency/" + name).c_str(), latency<Logger>)
        ->UseManualTime();
    for (const int size : {2, 4, 8}) {
        benchmark::RegisterBenchmark(("callers-" + std::to_string(size) + "/" + name).c_str(),
                                     callers<Logger>)
            ->Arg(size)
            ->UseManualTime();
    }
}

// Each logger's file defines its own; the program calls those that were built.
void addFloor();
void addVlog();
void addSpdlog();
void addGlog();
void addLog4cplus();
void addBoostLog();

}  // namespace loggers
