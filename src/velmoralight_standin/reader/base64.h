// Bytes as text.
#pragma once

#include <string>

#include "velmoralight_standin/reader/image.h"

namespace standin {

// As RFC 4648 has it in section 4: padded, without line breaks.
[[nodiscard]] std::string base64(Bytes bytes);

}  // namespace standin
