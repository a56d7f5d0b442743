#include "vlib/vlog/vlog_format.h"

#include <algorithm>
#include <cstdio>

namespace vlogformat {
namespace {

constexpr size_t minThreadIdLength = 8;

// The length of the text that snprintf left in a buffer of size bytes.
size_t keptLength(int result, size_t size) {
    return result < 0 ? 0 : std::min(static_cast<size_t>(result), size - 1);
}

size_t writePrefix(char* buffer, const Prefix& p) {
    int result = 0;
    switch (p.tagfmt) {
        case VLogConfig::SIMPLE:
            result = std::snprintf(buffer, prefixLimit, "[%-8s : 0x%04X : %s] -> ", p.topic, p.id,
                                   p.level);
            break;
        case VLogConfig::FULL:
            result = std::snprintf(
                buffer, prefixLimit, "[%s : %s : %-8s : 0x%04X : %s : %s : %d] -> ", p.timestamp,
                threadIdText(p.tid).c_str(), p.topic, p.id, p.level, p.file, p.line);
            break;
        default:
            result = std::snprintf(buffer, prefixLimit, "[%s : %-8s : 0x%04X : %s] -> ",
                                   p.timestamp, p.topic, p.id, p.level);
            break;
    }
    return keptLength(result, prefixLimit);
}

}  // namespace

const char* levelName(uint32_t level) {
    switch (level) {
        case VLogConfig::NONE:
            return "NONE";
        case VLogConfig::INFO:
            return "INFO";
        case VLogConfig::DEBUG:
            return "DEBUG";
        case VLogConfig::WARN:
            return "WARN";
        case VLogConfig::NOTICE:
            return "NOTICE";
        case VLogConfig::CRITICAL:
            return "CRITICAL";
        case VLogConfig::TRACE:
            return "TRACE";
        default:
            return "UNKNOWN";
    }
}

std::string threadIdText(os_thread_t tid) {
    const std::string digits = std::to_string(tid);
    const size_t padding = minThreadIdLength - std::min(minThreadIdLength, digits.size());
    return std::string(padding, '0') + digits;
}

std::string formatLine(const Prefix& prefix, const char* fmt, std::va_list args) {
    std::string buffer(bufferSize, '?');
    const size_t prefixLength = writePrefix(buffer.data(), prefix);
    const int messageLength =
        std::vsnprintf(buffer.data() + prefixLength, bufferSize - prefixLength, fmt, args);
    // Only the length counts: beyond what was written there are zero bytes, never what stood there
    // before.
    buffer.resize(prefixLength + static_cast<size_t>(std::max(messageLength, 0)), '\0');
    buffer += "\r\n";
    return buffer;
}

}  // namespace vlogformat
