#include <cstdio>
#include <cstdlib>
#include <memory>

#include "velmoraserver/app/velmoraserviced/log_at_end.h"
#include "velmoraserver/app/velmoraserviced/standard_streams.h"
#include "velmoraserver/app/velmoraserviced/velmoraserviced.h"
#include "vlib/vlog/vlog.h"

using CommandLineProcessing::ArgvParser;

namespace {

// The shell sees 255.
constexpr int badCommandLine = -1;

void initLogger() {
    if (const char* configuration = std::getenv("VL_LOGCFG")) {
        VLog::init(configuration);
    }
}

// Prints the help text, and before it what is wrong with the command line.
void explain(ArgvParser& parser, ArgvParser::ParserResults result) {
    if (result != ArgvParser::ParserHelpRequested) {
        std::printf("[LOG]\t%s\r\n", parser.parseErrorDescription(result).c_str());
        std::fflush(stdout);
    }
    printUsage(&parser);
}

// With an INI file on the command line, that file alone decides.
int startFromCommandLine(ArgvParser& parser) {
    return parser.foundOption("ini") ? startService(parser.optionValue("ini"))
                                     : startService(&parser);
}

}  // namespace

int main(int argc, char** argv) {
    qor::openClosedStreams();
    initLogger();
    const std::unique_ptr<ArgvParser> parser(initArgParser());

    int started = 0;
    if (argc > 1) {
        const ArgvParser::ParserResults result = parser->parse(argc, argv);
        if (result != ArgvParser::NoParserError) {
            explain(*parser, result);
            return badCommandLine;
        }
        started = startFromCommandLine(*parser);
    } else {
        started = startService("");
    }

    if (started == 0) {
        Loop();
        Stop();  // for the day that Loop() returns
    }
    qor::bringLogToFiles();
    return 0;  // also after a failed start
}
