// Reads JPEG images.
#pragma once

#include "velmoralight_standin/reader/image.h"

namespace standin {

[[nodiscard]] bool looksLikeJpeg(Bytes file) noexcept;

// Reads the size from the header and decodes nothing. An image in the colours of a printing press
// is refused as a type that is not supported.
[[nodiscard]] OrRefusal<ImageInfo> inspectJpeg(Bytes file);

// Decodes to grey. Damaged data, however little, is refused: the decoder would fill it with grey.
// `info` is what inspectJpeg returned.
[[nodiscard]] OrRefusal<GreyPixels> decodeJpeg(Bytes file, const ImageInfo& info);

}  // namespace standin
