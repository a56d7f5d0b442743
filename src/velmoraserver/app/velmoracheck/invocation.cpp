#include "velmoraserver/app/velmoracheck/invocation.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "velmoraserver/app/velmoracheck/listener.h"
#include "velmoraserver/app/velmoracheck/setting_check.h"

using CommandLineProcessing::ArgvParser;

namespace velmoracheck {

namespace {

struct Flag {
    const char* name;
    bool Invocation::*value;
};
constexpr Flag flags[] = {{"strict", &Invocation::strict},
                          {"quiet", &Invocation::quiet},
                          {"json", &Invocation::json},
                          {"rehearse", &Invocation::rehearse},
                          {"version", &Invocation::version}};
constexpr const char* ownValues[] = {"logcfg", "cwd", "user"};

std::string description(const ArgvParser& parser, ArgvParser::ParserResults result) {
    std::string text = printable(parser.parseErrorDescription(result));
    if (result == ArgvParser::ParserUnknownOption) {
        std::vector<std::string_view> known = settingNames();
        known.insert(known.end(), {"help", "ini"});
        known.insert(known.end(), std::begin(ownValues), std::end(ownValues));
        std::ranges::transform(flags, std::back_inserter(known), &Flag::name);
        const std::string meant = closest(parser.errorOption(), known);
        text += meant.empty() ? "" : ": did you mean '--" + meant + "'?";
    }
    return text;
}

}  // namespace

Invocation readCommandLine(int argc, char** argv) {
    Invocation invocation;
    invocation.parser.reset(initArgParser());
    ArgvParser& parser = *invocation.parser;
    for (const Flag& flag : flags) {
        parser.defineOption(flag.name, "", ArgvParser::NoOptionAttribute);
    }
    for (const char* name : ownValues) {
        parser.defineOption(name, "", ArgvParser::OptionRequiresValue);
    }
    const ArgvParser::ParserResults result = parser.parse(argc, argv);
    invocation.help = result == ArgvParser::ParserHelpRequested;
    if (result != ArgvParser::NoParserError && !invocation.help) {
        invocation.problem = description(parser, result);
    }
    for (const Flag& flag : flags) {
        invocation.*flag.value = parser.foundOption(flag.name);
        // The parser takes "--strict=no" for "--strict".
        if (invocation.problem.empty() && !parser.optionValue(flag.name).empty()) {
            invocation.problem = joined("Option '", flag.name, "' takes no value");
        }
    }
    return invocation;
}

void checkCommandLine(const ArgvParser& parser, Findings& findings) {
    const Place place{commandLineFile, 1};
    for (const std::string_view name : settingNames()) {
        if (parser.foundOption("ini") && parser.foundOption(std::string(name))) {
            findings.warning(place, "option '", name,
                             "' is ignored: with --ini the INI file alone decides");
        }
    }
    for (const std::string& argument : parser.allArguments()) {
        findings.warning(place, "argument ", inQuotes(argument),
                         " is ignored: an INI file is named with --ini");
    }
    if (parser.foundOption("ini") && parser.optionValue("ini").empty()) {
        findings.warning(place, "option 'ini' has no value: the daemon reads ", getIniFile());
    }
}

std::optional<std::string> iniFileOf(const ArgvParser& parser) {
    const bool isSettings =
        parser.arguments() > 0 || std::ranges::any_of(settingNames(), [&](auto name) {
            return parser.foundOption(std::string(name));
        });
    if (parser.foundOption("ini") && !parser.optionValue("ini").empty()) {
        return parser.optionValue("ini");
    }
    return parser.foundOption("ini") || !isSettings ? std::optional(getIniFile()) : std::nullopt;
}

LogName logNameOf(const ArgvParser& parser) {
    if (parser.foundOption("logcfg")) {
        return {parser.optionValue("logcfg"), {commandLineFile, 1}, /*isOption=*/true};
    }
    const char* name = std::getenv("VL_LOGCFG");
    return {name != nullptr ? std::optional<std::string>(name) : std::nullopt,
            {environmentFile, 1}};
}

std::string become(const std::string& user) {
    const passwd* entry = ::getpwnam(user.c_str());
    if (entry == nullptr) {
        return "there is no user " + inQuotes(user);
    }
    // The user last: it ends the right to do the rest.
    if (entry->pw_uid != ::geteuid() &&
        (::initgroups(entry->pw_name, entry->pw_gid) != 0 || ::setgid(entry->pw_gid) != 0 ||
         ::setuid(entry->pw_uid) != 0)) {
        return joined("cannot become ", inQuotes(user), ": ",
                      std::generic_category().message(errno), " (root can)");
    }
    return {};
}

std::string userToSuggest() {
    if (::geteuid() != 0) {
        return {};
    }
    const std::string name = "systemd/system/velmoraserviced.service";
    // In systemd's order, and where the installation has it.
    for (const std::string& place :
         {std::string("/etc/"), std::string("/run/"), std::string("/usr/local/lib/"),
          std::string("/lib/"), programBeside("../lib/")}) {
        std::ifstream unit(place + name);
        std::string user;
        for (std::string line; std::getline(unit, line);) {
            user = line.starts_with("User=") ? line.substr(5) : user;
        }
        if (!user.empty() && user != "root") {
            return user;
        }
    }
    return {};
}

std::string ownUnit() {
    std::ifstream cgroup("/proc/self/cgroup");
    return unitOf({std::istreambuf_iterator<char>(cgroup), {}});
}

std::string programBeside(const std::string& name) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return (program.parent_path() / name).lexically_normal().string();
}

const char* helpText() {
    return R"(usage: velmoracheck [options] [daemon options]

Tells what velmoraserviced would do if it were started with the same options, environment and
working directory, and what in its files is probably not meant. It changes nothing and, without
--rehearse, starts nothing.

  --strict               a warning is enough for exit status 1
  --quiet                print findings alone
  --json                 print one JSON object
  --rehearse             let the engine serve for a moment, with the numbers as they are
  --logcfg FILE          the log configuration, in place of the variable VL_LOGCFG; "" when
                         nothing shall be logged
  --cwd DIR              the daemon's working directory, where relative names begin
  --user NAME            the daemon's user, as whom files are judged (root alone may ask)
  --version              print version and build
  -h, --help             print this text

The daemon's options:

  -i, --ini FILE         the INI file (/opt/velmoraserver/velmora.ini when there is no option);
                         it alone decides
  -c, --connections N    client connections
  -p, --port N           TCP port
  -t, --threads N        worker threads
  -q, --threadQueuesize N
                         waiting requests per thread
  -o, --queueTimeout N   how long a request may wait, in milliseconds

A finding is a line 'FILE:LINE: error: text' or 'FILE:LINE: warning: text' on standard output; one
about a whole file stands at line 1. <command-line> and <environment> stand for what is in no file.

An error is what the daemon does otherwise than its files say, or what keeps it from starting; a
warning is what was probably not meant.

Environment: VL_LOGCFG, VELMORA_LIGHT_BIND (the address whose port is tried; 127.0.0.1 without it),
LD_LIBRARY_PATH (the engine), NO_COLOR.

Exit status: 0 there is no error; 1 there is one, or with --strict any finding; 2 velmoracheck was
called wrongly, or could not print its report.
)";
}

}  // namespace velmoracheck
