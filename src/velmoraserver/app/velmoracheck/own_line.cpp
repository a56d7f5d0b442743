#include "velmoraserver/app/velmoracheck/own_line.h"

#include "vlib/vos/vthread.h"
#include "vlib/vos/vtime.h"

namespace velmoracheck {

namespace {

// As the daemon's logger puts it together, which the numbers of digits and letters depend on.
std::size_t lineLength(const VLogConfig::Entry& rule, const char* file, int line,
                       const char* format, ...) {
    const std::string timestamp = utils::get_formated_time();
    std::string text;
    std::va_list arguments;
    va_start(arguments, format);
    vlogformat::formatLine(text,
                           {.tagfmt = rule.tagfmt,
                            .timestamp = timestamp.c_str(),
                            .tid = VThread::self(),
                            .topic = rule.topic.c_str(),
                            .id = 0,
                            .level = vlogformat::levelName(rule.level),
                            .file = file,
                            .line = line},
                           format, arguments);
    va_end(arguments);
    return text.size();
}

}  // namespace

bool isOwnTopic(const std::string& topic) {
    return topic == ownTopic || topic == loggerTopic;
}

bool isOwnLine(const std::string& topic, uint32_t level) {
    return isOwnTopic(topic) && (level == VLogConfig::INFO || level == VLogConfig::CRITICAL);
}

std::optional<std::size_t> shortestLine(const VLogConfig::Entry& rule,
                                        const std::optional<std::string>& iniFile) {
    if (rule.topic == ownTopic && rule.level == VLogConfig::INFO) {
        return lineLength(rule, "velmoraserver/app/common/velmoraservice", 61, "Velmora Service");
    }
    if (rule.topic == ownTopic && rule.level == VLogConfig::CRITICAL && iniFile) {
        return lineLength(rule, "velmoraserver/app/velmoraserviced/velmoraserviced", 106,
                          "Error to open file %s", iniFile->c_str());
    }
    if (rule.topic == loggerTopic && rule.level == VLogConfig::INFO) {
        return lineLength(rule, "vlog", 100, "VLib log session started");
    }
    return std::nullopt;  // LOGGER CRITICAL: its one line tells that there is no such file
}

}  // namespace velmoracheck
