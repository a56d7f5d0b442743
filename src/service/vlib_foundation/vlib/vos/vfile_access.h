#pragma once

#include <string>

namespace vos {

// Whether path could be opened for appending, as far as the kinds of the files and the permissions
// say. Opens nothing and makes nothing.
[[nodiscard]] bool canAppendTo(const std::string& path);

// Where a file would come into being that is made under the name path: behind links whose target is
// missing, the target; otherwise path.
[[nodiscard]] std::string creationPath(const std::string& path);

}  // namespace vos
