#include "velmoraserver/app/velmoracheck/words.h"

#include <algorithm>
#include <cstddef>

namespace velmoracheck {

namespace {

// Longer words are no misspelt names; the cost of comparing grows with the square.
constexpr std::size_t longestWord = 64;
constexpr std::size_t longestQuote = 60;

// The number of letters to insert, drop, replace or swap with their neighbour that makes one word
// the other.
std::size_t distance(const std::string& from, const std::string& to) {
    // changes[i][j]: from the first i letters to the first j.
    std::vector<std::vector<std::size_t>> changes(from.size() + 1,
                                                  std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                changes[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = changes[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            changes[i][j] = std::min({replaced, changes[i - 1][j] + 1, changes[i][j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                changes[i][j] = std::min(changes[i][j], changes[i - 2][j - 2] + 1);
            }
        }
    }
    return changes[from.size()][to.size()];
}

std::string escaped(unsigned char byte) {
    constexpr char digits[] = "0123456789abcdef";
    return {'\\', 'x', digits[byte / 16], digits[byte % 16]};
}

bool isControl(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

}  // namespace

std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return result;
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        result += isControl(byte) ? escaped(byte) : std::string(1, c);
    }
    return result;
}

std::string inQuotes(std::string_view text) {
    std::string result = "'";
    for (const char c : text.substr(0, longestQuote)) {
        const auto byte = static_cast<unsigned char>(c);
        result += isControl(byte) || byte > 0x7f ? escaped(byte) : std::string(1, c);
    }
    return result + (text.size() > longestQuote ? "...'" : "'");
}

std::string closest(std::string_view word, const std::vector<std::string_view>& candidates) {
    if (word.size() > longestWord) {
        return {};
    }
    std::string_view best;
    std::size_t fewest = longestWord;
    for (const std::string_view candidate : candidates) {
        const std::size_t changes = distance(lowerCase(word), lowerCase(candidate));
        if (changes < fewest && changes <= candidate.size() / 3) {
            fewest = changes;
            best = candidate;
        }
    }
    return std::string(best);
}

std::string remedy(std::string_view word, const std::vector<std::string_view>& candidates) {
    const std::string meant = closest(word, candidates);
    if (!meant.empty()) {
        return ": did you mean '" + meant + "'?";
    }
    std::string list;
    for (const std::string_view candidate : candidates) {
        list.append(list.empty() ? "" : ", ").append(candidate);
    }
    return (candidates.size() > 1 ? ": one of " : ": ") + list + " is meant";
}

}  // namespace velmoracheck
