// Reads PNG images.
#pragma once

#include "velmoralight_standin/reader/image.h"

namespace standin {

[[nodiscard]] bool looksLikePng(Bytes file) noexcept;

// Reads size and orientation, and decodes nothing.
[[nodiscard]] OrRefusal<ImageInfo> inspectPng(Bytes file);

// Decodes to grey; what is transparent becomes white. What no pixel comes from (texts, colour
// profiles) is not unpacked. `info` is what inspectPng returned.
[[nodiscard]] OrRefusal<GreyPixels> decodePng(Bytes file, const ImageInfo& info);

}  // namespace standin
