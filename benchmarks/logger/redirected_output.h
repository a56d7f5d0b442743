#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <thread>

// Where the lines of a console go during a measurement.
enum class Console { null, pipe };

// While the object lives, standard output and standard error go to /dev/null, or into a pipe that a
// thread reads and forgets.
class RedirectedOutput {
public:
    explicit RedirectedOutput(Console console) {
        const int target =
            console == Console::null ? ::open("/dev/null", O_WRONLY | O_CLOEXEC) : makePipe();
        flush();
        if (target < 0 || ::dup2(target, STDOUT_FILENO) < 0 || ::dup2(target, STDERR_FILENO) < 0) {
            throw std::runtime_error("cannot redirect the output");
        }
        ::close(target);
    }
    ~RedirectedOutput() {
        flush();
        ::dup2(output, STDOUT_FILENO);  // closes the last descriptors of the pipe
        ::dup2(error, STDERR_FILENO);
        ::close(output);
        ::close(error);
        if (reader.joinable()) {
            reader.join();
        }
    }
    RedirectedOutput(const RedirectedOutput&) = delete;
    RedirectedOutput& operator=(const RedirectedOutput&) = delete;

private:
    static void flush() {
        std::fflush(stdout);
        std::fflush(stderr);
        std::cout.flush();
    }

    int makePipe() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            return -1;
        }
        reader = std::thread([end = ends[0]] {
            std::array<char, 65536> bytes{};
            while (::read(end, bytes.data(), bytes.size()) > 0) {
            }
            ::close(end);
        });
        return ends[1];
    }

    const int output = ::dup(STDOUT_FILENO);
    const int error = ::dup(STDERR_FILENO);
    std::thread reader;
};
