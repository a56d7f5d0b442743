// How the two sources of the settings are read. Knows nothing of the engine, so that a program can
// tell what the daemon would do without loading one.
#pragma once

#include "velmoraserver/app/common/velmora_defaults.h"
#include "velmoraserver/parseargs/argvparser.h"

class INIReader;

// The five settings, with their defaults.
struct Settings {
    int connections = qor::defaults::connections;
    int port = qor::defaults::port;
    int threads = qor::defaults::threads;
    int threadQueuesize = qor::defaults::threadQueueSize;
    int queueTimeout = qor::defaults::queueTimeout;
};

// The section of the INI file that counts.
inline constexpr const char* iniSection = "default";

// From a file that was read. A key that is absent or no number has its default; a number is
// decimal, hexadecimal (0x) or octal (0), what follows it is ignored, and what does not fit is
// narrowed.
[[nodiscard]] Settings settingsFromIni(const INIReader& reader);

// From a command line that was parsed. An option that is absent or no number has its default; a
// number is decimal, and what follows it is ignored.
[[nodiscard]] Settings settingsFromCommandLine(const CommandLineProcessing::ArgvParser& parser);
