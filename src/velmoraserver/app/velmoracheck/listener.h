// Who listens on a TCP port of this machine, as /proc tells.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmoracheck {

inline constexpr const char* daemonName = "velmoraserviced";

// A process, as far as this user may look at it.
struct ProcessInfo {
    pid_t pid = 0;
    std::string name;                    // as the kernel has it, of at most 15 characters
    std::string program;                 // the path; empty when it is not to be known
    std::string unit;                    // the daemon's that it runs in; empty otherwise
    std::vector<std::string> arguments;  // with the name that it was called by
};

// The process that listens where another one could not for it; nothing when that cannot be told, or
// it is one of several. Where the open files of a user's processes cannot be looked at, it can when
// all of them are of one unit of the daemon.
[[nodiscard]] std::optional<ProcessInfo> processOn(const sockaddr_storage& endpoint);

// The sockets that listen where one of this address and port could not for them: their inodes and
// users. With the address of all, those of every address.
using Sockets = std::map<std::string, uid_t>;
[[nodiscard]] Sockets listenersOn(const sockaddr_storage& endpoint);

// Whether a process has one of these sockets open.
[[nodiscard]] bool hasSocket(pid_t pid, const Sockets& sockets);

// The unit of the daemon that a text of /proc/PID/cgroup names; empty when it is another or none.
[[nodiscard]] std::string unitOf(const std::string& cgroup);

}  // namespace velmoracheck
