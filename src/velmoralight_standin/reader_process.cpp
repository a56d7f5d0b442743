#include "velmoralight_standin/reader_process.h"

#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <system_error>
#include <thread>

#include "velmoralight_standin/reader_protocol.h"

namespace standin {

namespace {

std::system_error failure(int error, const std::string& what) {
    return {error, std::generic_category(), what};
}

// What a new process starts with: the socket and the two standard outputs, every signal as in a
// process that has touched none.
class Outfit {
public:
    explicit Outfit(int socket) {
        sigset_t signals;
        ::posix_spawnattr_init(&attributes_);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes_, &signals);
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&attributes_, &signals);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_adddup2(&actions_, socket, kReaderSocket);
        ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }
    Outfit(const Outfit&) = delete;
    Outfit& operator=(const Outfit&) = delete;
    ~Outfit() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    // Returns an error number.
    int spawn(const std::string& program, pid_t& pid) const {
        std::string name = program;
        char* const arguments[] = {name.data(), nullptr};
        char* const environment[] = {nullptr};
        return ::posix_spawn(&pid, name.c_str(), &actions_, &attributes_, arguments, environment);
    }

private:
    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
};

// Closes what nobody has taken of it.
struct SocketPair {
    SocketPair() {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw failure(errno, "no socket for a reader");
        }
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;
    ~SocketPair() {
        for (const int end : ends) {
            if (end >= 0) {
                ::close(end);
            }
        }
    }

    int ends[2] = {-1, -1};
};

}  // namespace

ReaderProcess::ReaderProcess(const std::string& program, Socket& socket) {
    SocketPair pair;
    socket.assign(asio::generic::stream_protocol(AF_UNIX, 0), pair.ends[0]);
    pair.ends[0] = -1;
    socket.non_blocking(true);
    pid_t pid = 0;
    const int error = Outfit(pair.ends[1]).spawn(program, pid);
    if (error != 0) {
        throw failure(error, "cannot start " + program);
    }
    process_ = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (process_ < 0) {
        const int reason = errno;
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        throw failure(reason, "cannot watch " + program);
    }
}

// Looks instead of being told: a process that has ended may be its tracer's before it can be
// reaped.
ReaderProcess::~ReaderProcess() {
    using Clock = std::chrono::steady_clock;
    const auto last = Clock::now() + std::chrono::seconds(1);
    while (!end() && Clock::now() < last) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    ::close(process_);
}

bool ReaderProcess::end() {
    ::syscall(SYS_pidfd_send_signal, process_, SIGKILL, nullptr, 0);
    siginfo_t ended{};
    const int failed = ::waitid(P_PIDFD, static_cast<id_t>(process_), &ended, WEXITED | WNOHANG);
    return failed != 0 || ended.si_pid != 0;
}

}  // namespace standin
