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

enum class ImageType { Png, Jpeg, Webp };

struct ImageInfo {
    ImageType type = ImageType::Png;
    uint32_t width = 0;   // pixels, as they are stored
    uint32_t height = 0;  // pixels, as they are stored
    // How the picture is meant to be held, 1 to 8 as EXIF has it; 0 when the file does not say.
    int orientation = 0;
    // What decoding it takes, its pixels included; bytes.
    uint64_t decodingMemory = 0;
    // What it may take beside that if the file is made for it; bytes.
    uint64_t decodingTables = 0;
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
