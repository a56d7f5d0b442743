// What the logger's own thread does: lines into a file, and its backup.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "logger/logger_benchmarks.h"
#include "support/temporary_directory.h"
#include "vlib/vlog/vlog.h"

namespace {

using loggers::Clock;
using loggers::secondsSince;

// As long as the lines of the logger.
constexpr char aLine[] =
    "[2026:11:15 13:21:26.004512 : VELMORASRV : 0x0007 : INFO] -> \tport            : 51000\r\n";

constexpr size_t rotatedSize = 10'000'000;

VLog& leakedLog() {
    constexpr uint32_t periodMs = 4000000;
    return *new VLog(periodMs);  // never deleted: that would wait for its thread's period
}

void writeLines(benchmark::State& state) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("a.log");
    static VLog& log = leakedLog();
    log.addTopic(line::topic, VLogConfig::INFO, VLogConfig::SIMPLE_TS, {file}, {1'000'000'000});
    for (auto _ : state) {
        std::filesystem::remove(file);
        for (int i = 0; i < line::burst; ++i) {
            log.write(line::topic, line::id, VLogConfig::INFO, line::file, 64,
                      VELMORA_BENCHMARK_MESSAGE, line::number);
        }
        const Clock::time_point start = Clock::now();
        log.dumpToFile();
        state.SetIterationTime(secondsSince(start));
    }
    state.SetItemsProcessed(state.iterations() * line::burst);
}
BENCHMARK(writeLines)->Name("writer/vlog")->UseManualTime();

long sizeOf(const char* path) {
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) {
        return 0;
    }
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    std::fclose(file);
    return size;
}

void writeLinesByHand(benchmark::State& state) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("a.log");
    for (auto _ : state) {
        std::filesystem::remove(file);
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < line::burst; ++i) {
            benchmark::DoNotOptimize(sizeOf(file.c_str()));
            std::FILE* stream = std::fopen(file.c_str(), "ab");
            std::fwrite(aLine, 1, sizeof aLine - 1, stream);
            std::fclose(stream);
        }
        state.SetIterationTime(secondsSince(start));
    }
    state.SetItemsProcessed(state.iterations() * line::burst);
}
BENCHMARK(writeLinesByHand)->Name("writer/floor")->UseManualTime();

void fill(const std::string& path) {
    std::ofstream(path, std::ios::binary) << std::string(rotatedSize, 'x');
}

void rotate(benchmark::State& state) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("a.log");
    static VLog& log = leakedLog();
    for (auto _ : state) {
        fill(file);
        const Clock::time_point start = Clock::now();
        log.rotateFile(file, rotatedSize - 1);
        state.SetIterationTime(secondsSince(start));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(rotate)->Name("rotation/vlog")->UseManualTime();

void copy(const std::string& from, const std::string& to) {
    static std::array<char, 65536> bytes;
    const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    const int target = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    for (ssize_t n = 0; (n = ::read(source, bytes.data(), bytes.size())) > 0;) {
        if (::write(target, bytes.data(), static_cast<size_t>(n)) != n) {
            std::abort();
        }
    }
    ::close(target);
    ::close(source);
}

void rotateByHand(benchmark::State& state) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("a.log");
    const std::string backup = directory.path("a.log.bkp");
    for (auto _ : state) {
        fill(file);
        const Clock::time_point start = Clock::now();
        copy(file, backup);
        if (::truncate(file.c_str(), 0) != 0) {
            std::abort();
        }
        state.SetIterationTime(secondsSince(start));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(rotateByHand)->Name("rotation/floor")->UseManualTime();

}  // namespace
