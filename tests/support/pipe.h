#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>

// A pipe of this process. Programs that are started inherit neither of its ends by themselves.
class Pipe {
public:
    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    ~Pipe() {
        closeReadEnd();
        closeWriteEnd();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int output() const { return writeEnd; }

    void closeReadEnd() { closeEnd(readEnd); }
    void closeWriteEnd() { closeEnd(writeEnd); }

    // Writes to it until it takes no byte more; returns how many it took.
    size_t fill() const {
        const int flags = ::fcntl(writeEnd, F_GETFL);
        ::fcntl(writeEnd, F_SETFL, flags | O_NONBLOCK);
        size_t count = 0;
        while (::write(writeEnd, "f", 1) == 1) {
            ++count;
        }
        ::fcntl(writeEnd, F_SETFL, flags);
        return count;
    }

    // So many bytes, or fewer where nobody has it open for writing any more.
    [[nodiscard]] std::string read(size_t size) const {
        std::string taken;
        char block[4096];
        ssize_t count = 1;
        while (taken.size() < size && count > 0) {
            count = ::read(readEnd, block, std::min(sizeof block, size - taken.size()));
            taken.append(block, static_cast<size_t>(std::max<ssize_t>(count, 0)));
        }
        return taken;
    }

    // All that is written to it, until nobody has it open for writing any more.
    [[nodiscard]] std::string readAll() {
        closeWriteEnd();
        return read(std::string::npos);
    }

private:
    static void closeEnd(int& end) {
        if (end >= 0) {
            ::close(end);
            end = -1;
        }
    }

    int readEnd = -1;
    int writeEnd = -1;
};
