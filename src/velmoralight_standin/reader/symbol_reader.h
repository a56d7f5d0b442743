// Finds bar codes and two-dimensional codes in a grey image.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "velmoralight_standin/reader/image.h"
#include "velmoralight_standin/reader/roi.h"

namespace standin {

struct Corner {
    int64_t x = 0;
    int64_t y = 0;
};

struct Symbol {
    std::string format;  // "QRCode", "EAN-13", ...
    std::string text;
    // As the symbol is read: top left, top right, bottom right, bottom left; in pixels of the
    // image.
    std::array<Corner, 4> corners;
};

// Reads every symbol inside `roi`, which lies inside the image of `width` pixels a row.
[[nodiscard]] std::vector<Symbol> readSymbols(const GreyPixels& pixels, uint32_t width,
                                              const Roi& roi);

}  // namespace standin
