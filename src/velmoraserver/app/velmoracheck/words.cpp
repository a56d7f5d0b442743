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

// The bytes of the character that a text begins with; 0 when a terminal must not see it: a control
// character, or no UTF-8 (of which a longer form than needed may hide one).
std::size_t characterLength(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return first >= 0x20 && first != 0x7f ? 1 : 0;
    }
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80) {
            return 0;
        }
    }
    const unsigned second = byte(1);
    const bool isForbidden = (first == 0xc2 && second < 0xa0) || (first == 0xe0 && second < 0xa0) ||
                             (first == 0xed && second >= 0xa0) ||
                             (first == 0xf0 && second < 0x90) || (first == 0xf4 && second >= 0x90);
    return isForbidden ? 0 : length;
}

// Takes a character off the beginning of a text, and returns it fit for a terminal.
std::string takeCharacter(std::string_view& text) {
    constexpr char digits[] = "0123456789abcdef";
    const std::size_t length = characterLength(text);
    const auto byte = static_cast<unsigned char>(text.front());
    std::string result = length > 0 ? std::string(text.substr(0, length))
                                    : std::string{'\\', 'x', digits[byte / 16], digits[byte % 16]};
    text.remove_prefix(std::max<std::size_t>(length, 1));
    return result;
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
    while (!text.empty()) {
        result += takeCharacter(text);
    }
    return result;
}

std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80; }));
}

std::string inQuotes(std::string_view text) {
    std::string result = "'";
    for (std::size_t i = 0; i < longestQuote && !text.empty(); ++i) {
        result += takeCharacter(text);
    }
    return result + (text.empty() ? "'" : "...'");
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
    return ": write one of " + list;
}

}  // namespace velmoracheck
