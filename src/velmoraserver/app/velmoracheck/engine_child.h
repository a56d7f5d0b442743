#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace velmoracheck {

using Clock = std::chrono::steady_clock;

// The program that is linked with the engine as the daemon is, while it runs. What it starts is in
// a process group with it; whatever it does, all of that is gone when the object is. What it prints
// is kept.
class EngineChild {
public:
    // With the numbers of a server, in the order of the program's arguments, or without any.
    explicit EngineChild(const std::vector<int>& numbers);
    ~EngineChild();
    EngineChild(const EngineChild&) = delete;
    EngineChild& operator=(const EngineChild&) = delete;

    [[nodiscard]] pid_t pid() const { return id; }

    // What it has answered so far, as soon as that is so many texts, or it has ended, or at the
    // deadline.
    [[nodiscard]] std::vector<std::string> texts(std::size_t count, Clock::time_point deadline);

    [[nodiscard]] bool hasEnded() const;

    // Lets it go on to its end.
    void release() const;

    // How it ended; it is killed at the deadline.
    struct Ending {
        std::string signal;  // "SEGV"; empty when it ended by itself
        int status = 0;
    };
    Ending end(Clock::time_point deadline);

    // The last line that it printed, without its own name.
    [[nodiscard]] std::string said() const;

private:
    [[noreturn]] void become(const std::vector<int>& numbers, int farEnd) const;

    std::string program;
    pid_t id = -1;
    int channel = -1;  // to it and from it
    int output = -1;   // a file for what it prints
    std::string received;
};

}  // namespace velmoracheck
