// Which part of the engine answers a request.
#pragma once

#include <string_view>
#include <variant>

#include "velmoralight_standin/response.h"

namespace standin {

// The target of a request, taken apart.
struct RequestTarget {
    std::string_view path;
    std::string_view query;  // without the question mark
};

// "/path?query" or "http://host/path?query". The parts point into `target`.
[[nodiscard]] RequestTarget splitTarget(std::string_view target) noexcept;

enum class Route { Page, Recognize, Status, Health, Metrics };

// The part that answers, or the answer itself: 404 for an unknown path, 204 with `Allow` for
// OPTIONS, 405 with `Allow` for a method that the path does not know. GET includes HEAD.
[[nodiscard]] std::variant<Route, Response> route(std::string_view method, std::string_view path);

}  // namespace standin
