#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoracheck/log_rule.h"

namespace velmoracheck {

// What a size of a rule is as a limit, in bytes: 0, none, also for the huge number that the daemon
// makes of a negative one, as no file ever grows to it.
[[nodiscard]] std::uint64_t limitOf(std::uint64_t size);

// Finds what is wrong with the destinations of the rules that count, in the file `path`: whether
// each, and its backup, can be written and is no file that the daemon reads (`path`, `iniFile`),
// whether two are one, and what becomes of the limits.
void checkDestinations(const std::vector<LogRule>& rules, const std::string& path,
                       const std::optional<std::string>& iniFile, Findings& findings);

}  // namespace velmoracheck
