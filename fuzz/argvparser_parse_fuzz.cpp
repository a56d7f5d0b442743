// Fed: lines of text. Up to the first empty line each declares an option: a character whose lowest
// two bits are the attributes, 'h' for the help option or 'x' for an alternative of the option
// before, and a label. The other lines are the argument vector. Must hold: the result is one of the
// seven codes, and has a description unless it is success; a fault, and nothing else, names an
// option; there are no more arguments than elements.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "velmoraserver/parseargs/argvparser.h"

using CommandLineProcessing::ArgvParser;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::cerr.setstate(
        std::ios_base::badbit);  // refused declarations are welcome, their messages not
    std::istringstream lines(std::string(data, data + size));
    ArgvParser parser;
    std::string last;
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        const std::string label = line.substr(1);
        if (line[0] == 'h') {
            parser.setHelpOption(label.substr(0, 1), label, "");
        } else if (line[0] == 'x') {
            parser.defineOptionAlternative(last, label);
        } else {
            parser.defineOption(label, "", static_cast<ArgvParser::OptionAttributes>(line[0] & 3));
            last = label;
        }
    }

    std::vector<std::string> elements{"prog"};
    for (std::string line; std::getline(lines, line);) {
        elements.push_back(line);
    }
    std::vector<char*> argv;
    for (std::string& element : elements) {
        argv.push_back(element.data());
    }

    const auto result = parser.parse(static_cast<int>(argv.size()), argv.data());
    const bool fault =
        result != ArgvParser::NoParserError && result != ArgvParser::ParserHelpRequested;
    const bool described = !parser.parseErrorDescription(result).empty();
    if (!std::set<int>{0, 1, 2, 4, 8, 22, 50}.contains(result) ||
        described != (result != ArgvParser::NoParserError) ||
        fault == parser.errorOption().empty() || parser.arguments() >= argv.size()) {
        std::abort();
    }
    return 0;
}
