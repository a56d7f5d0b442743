// The page as page/compose.cmake makes it out of its parts.
#pragma once

#include <string_view>

namespace standin {

// The whole page, style and script included.
[[nodiscard]] std::string_view pageText() noexcept;

// The hashes of its style and of its script, as a content security policy names them.
[[nodiscard]] std::string_view pageStyleHash() noexcept;
[[nodiscard]] std::string_view pageScriptHash() noexcept;

}  // namespace standin
