#include "velmoraserver/app/velmoracheck/own_line.h"

#include "vlib/vlog/vlog.h"

namespace velmoracheck {

namespace {

class LineLength : public VLog::ILogSink {
public:
    void consume(VLog* /*log*/, const VLog::LogEntry& entry) override {
        length = entry.buffer.size();
    }
    std::size_t length = 0;
};

// By the daemon's own logger: it depends on the numbers of digits and letters in the prefix.
std::size_t lineLength(const VLogConfig::Entry& rule, const char* file, int line,
                       const std::string& message) {
    LineLength sink;
    VLog log(1);
    log.addTopic(rule.topic, rule.level, rule.tagfmt, {}, {});
    log.addSink(&sink);
    log.write(rule.topic, 0, rule.level, file, line, "%s", message.c_str());
    return sink.length;
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
                          "Error to open file " + *iniFile);
    }
    if (rule.topic == loggerTopic && rule.level == VLogConfig::INFO) {
        return lineLength(rule, "vlog", 77, "VLib log session started");
    }
    return std::nullopt;  // LOGGER CRITICAL: its one line tells that there is no such file
}

}  // namespace velmoracheck
