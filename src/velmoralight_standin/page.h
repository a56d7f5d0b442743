// The engine's page for people.
#pragma once

#include "velmoralight_standin/response.h"

namespace standin {

// The answer to GET /: the page, with a policy that lets it load nothing but its own parts, speak
// to nobody but this engine, and be framed by nobody.
[[nodiscard]] Response pageReport();

}  // namespace standin
