// Reads WebP images.
#pragma once

#include "velmoralight_standin/reader/image.h"

namespace standin {

[[nodiscard]] bool looksLikeWebp(Bytes file) noexcept;

// Reads size and orientation, and decodes nothing. An animation is refused as a type that is not
// supported.
[[nodiscard]] OrRefusal<ImageInfo> inspectWebp(Bytes file);

// Decodes to grey; what is transparent becomes white. `info` is what inspectWebp returned.
[[nodiscard]] OrRefusal<GreyPixels> decodeWebp(Bytes file, const ImageInfo& info);

}  // namespace standin
