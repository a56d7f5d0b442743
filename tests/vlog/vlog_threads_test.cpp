// Many threads at full speed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/temporary_directory.h"
#include "vlib/vlog/vlog.h"

namespace {

constexpr uint32_t INFO = VLogConfig::INFO;
constexpr int threadCount = 8;
constexpr int linesPerThread = 500;

// The line of a thread's n-th message; long enough that a torn one shows.
std::string lineOf(int thread, int n) {
    return "[A        : 0x0001 : INFO] -> thread " + std::to_string(thread) + " line " +
           std::to_string(n) + " " + std::string(static_cast<size_t>(100 + n % 50), 'x') + "\r\n";
}

std::vector<std::string> splitIntoLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line + "\n");
    }
    return lines;
}

// The lines of one thread, in the order in which they stand.
std::vector<std::string> ofThread(int thread, const std::vector<std::string>& lines) {
    const std::string mark = "-> thread " + std::to_string(thread) + " line ";
    std::vector<std::string> own;
    for (const std::string& line : lines) {
        if (line.find(mark) != std::string::npos) {
            own.push_back(line);
        }
    }
    return own;
}

// Every line of every thread is there, whole, once, and in the order of its thread.
void expectAll(const std::vector<std::string>& lines, int perThread) {
    EXPECT_EQ(lines.size(), static_cast<size_t>(threadCount * perThread));
    for (int thread = 0; thread < threadCount; ++thread) {
        std::vector<std::string> expected;
        for (int n = 0; n < perThread; ++n) {
            expected.push_back(lineOf(thread, n));
        }
        EXPECT_EQ(ofThread(thread, lines), expected) << "thread " << thread;
    }
}

class VLogThreads : public testing::Test {
protected:
    void route(std::vector<std::string> files, std::vector<unsigned long> sizes = {0}) {
        log.addTopic("A", INFO, VLogConfig::SIMPLE, std::move(files), std::move(sizes));
    }
    void say(int thread, int n) {
        log.write("A", 1, INFO, "call.cpp", 12, "thread %d line %d %s", thread, n,
                  std::string(static_cast<size_t>(100 + n % 50), 'x').c_str());
    }
    void sayOnAllThreads(int perThread) {
        onThreads(threadCount, [&](int thread) {
            for (int n = 0; n < perThread; ++n) {
                say(thread, n);
            }
        });
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    VLog log{1};
};

TEST_F(VLogThreads, PrintEveryLineWholeAndInTheirOrder) {
    route({"[STDOUT]"});
    OutputCapture console;
    sayOnAllThreads(linesPerThread);
    expectAll(splitIntoLines(console.text()), linesPerThread);
}

TEST_F(VLogThreads, GiveEveryLineToASinkInTheirOrder) {
    route({});
    const CapturingSink sink(log);
    sayOnAllThreads(linesPerThread);
    expectAll(sink.lines(), linesPerThread);
}

TEST_F(VLogThreads, FindTheSameOrderOnConsoleAndSinks) {
    route({"[STDOUT]"});
    const CapturingSink sink(log);
    OutputCapture console;
    sayOnAllThreads(linesPerThread);
    EXPECT_EQ(splitIntoLines(console.text()), sink.lines());
}

TEST_F(VLogThreads, FindEveryLineInTheFileWhenTheQueueHasRoom) {
    route({file});
    for (int burst = 0; burst < 20; ++burst) {
        std::filesystem::remove(file);
        sayOnAllThreads(25);  // 200 lines
        log.dumpToFile();
        expectAll(splitIntoLines(readFile(file)), 25);
    }
}

TEST_F(VLogThreads, FindTheSameOrderInTheFileAndSinks) {
    route({file});
    const CapturingSink sink(log);
    sayOnAllThreads(25);
    log.dumpToFile();
    EXPECT_EQ(splitIntoLines(readFile(file)), sink.lines());
}

TEST_F(VLogThreads, LeaveOnlyWholeLinesInAFileThatRotates) {
    route({file}, {4000});
    sayOnAllThreads(linesPerThread);
    log.dumpToFile();
    const std::string all = readFile(file + ".bkp") + readFile(file);
    EXPECT_LE(readFile(file).size(), 4000U);
    for (const std::string& line : splitIntoLines(all)) {
        EXPECT_THAT(line, testing::MatchesRegex(
                              "\\[A        : 0x0001 : INFO\\] -> thread [0-7] line [0-9]+ x+\r\n"));
    }
}

TEST_F(VLogThreads, MayAddAndRemoveSinksMeanwhile) {
    route({});
    std::atomic<bool> done = false;
    std::thread comesAndGoes([&] {
        while (!done) {
            const CapturingSink sink(log);
            std::this_thread::yield();
        }
    });
    const CapturingSink sink(log);
    sayOnAllThreads(linesPerThread);
    done = true;
    comesAndGoes.join();
    expectAll(sink.lines(), linesPerThread);
}

TEST_F(VLogThreads, MayDrainMeanwhile) {
    route({file});
    onThreads(threadCount, [&](int thread) {
        for (int n = 0; n < 25; ++n) {
            say(thread, n);
            log.dumpToFile();
        }
    });
    expectAll(splitIntoLines(readFile(file)), 25);
}

}  // namespace
