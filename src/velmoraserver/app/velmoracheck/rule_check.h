#pragma once

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoracheck/log_rule.h"

namespace velmoracheck {

// The topic of the daemon's own lines.
inline constexpr const char* ownTopic = "VELMORASRV";

// Finds what is wrong with one line of a log configuration, as far as the line alone tells.
void checkRule(const LogRule& rule, const Place& place, Findings& findings);

}  // namespace velmoracheck
