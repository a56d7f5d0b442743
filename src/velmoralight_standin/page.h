// The engine's page for people.
#pragma once

#include <string_view>

#include "velmoralight_standin/response.h"

namespace standin {

// The answer to GET /: the page, with a policy that lets it load nothing but its own parts, speak
// to nobody but this engine, and be framed by nobody.
[[nodiscard]] Response pageReport();

// The page as page/compose.cmake makes it out of its parts, and the hashes of its style and of its
// script, as a content security policy names them.
[[nodiscard]] std::string_view pageText() noexcept;
[[nodiscard]] std::string_view pageStyleHash() noexcept;
[[nodiscard]] std::string_view pageScriptHash() noexcept;

}  // namespace standin
