#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoracheck/setting_check.h"

namespace velmoracheck {

// Looks at an INI file. Returns the five settings as the daemon would take them from it; nothing
// when it could not be read.
[[nodiscard]] std::optional<std::vector<SettingInForce>> checkIni(const std::string& path,
                                                                  Findings& findings);

}  // namespace velmoracheck
