#include "velmoraserver/app/velmoracheck/log_rule.h"

#include <map>
#include <sstream>

#include "velmoraserver/parseargs/argvparser.h"

namespace velmoracheck {

namespace {

// Whether the daemon skips a line, its blanks gone, and whoever wrote it knows. With CR-LF line
// ends an empty line is not empty.
bool isNothing(const std::string& text) {
    return text.empty() || text == "\r" || text.front() == VLogConfig::comment;
}

LogRule makeRule(std::size_t number, const std::string& raw, const std::string& text,
                 const VLogConfig& loaded, int state) {
    LogRule rule;
    rule.line = number;
    rule.raw = raw;
    CommandLineProcessing::splitString(rule.fields, text, ";");
    rule.kind = state == VLogConfig::EMPTY       ? LogRule::Short
                : state == VLogConfig::MALFORMED ? LogRule::Malformed
                                                 : LogRule::Rule;
    if (rule.kind == LogRule::Rule) {
        rule.entry = loaded.configTree.begin()->second;
    }
    return rule;
}

void markReplaced(std::vector<LogRule>& rules) {
    std::map<VLogConfig::Key, LogRule*> latest;
    for (LogRule& rule : rules) {
        if (rule.kind == LogRule::Rule) {
            LogRule*& earlier = latest[{rule.entry.topic, rule.entry.level}];
            if (earlier != nullptr) {
                earlier->replacedBy = rule.line;
            }
            earlier = &rule;
        }
    }
}

}  // namespace

std::vector<LogRule> logRules(const std::string& text) {
    std::vector<LogRule> rules;
    std::istringstream stream(text);
    std::size_t number = 0;
    for (std::string raw; std::getline(stream, raw);) {
        ++number;
        std::string line = raw;
        VLogConfig loaded;
        const int state = loaded.loadFromString(line);  // takes the blanks out of `line`
        if (!isNothing(line)) {
            rules.push_back(makeRule(number, raw, line, loaded, state));
        }
    }
    markReplaced(rules);
    return rules;
}

}  // namespace velmoracheck
