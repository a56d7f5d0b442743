// Names and HTTP statuses of the engine's return codes.
#pragma once

#include "velmora_light_api_server.h"

namespace standin {

// The name as the public header spells it.
[[nodiscard]] const char* nameOf(VelmoraLightReturnCode code) noexcept;

// Whether `code` is one of them.
[[nodiscard]] bool isReturnCode(int code) noexcept;

// The HTTP status with which a recognition that ended in `code` is answered.
[[nodiscard]] int httpStatusOf(VelmoraLightReturnCode code) noexcept;

}  // namespace standin
