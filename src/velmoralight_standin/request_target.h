// The target of an HTTP request, taken apart.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace standin {

struct RequestTarget {
    std::string_view path;
    std::string_view query;  // without the question mark
};

// "/path?query" or "http://host/path?query". The parts point into `target`.
[[nodiscard]] RequestTarget splitTarget(std::string_view target) noexcept;

using QueryParameters = std::vector<std::pair<std::string, std::string>>;

// The parameters of a query in their order, with "%2C" and the like decoded. A parameter without
// "=" has an empty value. Nothing when an escape is malformed.
[[nodiscard]] std::optional<QueryParameters> parseQuery(std::string_view query);

}  // namespace standin
