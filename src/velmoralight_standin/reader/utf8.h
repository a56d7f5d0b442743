// Tells text from other bytes.
#pragma once

#include "velmoralight_standin/reader/image.h"

namespace standin {

// Whether the bytes are UTF-8 as RFC 3629 has it: no overlong form, no surrogate, nothing above
// U+10FFFF.
[[nodiscard]] bool isUtf8(Bytes bytes) noexcept;

}  // namespace standin
