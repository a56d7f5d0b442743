#pragma once

#include <memory>
#include <optional>
#include <string>

#include "velmoraserver/app/velmoracheck/log_check.h"
#include "velmoraserver/app/velmoraserviced/options.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace velmoracheck {

// What the checker was asked to do.
struct Invocation {
    std::unique_ptr<CommandLineProcessing::ArgvParser> parser;  // after parsing
    bool help = false;
    bool version = false;
    bool strict = false;
    bool quiet = false;
    bool json = false;
    bool rehearse = false;
    std::string problem;  // the checker was called wrongly; empty otherwise
};

// Reads the command line with the daemon's parser: the daemon's options and the checker's own.
[[nodiscard]] Invocation readCommandLine(int argc, char** argv);

// Finds the options and arguments of the daemon that count for nothing, or for another thing than
// they seem to.
void checkCommandLine(const CommandLineProcessing::ArgvParser& parser, Findings& findings);

// The INI file that the daemon would read if it were started with these of the options that are its
// own; nothing when the settings come from the command line.
[[nodiscard]] std::optional<std::string> iniFileOf(const CommandLineProcessing::ArgvParser& parser);

// The log configuration: --logcfg, otherwise VL_LOGCFG.
[[nodiscard]] LogName logNameOf(const CommandLineProcessing::ArgvParser& parser);

// The process becomes this user, for good. Why that cannot be, or an empty text.
[[nodiscard]] std::string become(const std::string& user);

// The user of the service's unit, when one is installed and the caller is root; empty otherwise.
[[nodiscard]] std::string userToSuggest();

// The unit of the daemon that this process was started in; empty when there is none.
[[nodiscard]] std::string ownUnit();

// A file of the installation, seen from the directory that this program is in.
[[nodiscard]] std::string programBeside(const std::string& name);

// The help text.
[[nodiscard]] const char* helpText();

}  // namespace velmoracheck
