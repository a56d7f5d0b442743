// The line that tells a user what was wrong with the command line.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "parseargs/parse_command_line.h"
#include "support/output_capture.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

class ErrorDescription : public testing::Test {
protected:
    ErrorDescription() {
        parser.defineOption("port", "Port", ArgvParser::OptionRequiresValue);
        parser.defineOptionAlternative("port", "p");
    }

    std::string describe(const std::vector<std::string>& arguments) {
        return parser.parseErrorDescription(parseCommandLine(parser, arguments));
    }

    ArgvParser parser;
};

TEST_F(ErrorDescription, IsEmptyWithoutAFault) {
    OutputCapture capture(stderr);
    EXPECT_EQ(describe({"--port=80"}), "");
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ErrorDescription, NamesAnUnknownOption) {
    EXPECT_EQ(describe({"--bogus=1"}), "Unknown option: 'bogus'");
}

TEST_F(ErrorDescription, NamesAnOptionWithoutItsValue) {
    EXPECT_EQ(describe({"-p"}), "Missing required value for option: 'p'");
}

TEST_F(ErrorDescription, NamesAMisplacedOption) {
    EXPECT_EQ(describe({"file", "--port=80"}),
              "Misplaced option '--port=80' detected. All option have to be BEFORE the first "
              "argument");
}

TEST_F(ErrorDescription, NamesAMalformedGroup) {
    EXPECT_EQ(describe({"-vq=1"}), "Malformed short-options: 'vq'");
}

TEST_F(ErrorDescription, NamesAMissingRequiredOption) {
    parser.defineOption("ini", "", ArgvParser::OptionRequired);
    parser.defineOptionAlternative("ini", "i");
    EXPECT_EQ(describe({}), "Required option missing: '-i, --ini'");
}

TEST_F(ErrorDescription, IsTheUsageTextAtWidth80ForARequestForHelp) {
    parser.setHelpOption("h", "help", "Show this text.");
    parser.setIntroductoryDescription(
        "ThisWordHasNinetyCharactersSoThatTheUsageTextAtWidthEightyCutsItAfterTheEightiet"
        "hOfThemAnd");
    EXPECT_EQ(describe({"-h"}),
              "ThisWordHasNinetyCharactersSoThatTheUsageTextAtWidthEightyCutsItAfterTheEightiet\n"
              "hOfThemAnd\n"
              "\n"
              "Available options\n"
              "-----------------\n"
              "-p <value>, --port <value>\n"
              "    Port\n"
              "\n"
              "-h, --help\n"
              "    Show this text.\n"
              "\n");
}

TEST_F(ErrorDescription, OfANumberThatIsNoResultIsMisuse) {
    OutputCapture capture(stderr);
    EXPECT_EQ(parser.parseErrorDescription(static_cast<ArgvParser::ParserResults>(3)), "");
    EXPECT_EQ(capture.text(), "ArgvParser::documentParserErrors(): Unknown error code\n");
}

TEST_F(ErrorDescription, OfANegativeNumberIsMisuse) {
    OutputCapture capture(stderr);
    EXPECT_EQ(parser.parseErrorDescription(static_cast<ArgvParser::ParserResults>(-1)), "");
    EXPECT_EQ(capture.text(), "ArgvParser::documentParserErrors(): Unknown error code\n");
}

}  // namespace
