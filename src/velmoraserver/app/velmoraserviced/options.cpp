#include "velmoraserver/app/velmoraserviced/options.h"

#include <cstdio>
#include <memory>

using CommandLineProcessing::ArgvParser;

namespace {

constexpr unsigned int usageWidth = 80;

void declareOption(ArgvParser& parser, const char* name, const char* alternative,
                   const char* description) {
    parser.defineOption(name, description, ArgvParser::OptionRequiresValue);
    parser.defineOptionAlternative(name, alternative);
}

}  // namespace

std::string getIniFile() {
    return "/opt/velmoraserver/velmora.ini";
}

ArgvParser* initArgParser() {
    auto parser = std::make_unique<ArgvParser>();
    parser->setIntroductoryDescription("Velmora Service");
    parser->setHelpOption("h", "help", "Velmora Service Help.");
    declareOption(*parser, "connections", "c", "Number of connections");
    declareOption(*parser, "ini", "i", "Ini file path");
    declareOption(*parser, "port", "p", "Port for Server");
    declareOption(*parser, "threads", "t", "Number of threads");
    declareOption(*parser, "threadQueuesize", "q", "Queue Size");
    declareOption(*parser, "queueTimeout", "o", "Queue Timeout (ms)");
    return parser.release();
}

void printUsage(ArgvParser* parser) {
    std::printf("[LOG]\t%s\r\n", parser->usageDescription(usageWidth).c_str());
    static_cast<void>(std::fflush(stdout));
}
