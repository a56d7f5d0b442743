// What the readers of the image formats have in common.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "velmora_light_api_server.h"

namespace standin {

using Bytes = std::span<const uint8_t>;

enum class ImageType { Png, Jpeg };

struct ImageInfo {
    ImageType type = ImageType::Png;
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // pixels
};

// One byte a pixel, 0 is black, rows from top to bottom without padding.
using GreyPixels = std::vector<uint8_t>;

// Why something was not done.
struct Refusal {
    VelmoraLightReturnCode code = VELMORA_LIGHT_ERROR_OTHER;
    std::string message;
};

template <typename T>
using OrRefusal = std::variant<T, Refusal>;

}  // namespace standin
