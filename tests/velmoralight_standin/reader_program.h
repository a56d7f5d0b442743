#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "velmoralight_standin/reader_protocol.h"

// A reader process that the test talks to in the place of the server. It ends with the object.
class ReaderProgram {
public:
    struct Answer {
        int32_t code = 0;
        uint32_t symbols = 0;
        uint32_t neededMemory = 0;  // MiB, 0 when it asked for none
        std::string text;
    };

    ReaderProgram() {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("cannot make a pair of sockets");
        }
        socket = ends[0];
        const int error = spawn(ends[1]);
        ::close(ends[1]);
        standin::ReaderAnswer ready;
        if (error != 0 || !receive(&ready, sizeof(ready)) ||
            ready.word != standin::ReaderWord::Ready) {
            throw std::runtime_error("the reader does not start");
        }
    }
    ~ReaderProgram() {
        kill();
        hangUp();
        (void)waitForEnd();
    }
    ReaderProgram(const ReaderProgram&) = delete;
    ReaderProgram& operator=(const ReaderProgram&) = delete;

    // Of the running reader.
    [[nodiscard]] pid_t pid() const { return id; }

    void kill() const {
        // -1, once its end has been seen, would mean every process there is.
        if (id > 0) {
            ::kill(id, SIGKILL);
        }
    }

    // Nothing when the reader ended over it.
    std::optional<Answer> ask(const std::string& file, const std::string& query = "") {
        send(file, query);
        return answer();
    }

    void send(const std::string& file, const std::string& query = "") const {
        const standin::ReaderRequest request{static_cast<uint32_t>(query.size()),
                                             static_cast<uint32_t>(file.size())};
        const std::string all =
            std::string(reinterpret_cast<const char*>(&request), sizeof(request)) + query + file;
        for (size_t sent = 0; sent < all.size();) {
            const ssize_t count =
                ::send(socket, all.data() + sent, all.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) {
                return;  // which the answer will show
            }
            sent += static_cast<size_t>(count);
        }
    }

    std::optional<Answer> answer() {
        Answer result;
        standin::ReaderAnswer head;
        if (!receive(&head, sizeof(head))) {
            return std::nullopt;
        }
        if (head.word == standin::ReaderWord::NeedsMemory) {
            result.neededMemory = head.size;
            if (::send(socket, "y", 1, MSG_NOSIGNAL) != 1 || !receive(&head, sizeof(head))) {
                return std::nullopt;
            }
        }
        result.code = head.code;
        result.symbols = head.symbols;
        result.text.resize(head.size);
        return receive(result.text.data(), result.text.size()) ? std::optional(result)
                                                               : std::nullopt;
    }

    void hangUp() {
        if (socket >= 0) {
            ::close(std::exchange(socket, -1));
        }
    }

    // As waitpid() tells it.
    int waitForEnd() {
        if (id > 0) {
            ::waitpid(std::exchange(id, -1), &status, 0);
        }
        return status;
    }

private:
    int spawn(int end) {
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, end, standin::kReaderSocket);
        std::string program = VELMORA_READER_PROGRAM;
        char* const arguments[] = {program.data(), nullptr};
        char* const environment[] = {nullptr};
        const int error =
            ::posix_spawn(&id, program.c_str(), &actions, nullptr, arguments, environment);
        ::posix_spawn_file_actions_destroy(&actions);
        return error;
    }

    bool receive(void* target, size_t size) const {
        return size == 0 || ::recv(socket, target, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

    int socket = -1;
    pid_t id = -1;
    int status = 0;
};
