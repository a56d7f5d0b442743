// Who listens on a TCP port of this machine, as /proc tells.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velmoracheck {

// A process, as far as this user may look at it.
struct ProcessInfo {
    pid_t pid = 0;
    std::string name;                    // as the kernel has it, of at most 15 characters
    std::string program;                 // the path; empty when it is not to be known
    std::string unit;                    // velmoraserviced's, when it runs in it; empty otherwise
    std::vector<std::string> arguments;  // with the name that it was called by
};

// The sockets that listen where one of this address and port would: their inodes and users.
struct Listeners {
    std::set<std::string> sockets;
    std::set<uid_t> users;
};
[[nodiscard]] Listeners listenersOn(const sockaddr_storage& address);

// Whether a process has one of these sockets open.
[[nodiscard]] bool hasSocket(pid_t pid, const std::set<std::string>& sockets);

// The process that has one of the sockets; nothing when that cannot be told. Where the open files
// of a user's processes cannot be looked at, it can when all of them are of one unit.
[[nodiscard]] std::optional<ProcessInfo> processOf(const Listeners& listeners);

// The unit of the daemon that a text of /proc/PID/cgroup names; empty when it names another or
// none.
[[nodiscard]] std::string unitOf(const std::string& cgroup);

}  // namespace velmoracheck
