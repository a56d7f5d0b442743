// What a camera says about its picture.
#pragma once

#include "velmoralight_standin/reader/image.h"

namespace standin {

// The orientation in an EXIF block, which starts with its byte order ("II" or "MM"): 1 to 8, or 0
// when the block has none that makes sense.
[[nodiscard]] int exifOrientation(Bytes block) noexcept;

}  // namespace standin
