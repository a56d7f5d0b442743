// Fed: the elements of a command line, each ended by a byte 0. Must hold: where the parser finds no
// fault, the daemon's start asks the engine for the decimal number at the beginning of each
// option's value, and for the default where there is no option or no number.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/recording_engine.h"
#include "fuzz/require.h"
#include "velmoraserver/app/velmoraserviced/velmoraserviced.h"

using CommandLineProcessing::ArgvParser;

static int numberOf(const ArgvParser& parser, const char* option, int otherwise) {
    const std::string text = parser.optionValue(option);
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    return end == text.c_str() ? otherwise : static_cast<int>(number);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    std::vector<std::string> elements{"velmoraserviced"};
    while (!input.empty()) {
        elements.push_back(input.upTo(0));
    }
    std::vector<char*> argv;
    for (std::string& element : elements) {
        argv.push_back(element.data());
    }

    const std::unique_ptr<ArgvParser> parser(initArgParser());
    const auto result = parser->parse(static_cast<int>(argv.size()), argv.data());
    if (result != ArgvParser::NoParserError) {
        require(!parser->parseErrorDescription(result).empty(), "a fault has a description");
        return 0;
    }
    require(startService(parser.get()) == -1, "without a server the start fails");
    const FiveNumbers found = numbersOfLastStart();
    forgetLastStart();

    const char* options[] = {"port", "c", "threads", "q", "queueTimeout"};
    for (size_t i = 0; i < found.size(); ++i) {
        require(found[i] == numberOf(*parser, options[i], defaultNumbers[i]), options[i]);
    }
    return 0;
}
