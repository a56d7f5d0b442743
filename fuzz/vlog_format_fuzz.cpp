// Fed: four bytes of tag format, id, level and line, then topic, source file and message, each up
// to a byte 0. Must hold: the line is the prefix, cut to 511 characters, and the message, cut so
// that both have 1023; then zero bytes to the length it would have had; then "\r\n".

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/require.h"
#include "vlib/vlog/vlog_format.h"

static std::string format(const vlogformat::Prefix& prefix, const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    std::string line = vlogformat::formatLine(prefix, fmt, args);
    va_end(args);
    return line;
}

// An id of one byte: two digits that are zero, and two that are not.
static std::string hex(uint32_t id) {
    const std::string digits = "0123456789ABCDEF";
    return std::string("0x00") + digits[id >> 4] + digits[id & 15];
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    const uint32_t tagfmt = input.next();
    const uint32_t id = input.next();
    const std::string level = vlogformat::levelName(input.next());
    const int number = input.next();
    const std::string topic = input.upTo(0);
    const std::string file = input.upTo(0);
    const std::string message = input.upTo(0);

    const std::string padding(8 - (topic.size() < 8 ? topic.size() : 8), ' ');
    const std::string middle = topic + padding + " : " + hex(id) + " : " + level;
    std::string expected = tagfmt == VLogConfig::SIMPLE ? "[" + middle
                           : tagfmt == VLogConfig::FULL ? "[now : 00000007 : " + middle + " : " +
                                                              file + " : " + std::to_string(number)
                                                        : "[now : " + middle;
    expected = (expected + "] -> ").substr(0, 511);
    const size_t length = expected.size() + message.size();
    expected = (expected + message).substr(0, 1023);
    expected.resize(length, '\0');

    const std::string line = format({.tagfmt = tagfmt,
                                     .timestamp = "now",
                                     .tid = 7,
                                     .topic = topic.c_str(),
                                     .id = id,
                                     .level = level.c_str(),
                                     .file = file.c_str(),
                                     .line = number},
                                    "%s", message.c_str());
    require(line == expected + "\r\n", "the line is the model's");
    return 0;
}
