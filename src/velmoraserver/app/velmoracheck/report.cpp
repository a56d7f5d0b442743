#include "velmoraserver/app/velmoracheck/report.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "velmoraserver/app/velmoracheck/destination_check.h"
#include "vlib/vlog/vlog_format.h"

namespace velmoracheck {

namespace {

using Json = nlohmann::ordered_json;
using Rows = std::vector<std::vector<std::string>>;

constexpr const char* plain = "\x1b[0m";
constexpr const char* bold = "\x1b[1m";
constexpr const char* red = "\x1b[1;31m";
constexpr const char* magenta = "\x1b[1;35m";

Json findingsJson(const Findings& findings) {
    Json list = Json::array();
    for (const Finding& finding : findings.sorted()) {
        list.push_back({{"file", finding.place.file},
                        {"line", finding.place.line},
                        {"severity", severityName(finding.severity)},
                        {"text", finding.text}});
    }
    return list;
}

Json settingsJson(const std::optional<SettingsInForce>& settings) {
    Json list = settings ? Json::array() : Json(nullptr);
    for (std::size_t i = 0; settings && i < SettingCount; ++i) {
        const SettingMeaning& setting = settingMeanings()[i];
        list.push_back({{"name", setting.name},
                        {"value", settings->numbers.*setting.number},
                        {"source", settings->sources[i].text}});
    }
    return list;
}

Json ruleJson(const VLogConfig::Entry& rule) {
    Json destinations = Json::array();
    for (std::size_t i = 0; i < rule.files.size(); ++i) {
        destinations.push_back({{"name", rule.files[i]}, {"limit", limitOf(rule.sizes[i])}});
    }
    return {{"topic", rule.topic},
            {"level", vlogformat::levelName(rule.level)},
            {"format", vlogformat::formatName(rule.tagfmt)},
            {"destinations", destinations}};
}

Json allJson(const Report& report) {
    Json rules = Json::array();
    std::ranges::transform(report.log.rules, std::back_inserter(rules), ruleJson);
    const auto& engine = report.engine;
    return {
        {"errors", report.findings.errors()},
        {"warnings", report.findings.warnings()},
        {"leftOut", report.findings.leftOut()},
        {"findings", findingsJson(report.findings)},
        {"settings", settingsJson(report.settings)},
        {"engine", engine ? Json({{"file", engine->file},
                                  {"version", engine->version},
                                  {"build", engine->build}})
                          : Json(nullptr)},
        {"log", {{"source", report.log.source}, {"directory", report.directory}, {"rules", rules}}},
        {"notes", report.notes}};
}

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
std::string table(Rows rows) {
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

std::string settingsText(const Json& settings) {
    Rows rows;
    for (const Json& setting : settings) {
        rows.push_back({setting["name"], setting["value"].dump(), setting["source"]});
    }
    return settings.is_null() ? "Settings: unknown\n" : "Settings\n" + table(rows);
}

std::string engineText(const Json& engine) {
    return engine.is_null()
               ? "Engine: unknown\n"
               : "Engine\n" + table({{engine["version"], "build " + std::string(engine["build"]),
                                      engine["file"]}});
}

// One row a destination; topic, level and format stand in the first of a rule.
std::string logText(const Json& log) {
    bool isRelative = false;
    Rows rows;
    for (const Json& rule : log["rules"]) {
        std::vector<std::string> row{rule["topic"], rule["level"], rule["format"]};
        for (const Json& destination : rule["destinations"]) {
            const std::string name = destination["name"];
            const std::uint64_t limit = destination["limit"];
            row.push_back(name);
            row.push_back(name == vlogConsole ? ""
                          : limit == 0        ? "no limit"
                                              : joined("limit ", limit));
            rows.push_back(std::exchange(row, {"", "", ""}));
            isRelative |= name != vlogConsole && !name.starts_with('/');
        }
        if (rule["destinations"].empty()) {
            rows.push_back(row);
        }
    }
    const std::string place = ", relative names in " + std::string(log["directory"]);
    return joined("Log rules (", printable(std::string(log["source"])), ")",
                  isRelative ? printable(place) : "", "\n", table(rows));
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
    const Json json = allJson(report);
    text += text.empty() ? "" : "\n";
    text += settingsText(json["settings"]) + "\n";
    text += engineText(json["engine"]) + "\n";
    text += logText(json["log"]) + "\n";
    for (const std::string& note : report.notes) {
        text += "Note: " + printable(note) + "\n";
    }
    return text + summary(report);
}

std::string reportJson(const Report& report, const ReportStyle& style) {
    Json json = allJson(report);
    for (const char* key : {"settings", "engine", "log", "notes"}) {
        if (style.findingsOnly) {
            json.erase(key);
        }
    }
    // All but ASCII is written out: what is printed on a terminal cannot harm it, and names of
    // files and topics need not be UTF-8 as JSON is.
    return json.dump(2, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace) + "\n";
}

}  // namespace velmoracheck
