#pragma once

#include <string>
#include <utility>
#include <vector>

// What the parsers of the comparison are to declare, besides a help option "help"/"h": each with a
// value.
struct OptionText {
    const char* name;
    const char* letter;
    const char* description;
};

inline constexpr OptionText optionTexts[] = {
    {"connections", "c", "Number of connections"},
    {"ini", "i", "Ini file path"},
    {"port", "p", "Port for Server"},
    {"threads", "t", "Number of threads"},
    {"threadQueuesize", "q", "Queue Size"},
    {"queueTimeout", "o", "Queue Timeout (ms)"},
    {"verbose", "v", "How much is said"},
};

// An argument vector that owns its texts.
class CommandLine {
public:
    explicit CommandLine(std::vector<std::string> elements) : owned(std::move(elements)) {
        for (std::string& text : owned) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
    }

    [[nodiscard]] int count() const { return static_cast<int>(owned.size()); }
    [[nodiscard]] char** texts() { return pointers.data(); }

private:
    std::vector<std::string> owned;
    std::vector<char*> pointers;
};

// The program's name and eight more.
inline CommandLine nineElements() {
    return CommandLine({"prog", "-p", "51000", "--connections=4", "--threads", "4", "-q", "10",
                        "--queueTimeout=0"});
}

// 10,000 elements after the program's name, in forms that all parsers understand.
inline CommandLine manyElements() {
    std::vector<std::string> elements{"prog"};
    while (elements.size() <= 10000) {
        elements.insert(elements.end(), {"--port=51000", "--connections", "4", "-t", "4"});
    }
    return CommandLine(std::move(elements));
}
