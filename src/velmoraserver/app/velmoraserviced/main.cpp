#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

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

// What failed stands in the log only, so the log is brought to its files before the process ends.
// Not waited for without end, since a log file may be a FIFO that nobody reads.
void bringLogToFiles() {
    std::promise<void> drained;
    const std::future<void> end = drained.get_future();
    try {
        std::thread([drained = std::move(drained)]() mutable {
            VLog::getGlobalLog()->dumpToFile();
            drained.set_value();
        }).detach();
        end.wait_for(std::chrono::seconds(1));
    } catch (const std::system_error&) {
        // Maybe the start failed for the same want of threads. The console has the lines.
    }
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
    bringLogToFiles();
    return 0;  // also after a failed start
}
