#include "velmoralight_standin/reader/conversation.h"

#include <malloc.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
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

constexpr uint64_t kMebibyte = uint64_t{1024} * 1024;

// Asks for room, and waits until there is some, or the request has ended without it.
void askForMemory(int socket, uint64_t bytes) {
    const auto size = static_cast<uint32_t>((bytes + kMebibyte - 1) / kMebibyte);
    const ReaderAnswer wish{ReaderWord::NeedsMemory, 0, 0, size};
    uint8_t granted = 0;
    if (!send(socket, &wish, sizeof(wish)) || !receive(socket, &granted, sizeof(granted))) {
        throw std::runtime_error("the server is gone");
    }
    if (granted == 0) {
        throw std::runtime_error("no memory was lent");
    }
}

bool answer(int socket, const std::string& query, Bytes file, const Limits& limits) {
    bool wasLarge = false;
    const Recognition recognition = recognize(query, file, limits, [&](uint64_t bytes) {
        wasLarge = bytes > limits.smallPictureMemory * kMebibyte;
        if (wasLarge) {
            askForMemory(socket, bytes);
        }
    });
    if (wasLarge) {
        // Somebody else may be waiting for it.
        ::malloc_trim(0);
    }
    return sendResult(socket, recognition);
}

}  // namespace

bool announceReadiness(int socket) {
    const ReaderAnswer ready{ReaderWord::Ready, 0, 0, 0};
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
           receive(socket, file.data(), file.size()) && answer(socket, query, file, limits);
}

}  // namespace standin
