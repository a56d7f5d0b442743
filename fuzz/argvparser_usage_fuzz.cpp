// Fed: a width, an indent and a return code of one byte each, then the text of the introduction,
// the labels and the descriptions. Must hold: no line is longer than the width, unless the indent
// is not less than it, which leaves the text as it is; the usage text fails for return codes alone,
// and with out_of_range alone.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "velmoraserver/parseargs/argvparser.h"

using namespace CommandLineProcessing;

static void checkLines(const std::string& text, unsigned int width, unsigned int indent) {
    const std::string formatted = formatString(text, width, indent);
    require(indent < width || formatted == text, "too large an indent changes nothing");
    std::vector<std::string> lines;
    splitString(lines, formatted, "\n");
    for (const std::string& line : lines) {
        require(indent >= width || line.length() <= width, "no line is longer than the width");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) {
        return 0;
    }
    const unsigned int width = data[0];
    const std::string text(data + 3, data + size);
    checkLines(text, width, data[1]);

    ArgvParser parser;
    parser.setIntroductoryDescription(text);
    parser.setHelpOption("h", "help", text);
    parser.defineOption("o" + text, text,
                        ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired);
    require(!parser.usageDescription(width).empty(), "there is a text");

    const int code = data[2] * -1000;
    parser.addErrorCode(code, text);
    const bool too_short = formatString(text, width, 10).length() <
                           formatString(std::to_string(code), width, 4).length();
    try {
        require(!parser.usageDescription(width).empty() && !too_short, "a short line is refused");
    } catch (const std::out_of_range&) {
        require(too_short, "nothing but a short line is refused");
    }
    return 0;
}
