#include "velmoraserver/app/velmoracheck/identity.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

#include "velmoraserver/app/velmoracheck/invocation.h"
#include "velmoraserver/app/velmoracheck/listener.h"

namespace velmoracheck {

std::string become(const std::string& user) {
    const passwd* entry = ::getpwnam(user.c_str());
    if (entry == nullptr) {
        return "there is no user " + inQuotes(user);
    }
    // The user last: it ends the right to do the rest.
    if (entry->pw_uid != ::geteuid() &&
        (::initgroups(entry->pw_name, entry->pw_gid) != 0 || ::setgid(entry->pw_gid) != 0 ||
         ::setuid(entry->pw_uid) != 0)) {
        return joined("cannot become ", inQuotes(user), ": ",
                      std::generic_category().message(errno), " (root can)");
    }
    return {};
}

std::string userToSuggest() {
    if (::geteuid() != 0) {
        return {};
    }
    const std::string name = "systemd/system/velmoraserviced.service";
    // In systemd's order, and where the installation has it.
    for (const std::string& place :
         {std::string("/etc/"), std::string("/run/"), std::string("/usr/local/lib/"),
          std::string("/lib/"), programBeside("../lib/")}) {
        std::ifstream unit(place + name);
        std::string user;
        for (std::string line; std::getline(unit, line);) {
            user = line.starts_with("User=") ? line.substr(5) : user;
        }
        if (!user.empty() && user != "root") {
            return user;
        }
    }
    return {};
}

std::string ownUnit() {
    std::ifstream cgroup("/proc/self/cgroup");
    return unitOf({std::istreambuf_iterator<char>(cgroup), {}});
}

}  // namespace velmoracheck
