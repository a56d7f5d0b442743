#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// An answer as it came over the wire.
struct HttpReply {
    int status = 0;
    std::map<std::string, std::string> fields;  // names in lower case
    std::string body;
};

// How a connection ended.
enum class Hangup { Orderly, Reset };

// A connection to a server on this machine that sends exactly the bytes it is given. Every wait is
// bounded; what fails throws std::runtime_error.
class HttpClient {
public:
    explicit HttpClient(uint16_t port)
        : descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const timeval limit{60, 0};
        ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        ::setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        while (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            if (errno != EINTR) {
                ::close(descriptor);
                throw std::runtime_error(std::string("cannot connect: ") + std::strerror(errno));
            }
        }
    }
    ~HttpClient() { ::close(descriptor); }
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    // Sends all of it. False when the server does not take it any more.
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0 && errno != EINTR) {
                return false;
            }
            bytes.remove_prefix(static_cast<size_t>(std::max<ssize_t>(sent, 0)));
        }
        return true;
    }

    // Says that nothing more will be sent; answers are still read.
    void finishSending() { ::shutdown(descriptor, SHUT_WR); }

    // Reads one answer. `withBody` is false for the answer to HEAD and for an interim one.
    HttpReply receive(bool withBody = true) {
        size_t end = 0;
        while ((end = unread.find("\r\n\r\n")) == std::string::npos) {
            readMore();
        }
        HttpReply reply = parseHead(unread.substr(0, end + 2));
        unread.erase(0, end + 4);
        const size_t length = withBody ? lengthOf(reply) : 0;
        while (unread.size() < length) {
            readMore();
        }
        reply.body = unread.substr(0, length);
        unread.erase(0, length);
        return reply;
    }

    // Reads until the server hangs up and tells how it did; the bytes that came before are dropped.
    Hangup awaitHangup() {
        for (;;) {
            char block[4096];
            const ssize_t count = ::recv(descriptor, block, sizeof block, 0);
            if (count < 0 && errno == EINTR) {
                continue;  // the process may have been stopped for a while
            }
            if (count == 0) {
                return Hangup::Orderly;
            }
            if (count < 0 && errno == ECONNRESET) {
                return Hangup::Reset;
            }
            if (count < 0) {
                throw std::runtime_error(std::string("no hang-up: ") + std::strerror(errno));
            }
        }
    }

private:
    void readMore() {
        char block[16384];
        ssize_t count = 0;
        do {
            count = ::recv(descriptor, block, sizeof block, 0);
        } while (count < 0 && errno == EINTR);  // a child may have ended
        if (count <= 0) {
            throw std::runtime_error(count == 0 ? "the server hung up" : std::strerror(errno));
        }
        unread.append(block, static_cast<size_t>(count));
    }

    static size_t lengthOf(const HttpReply& reply) {
        const auto length = reply.fields.find("content-length");
        return length == reply.fields.end() ? 0 : std::stoul(length->second);
    }

    // `head` is the status line and the fields, each with its line end.
    static HttpReply parseHead(const std::string& head) {
        HttpReply reply;
        if (head.compare(0, 7, "HTTP/1.") != 0) {
            throw std::runtime_error("not HTTP: " + head);
        }
        reply.status = std::atoi(head.c_str() + std::strlen("HTTP/1.1 "));
        size_t at = head.find("\r\n") + 2;
        while (at < head.size()) {
            const size_t end = head.find("\r\n", at);
            const size_t colon = head.find(": ", at);
            std::string name = head.substr(at, colon - at);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            reply.fields[name] = head.substr(colon + 2, end - colon - 2);
            at = end + 2;
        }
        return reply;
    }

    int descriptor;
    std::string unread;
};

// The bytes of a request. `fields` are further header fields, each with its line end.
inline std::string httpRequest(const std::string& method, const std::string& target,
                               const std::string& body = "", const std::string& fields = "") {
    const std::string length =
        body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n" + fields + length + "\r\n" +
           body;
}

// One request on a connection of its own.
inline HttpReply httpExchange(uint16_t port, const std::string& method, const std::string& target,
                              const std::string& body = "") {
    HttpClient client(port);
    client.send(httpRequest(method, target, body));
    return client.receive(method != "HEAD");
}
