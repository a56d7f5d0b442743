#include "velmoraserver/app/velmoracheck/engine_child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "velmoraserver/app/velmoracheck/invocation.h"

namespace velmoracheck {

EngineChild::EngineChild(const std::vector<int>& numbers)
    : program(programBeside("../lib/velmora/velmoraengine-probe")),
      output(::memfd_create("velmoracheck", MFD_CLOEXEC)) {
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
        id = ::fork();
    }
    if (id == 0) {
        become(numbers, ends[1]);
    }
    channel = ends[0];
    ::close(ends[1]);
}

EngineChild::~EngineChild() {
    end(Clock::now());
    ::close(channel);
    ::close(output);
}

// A crash leaves no core file behind (1 is too little for one, and keeps the system's handler of
// them from being called); with the parent goes the child.
void EngineChild::become(const std::vector<int>& numbers, int farEnd) const {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    constexpr rlimit tooSmall{1, 1};
    ::setrlimit(RLIMIT_CORE, &tooSmall);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    std::vector<std::string> words{program, std::to_string(::fcntl(farEnd, F_DUPFD, 0))};
    for (const int number : numbers) {
        words.push_back(std::to_string(number));
    }
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    ::execv(program.c_str(), arguments.data());
    std::fprintf(stderr, "%s cannot be run: %s\n", program.c_str(), std::strerror(errno));
    std::fflush(stderr);
    ::_exit(127);
}

std::vector<std::string> EngineChild::texts(std::size_t count, Clock::time_point deadline) {
    const auto isEnough = [&] {
        return std::ranges::count(received, '\0') >= static_cast<std::ptrdiff_t>(count);
    };
    for (bool isOpen = true; isOpen && !isEnough();) {
        pollfd ready{.fd = channel, .events = POLLIN, .revents = 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (::poll(&ready, 1, std::max(static_cast<int>(left), 0)) <= 0) {
            break;
        }
        char block[4096];
        const ssize_t n = ::read(channel, block, sizeof block);
        received.append(block, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
        isOpen = n > 0;
    }
    std::vector<std::string> result;
    for (std::size_t begin = 0, end = 0; (end = received.find('\0', begin)) != std::string::npos;
         begin = end + 1) {
        result.push_back(received.substr(begin, end - begin));
    }
    return result;
}

bool EngineChild::hasEnded() const {
    siginfo_t info{};
    // Left to be waited for again: until then nobody else has its number.
    return id <= 0 ||
           (::waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid == id);
}

void EngineChild::release() const {
    ::shutdown(channel, SHUT_WR);
}

EngineChild::Ending EngineChild::end(Clock::time_point deadline) {
    while (!hasEnded() && Clock::now() < deadline) {
        ::usleep(1000);
    }
    int status = 0;
    if (id > 0) {
        ::kill(-id, SIGKILL);  // with what the engine may have started
        ::kill(id, SIGKILL);   // it may not have its group yet
        ::waitpid(id, &status, 0);
        id = -1;
    }
    const char* name = WIFSIGNALED(status) ? ::sigabbrev_np(WTERMSIG(status)) : "";
    return {.signal = name != nullptr ? name : "unknown", .status = WEXITSTATUS(status)};
}

std::string EngineChild::said() const {
    constexpr off_t most = 4096;
    const off_t size = ::lseek(output, 0, SEEK_END);
    std::string text(most, '\0');
    const ssize_t n = ::pread(output, text.data(), text.size(), std::max<off_t>(size - most, 0));
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    text.erase(0, text.find_last_of('\n') + 1);
    for (std::size_t at = 0; (at = text.find(program + ": ")) != std::string::npos;) {
        text.erase(at, program.size() + 2);
    }
    return text;
}

}  // namespace velmoracheck
