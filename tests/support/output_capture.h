#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

// Takes what the process writes on standard output, or on another stream, from construction to
// text().
class OutputCapture {
public:
    explicit OutputCapture(std::FILE* which = stdout)
        : stream(which), saved(::dup(::fileno(which))), taken(std::tmpfile()) {
        std::fflush(stream);
        ::dup2(::fileno(taken), ::fileno(stream));
    }
    ~OutputCapture() {
        restore();
        std::fclose(taken);
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // What has been written so far, without what still waits in the stream.
    [[nodiscard]] std::string written() const {
        std::string all;
        char block[4096];
        for (ssize_t n = 0; (n = ::pread(::fileno(taken), block, sizeof block,
                                         static_cast<off_t>(all.size()))) > 0;) {
            all.append(block, static_cast<size_t>(n));
        }
        return all;
    }

    // Ends the capture and returns all of it.
    [[nodiscard]] std::string text() {
        restore();
        return written();
    }

private:
    void restore() {
        if (saved >= 0) {
            std::fflush(stream);
            ::dup2(saved, ::fileno(stream));
            ::close(saved);
            saved = -1;
        }
    }

    std::FILE* stream;
    int saved;
    std::FILE* taken;
};
