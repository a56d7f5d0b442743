// The start-up functions that need no engine: where the settings are looked for, and the command
// line.
#pragma once

#include <string>

#include "velmoraserver/parseargs/argvparser.h"

// Where the settings come from when the command line names no INI file.
[[nodiscard]] std::string getIniFile();

// The parser with the daemon's options declared. The caller owns it.
[[nodiscard]] CommandLineProcessing::ArgvParser* initArgParser();

// Prints the help text on standard output.
void printUsage(CommandLineProcessing::ArgvParser* parser);
