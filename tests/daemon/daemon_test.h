#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/log_text.h"
#include "support/process.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"

// What a start of the daemon came to.
struct Outcome {
    std::string ending;  // "exit 0"; "signal 15" of one that served until the test ended it
    std::string output;  // standard output, normalised()
    std::string errors;  // standard error
    std::string calls;   // of the engine: a line each, with the numbers
};

// Runs the real daemon in an empty directory, with the recording double as its engine and an
// environment that holds nothing else but a time zone, which is not UTC.
class DaemonTest : public testing::Test {
protected:
    using Arguments = std::vector<std::string>;

    static constexpr char defaultCreate[] =
        "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n";

    // The console warning of a logger without a configuration.
    static constexpr char logDisabled[] = "[WARN]\tvlog:init():<line> - VLog disabled\r\n";

    DaemonTest() {
        environment["LD_LIBRARY_PATH"] = ENGINE_DOUBLE_DIRECTORY;
        environment["TZ"] = "CHAST-12:45";
        environment["ENGINE_DOUBLE_RECORD"] = records.path("calls");
        for (const char* options :
             {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            if (const char* value = std::getenv(options)) {
                environment[options] = value;
            }
        }
    }

    // All calls of the engine in a start with the settings of this line.
    static std::string callsUpTo(const std::string& create) {
        return "getVersion\ngetBuildSHA1\n" + create;
    }

    void start(const Arguments& arguments) {
        Arguments command = prefix;
        command.emplace_back(VELMORASERVICED);
        command.insert(command.end(), arguments.begin(), arguments.end());
        startProgram(std::move(command));
    }

    void startProgram(Arguments command) {
        std::vector<std::string> variables;
        for (const auto& [name, value] : environment) {
            variables.push_back(name + "=" + value);
        }
        process = std::make_unique<Process>(Process::Start{.command = std::move(command),
                                                           .environment = std::move(variables),
                                                           .directory = directory.path(),
                                                           .output = records.path("output"),
                                                           .errors = records.path("errors"),
                                                           .outputDescriptor = outputDescriptor});
    }

    // Waits for the daemon to create its server. Nothing is written after that, so the output is
    // complete then, except for log files.
    void startServing(const Arguments& arguments) {
        start(arguments);
        ASSERT_TRUE(waitUntil([this] {
            return process->hasEnded() || calls().find("create ") != std::string::npos;
        })) << output();
        ASSERT_FALSE(process->hasEnded()) << "ended by " << outcome().ending << "\n" << output();
    }

    // For a daemon that serves.
    [[nodiscard]] Outcome serve(const Arguments& arguments) {
        startServing(arguments);
        process->signal(SIGTERM);
        return outcome();
    }

    // For a daemon that ends by itself.
    [[nodiscard]] Outcome run(const Arguments& arguments) {
        start(arguments);
        return outcome();
    }

    [[nodiscard]] Outcome outcome() {
        const std::string ending = process->waitForEnd();
        return {ending, normalised(output()), readFile(records.path("errors")), calls()};
    }

    [[nodiscard]] std::string output() const { return readFile(records.path("output")); }
    [[nodiscard]] std::string calls() const { return readFile(records.path("calls")); }

    TemporaryDirectory directory;  // in which the daemon runs
    std::map<std::string, std::string> environment;
    Arguments prefix;  // the program that starts the daemon, if there is one, and its arguments
    int outputDescriptor = -1;  // the daemon's standard output, when it is not to be a file
    std::unique_ptr<Process> process;

private:
    TemporaryDirectory records;
};
