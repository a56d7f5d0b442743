// Small functions on texts, for the findings.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmoracheck {

// In ASCII's lower case, whatever the locale.
[[nodiscard]] std::string lowerCase(std::string_view text);

// Fit for a terminal: control characters written out as \x1b.
[[nodiscard]] std::string printable(std::string_view text);

// In single quotes, of at most 60 bytes with "..." for the rest, all but printable ASCII written
// out.
[[nodiscard]] std::string inQuotes(std::string_view text);

// The candidate that was probably meant: the one with the fewest letters to change, whatever their
// case, and with at most a third of them. Empty when there is none.
[[nodiscard]] std::string closest(std::string_view word,
                                  const std::vector<std::string_view>& candidates);

// ": did you mean 'threads'?", and when nothing is close ": one of a, b, c is meant".
[[nodiscard]] std::string remedy(std::string_view word,
                                 const std::vector<std::string_view>& candidates);

}  // namespace velmoracheck
