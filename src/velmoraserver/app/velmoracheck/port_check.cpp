#include "velmoraserver/app/velmoracheck/port_check.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <system_error>

#include "velmoraserver/app/velmoracheck/invocation.h"

namespace velmoracheck {

namespace {

constexpr int lastPort = 65535;

in_port_t& portOf(sockaddr_storage& endpoint) {
    return endpoint.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(endpoint).sin_port
                                         : reinterpret_cast<sockaddr_in6&>(endpoint).sin6_port;
}

// Whether two names are those of one file; the first is seen from the process's directory.
bool isSameFile(pid_t pid, const std::string& theirs, const std::string& ours) {
    const std::string path =
        theirs.starts_with('/') ? theirs : "/proc/" + std::to_string(pid) + "/cwd/" + theirs;
    struct stat one {};
    struct stat other {};
    return ::stat(path.c_str(), &one) == 0 && ::stat(ours.c_str(), &other) == 0 &&
           one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// An engine that is not known need not look at the variable at all.
void checkAddress(Report& report, const std::string& address, const std::string& why) {
    const std::string text =
        joined("VELMORA_LIGHT_BIND is ", inQuotes(address), ", ",
               why.empty() ? "which is no IP address" : "where nobody can listen: " + why);
    if (report.engine && report.engine->isStandIn()) {
        report.findings.error({environmentFile, 1}, text, ": the stand-in engine does not start");
    } else {
        report.findings.warning({environmentFile, 1}, text);
    }
}

std::string describe(const std::optional<ProcessInfo>& process) {
    if (!process) {
        return "a process that cannot be told from here";
    }
    std::string words;
    // Of another daemon; what others were started with is nobody's business.
    for (std::size_t i = 1; process->name == daemonName && i < process->arguments.size(); ++i) {
        words += " " + process->arguments[i];
    }
    return joined(printable(process->name), " (process ", process->pid,
                  words.empty() ? "" : ", started with" + printable(words), ")");
}

int checkHolder(Report& report, const std::string& name, sockaddr_storage endpoint,
                const std::optional<std::string>& iniFile) {
    const std::optional<ProcessInfo> holder = processOn(endpoint);
    if (!holder || !isReplaced(*holder, iniFile)) {
        report.findings.warning(report.settings->sources[Port].place, name, " is in use now by ",
                                describe(holder), ": stop it, or choose another port");
        return report.settings->numbers.port;
    }
    report.notes.push_back(
        joined(name, " is held by the daemon that is to be restarted (process ", holder->pid, ")"));
    portOf(endpoint) = 0;
    static_cast<void>(tryPort(endpoint));  // a failure leaves 0, which the engine will tell of
    return ntohs(portOf(endpoint));
}

}  // namespace

std::optional<sockaddr_storage> endpointOf(const std::string& address, int port) {
    sockaddr_storage endpoint{};
    auto& v4 = reinterpret_cast<sockaddr_in&>(endpoint);
    auto& v6 = reinterpret_cast<sockaddr_in6&>(endpoint);
    const std::size_t scope = address.find('%');
    if (::inet_pton(AF_INET, address.c_str(), &v4.sin_addr) == 1) {
        endpoint.ss_family = AF_INET;
    } else if (::inet_pton(AF_INET6, address.substr(0, scope).c_str(), &v6.sin6_addr) == 1) {
        endpoint.ss_family = AF_INET6;
        if (scope != std::string::npos && IN6_IS_ADDR_LINKLOCAL(&v6.sin6_addr)) {
            const char* name = address.c_str() + scope + 1;
            const unsigned index = ::if_nametoindex(name);
            v6.sin6_scope_id =
                index != 0 ? index : static_cast<unsigned>(std::strtoul(name, nullptr, 10));
        }
    } else {
        return std::nullopt;
    }
    portOf(endpoint) = htons(static_cast<in_port_t>(port));
    return endpoint;
}

int tryPort(sockaddr_storage& endpoint) {
    const int fd = ::socket(endpoint.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return errno;
    }
    // As servers do: connections of an earlier server that are still closing are no hindrance.
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    auto* address = reinterpret_cast<sockaddr*>(&endpoint);
    socklen_t length = endpoint.ss_family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    const int error = ::bind(fd, address, length) == 0 ? 0 : errno;
    ::getsockname(fd, address, &length);
    ::close(fd);
    return error;
}

bool isReplaced(const ProcessInfo& process, const std::optional<std::string>& iniFile) {
    if ((process.program.empty() || process.program != programBeside(daemonName)) &&
        process.unit.empty()) {
        return false;
    }
    std::vector<char*> words;
    for (const std::string& word : process.arguments) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    const std::unique_ptr<CommandLineProcessing::ArgvParser> parser(initArgParser());
    if (parser->parse(static_cast<int>(words.size()), words.data()) !=
        CommandLineProcessing::ArgvParser::NoParserError) {
        return false;
    }
    const std::optional<std::string> theirs = iniFileOf(*parser);
    return theirs && iniFile ? isSameFile(process.pid, *theirs, *iniFile) : theirs == iniFile;
}

int checkPort(Report& report, const std::optional<std::string>& iniFile) {
    const int port = report.settings ? report.settings->numbers.port : 0;
    if (port < 1 || port > lastPort) {
        return port;
    }
    const Place& place = report.settings->sources[Port].place;
    const char* variable = std::getenv("VELMORA_LIGHT_BIND");
    const std::string address = variable != nullptr && *variable != '\0' ? variable : "127.0.0.1";
    const std::string name = joined("port ", port, " of ", inQuotes(address));
    const std::optional<sockaddr_storage> endpoint = endpointOf(address, port);
    sockaddr_storage tried = endpoint.value_or(sockaddr_storage{});
    const int error = endpoint ? tryPort(tried) : EINVAL;
    if (error == EACCES) {
        report.findings.error(place, name, " is forbidden to this user: ",
                              std::generic_category().message(error), "; choose one above 1023");
    } else if (error == EADDRINUSE) {
        return checkHolder(report, name, *endpoint, iniFile);
    } else if (error != 0) {
        checkAddress(report, address, endpoint ? std::generic_category().message(error) : "");
    }
    return port;
}

}  // namespace velmoracheck
