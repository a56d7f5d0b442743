// The lines of a log configuration and, of each alone, what is wrong with it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "vlib/vlog/vlog_config.h"

namespace velmoracheck {

// One line of a log configuration that the daemon does not skip, as its own loader takes it.
struct LogRule {
    enum Kind {
        Rule,
        Short,     // skipped as too short, but no comment either
        Malformed  // not five fields
    };
    Kind kind = Rule;
    std::size_t line = 1;
    std::string raw;                        // as written
    std::vector<std::string> fields;        // without blanks
    std::optional<std::size_t> replacedBy;  // a later line of the same topic and level
    VLogConfig::Entry entry;                // of a rule
};

// The lines of a log configuration, comments and blank lines left out. Each is loaded on its own,
// which gives the same rules as loading them all, and their places.
[[nodiscard]] std::vector<LogRule> logRules(const std::string& text);

// Finds what is wrong with a line, as far as the line alone tells.
void checkRule(const LogRule& rule, const Place& place, Findings& findings);

}  // namespace velmoracheck
