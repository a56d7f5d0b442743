#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "vlib/vlog/vlog_config.h"

namespace velmoracheck {

// One line of a log configuration that the daemon does not skip, as its own loader takes it.
struct LogRule {
    std::size_t line = 1;
    std::string raw;                  // as written
    std::vector<std::string> fields;  // without blanks
    bool isShort = false;             // too short to count: skipped, but no comment either
    bool isMalformed = false;         // not five fields
    bool isReplaced = false;          // by `replacedBy`, a later line of the same topic and level
    std::size_t replacedBy = 0;
    VLogConfig::Entry entry;  // of a rule that is neither short nor malformed

    [[nodiscard]] bool isRule() const { return !isShort && !isMalformed; }
};

// The lines of a log configuration, comments and blank lines left out. Each is loaded on its own,
// which gives the same rules as loading them all, and their places.
[[nodiscard]] std::vector<LogRule> logRules(const std::string& text);

}  // namespace velmoracheck
