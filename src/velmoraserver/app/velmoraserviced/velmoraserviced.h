// The steps of the daemon's start, as main() lists them.
#pragma once

#include <string>

#include "velmoraserver/app/velmoraserviced/options.h"
#include "velmoraserver/parseargs/argvparser.h"

// Starts the service with the settings of an INI file; an empty path is that of getIniFile(). A
// file with a syntax error counts as far as it was understood, and what it does not set has its
// default. 0 on success, -1 when the file cannot be opened or the engine creates no server.
int startService(std::string configarg);

// Starts the service with the settings of a parsed command line. 0 on success, -1 when the engine
// creates no server.
int startService(CommandLineProcessing::ArgvParser* parser);

// Sleeps for ever: the service lives on the engine's threads, until the process is killed.
void Loop();

// Stops the service. 0 on success, -1 otherwise; there must have been a start.
int Stop();
