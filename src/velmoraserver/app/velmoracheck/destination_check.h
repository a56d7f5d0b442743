#pragma once

#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoracheck/log_rule.h"

namespace velmoracheck {

// Finds what is wrong with the destinations of the rules that count, in the file `path`: whether
// each, and its backup, can be written, and what becomes of the limits.
void checkDestinations(const std::vector<LogRule>& rules, const std::string& path,
                       Findings& findings);

}  // namespace velmoracheck
