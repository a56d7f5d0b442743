// What the markers of a JPEG file say, without decoding anything.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "velmoralight_standin/reader/image.h"

namespace standin {

struct JpegLayout {
    // The frame: what is decoded. Without one there are no components.
    struct Component {
        uint8_t across = 0;  // sampling factors, of the largest of all components
        uint8_t down = 0;
    };
    uint32_t width = 0;
    uint32_t height = 0;
    std::size_t componentCount = 0;
    std::array<Component, 4> components;

    unsigned scans = 0;          // how often the data goes over the picture
    bool scansAreParts = false;  // a scan alone does not make the pixels: all must be kept together
    bool hasData = false;        // a scan has begun
    bool inksAreInverted = false;  // four components: as Adobe's programs write them, 0 is all ink
    Bytes exif;                    // empty when there is none
};

// Goes over all of `file`, which begins as a JPEG file does. As lenient as a decoder: bytes between
// markers are passed over, and the end may be missing.
[[nodiscard]] JpegLayout jpegLayout(Bytes file);

// What the decoder needs for the picture's coefficients, bytes; nothing when each scan is pixels at
// once.
[[nodiscard]] uint64_t coefficientMemory(const JpegLayout& layout) noexcept;

}  // namespace standin
