#pragma once

#include <string>
#include <utility>
#include <vector>

// The argument vector of a program: argc, and argv with the null pointer at its end. Owns the
// texts.
class ArgumentVector {
public:
    explicit ArgumentVector(std::vector<std::string> elements) : texts(std::move(elements)) {
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
    }
    ArgumentVector(const ArgumentVector&) = delete;
    ArgumentVector& operator=(const ArgumentVector&) = delete;

    [[nodiscard]] int argc() const { return static_cast<int>(texts.size()); }
    char** argv() { return pointers.data(); }

private:
    std::vector<std::string> texts;
    std::vector<char*> pointers;
};
