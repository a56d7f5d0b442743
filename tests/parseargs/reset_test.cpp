// Starting over: all that was declared and all that was found is forgotten.

#include <gtest/gtest.h>

#include <cstdio>

#include "parseargs/parse_command_line.h"
#include "support/output_capture.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

// A parser with something of everything in it, then reset.
class ArgvParserReset : public testing::Test {
protected:
    ArgvParserReset() {
        parser.setIntroductoryDescription("Velmora Service");
        parser.setHelpOption("h", "help", "Show this text.");
        parser.defineOption("port", "Port", ArgvParser::OptionRequired);
        parser.addErrorCode(0, "OK");
        parseCommandLine(parser, {"--port=80", "file", "--misplaced"});
        parser.reset();
    }

    ArgvParser parser;
};

TEST_F(ArgvParserReset, ForgetsTheLabels) {
    EXPECT_FALSE(parser.isDefinedOption("h"));
    EXPECT_FALSE(parser.isDefinedOption("help"));
    EXPECT_FALSE(parser.isDefinedOption("port"));
}

TEST_F(ArgvParserReset, LeavesRoomForOptionsFromTheFirstOn) {
    parser.defineOption("threads", "", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n--threads\n    (no description)\n\n");
}

TEST_F(ArgvParserReset, ForgetsTheHelpOption) {
    parser.defineOption("h", "", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parseCommandLine(parser, {"-h"}), ArgvParser::NoParserError);
}

TEST_F(ArgvParserReset, ForgetsWhatWasRequired) {
    EXPECT_EQ(parseCommandLine(parser, {}), ArgvParser::NoParserError);
}

TEST_F(ArgvParserReset, ForgetsTheArguments) {
    EXPECT_EQ(parser.arguments(), 0U);
}

TEST_F(ArgvParserReset, ForgetsTheValues) {
    parser.defineOption("a", "", ArgvParser::NoOptionAttribute);
    parser.defineOption("port", "", ArgvParser::NoOptionAttribute);
    EXPECT_FALSE(parser.foundOption("port"));
    EXPECT_EQ(parser.optionValue("port"), "");
}

TEST_F(ArgvParserReset, ForgetsTheErrorOption) {
    EXPECT_EQ(parser.errorOption(), "");
}

TEST_F(ArgvParserReset, ForgetsIntroductionOptionsAndReturnCodes) {
    EXPECT_EQ(parser.usageDescription(80), "");
}

TEST_F(ArgvParserReset, ForgetsTheDescriptions) {
    parser.defineOption("v", "", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n-v\n    (no description)\n\n");
}

TEST_F(ArgvParserReset, IsSilent) {
    OutputCapture capture(stderr);
    parser.reset();
    EXPECT_EQ(capture.text(), "");
}

}  // namespace
