// How the two sources of the settings are read. Knows nothing of the engine, so that a program can
// tell what the daemon would do without loading one.
#pragma once

#include <optional>
#include <string>

#include "velmoraserver/app/common/velmora_defaults.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace qor {

// The five settings, with their defaults.
struct Settings {
    int connections = defaults::connections;
    int port = defaults::port;
    int threads = defaults::threads;
    int threadQueuesize = defaults::threadQueueSize;
    int queueTimeout = defaults::queueTimeout;
};

// The section of the INI file that counts.
inline constexpr const char* iniSection = "default";

// From an INI file; nothing when it cannot be opened. One with a syntax error counts as far as it
// was understood. A key that is absent or no number has its default; a number is decimal,
// hexadecimal (0x) or octal (0), what follows it is ignored, and what does not fit is narrowed.
[[nodiscard]] std::optional<Settings> settingsFromIni(const std::string& path);

// From a command line that was parsed. An option that is absent or no number has its default; a
// number is decimal, and what follows it is ignored.
[[nodiscard]] Settings settingsFromCommandLine(const CommandLineProcessing::ArgvParser& parser);

}  // namespace qor
