#include "velmoraserver/app/velmoracheck/port_probe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace velmoracheck {

namespace {

struct Endpoint {
    sockaddr_storage storage{};
    socklen_t length = 0;  // 0: the address is none
};

Endpoint makeEndpoint(const std::string& address, uint16_t port) {
    Endpoint endpoint;
    auto* v4 = reinterpret_cast<sockaddr_in*>(&endpoint.storage);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&endpoint.storage);
    if (::inet_pton(AF_INET, address.c_str(), &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(port);
        endpoint.length = sizeof *v4;
    } else if (::inet_pton(AF_INET6, address.c_str(), &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(port);
        endpoint.length = sizeof *v6;
    }
    return endpoint;
}

PortState failed(int error) {
    const PortState::Kind kind = error == EADDRINUSE ? PortState::InUse
                                 : error == EACCES   ? PortState::Forbidden
                                                     : PortState::Unusable;
    return {kind, std::generic_category().message(error)};
}

}  // namespace

PortState probePort(const std::string& address, int port) {
    const Endpoint endpoint = makeEndpoint(address, static_cast<uint16_t>(port));
    if (endpoint.length == 0) {
        return {PortState::Unusable, "Not a numeric address"};
    }
    const int fd = ::socket(endpoint.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return failed(errno);
    }
    // As servers do: connections of an earlier server that are still closing are no hindrance.
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const auto* bound = reinterpret_cast<const sockaddr*>(&endpoint.storage);
    const int error = ::bind(fd, bound, endpoint.length) == 0 ? 0 : errno;
    ::close(fd);
    return error == 0 ? PortState{} : failed(error);
}

}  // namespace velmoracheck
