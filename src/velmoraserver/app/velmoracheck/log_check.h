#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "vlib/vlog/vlog_config.h"

namespace velmoracheck {

// The daemon's log as it would be.
struct LogInForce {
    std::string source;                    // a path, "built-in" or "none: nothing is logged"
    std::vector<VLogConfig::Entry> rules;  // in the order of the daemon's table
};

// Looks at the log configuration that VL_LOGCFG, or what stands for it, names; nothing when it is
// not set. `place` is where the name comes from.
[[nodiscard]] LogInForce checkLog(const std::optional<std::string>& name, const Place& place,
                                  Findings& findings);

}  // namespace velmoracheck
