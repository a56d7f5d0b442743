#include "velmoraserver/app/velmoracheck/invocation.h"

#include <algorithm>
#include <cstdlib>

#include "velmoraserver/app/velmoracheck/setting_check.h"
#include "velmoraserver/app/velmoracheck/words.h"
#include "velmoraserver/app/velmoraserviced/options.h"

using CommandLineProcessing::ArgvParser;

namespace velmoracheck {

namespace {

constexpr const char* flags[] = {"strict", "quiet", "json"};

void declareOwnOptions(ArgvParser& parser) {
    for (const char* flag : flags) {
        parser.defineOption(flag, "", ArgvParser::NoOptionAttribute);
    }
    parser.defineOption("logcfg", "", ArgvParser::OptionRequiresValue);
}

// The parser takes "--strict=no" for "--strict".
std::string flagWithValue(const ArgvParser& parser) {
    for (const char* flag : flags) {
        if (!parser.optionValue(flag).empty()) {
            return std::string("Option '") + flag + "' takes no value";
        }
    }
    return {};
}

std::string description(const ArgvParser& parser, ArgvParser::ParserResults result) {
    std::string text = printable(parser.parseErrorDescription(result));
    if (result == ArgvParser::ParserUnknownOption) {
        const std::string meant =
            closest(parser.errorOption(),
                    {"strict", "quiet", "json", "logcfg", "help", "ini", "connections", "port",
                     "threads", "threadQueuesize", "queueTimeout"});
        text += meant.empty() ? "" : ": did you mean '--" + meant + "'?";
    }
    return text;
}

bool hasDaemonArguments(const ArgvParser& parser) {
    return parser.arguments() > 0 || std::ranges::any_of(settingNames(), [&](auto name) {
               return parser.foundOption(std::string(name));
           });
}

}  // namespace

Invocation readCommandLine(int argc, char** argv) {
    Invocation invocation;
    invocation.parser.reset(initArgParser());
    ArgvParser& parser = *invocation.parser;
    declareOwnOptions(parser);

    const ArgvParser::ParserResults result = parser.parse(argc, argv);
    invocation.help = result == ArgvParser::ParserHelpRequested;
    if (result == ArgvParser::NoParserError) {
        invocation.problem = flagWithValue(parser);
    } else if (!invocation.help) {
        invocation.problem = description(parser, result);
    }
    invocation.strict = parser.foundOption("strict");
    invocation.quiet = parser.foundOption("quiet");
    invocation.json = parser.foundOption("json");
    return invocation;
}

std::optional<std::string> iniFileOf(const Invocation& invocation) {
    const ArgvParser& parser = *invocation.parser;
    if (parser.foundOption("ini")) {
        const std::string path = parser.optionValue("ini");
        return path.empty() ? getIniFile() : path;
    }
    if (hasDaemonArguments(parser)) {
        return std::nullopt;
    }
    return getIniFile();
}

LogName logNameOf(const Invocation& invocation) {
    if (invocation.parser->foundOption("logcfg")) {
        return {invocation.parser->optionValue("logcfg"), {commandLineFile, 1}};
    }
    const char* name = std::getenv("VL_LOGCFG");
    return {name != nullptr ? std::optional<std::string>(name) : std::nullopt,
            {environmentFile, 1}};
}

const char* helpText() {
    return R"(usage: velmoracheck [--strict] [--quiet] [--json] [--logcfg FILE] [daemon options]

Tells what velmoraserviced would do when it were started with the same options and the same
environment, and what in its files is probably not meant. It starts nothing and changes nothing.

  --strict               a warning is enough for exit status 1
  --quiet                print findings alone
  --json                 print one JSON object
  --logcfg FILE          the log configuration, in place of the variable VL_LOGCFG
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

Exit status: 0 the daemon would start as its files say; 1 there is an error, or with --strict any
finding; 2 velmoracheck was called wrongly, or could not print its report.
)";
}

}  // namespace velmoracheck
