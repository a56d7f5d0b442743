// As whom the checker looks at things.
#pragma once

#include <string>

namespace velmoracheck {

// The process becomes this user, for good. Why that cannot be, or an empty text.
[[nodiscard]] std::string become(const std::string& user);

// The user of the service's unit, when one is installed and the caller is root; empty otherwise.
[[nodiscard]] std::string userToSuggest();

// The unit of the daemon that this process was started in; empty when there is none.
[[nodiscard]] std::string ownUnit();

}  // namespace velmoracheck
