#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/argument_vector.h"
#include "velmoraserver/parseargs/argvparser.h"

// Parses "prog" followed by the arguments.
inline CommandLineProcessing::ArgvParser::ParserResults parseCommandLine(
    CommandLineProcessing::ArgvParser& parser, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "prog");
    ArgumentVector elements(std::move(arguments));
    return parser.parse(elements.argc(), elements.argv());
}
