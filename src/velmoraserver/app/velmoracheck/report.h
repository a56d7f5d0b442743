#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/engine_probe.h"
#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoracheck/log_check.h"
#include "velmoraserver/app/velmoracheck/setting_check.h"

namespace velmoracheck {

// All that is known at the end.
struct Report {
    Findings findings;
    std::optional<SettingsInForce> settings;  // nothing: they could not be read
    LogInForce log;
    std::string directory;         // where relative names begin
    std::optional<Engine> engine;  // nothing: it could not be loaded
    bool isRehearsed = false;
    std::vector<std::string> notes;  // what is worth knowing, and no finding
};

struct ReportStyle {
    bool findingsOnly = false;
    bool colour = false;
};

// For people: findings, settings, engine, log rules, notes and one line that sums them up.
[[nodiscard]] std::string reportText(const Report& report, const ReportStyle& style);

// For programs: the same, as one JSON object.
[[nodiscard]] std::string reportJson(const Report& report, const ReportStyle& style);

}  // namespace velmoracheck
