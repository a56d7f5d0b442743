// The help option: what becomes it, and when the request for help wins.

#include <gtest/gtest.h>

#include <cstdio>

#include "parseargs/parse_command_line.h"
#include "support/output_capture.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

constexpr auto flag = ArgvParser::NoOptionAttribute;

class HelpOption : public testing::Test {
protected:
    HelpOption() { parser.setHelpOption("h", "help", "Show this text."); }

    ArgvParser parser;
};

TEST_F(HelpOption, IsAnOptionOfTheUsageText) {
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n-h, --help\n    Show this text.\n\n");
}

TEST_F(HelpOption, IsRequestedByItsShortLabel) {
    EXPECT_EQ(parseCommandLine(parser, {"-h"}), ArgvParser::ParserHelpRequested);
}

TEST_F(HelpOption, IsRequestedByItsLongLabel) {
    EXPECT_EQ(parseCommandLine(parser, {"--help"}), ArgvParser::ParserHelpRequested);
}

TEST_F(HelpOption, IsRequestedWithAValueToo) {
    EXPECT_EQ(parseCommandLine(parser, {"--help=port"}), ArgvParser::ParserHelpRequested);
    EXPECT_EQ(parseCommandLine(parser, {"-h=port"}), ArgvParser::ParserHelpRequested);
}

TEST_F(HelpOption, IsNotRecordedWhenRequested) {
    parseCommandLine(parser, {"--help"});
    EXPECT_FALSE(parser.foundOption("help"));
}

TEST_F(HelpOption, IsRequestedByAMemberOfAGroup) {
    parser.defineOption("v", "", flag);
    parser.defineOption("q", "", flag);
    EXPECT_EQ(parseCommandLine(parser, {"-vhq"}), ArgvParser::ParserHelpRequested);
    EXPECT_TRUE(parser.foundOption("v"));
    EXPECT_FALSE(parser.foundOption("q"));
}

TEST_F(HelpOption, WinsOverAMissingRequiredOption) {
    parser.defineOption("port", "", ArgvParser::OptionRequired);
    EXPECT_EQ(parseCommandLine(parser, {"-h"}), ArgvParser::ParserHelpRequested);
}

TEST_F(HelpOption, WinsOverAFaultAfterIt) {
    EXPECT_EQ(parseCommandLine(parser, {"--help", "--bogus"}), ArgvParser::ParserHelpRequested);
}

TEST_F(HelpOption, LosesToAFaultBeforeIt) {
    EXPECT_EQ(parseCommandLine(parser, {"--bogus", "--help"}), ArgvParser::ParserUnknownOption);
}

TEST_F(HelpOption, LosesToAnArgumentBeforeIt) {
    EXPECT_EQ(parseCommandLine(parser, {"file", "-h"}), ArgvParser::ParserOptionAfterArgument);
}

TEST_F(HelpOption, LeavesTheErrorOptionAlone) {
    parseCommandLine(parser, {"--bogus"});
    EXPECT_EQ(parseCommandLine(parser, {"--help"}), ArgvParser::ParserHelpRequested);
    EXPECT_EQ(parser.errorOption(), "bogus");
}

TEST_F(HelpOption, SetAgainReplacesTheFormerOne) {
    EXPECT_TRUE(parser.setHelpOption("?", "usage", ""));
    EXPECT_EQ(parseCommandLine(parser, {"-?"}), ArgvParser::ParserHelpRequested);
    EXPECT_EQ(parseCommandLine(parser, {"-h"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("help"));
}

TEST(SetHelpOption, RefusesAShortLabelInUse) {
    ArgvParser parser;
    parser.defineOption("h", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.setHelpOption("h", "help", ""));
    EXPECT_FALSE(parser.isDefinedOption("help"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::setHelpOption(): Short or long help option label equals an already "
              "defined option.\n");
}

TEST(SetHelpOption, RefusesALongLabelInUse) {
    ArgvParser parser;
    parser.defineOption("help", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.setHelpOption("h", "help", ""));
    EXPECT_FALSE(parser.isDefinedOption("h"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::setHelpOption(): Short or long help option label equals an already "
              "defined option.\n");
}

TEST(SetHelpOption, RefusalLeavesNoHelpOption) {
    ArgvParser parser;
    parser.defineOption("help", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.setHelpOption("h", "help", ""));
    EXPECT_EQ(parseCommandLine(parser, {"--help"}), ArgvParser::NoParserError);
}

TEST(SetHelpOption, WithADigitMakesTheOptionBeforeItTheHelpOption) {
    ArgvParser parser;
    parser.defineOption("first", "", flag);
    parser.defineOption("last", "", flag);
    OutputCapture capture(stderr);
    EXPECT_TRUE(parser.setHelpOption("5", "help", ""));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOption(): Digits as short option labels are not allowd.\n"
              "ArgvParser::defineOptionAlternative(): Original option label is not a defined "
              "option.\n");
    EXPECT_FALSE(parser.isDefinedOption("help"));
    EXPECT_EQ(parseCommandLine(parser, {"--first", "--last"}), ArgvParser::ParserHelpRequested);
}

TEST(SetHelpOption, WithADigitOnANewParserLeavesNoHelpOption) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_TRUE(parser.setHelpOption("5", "help", ""));
    parser.defineOption("first", "", flag);
    EXPECT_EQ(parseCommandLine(parser, {"--first"}), ArgvParser::NoParserError);
}

TEST(SetHelpOption, WithADigitAsLongLabelKeepsTheShortOne) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_TRUE(parser.setHelpOption("h", "5", ""));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): Digits as short option labels are not "
              "allowd.\n");
    EXPECT_EQ(parseCommandLine(parser, {"-h"}), ArgvParser::ParserHelpRequested);
}

TEST(SetHelpOption, WithTwoLabelsAlikeSucceeds) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_TRUE(parser.setHelpOption("help", "help", ""));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): The alternative option label equals an "
              "already defined option.\n");
    EXPECT_EQ(parseCommandLine(parser, {"--help"}), ArgvParser::ParserHelpRequested);
}

}  // namespace
