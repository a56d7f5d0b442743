#include <nlohmann/json.hpp>

#include "velmoraserver/app/velmoracheck/destination_check.h"
#include "velmoraserver/app/velmoracheck/report.h"
#include "vlib/vlog/vlog_format.h"

namespace velmoracheck {

namespace {

using Json = nlohmann::ordered_json;

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
    if (!settings) {
        return nullptr;
    }
    Json list = Json::array();
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingMeaning& setting = settingMeanings()[i];
        list.push_back({{"name", setting.name},
                        {"value", settings->numbers.*setting.number},
                        {"source", settings->sources[i].text}});
    }
    return list;
}

Json engineJson(const std::optional<Engine>& engine) {
    if (!engine) {
        return nullptr;
    }
    return {{"file", engine->file}, {"version", engine->version}, {"build", engine->build}};
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

Json logJson(const LogInForce& log, const std::string& directory) {
    Json rules = Json::array();
    for (const VLogConfig::Entry& rule : log.rules) {
        rules.push_back(ruleJson(rule));
    }
    return {{"source", log.source}, {"directory", directory}, {"rules", rules}};
}

}  // namespace

std::string reportJson(const Report& report, const ReportStyle& style) {
    Json json;
    json["errors"] = report.findings.errors();
    json["warnings"] = report.findings.warnings();
    json["leftOut"] = report.findings.leftOut();
    json["findings"] = findingsJson(report.findings);
    if (!style.findingsOnly) {
        json["settings"] = settingsJson(report.settings);
        json["engine"] = engineJson(report.engine);
        json["log"] = logJson(report.log, report.directory);
        json["notes"] = report.notes;
    }
    // All but ASCII is written out: what is printed on a terminal cannot harm it, and names of
    // files and topics need not be UTF-8 as JSON is.
    return json.dump(2, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace) + "\n";
}

}  // namespace velmoracheck
