#include "velmoralight_standin/reader/conversation.h"

#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "velmoralight_standin/reader/recognition.h"

namespace standin {

namespace {

bool receive(int socket, void* target, std::size_t size) {
    auto* at = static_cast<std::byte*>(target);
    while (size > 0) {
        const ssize_t count = ::recv(socket, at, size, 0);
        if (count > 0) {
            at += count;
            size -= static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool send(int socket, const void* source, std::size_t size) {
    const auto* at = static_cast<const std::byte*>(source);
    while (size > 0) {
        const ssize_t count = ::send(socket, at, size, MSG_NOSIGNAL);
        if (count >= 0) {
            at += count;
            size -= static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool sendResult(int socket, const Recognition& recognition) {
    const std::string text = answerText(recognition);
    const ReaderAnswer answer{ReaderWord::Result, recognition.code,
                              static_cast<uint32_t>(recognition.symbols.size()),
                              static_cast<uint32_t>(text.size())};
    return send(socket, &answer, sizeof(answer)) && send(socket, text.data(), text.size());
}

}  // namespace

bool sayReady(int socket) {
    const ReaderAnswer ready{ReaderWord::Ready, VELMORA_LIGHT_SUCCESS, 0, 0};
    return send(socket, &ready, sizeof(ready));
}

bool answerNextRequest(int socket, const Limits& limits) {
    ReaderRequest request;
    if (!receive(socket, &request, sizeof(request))) {
        return false;
    }
    std::string query(request.querySize, '\0');
    std::vector<uint8_t> file(request.fileSize);
    return receive(socket, query.data(), query.size()) &&
           receive(socket, file.data(), file.size()) &&
           sendResult(socket, recognize(query, file, limits));
}

}  // namespace standin
