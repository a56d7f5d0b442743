#include "vlib/vlog/vlog_format.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

namespace vlogformat {
namespace {

constexpr size_t minThreadIdLength = 8;
constexpr size_t minTopicLength = 8;
constexpr size_t minIdLength = 4;

constexpr std::string_view lineEnd = "\r\n";

// Fills the place of a prefix. By hand, since the C library takes longer for this than for all the
// rest of a line. What does not fit is left out.
class PrefixWriter {
public:
    explicit PrefixWriter(char* place) : begin(place), end(place) {}

    // Of a literal the compiler knows the length, and copies it without a call.
    template <size_t size>
    PrefixWriter& operator<<(const char (&literal)[size]) {
        constexpr size_t length = size - 1;
        if (length > room()) {
            return *this << std::string_view(literal, length);
        }
        std::memcpy(end, literal, length);
        end += length;
        return *this;
    }
    PrefixWriter& operator<<(std::string_view text) {
        const size_t length = std::min(text.size(), room());
        std::memcpy(end, text.data(), length);
        end += length;
        return *this;
    }
    PrefixWriter& operator<<(int number) {
        char digits[std::numeric_limits<int>::digits10 + 2];
        const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
        return *this << std::string_view(digits, static_cast<size_t>(result.ptr - digits));
    }
    PrefixWriter& topic(std::string_view text) {
        constexpr std::string_view blanks = "        ";
        static_assert(blanks.size() == minTopicLength);
        *this << text;
        return text.size() < blanks.size() ? *this << blanks.substr(text.size()) : *this;
    }
    PrefixWriter& id(uint32_t number) {
        char digits[2 * sizeof number];
        char* first = std::end(digits);
        do {
            *--first = "0123456789ABCDEF"[number % 16];
            number /= 16;
        } while (number > 0 || std::end(digits) - first < static_cast<ptrdiff_t>(minIdLength));
        return *this << "0x"
                     << std::string_view(first, static_cast<size_t>(std::end(digits) - first));
    }
    [[nodiscard]] size_t size() const { return static_cast<size_t>(end - begin); }

private:
    [[nodiscard]] size_t room() const { return prefixLimit - 1 - size(); }

    char* const begin;
    char* end;
};

size_t writePrefix(char* buffer, const Prefix& p) {
    PrefixWriter prefix(buffer);
    prefix << "[";
    if (p.tagfmt != VLogConfig::SIMPLE) {
        prefix << std::string_view(p.timestamp) << " : ";
    }
    if (p.tagfmt == VLogConfig::FULL) {
        prefix << threadIdText(p.tid) << " : ";
    }
    prefix.topic(p.topic) << " : ";
    prefix.id(p.id) << " : " << std::string_view(p.level);
    if (p.tagfmt == VLogConfig::FULL) {
        prefix << " : " << std::string_view(p.file) << " : " << p.line;
    }
    prefix << "] -> ";
    return prefix.size();
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

const char* formatName(uint32_t tagfmt) {
    switch (tagfmt) {
        case VLogConfig::SIMPLE:
            return "SIMPLE";
        case VLogConfig::FULL:
            return "FULL";
        default:
            return "SIMPLE_TS";
    }
}

std::string threadIdText(os_thread_t tid) {
    const std::string digits = std::to_string(tid);
    const size_t padding = minThreadIdLength - std::min(minThreadIdLength, digits.size());
    return std::string(padding, '0') + digits;
}

std::string formatLine(const Prefix& prefix, const char* fmt, std::va_list args) {
    char buffer[bufferSize + lineEnd.size()];
    const size_t prefixLength = writePrefix(buffer, prefix);
    const int messageLength =
        std::vsnprintf(buffer + prefixLength, bufferSize - prefixLength, fmt, args);
    const size_t length = prefixLength + static_cast<size_t>(std::max(messageLength, 0));
    if (length < bufferSize) {
        std::ranges::copy(lineEnd, buffer + length);
        return {buffer, length + lineEnd.size()};
    }
    std::string line(buffer, bufferSize - 1);
    line.resize(length, '\0');
    return line.append(lineEnd);
}

}  // namespace vlogformat
