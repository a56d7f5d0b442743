#include "velmoralight_standin/router.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace standin {

namespace {

struct Entry {
    std::string_view path;
    Route route;
    bool isRead;  // answers GET and HEAD; otherwise POST
};

constexpr Entry kRoutes[] = {
    {"/", Route::Page, true},
    {"/v1/recognize", Route::Recognize, false},
    {"/v1/status", Route::Status, true},
    {"/healthz", Route::Health, true},
    {"/metrics", Route::Metrics, true},
};

bool allows(const Entry& entry, std::string_view method) {
    return entry.isRead ? method == "GET" || method == "HEAD" : method == "POST";
}

Response refusal(int status, const char* message) {
    return errorResponse(status, VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED, message);
}

Response withAllowed(const char* methods, Response response) {
    response.fields.emplace_back("Allow", methods);
    return response;
}

Response options(const char* methods) {
    return withAllowed(methods, {.status = kNoContent});
}

std::string_view withoutHost(std::string_view target) {
    constexpr std::string_view kScheme = "http://";
    if (!target.starts_with(kScheme)) {
        return target;
    }
    const std::size_t path = target.find_first_of("/?", kScheme.size());
    return path == std::string_view::npos ? "/" : target.substr(path);
}

}  // namespace

RequestTarget splitTarget(std::string_view target) noexcept {
    const std::string_view all = withoutHost(target);
    const std::size_t end = std::min(all.find('?'), all.size());
    return {all.substr(0, end), all.substr(std::min(end + 1, all.size()))};
}

std::variant<Route, Response> route(std::string_view method, std::string_view path) {
    const bool asks = method == "OPTIONS";
    if (asks && path == "*") {
        return options("GET, HEAD, POST, OPTIONS");
    }
    const auto* entry = std::find_if(std::begin(kRoutes), std::end(kRoutes),
                                     [path](const Entry& each) { return each.path == path; });
    if (entry == std::end(kRoutes)) {
        return refusal(404, "there is nothing at this path");
    }
    if (allows(*entry, method)) {
        return entry->route;
    }
    const char* const methods = entry->isRead ? "GET, HEAD, OPTIONS" : "POST, OPTIONS";
    return asks ? options(methods)
                : withAllowed(methods, refusal(405, "this path does not know the method"));
}

}  // namespace standin
