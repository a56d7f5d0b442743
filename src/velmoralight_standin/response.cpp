#include "velmoralight_standin/response.h"

#include <nlohmann/json.hpp>

#include "velmoralight_standin/json_text.h"
#include "velmoralight_standin/return_code.h"

namespace standin {

namespace {

std::string milliseconds(std::chrono::steady_clock::duration time) {
    return nlohmann::json(std::chrono::duration<double, std::milli>(time).count()).dump();
}

}  // namespace

Response errorResponse(int status, VelmoraLightReturnCode code, const std::string& message) {
    return {.status = status,
            .body = jsonText({{"code", code}, {"name", nameOf(code)}, {"message", message}})};
}

Response resultResponse(VelmoraLightReturnCode code, std::string text,
                        std::chrono::steady_clock::duration waited,
                        std::chrono::steady_clock::duration worked) {
    text.pop_back();  // the closing brace
    text.append(",\"waitedMs\":" + milliseconds(waited));
    text.append(",\"workedMs\":" + milliseconds(worked) + "}\n");
    return {.status = httpStatusOf(code), .body = std::move(text)};
}

Response unavailable(const std::string& message, std::chrono::seconds retryAfter) {
    Response response = errorResponse(503, VELMORA_LIGHT_ERROR_OTHER, message);
    response.fields.emplace_back("Retry-After", std::to_string(retryAfter.count()));
    return response;
}

}  // namespace standin
