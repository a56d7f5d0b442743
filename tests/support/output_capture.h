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

    // Ends the capture and returns all of it.
    [[nodiscard]] std::string text() {
        restore();
        std::rewind(taken);
        std::string all;
        char block[4096];
        for (size_t n = 0; (n = std::fread(block, 1, sizeof block, taken)) > 0;) {
            all.append(block, n);
        }
        return all;
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
