#include "velmoraserver/app/velmoracheck/words.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace velmoracheck {

namespace {

// Longer words are no misspelt names; the cost of comparing grows with the square.
constexpr std::size_t longestWord = 64;
constexpr std::size_t longestQuote = 60;

// The number of letters to insert, drop or replace that makes one word the other.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
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
