// The target of an HTTP request, taken apart.
#pragma once

#include <string_view>

namespace standin {

struct RequestTarget {
    std::string_view path;
    std::string_view query;  // without the question mark
};

// "/path?query" or "http://host/path?query". The parts point into `target`.
[[nodiscard]] RequestTarget splitTarget(std::string_view target) noexcept;

}  // namespace standin
