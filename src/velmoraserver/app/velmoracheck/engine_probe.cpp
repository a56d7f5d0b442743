#include "velmoraserver/app/velmoracheck/engine_probe.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <vector>

#include "velmoraserver/app/velmoracheck/invocation.h"
#include "velmoraserver/app/velmoracheck/listener.h"

namespace velmoracheck {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds answerTime{5000};
constexpr milliseconds serveTime{10000};
constexpr milliseconds leaveTime{1000};
constexpr int notLoaded = 127;  // the status of the loader, and of a shell

std::string contentOf(int file) {
    constexpr off_t most = 65536;
    std::string text(most, '\0');
    const off_t size = ::lseek(file, 0, SEEK_END);
    const ssize_t n = ::pread(file, text.data(), text.size(), std::max<off_t>(size - most, 0));
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    return text;
}

// The program that is linked with the engine as the daemon is, while it runs. It has a process
// group of its own: with the object all of that group is gone, but not what has left it.
class Child {
public:
    // With the numbers of a server, in the order of the program's arguments, or without any.
    explicit Child(const std::vector<int>& numbers)
        : program(programBeside("../lib/velmora/velmoraengine-probe")),
          answers(::memfd_create("answers", MFD_CLOEXEC)),
          output(::memfd_create("output", MFD_CLOEXEC)),
          pid(::fork()) {
        if (pid == 0) {
            becomeProgram(numbers);
        }
    }
    ~Child() {
        end();
        ::close(answers);
        ::close(output);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] pid_t id() const { return pid; }

    // Its answers so far, each of which ends in a zero byte.
    [[nodiscard]] std::vector<std::string> texts() const {
        std::vector<std::string> result;
        const std::string all = contentOf(answers);
        for (std::size_t begin = 0; begin < all.size(); begin += result.back().size() + 1) {
            result.emplace_back(all.c_str() + begin);
        }
        return result;
    }

    // Whether something comes true in time, before it ends or as it does.
    [[nodiscard]] bool achieves(const std::function<bool()>& condition, milliseconds limit) const {
        const Clock::time_point deadline = Clock::now() + limit;
        for (bool isLast = false; !condition(); ::usleep(1000)) {
            if (isLast || Clock::now() > deadline) {
                return false;
            }
            isLast = hasEnded();
        }
        return true;
    }

    [[nodiscard]] bool hasEnded() const {
        siginfo_t info{};
        // Left to be waited for again: until then nobody else has its number.
        constexpr int look = WEXITED | WNOHANG | WNOWAIT;
        return pid <= 0 ||
               (::waitid(P_PID, static_cast<id_t>(pid), &info, look) == 0 && info.si_pid == pid);
    }

    // Ends it as the daemon is ended, and by force when that does not help. What became of it.
    std::string end() {
        if (pid <= 0) {
            return "cannot be run";
        }
        ::kill(-pid, SIGTERM);
        static_cast<void>(achieves([this] { return hasEnded(); }, leaveTime));
        ::kill(-pid, SIGKILL);
        ::kill(pid, SIGKILL);  // it may not have its group yet
        int status = 0;
        ::waitpid(std::exchange(pid, -1), &status, 0);
        if (WIFSIGNALED(status)) {
            return joined("crashes with SIG", ::sigabbrev_np(WTERMSIG(status)));
        }
        return WEXITSTATUS(status) == notLoaded && !said().empty()
                   ? "cannot be loaded"
                   : joined("ends the process with status ", WEXITSTATUS(status));
    }

    // "; it says: " and the last line that it printed, without its own name; empty without one.
    [[nodiscard]] std::string said() const {
        std::string text = contentOf(output);
        text.erase(text.find_last_not_of(" \t\r\n") + 1);
        text.erase(0, text.find_last_of('\n') + 1);
        for (std::size_t at = 0; (at = text.find(program + ": ")) != std::string::npos;) {
            text.erase(at, program.size() + 2);
        }
        return text.empty() ? "" : "; it says: " + text;
    }

private:
    // A crash leaves no core file behind (1 is too little for one, and keeps the system's handler
    // of them from being called); with the parent goes the child.
    [[noreturn]] void becomeProgram(const std::vector<int>& numbers) const {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        constexpr rlimit tooSmall{1, 1};
        ::setrlimit(RLIMIT_CORE, &tooSmall);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
        std::vector<std::string> words{program, std::to_string(::fcntl(answers, F_DUPFD, 0))};
        std::ranges::transform(numbers, std::back_inserter(words),
                               [](int number) { return std::to_string(number); });
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        ::execv(program.c_str(), arguments.data());
        ::dprintf(STDERR_FILENO, "%s: %s\n", program.c_str(), std::strerror(errno));
        ::_exit(notLoaded);
    }

    std::string program;
    int answers;  // files
    int output;
    pid_t pid;
};

}  // namespace

EngineProbe probeEngine() {
    Child child({});
    if (child.achieves([&] { return child.texts().size() == 3; }, answerTime)) {
        const std::vector<std::string> texts = child.texts();
        const std::string file = std::filesystem::path(texts[0]).lexically_normal().string();
        return {Engine{file, texts[1], texts[2]}, {}, false};
    }
    if (!child.hasEnded()) {
        return {std::nullopt, joined("does not answer within ", answerTime.count(), " ms"), true};
    }
    const std::string ending = child.end();
    return {std::nullopt, ending + " when it is asked for its version" + child.said(), false};
}

Rehearsal rehearse(const qor::Settings& settings) {
    const Clock::time_point begin = Clock::now();
    Child child({settings.port, settings.connections, settings.threads, settings.threadQueuesize,
                 settings.queueTimeout});
    sockaddr_storage anywhere{};
    anywhere.ss_family = AF_INET;
    reinterpret_cast<sockaddr_in&>(anywhere).sin_port =
        htons(static_cast<in_port_t>(settings.port));
    const auto isRefused = [&] { return child.texts().size() == 4 && child.texts()[3] == "null"; };
    const auto serves = [&] {
        return child.texts().size() == 4 && hasSocket(child.id(), listenersOn(anywhere));
    };
    const bool isDecided = child.achieves([&] { return isRefused() || serves(); }, serveTime);
    const auto duration = std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
    if (isDecided && !isRefused()) {
        return {duration, {}};
    }
    if (isDecided) {
        return {duration, "it creates no server" + child.said()};
    }
    if (child.hasEnded()) {
        const std::string ending = child.end();
        return {duration, "it " + ending + " when it is to create its server" + child.said()};
    }
    return {duration, joined("it does not listen on port ", settings.port, " within ",
                             serveTime.count(), " ms", child.said())};
}

}  // namespace velmoracheck
