#include "velmoralight_standin/reader/query.h"

#include <charconv>

namespace standin {

namespace {

// Splits `text` at the first `separator`; without one, all of it comes first.
std::pair<std::string_view, std::string_view> splitAt(std::string_view text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos) {
        return {text, {}};
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

std::optional<char> decodeEscape(std::string_view digits) {
    unsigned int value = 0;
    const char* end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 2 || error != std::errc() || rest != end) {
        return std::nullopt;
    }
    return static_cast<char>(value);
}

std::optional<std::string> decode(std::string_view text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded.push_back(text[at]);
            continue;
        }
        const std::optional<char> character = decodeEscape(text.substr(at + 1, 2));
        if (!character) {
            return std::nullopt;
        }
        decoded.push_back(*character);
        at += 2;
    }
    return decoded;
}

}  // namespace

std::optional<QueryParameters> parseQuery(std::string_view query) {
    QueryParameters parameters;
    while (!query.empty()) {
        const auto [parameter, rest] = splitAt(query, '&');
        query = rest;
        const auto [name, value] = splitAt(parameter, '=');
        std::optional<std::string> decodedName = decode(name);
        std::optional<std::string> decodedValue = decode(value);
        if (!decodedName || !decodedValue) {
            return std::nullopt;
        }
        parameters.emplace_back(std::move(*decodedName), std::move(*decodedValue));
    }
    return parameters;
}

}  // namespace standin
