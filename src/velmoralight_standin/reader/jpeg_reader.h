// Reads JPEG images.
#pragma once

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/image.h"

namespace standin {

[[nodiscard]] bool looksLikeJpeg(Bytes file) noexcept;

// Reads size, orientation and how the picture was packed, and decodes nothing. An image without the
// beginning of its data, or of more scans than the limit, is refused as damaged.
[[nodiscard]] OrRefusal<ImageInfo> inspectJpeg(Bytes file, const Limits& limits);

// Decodes to grey what there is, as every viewer does: a file may have lost its end, or have bytes
// that belong nowhere. The inks of a printing press are seen on white paper. `info` is what
// inspectJpeg returned.
[[nodiscard]] OrRefusal<GreyPixels> decodeJpeg(Bytes file, const ImageInfo& info);

}  // namespace standin
