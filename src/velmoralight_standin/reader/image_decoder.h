// Tells the image formats apart and decodes them.
#pragma once

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/image.h"

namespace standin {

// The name of an image type in an answer: "png", "jpeg", "webp".
[[nodiscard]] const char* nameOf(ImageType type) noexcept;

// Type and size of the image in `file`, from its header alone. Refuses what is empty or damaged,
// what is of no type that is read, and what has more pixels than the limit.
[[nodiscard]] OrRefusal<ImageInfo> inspectImage(Bytes file, const Limits& limits);

// Decodes an image that inspectImage let pass.
[[nodiscard]] OrRefusal<GreyPixels> decodeImage(Bytes file, const ImageInfo& info);

}  // namespace standin
