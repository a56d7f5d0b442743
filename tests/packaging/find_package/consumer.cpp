// Logs the value of its option with the installed logger, read with the installed parser.
#include "velmoraserver/parseargs/argvparser.h"
#include "vlib/vlog/vlog.h"

int main(int argc, char** argv) {
    CommandLineProcessing::ArgvParser parser;
    parser.defineOption("say", "text to log",
                        CommandLineProcessing::ArgvParser::OptionRequiresValue);
    if (parser.parse(argc, argv) != CommandLineProcessing::ArgvParser::NoParserError) {
        return 1;
    }
    VLog log(10);
    log.addTopic("CONSUMER", VLogConfig::INFO, VLogConfig::SIMPLE, {"[STDOUT]"}, {0});
    log.write("CONSUMER", 7, VLogConfig::INFO, "consumer", 1, "%s",
              parser.optionValue("say").c_str());
    return 0;
}
