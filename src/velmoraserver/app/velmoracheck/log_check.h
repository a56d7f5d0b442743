// The daemon's log as it would be, and what is wrong with its configuration.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "vlib/vlog/vlog_config.h"

namespace velmoracheck {

struct LogInForce {
    std::string source;                    // a path, "built-in" or "none: nothing is logged"
    std::vector<VLogConfig::Entry> rules;  // in the order of the daemon's table
};

// What names the log configuration, and where that stands.
struct LogName {
    std::optional<std::string> name;
    Place place;
    bool isOption = false;  // so an empty one is meant
};

// Looks at a log configuration. `iniFile` is the one that the daemon reads, when it reads one.
[[nodiscard]] LogInForce checkLog(const LogName& log, const std::optional<std::string>& iniFile,
                                  Findings& findings);

}  // namespace velmoracheck
