// How colours become grey.
#pragma once

#include <cstdint>

namespace standin {

// As the library that reads the symbols does it with colours: on the bytes as they are stored, not
// on the light that they stand for, which would bring dark colours near to white.
[[nodiscard]] constexpr uint8_t greyOf(unsigned red, unsigned green, unsigned blue) noexcept {
    return static_cast<uint8_t>((306 * red + 601 * green + 117 * blue + 512) >> 10U);
}

// What is seen of `grey` on white paper; `alpha` is 255 where nothing shines through.
[[nodiscard]] constexpr uint8_t onWhite(unsigned grey, unsigned alpha) noexcept {
    return static_cast<uint8_t>((grey * alpha + 255 * (255 - alpha) + 127) / 255);
}

}  // namespace standin
