#include <algorithm>

#include "velmoraserver/app/velmoracheck/destination_check.h"
#include "velmoraserver/app/velmoracheck/report.h"
#include "vlib/vlog/vlog_format.h"

namespace velmoracheck {

namespace {

constexpr const char* plain = "\x1b[0m";
constexpr const char* bold = "\x1b[1m";
constexpr const char* red = "\x1b[1;31m";
constexpr const char* magenta = "\x1b[1;35m";

std::string coloured(const std::string& text, const char* colour, const ReportStyle& style) {
    return style.colour ? colour + text + plain : text;
}

std::string findingLine(const Finding& finding, const ReportStyle& style) {
    const std::string place = joined(printable(finding.place.file), ":", finding.place.line, ":");
    const char* colour = finding.severity == Severity::Error ? red : magenta;
    return coloured(place, bold, style) + " " +
           coloured(std::string(severityName(finding.severity)) + ":", colour, style) + " " +
           printable(finding.text) + "\n";
}

// A table without its heading: cells fit for a terminal, padded to the width of their column, two
// blanks between.
std::string table(std::vector<std::vector<std::string>> rows) {
    std::vector<std::size_t> widths;
    for (auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = printable(row[i]);
            widths[i] = std::max(widths[i], width(row[i]));
        }
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += "  " + row[i] + std::string(widths[i] - width(row[i]), ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

std::string settingsText(const std::optional<SettingsInForce>& settings) {
    if (!settings) {
        return "Settings: unknown\n";
    }
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingMeaning& setting = settingMeanings()[i];
        rows.push_back({setting.name, std::to_string(settings->numbers.*setting.number),
                        settings->sources[i].text});
    }
    return "Settings\n" + table(rows);
}

std::string engineText(const std::optional<Engine>& engine) {
    if (!engine) {
        return "Engine: none\n";
    }
    return "Engine\n" + table({{engine->version, "build " + engine->build, engine->file}});
}

std::string limitText(const std::string& file, uint64_t size) {
    if (file == vlogConsole) {
        return {};
    }
    const uint64_t limit = limitOf(size);
    return limit == 0 ? "no limit" : "limit " + std::to_string(limit);
}

// One row a destination; topic, level and format stand in the first of a rule.
std::string logText(const LogInForce& log, const std::string& directory) {
    bool isRelative = false;
    std::vector<std::vector<std::string>> rows;
    for (const VLogConfig::Entry& rule : log.rules) {
        std::vector<std::string> row{rule.topic, vlogformat::levelName(rule.level),
                                     vlogformat::formatName(rule.tagfmt)};
        for (std::size_t i = 0; i < rule.files.size(); ++i) {
            row.push_back(rule.files[i]);
            row.push_back(limitText(rule.files[i], rule.sizes[i]));
            rows.push_back(row);
            row.assign(3, "");
            isRelative |= rule.files[i] != vlogConsole && !rule.files[i].starts_with('/');
        }
        if (rule.files.empty()) {
            rows.push_back(row);
        }
    }
    return joined("Log rules (", printable(log.source), ")",
                  isRelative ? ", relative names in " + printable(directory) : "", "\n",
                  table(rows));
}

std::string counted(std::size_t number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string summary(const Report& report) {
    const Findings& findings = report.findings;
    if (findings.errors() + findings.warnings() == 0) {
        return report.isRehearsed
                   ? "OK: velmoraserviced starts as its files say\n"
                   : "OK: the files are sound; whether the engine starts, --rehearse tells\n";
    }
    return joined(
        counted(findings.errors(), "error"), ", ", counted(findings.warnings(), "warning"),
        findings.leftOut() > 0 ? joined(", ", findings.leftOut(), " of them not shown") : "", "\n");
}

}  // namespace

std::string reportText(const Report& report, const ReportStyle& style) {
    std::string text;
    for (const Finding& finding : report.findings.sorted()) {
        text += findingLine(finding, style);
    }
    if (style.findingsOnly) {
        return report.findings.leftOut() > 0 ? text + summary(report) : text;
    }
    text += text.empty() ? "" : "\n";
    text += settingsText(report.settings) + "\n";
    text += engineText(report.engine) + "\n";
    text += logText(report.log, report.directory) + "\n";
    for (const std::string& note : report.notes) {
        text += "Note: " + printable(note) + "\n";
    }
    return text + summary(report);
}

}  // namespace velmoracheck
