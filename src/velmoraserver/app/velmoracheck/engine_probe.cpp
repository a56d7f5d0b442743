#include "velmoraserver/app/velmoracheck/engine_probe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <system_error>
#include <vector>

#include "velmoraserver/app/velmoracheck/engine_child.h"

namespace velmoracheck {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t longestAnswer = PIPE_BUF;

// A child process and the end of its pipe. Whatever the child does, it is gone when the object is.
class Child {
public:
    Child() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        pid = ::fork();
        if (pid == 0) {
            ::close(ends[0]);
            ::setpgid(0, 0);  // so that what the engine starts goes with it
            askEngine(ends[1]);
        }
        ::close(ends[1]);
        pipe = ends[0];
    }
    ~Child() {
        if (pid > 0 && !isReaped) {
            kill();
            ::waitpid(pid, nullptr, 0);
        }
        if (pipe >= 0) {
            ::close(pipe);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] bool isRunning() const { return pid > 0; }

    // What the child says; empty when it ends without a word, nothing when neither happens in time.
    // The child says all of it in one piece.
    [[nodiscard]] std::optional<std::string> read(Clock::time_point deadline) const {
        if (!waitForInput(deadline)) {
            return std::nullopt;
        }
        std::string answer(longestAnswer, '\0');
        const ssize_t n = ::read(pipe, answer.data(), answer.size());
        answer.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        return answer;
    }

    // How the child ended, as waitpid() says; it is killed at the deadline.
    [[nodiscard]] int end(Clock::time_point deadline) {
        int status = 0;
        while (::waitpid(pid, &status, WNOHANG) == 0) {
            if (Clock::now() >= deadline) {
                kill();
            }
            ::usleep(1000);
        }
        isReaped = true;
        ::kill(-pid, SIGKILL);  // what the engine may have started
        return status;
    }

private:
    void kill() const {
        ::kill(-pid, SIGKILL);
        ::kill(pid, SIGKILL);  // it may not have its group yet
    }

    [[nodiscard]] bool waitForInput(Clock::time_point deadline) const {
        pollfd input{.fd = pipe, .events = POLLIN, .revents = 0};
        for (;;) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            const int ready =
                ::poll(&input, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
            if (ready >= 0 || errno != EINTR) {
                return ready > 0;
            }
        }
    }

    pid_t pid = -1;
    int pipe = -1;
    bool isReaped = false;
};

std::vector<std::string> splitAtZeros(const std::string& text) {
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin < text.size();) {
        pieces.emplace_back(text.c_str() + begin);
        begin += pieces.back().size() + 1;
    }
    return pieces;
}

EngineProbe problem(std::string text) {
    return {std::nullopt, std::move(text)};
}

EngineProbe understand(const std::string& answer, int status) {
    if (WIFSIGNALED(status)) {
        const char* name = ::sigabbrev_np(WTERMSIG(status));
        return problem("crashes with SIG" + std::string(name != nullptr ? name : "unknown") +
                       " when it is asked for its version");
    }
    const std::vector<std::string> texts =
        splitAtZeros(answer.substr(std::min<std::size_t>(1, answer.size())));
    if (answer.starts_with(engineAnswered) && texts.size() == 3) {
        return {Engine{texts[0], texts[1], texts[2]}, {}};
    }
    if (answer.starts_with(engineFailed) && texts.size() == 1) {
        return problem(texts[0]);
    }
    return problem("ends the process with status " + std::to_string(WEXITSTATUS(status)) +
                   " when it is asked for its version");
}

}  // namespace

EngineProbe probeEngine(std::chrono::milliseconds limit) {
    const Clock::time_point deadline = Clock::now() + limit;
    Child child;
    if (!child.isRunning()) {
        return problem("cannot be tried: " + std::generic_category().message(errno));
    }
    const std::optional<std::string> answer = child.read(deadline);
    if (!answer) {
        return problem("does not answer within " + std::to_string(limit.count()) + " ms");
    }
    return understand(*answer, child.end(deadline));
}

}  // namespace velmoracheck
