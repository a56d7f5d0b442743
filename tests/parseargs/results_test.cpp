// Asking for what was found on the command line.

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>

#include "parseargs/parse_command_line.h"
#include "support/output_capture.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

constexpr char noSuchArgument[] = "ArgvParser::argument(): Request for non-existing argument.\n";

class ArgvParserResults : public testing::Test {
protected:
    ArgvParserResults() {
        parser.defineOption("port", "", ArgvParser::OptionRequiresValue);
        parser.defineOptionAlternative("port", "p");
        parser.defineOption("verbose", "", ArgvParser::NoOptionAttribute);
    }

    ArgvParser parser;
};

TEST_F(ArgvParserResults, FoundOptionAgreesForAllLabelsOfAnOption) {
    parseCommandLine(parser, {"-p", "80"});
    EXPECT_TRUE(parser.foundOption("p"));
    EXPECT_TRUE(parser.foundOption("port"));
    EXPECT_FALSE(parser.foundOption("verbose"));
}

TEST_F(ArgvParserResults, FoundOptionIsFalseForAnUnknownLabelWithoutAMessage) {
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.foundOption("threads"));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ArgvParserResults, OptionValueAgreesForAllLabelsOfAnOption) {
    parseCommandLine(parser, {"--port", "80"});
    EXPECT_EQ(parser.optionValue("p"), "80");
    EXPECT_EQ(parser.optionValue("port"), "80");
}

TEST_F(ArgvParserResults, OptionValueOfAnUnknownLabelIsMisuse) {
    OutputCapture capture(stderr);
    EXPECT_EQ(parser.optionValue("threads"), "");
    EXPECT_EQ(capture.text(),
              "ArgvParser::optionValue(): Requested value of an option the parser did not find or "
              "does not know.\n");
}

TEST_F(ArgvParserResults, OptionValueOfAnOptionNotFoundIsEmptyWithoutAMessage) {
    parseCommandLine(parser, {"--verbose"});
    OutputCapture capture(stderr);
    EXPECT_EQ(parser.optionValue("port"), "");
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ArgvParserResults, ArgumentsAreInTheOrderOfTheCommandLine) {
    parseCommandLine(parser, {"--verbose", "b", "a", "b"});
    EXPECT_EQ(parser.arguments(), 3U);
    EXPECT_EQ(parser.argument(0), "b");
    EXPECT_EQ(parser.argument(1), "a");
    EXPECT_EQ(parser.allArguments(), (ArgvParser::ArgumentContainer{"b", "a", "b"}));
}

TEST_F(ArgvParserResults, ArgumentPastTheEndIsMisuse) {
    parseCommandLine(parser, {"a"});
    OutputCapture capture(stderr);
    EXPECT_EQ(parser.argument(parser.arguments()), "");
    EXPECT_EQ(capture.text(), noSuchArgument);
}

TEST_F(ArgvParserResults, ArgumentOfTheLargestIndexIsMisuse) {
    OutputCapture capture(stderr);
    EXPECT_EQ(parser.argument(std::numeric_limits<unsigned int>::max()), "");
    EXPECT_EQ(capture.text(), noSuchArgument);
}

}  // namespace
