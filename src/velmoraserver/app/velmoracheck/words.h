// Small functions on texts, for the findings.
#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace velmoracheck {

// Texts and numbers, one after the other.
template <typename... Parts>
[[nodiscard]] std::string joined(const Parts&... parts) {
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

// In ASCII's lower case, whatever the locale.
[[nodiscard]] std::string lowerCase(std::string_view text);

// Fit for a terminal: control characters of either range, and bytes that are no UTF-8, written out
// as \x1b.
[[nodiscard]] std::string printable(std::string_view text);

// The characters of a text that is printable.
[[nodiscard]] std::size_t width(std::string_view text);

// Fit for a terminal, in single quotes, and of at most 60 characters with "..." for the rest.
[[nodiscard]] std::string inQuotes(std::string_view text);

// The candidate that was probably meant: the one with the fewest letters to change, whatever their
// case, and with at most a third of them. Empty when there is none.
[[nodiscard]] std::string closest(std::string_view word,
                                  const std::vector<std::string_view>& candidates);

// ": did you mean 'threads'?", and when nothing is close ": write one of a, b, c".
[[nodiscard]] std::string remedy(std::string_view word,
                                 const std::vector<std::string_view>& candidates);

}  // namespace velmoracheck
