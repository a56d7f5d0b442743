#pragma once

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "support/wait_until.h"

// A FIFO with a reader: it takes a page, and who writes more waits until it is read.
class HeldFifo {
public:
    explicit HeldFifo(const std::string& path) {
        if (::mkfifo(path.c_str(), S_IRUSR | S_IWUSR) != 0) {
            throw std::runtime_error("cannot make a FIFO");
        }
        readEnd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (::fcntl(readEnd, F_SETPIPE_SZ, capacity) != capacity) {
            throw std::runtime_error("cannot make the FIFO small");
        }
    }
    ~HeldFifo() { ::close(readEnd); }
    HeldFifo(const HeldFifo&) = delete;
    HeldFifo& operator=(const HeldFifo&) = delete;

    // Waits for it. Who has filled it then waits in the middle of what it writes.
    [[nodiscard]] bool isFull() const {
        return waitUntil([this] {
            int held = 0;
            return ::ioctl(readEnd, FIONREAD, &held) == 0 && held == capacity;
        });
    }

    // Waits until so many bytes have come, and returns them.
    [[nodiscard]] std::string take(size_t size) const {
        std::string all;
        const bool came = waitUntil([&] {
            char block[capacity];
            const ssize_t count = ::read(readEnd, block, sizeof block);
            all.append(block, count > 0 ? static_cast<size_t>(count) : 0);
            return all.size() >= size;
        });
        return came ? all : "too little: " + all;
    }

    static constexpr int capacity = 4096;

private:
    int readEnd = -1;
};
