#include "velmoraserver/app/velmoracheck/log_check.h"

#include "velmoraserver/app/velmoracheck/destination_check.h"
#include "velmoraserver/app/velmoracheck/input_file.h"
#include "velmoraserver/app/velmoracheck/log_rule.h"
#include "velmoraserver/app/velmoracheck/rule_check.h"
#include "velmoraserver/app/velmoracheck/words.h"
#include "vlib/vlog/vlog_default_config.h"
#include "vlib/vlog/vlog_format.h"
#include "vlib/vutils/vutils_strings.h"

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
            findings.warning(
                place, vutils::toStringFormat(
                           "no rule for %s %s: %s; write '%s ; %s ; SIMPLE_TS ; [STDOUT] ; 0'",
                           ownTopic, name, consequence, ownTopic, name));
        }
    }
}

LogInForce checkBuiltIn(const Place& place, Findings& findings) {
    findings.warning(place,
                     std::string("the built-in log rules have none for ") + ownTopic +
                         ": nothing of the service is logged; name a log configuration file");
    return builtIn();
}

void checkRules(const std::vector<LogRule>& rules, const std::string& path, Findings& findings) {
    // First, for the reason that the settings of an INI file come before its lines.
    checkDestinations(rules, path, findings);
    for (const LogRule& rule : rules) {
        checkRule(rule, {path, rule.line}, findings);
        if (rule.isReplaced) {
            findings.warning({path, rule.line}, "rule is replaced by that of line " +
                                                    std::to_string(rule.replacedBy) +
                                                    ": one rule a topic and level");
        }
    }
}

LogInForce checkContent(const std::string& path, const std::string& content, Findings& findings) {
    if (content.starts_with(byteOrderMark)) {
        findings.error({path, 1},
                       "begins with a byte order mark, which the daemon takes as part of "
                       "the first line: save the file without one");
    }
    checkRules(logRules(content), path, findings);

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

LogInForce checkFile(const std::string& path, Findings& findings) {
    const InputFile file = readInput(path);
    if (file.unopened || file.isDirectory) {  // a directory can be opened, but has nothing to read
        findings.error({path, 1}, file.problem +
                                      ": the daemon uses its built-in log rules, which log "
                                      "nothing of the service");
        return builtIn();
    }
    if (!file.content) {
        findings.error({path, 1}, file.problem + ": name a log configuration file");
        return {"unknown", {}};
    }
    if (!checkIsText(path, *file.content, findings)) {
        return {"unknown", {}};
    }
    return checkContent(path, *file.content, findings);
}

}  // namespace

LogInForce checkLog(const std::optional<std::string>& name, const Place& place,
                    Findings& findings) {
    if (!name || name->empty()) {
        findings.warning(place,
                         std::string("VL_LOGCFG is ") + (name ? "empty" : "not set") +
                             ": nothing is logged, not even why a start fails; set it to the "
                             "path of a log configuration file");
        return {"none: nothing is logged", {}};
    }
    if (lowerCase(*name) == "default") {
        return checkBuiltIn(place, findings);
    }
    return checkFile(*name, findings);
}

}  // namespace velmoracheck
