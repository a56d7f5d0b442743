#pragma once

#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoracheck/setting_check.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace velmoracheck {

// Looks at the settings on a command line that was parsed. Returns the five as the daemon would
// take them from it.
[[nodiscard]] std::vector<SettingInForce> checkOptions(
    const CommandLineProcessing::ArgvParser& parser, Findings& findings);

// Finds the options and arguments on the command line that count for nothing.
void checkIgnored(const CommandLineProcessing::ArgvParser& parser, Findings& findings);

}  // namespace velmoracheck
