#include "velmoraserver/app/velmoracheck/log_check.h"

#include "velmoraserver/app/velmoracheck/destination_check.h"
#include "velmoraserver/app/velmoracheck/input_file.h"
#include "velmoraserver/app/velmoracheck/log_rule.h"
#include "velmoraserver/app/velmoracheck/own_line.h"
#include "vlib/vlog/vlog_default_config.h"
#include "vlib/vlog/vlog_format.h"

namespace velmoracheck {

namespace {

constexpr const char* byteOrderMark = "\xEF\xBB\xBF";

std::vector<VLogConfig::Entry> entriesOf(const VLogConfig& config) {
    std::vector<VLogConfig::Entry> entries;
    for (const auto& [key, entry] : config.configTree) {
        entries.push_back(entry);
    }
    return entries;
}

LogInForce builtIn() {
    VLogConfig config;
    std::string text = vlogDefaultConfig();
    config.loadFromString(text);
    return {"built-in", entriesOf(config)};
}

void checkOwnTopic(const VLogConfig& config, const Place& place, Findings& findings) {
    struct {
        uint32_t level;
        const char* consequence;
    } constexpr wanted[] = {
        {VLogConfig::INFO, "what the daemon starts with is logged nowhere"},
        {VLogConfig::CRITICAL, "why a start fails is logged nowhere"},
    };
    for (const auto& [level, consequence] : wanted) {
        if (config.findEntry(ownTopic, level) == nullptr) {
            const char* name = vlogformat::levelName(level);
            findings.warning(place, "no rule for ", ownTopic, " ", name, ": ", consequence,
                             "; write '", ownTopic, " ; ", name, " ; SIMPLE_TS ; [STDOUT] ; 0'");
        }
    }
}

LogInForce checkBuiltIn(const Place& place, Findings& findings) {
    findings.warning(place, "the built-in log rules have none for ", ownTopic,
                     ": nothing of the service is logged; name a log configuration file");
    return builtIn();
}

LogInForce checkContent(const std::string& path, const std::string& content,
                        const std::optional<std::string>& iniFile, Findings& findings) {
    if (content.starts_with(byteOrderMark)) {
        findings.error({path, 1},
                       "begins with a byte order mark, which the daemon takes as part of "
                       "the first line: save the file without one");
    }
    const std::vector<LogRule> rules = logRules(content);
    // First, for the reason that the settings of an INI file come before its lines.
    checkDestinations(rules, path, iniFile, findings);
    for (const LogRule& rule : rules) {
        checkRule(rule, {path, rule.line}, findings);
    }

    VLogConfig config;
    std::string text = content;
    const int state = config.loadFromString(text);
    if (state == VLogConfig::OK) {
        checkOwnTopic(config, {path, 1}, findings);
        return {path, entriesOf(config)};
    }
    if (state == VLogConfig::EMPTY) {
        findings.error({path, 1},
                       "has no rule: the daemon uses its built-in rules, which log nothing "
                       "of the service");
    }
    return builtIn();
}

LogInForce checkFile(const std::string& path, const std::optional<std::string>& iniFile,
                     Findings& findings) {
    const InputFile file = readInput(path);
    switch (file.state) {
        case InputFile::Read:
            return checkIsText(path, file.text, findings)
                       ? checkContent(path, file.text, iniFile, findings)
                       : LogInForce{"unknown", {}};
        case InputFile::Unopened:
        case InputFile::Directory:
            findings.error({path, 1}, file.text,
                           ": the daemon uses its built-in log rules, which log nothing of the "
                           "service");
            return builtIn();
        case InputFile::Refused:
            break;
    }
    findings.error({path, 1}, file.text, ": name a log configuration file");
    return {"unknown", {}};
}

}  // namespace

LogInForce checkLog(const LogName& log, const std::optional<std::string>& iniFile,
                    Findings& findings) {
    if (log.name && lowerCase(*log.name) == "default") {
        return checkBuiltIn(log.place, findings);
    }
    if (log.name && !log.name->empty()) {
        return checkFile(*log.name, iniFile, findings);
    }
    if (!log.isOption) {
        findings.warning(log.place, "VL_LOGCFG is ", log.name ? "empty" : "not set",
                         ": nothing is logged, not even why a start fails; set it to the path of "
                         "a log configuration file, or say --logcfg \"\" if that is meant");
    }
    return {"none: nothing is logged", {}};
}

}  // namespace velmoracheck
