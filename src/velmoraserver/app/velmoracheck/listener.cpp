#include "velmoraserver/app/velmoracheck/listener.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "vlib/vutils/vutils_strings.h"

namespace velmoracheck {

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string targetOf(const fs::path& link) {
    std::error_code error;
    return fs::read_symlink(link, error).string();
}

std::string directoryOf(pid_t pid) {
    return "/proc/" + std::to_string(pid) + "/";
}

// As /proc/net/tcp and tcp6 write it: words of 32 bits in the machine's order, and the port.
std::string hexOf(const sockaddr_storage& endpoint) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(endpoint);
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(endpoint);
    if (endpoint.ss_family == AF_INET) {
        return vutils::toStringFormat("%08X:%04X", v4.sin_addr.s_addr, ntohs(v4.sin_port));
    }
    const auto& words = v6.sin6_addr.s6_addr32;
    return vutils::toStringFormat("%08X%08X%08X%08X:%04X", words[0], words[1], words[2], words[3],
                                  ntohs(v6.sin6_port));
}

// Whether sockets of these addresses and ports are in each other's way.
bool collide(const std::string& one, const std::string& other) {
    const std::string mapped = "0000000000000000FFFF0000";  // IPv4 in IPv6
    const auto isAny = [](const std::string& text) {
        return text.find_first_not_of('0') == text.find(':');
    };
    return one.substr(one.find(':')) == other.substr(other.find(':')) &&
           (one == other || isAny(one) || isAny(other) || one == mapped + other ||
            other == mapped + one);
}

template <typename Visit>
void forEachProcess(Visit visit) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc", error)) {
        const auto pid = std::strtol(entry.path().filename().c_str(), nullptr, 10);
        if (pid > 0) {
            visit(static_cast<pid_t>(pid));
        }
    }
}

ProcessInfo describe(pid_t pid) {
    const fs::path directory = directoryOf(pid);
    const std::string name = contentOf(directory / "comm");
    ProcessInfo process{.pid = pid,
                        .name = name.substr(0, name.find('\n')),
                        .program = targetOf(directory / "exe"),
                        .unit = unitOf(contentOf(directory / "cgroup")),
                        .arguments = {}};
    const std::string words = contentOf(directory / "cmdline");
    for (std::size_t begin = 0; begin < words.size();) {
        process.arguments.emplace_back(words.c_str() + begin);
        begin += process.arguments.back().size() + 1;
    }
    // When a new version was installed meanwhile.
    if (constexpr std::string_view deleted = " (deleted)"; process.program.ends_with(deleted)) {
        process.program.resize(process.program.size() - deleted.size());
    }
    return process;
}

// The daemon of the one unit that all processes of a user are in, whose files cannot be looked at.
std::optional<ProcessInfo> daemonOfUser(uid_t user) {
    std::optional<ProcessInfo> daemon;
    std::set<std::string> units;
    forEachProcess([&](pid_t pid) {
        struct stat status {};
        if (::stat(directoryOf(pid).c_str(), &status) == 0 && status.st_uid == user) {
            ProcessInfo process = describe(pid);
            units.insert(process.unit);
            if (process.name == daemonName) {
                daemon = std::move(process);
            }
        }
    });
    return units.size() == 1 && !units.begin()->empty() ? daemon : std::nullopt;
}

}  // namespace

Sockets listenersOn(const sockaddr_storage& endpoint) {
    constexpr const char* listening = "0A";
    Sockets found;
    for (const char* table : {"/proc/self/net/tcp", "/proc/self/net/tcp6"}) {
        std::ifstream file(table);
        std::string
            field[10];  // slot, local, remote, state, queues, timer, retries, user, -, inode
        std::getline(file, field[0]);  // the heading
        while (std::ranges::all_of(field, [&](auto& text) { return !(file >> text).fail(); })) {
            if (field[3] == listening && collide(field[1], hexOf(endpoint))) {
                found[field[9]] = static_cast<uid_t>(std::stoul(field[7]));
            }
            std::getline(file, field[0]);  // the rest of the line
        }
    }
    return found;
}

bool hasSocket(pid_t pid, const Sockets& sockets) {
    std::error_code error;
    return std::ranges::any_of(
        fs::directory_iterator(directoryOf(pid) + "fd", error), [&](const auto& entry) {
            const std::string target = targetOf(entry.path());  // "socket:[1234]"
            return target.starts_with("socket:[") &&
                   sockets.contains(target.substr(8, target.size() - 9));
        });
}

std::optional<ProcessInfo> processOn(const sockaddr_storage& endpoint) {
    const Sockets sockets = listenersOn(endpoint);
    std::vector<ProcessInfo> found;
    forEachProcess([&](pid_t pid) {
        if (pid != ::getpid() && hasSocket(pid, sockets)) {
            found.push_back(describe(pid));
        }
    });
    if (found.empty() && sockets.size() == 1) {
        return daemonOfUser(sockets.begin()->second);
    }
    // Of several that have the same socket, the others got it from the first.
    const bool isOne = found.size() == 1 || (!found.empty() && sockets.size() == 1);
    return isOne ? std::optional(*std::ranges::min_element(found, {}, &ProcessInfo::pid))
                 : std::nullopt;
}

std::string unitOf(const std::string& cgroup) {
    const std::size_t end = std::min(cgroup.size(), cgroup.find_last_not_of('\n') + 1);
    const std::string unit = cgroup.substr(0, end).substr(cgroup.find_last_of('/', end) + 1);
    const bool isOurs = unit.starts_with(daemonName + std::string(".")) ||
                        unit.starts_with(daemonName + std::string("@"));
    return isOurs && unit.ends_with(".service") ? unit : "";
}

}  // namespace velmoracheck
