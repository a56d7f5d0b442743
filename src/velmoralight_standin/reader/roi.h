// The region of interest of a request.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "velmoralight_standin/reader/image.h"

namespace standin {

// In pixels; x and y count from the top left corner of the image.
struct Roi {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

// Reads "x,y,width,height": four decimal numbers without sign or blank, each at most 4294967295.
// Nothing when the text is anything else.
[[nodiscard]] std::optional<Roi> parseRoi(std::string_view text);

// Whether the region has pixels and all of them are pixels of the image.
[[nodiscard]] bool liesInside(const Roi& roi, const ImageInfo& image) noexcept;

}  // namespace standin
