#include "velmoralight_standin/response.h"

#include <nlohmann/json.hpp>

#include "velmoralight_standin/json_text.h"
#include "velmoralight_standin/return_code.h"

namespace standin {

Response errorResponse(int status, VelmoraLightReturnCode code, const std::string& message) {
    Response response;
    response.status = status;
    response.body =
        jsonText({{"code", static_cast<int>(code)}, {"name", nameOf(code)}, {"message", message}});
    return response;
}

Response unavailable(const std::string& message, std::chrono::seconds retryAfter) {
    Response response = errorResponse(503, VELMORA_LIGHT_ERROR_OTHER, message);
    response.fields.emplace_back("Retry-After", std::to_string(retryAfter.count()));
    return response;
}

}  // namespace standin
