#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/wait_until.h"

// A program that runs beside the test, with an environment of its own and with standard output and
// standard error in two files. It ends with the object at the latest, and with the test program.
class Process {
public:
    struct Start {
        std::vector<std::string> command;      // a path, and the arguments
        std::vector<std::string> environment;  // NAME=VALUE; nothing is added to it
        std::string directory;                 // where it runs
        std::string output;                    // the file for its standard output
        std::string errors;                    // the file for its standard error
        int outputDescriptor = -1;  // of this process; standard output instead of the file
    };

    explicit Process(const Start& start)
        : command(pointersTo(start.command)), environment(pointersTo(start.environment)) {
        const pid_t parent = ::getpid();
        id = ::fork();
        if (id < 0) {
            throw std::runtime_error(std::string("cannot fork: ") + std::strerror(errno));
        }
        if (id == 0) {
            becomeProgram(start, parent);
        }
    }
    ~Process() {
        if (!ending) {
            ::kill(id, SIGKILL);
            ::waitpid(id, nullptr, 0);
        }
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return id; }

    // Does nothing once the end of the program has been seen: its number may be another's by then.
    void signal(int number) const {
        if (!ending) {
            ::kill(id, number);
        }
    }

    [[nodiscard]] bool hasEnded() {
        int status = 0;
        if (!ending && ::waitpid(id, &status, WNOHANG) == id) {
            ending = textOf(status);
        }
        return ending.has_value();
    }

    // How the program ended: "exit 255", "signal 15"; "still running" when it does not end within
    // the limit of waitUntil().
    [[nodiscard]] std::string waitForEnd() {
        return waitUntil([this] { return hasEnded(); }) ? *ending : "still running";
    }

private:
    static constexpr int cannotStart = 127;

    // The texts must outlive the result.
    static std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
        std::vector<char*> pointers;
        for (const std::string& text : texts) {
            pointers.push_back(const_cast<char*>(text.c_str()));
        }
        pointers.push_back(nullptr);
        return pointers;
    }

    static std::string textOf(int status) {
        return WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                                 : "signal " + std::to_string(WTERMSIG(status));
    }

    // What the caller ignores or blocks (nohup does) would be inherited.
    static void resetSignals() {
        for (int number = 1; number < SIGRTMIN; ++number) {
            ::signal(number, SIG_DFL);
        }
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
    }

    static bool redirect(int descriptor, const std::string& path, int flags) {
        const int file = ::open(path.c_str(), flags, 0600);
        return file >= 0 && ::dup2(file, descriptor) == descriptor;
    }

    static bool takeOutput(const Start& start, int flags) {
        return start.outputDescriptor >= 0
                   ? ::dup2(start.outputDescriptor, STDOUT_FILENO) == STDOUT_FILENO
                   : redirect(STDOUT_FILENO, start.output, flags);
    }

    // In the child. Appending, so that another writer to the same file does not overwrite.
    [[noreturn]] void becomeProgram(const Start& start, pid_t parent) {
        constexpr int newFile = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        resetSignals();
        if (::getppid() == parent && redirect(STDERR_FILENO, start.errors, newFile) &&
            redirect(STDIN_FILENO, "/dev/null", O_RDONLY | O_CLOEXEC) &&
            takeOutput(start, newFile) && ::chdir(start.directory.c_str()) == 0) {
            ::execve(command.front(), command.data(), environment.data());
        }
        ::_exit(cannotStart);
    }

    std::vector<char*> command;
    std::vector<char*> environment;
    pid_t id = -1;
    std::optional<std::string> ending;
};
