// Measures a server's start and what it costs while nobody asks for anything.
//
// usage: start_probe PORT RUNS IDLE_SECONDS COMMAND [ARGUMENT...]
//
// Starts the command RUNS times and waits each time until the kernel lists a socket that listens on
// PORT; what it prints goes to /dev/null. With IDLE_SECONDS it is started once more: three seconds
// later its memory and threads are read, and then its wake-ups and processor time over so many
// seconds. Prints one line of JSON. The command is stopped by SIGKILL.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The kernel's own list of listening sockets, asked for without going through text.
class Listeners {
public:
    Listeners() : link(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG)) {
        if (link < 0) {
            throw std::runtime_error("no netlink socket");
        }
    }
    ~Listeners() { ::close(link); }
    Listeners(const Listeners&) = delete;
    Listeners& operator=(const Listeners&) = delete;

    bool has(uint16_t port) {
        ask();
        bool found = false;
        alignas(nlmsghdr) char answer[16384];
        for (;;) {
            const ssize_t received = ::recv(link, answer, sizeof answer, 0);
            auto left = static_cast<unsigned>(std::max<ssize_t>(received, 0));
            for (auto* message = reinterpret_cast<nlmsghdr*>(answer); NLMSG_OK(message, left);
                 message = NLMSG_NEXT(message, left)) {
                if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR) {
                    return found;
                }
                const auto* socket = static_cast<const inet_diag_msg*>(NLMSG_DATA(message));
                found = found || ntohs(socket->id.idiag_sport) == port;
            }
            if (received <= 0) {
                return found;
            }
        }
    }

private:
    void ask() {
        struct {
            nlmsghdr header;
            inet_diag_req_v2 request;
        } question{};
        question.header.nlmsg_len = sizeof question;
        question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
        question.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
        question.request.sdiag_family = AF_INET;
        question.request.sdiag_protocol = IPPROTO_TCP;
        question.request.idiag_states = 1U << TCP_LISTEN;
        if (::send(link, &question, sizeof question, 0) < 0) {
            throw std::runtime_error("the kernel's list of sockets cannot be had");
        }
    }

    int link;
};

// A started command, which ends with the object.
class Child {
public:
    explicit Child(char** command) : pid(::fork()) {
        if (pid < 0) {
            throw std::runtime_error("there is no process to be had");
        }
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int null = ::open("/dev/null", O_WRONLY);
            ::dup2(null, STDOUT_FILENO);
            ::execv(command[0], command);
            ::_exit(127);
        }
    }
    ~Child() {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] std::string proc(const std::string& name) const {
        return "/proc/" + std::to_string(pid) + "/" + name;
    }

private:
    pid_t pid;
};

void waitForListener(Listeners& listeners, uint16_t port, Clock::time_point start) {
    while (!listeners.has(port)) {
        if (Clock::now() - start > 60s) {
            throw std::runtime_error("the command never listened");
        }
    }
}

// Killed while it started a process of its own, the one before leaves its socket to that for a
// moment, be it one of another call.
void waitForPort(Listeners& listeners, uint16_t port) {
    const Clock::time_point start = Clock::now();
    while (listeners.has(port)) {
        if (Clock::now() - start > 30s) {
            throw std::runtime_error("the port is taken");
        }
        std::this_thread::sleep_for(1ms);
    }
}

double startOnce(Listeners& listeners, uint16_t port, char** command) {
    waitForPort(listeners, port);
    const Clock::time_point start = Clock::now();
    const Child child(command);
    waitForListener(listeners, port, start);
    return secondsSince(start);
}

// The sum of the numbers behind a key ("Private_Dirty:  12 kB") in a file of /proc.
long sumOf(const std::string& path, const std::string& key) {
    std::ifstream file(path);
    long sum = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key)) {
            sum += std::atol(line.substr(line.find_first_of(" \t")).c_str());
        }
    }
    return sum;
}

struct Activity {
    long threads = 0;
    long wakeups = 0;
    double cpuSeconds = 0;
};

Activity activityOf(const Child& child) {
    Activity activity;
    for (const auto& task : std::filesystem::directory_iterator(child.proc("task"))) {
        ++activity.threads;
        activity.wakeups += sumOf(task.path() / "status", "voluntary_ctxt_switches:");
        std::ifstream schedule(task.path() / "schedstat");
        double nanoseconds = 0;
        schedule >> nanoseconds;
        activity.cpuSeconds += nanoseconds / 1e9;
    }
    return activity;
}

void printIdle(Listeners& listeners, uint16_t port, int idleSeconds, char** command) {
    waitForPort(listeners, port);
    const Child child(command);
    waitForListener(listeners, port, Clock::now());
    std::this_thread::sleep_for(3s);
    const std::string memory = child.proc("smaps_rollup");
    std::printf(", \"rss_kb\": %ld, \"private_kb\": %ld", sumOf(memory, "Rss:"),
                sumOf(memory, "Private_Clean:") + sumOf(memory, "Private_Dirty:"));
    const Activity before = activityOf(child);
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
    const Activity after = activityOf(child);
    const double seconds = secondsSince(start);
    std::printf(", \"threads\": %ld, \"wakeups_a_second\": %.2f, \"cpu_us_a_second\": %.1f",
                after.threads, static_cast<double>(after.wakeups - before.wakeups) / seconds,
                (after.cpuSeconds - before.cpuSeconds) * 1e6 / seconds);
}

void measure(uint16_t port, int runs, int idleSeconds, char** command) {
    Listeners listeners;
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        times.push_back(startOnce(listeners, port, command));
    }
    std::ranges::sort(times);
    std::printf("{\"start_us\": %.1f, \"start_median_us\": %.1f", times.front() * 1e6,
                times[times.size() / 2] * 1e6);
    if (idleSeconds > 0) {
        printIdle(listeners, port, idleSeconds, command);
    }
    std::puts("}");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5 || std::atoi(argv[2]) < 1) {
        std::fputs("usage: start_probe PORT RUNS IDLE_SECONDS COMMAND [ARGUMENT...]\n", stderr);
        return 2;
    }
    try {
        measure(static_cast<uint16_t>(std::atoi(argv[1])), std::atoi(argv[2]), std::atoi(argv[3]),
                argv + 4);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "start_probe: %s\n", error.what());
        return 1;
    }
    return 0;
}
