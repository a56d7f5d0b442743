// The rules of the log configuration text a second time, as plainly as they can be put and without
// a line of the product, for comparison.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vlogmodel {

struct Rule {
    uint32_t tagfmt;
    std::vector<std::string> files;
    std::vector<uint64_t> sizes;
};

using Rules = std::map<std::pair<std::string, uint32_t>, Rule>;

inline std::string withoutBlanks(const std::string& text) {
    std::string kept;
    for (const char c : text) {
        if (c != ' ' && c != '\t') {
            kept += c;
        }
    }
    return kept;
}

// What stands between the delimiters, where anything does.
inline std::vector<std::string> pieces(const std::string& text, char delimiter) {
    std::vector<std::string> all;
    std::string piece;
    for (const char c : text + delimiter) {
        if (c != delimiter) {
            piece += c;
        } else if (!piece.empty()) {
            all.push_back(piece);
            piece.clear();
        }
    }
    return all;
}

inline uint32_t levelOf(const std::string& name) {
    const std::map<std::string, uint32_t> levels{{"INFO", 1},   {"DEBUG", 2},     {"WARN", 4},
                                                 {"NOTICE", 8}, {"CRITICAL", 16}, {"TRACE", 32}};
    return levels.contains(name) ? levels.at(name) : 0;
}

inline uint32_t tagfmtOf(const std::string& name) {
    return name == "SIMPLE" ? 1 : name == "FULL" ? 3 : 2;
}

// A sign, digits and a unit word, white space before each of them but the digits; a NUL ends it.
inline uint64_t sizeOf(const std::string& text) {
    if (text.size() > 9) {
        return 0;
    }
    const char* at = text.c_str();
    const auto skipSpace = [&at] {
        while (*at == '\n' || *at == '\v' || *at == '\f' || *at == '\r') {
            ++at;
        }
    };
    skipSpace();
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') {
        ++at;
    }
    if (*at < '0' || *at > '9') {
        return 0;
    }
    uint64_t number = 0;
    for (; *at >= '0' && *at <= '9'; ++at) {
        number = number * 10 + static_cast<uint64_t>(*at - '0');
    }
    skipSpace();
    std::string unit;
    for (; *at != '\0' && *at != '\n' && *at != '\v' && *at != '\f' && *at != '\r'; ++at) {
        unit += *at;
    }
    const auto has = [&unit](char letter) { return unit.find(letter) != std::string::npos; };
    const uint64_t factor = has('K') ? 1000 : has('M') ? 1000000 : has('G') ? 1000000000 : 1;
    return (negative ? 0 - number : number) * factor;
}

inline Rule ruleOf(const std::vector<std::string>& fields) {
    Rule rule{tagfmtOf(fields[2]), pieces(fields[3], ','), {}};
    const std::vector<std::string> sizes = pieces(fields[4], ',');
    for (size_t i = 0; i < rule.files.size(); ++i) {
        const bool own = i < sizes.size();
        rule.sizes.push_back(sizes.empty() ? 0 : sizeOf(own ? sizes[i] : sizes.back()));
    }
    return rule;
}

// Adds the rules of text; returns what loading it returns.
inline int load(const std::string& text, Rules& rules) {
    bool malformed = false;
    for (const std::string& line : pieces(withoutBlanks(text), '\n')) {
        if (line[0] == '#' || line.size() < 7) {
            continue;
        }
        const std::vector<std::string> fields = pieces(line, ';');
        if (fields.size() == 5) {
            rules[{fields[0], levelOf(fields[1])}] = ruleOf(fields);
        } else {
            malformed = true;
        }
    }
    return (malformed ? 1 : 0) + (rules.empty() ? 0 : 4);
}

}  // namespace vlogmodel
