#pragma once

#include <memory>
#include <optional>
#include <string>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace velmoracheck {

// What the checker was asked to do.
struct Invocation {
    std::unique_ptr<CommandLineProcessing::ArgvParser> parser;  // after parsing
    bool help = false;
    bool strict = false;
    bool quiet = false;
    bool json = false;
    std::string problem;  // the checker was called wrongly; empty otherwise
};

// Reads the command line with the daemon's parser: the daemon's options and the checker's own.
[[nodiscard]] Invocation readCommandLine(int argc, char** argv);

// The INI file that the daemon would read when it were started with these of the options that are
// its own; nothing when the settings come from the command line.
[[nodiscard]] std::optional<std::string> iniFileOf(const Invocation& invocation);

// What names the log configuration, and where that stands: --logcfg, otherwise VL_LOGCFG.
struct LogName {
    std::optional<std::string> name;
    Place place;
};
[[nodiscard]] LogName logNameOf(const Invocation& invocation);

// The help text.
[[nodiscard]] const char* helpText();

}  // namespace velmoracheck
