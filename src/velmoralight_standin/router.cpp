#include "velmoralight_standin/router.h"

#include <algorithm>
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

Response notFound() {
    return errorResponse(404, VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED,
                         "there is nothing at this path");
}

Response options(const char* methods) {
    Response response;
    response.status = kNoContent;
    response.contentType.clear();
    response.fields.emplace_back("Allow", methods);
    return response;
}

Response methodNotAllowed(const char* methods) {
    Response response = errorResponse(405, VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED,
                                      "this path does not know the method");
    response.fields.emplace_back("Allow", methods);
    return response;
}

}  // namespace

std::variant<Route, Response> route(std::string_view method, std::string_view path) {
    const bool asks = method == "OPTIONS";
    if (asks && path == "*") {
        return options("GET, HEAD, POST, OPTIONS");
    }
    const auto* entry = std::find_if(std::begin(kRoutes), std::end(kRoutes),
                                     [path](const Entry& each) { return each.path == path; });
    if (entry == std::end(kRoutes)) {
        return notFound();
    }
    if (allows(*entry, method)) {
        return entry->route;
    }
    const char* const methods = entry->isRead ? "GET, HEAD, OPTIONS" : "POST, OPTIONS";
    return asks ? options(methods) : methodNotAllowed(methods);
}

}  // namespace standin
