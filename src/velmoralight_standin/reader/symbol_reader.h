// Finds bar codes and two-dimensional codes in a grey image.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
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
    // What the symbol says, where `text` is no more than a guess at it; else empty.
    std::vector<uint8_t> bytes;
    // As the symbol is read: top left, top right, bottom right, bottom left; in pixels of the
    // image.
    std::array<Corner, 4> corners;
};

// A set of formats, which are added by `|`.
enum class Formats : uint32_t { All = 0 };

[[nodiscard]] constexpr Formats operator|(Formats left, Formats right) noexcept {
    return static_cast<Formats>(static_cast<uint32_t>(left) | static_cast<uint32_t>(right));
}

// The format that Symbol::format calls so.
[[nodiscard]] std::optional<Formats> formatNamed(std::string_view name);

// All names that formatNamed knows: "Aztec, Codabar, ...".
[[nodiscard]] std::string formatNames();

// Reads every symbol of `formats` inside `roi`, which lies inside the image of `width` pixels a
// row. The pixels may be inverted afterwards.
[[nodiscard]] std::vector<Symbol> readSymbols(GreyPixels& pixels, uint32_t width, const Roi& roi,
                                              Formats formats);

}  // namespace standin
