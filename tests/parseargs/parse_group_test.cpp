// Groups of short labels behind one dash.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "parseargs/parse_command_line.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

// "p" takes a value, "v" and "q" are flags.
class ArgvParserGroup : public testing::Test {
protected:
    ArgvParserGroup() {
        parser.defineOption("p", "", ArgvParser::OptionRequiresValue);
        parser.defineOption("v", "", ArgvParser::NoOptionAttribute);
        parser.defineOption("q", "", ArgvParser::NoOptionAttribute);
    }

    ArgvParser::ParserResults parse(std::vector<std::string> arguments) {
        return parseCommandLine(parser, std::move(arguments));
    }

    ArgvParser parser;
};

TEST_F(ArgvParserGroup, RecordsEveryMemberWithAnEmptyValue) {
    EXPECT_EQ(parse({"-vq"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("v"));
    EXPECT_TRUE(parser.foundOption("q"));
    EXPECT_EQ(parser.optionValue("v"), "");
    EXPECT_EQ(parser.optionValue("q"), "");
}

TEST_F(ArgvParserGroup, GivesNoValueToAMemberThatRequiresOne) {
    EXPECT_EQ(parse({"-vp", "80"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("p"));
    EXPECT_EQ(parser.optionValue("p"), "");
    EXPECT_EQ(parser.argument(0), "80");
}

TEST_F(ArgvParserGroup, NeedsNoElementAfterAMemberThatRequiresAValue) {
    EXPECT_EQ(parse({"-vp"}), ArgvParser::NoParserError);
}

TEST_F(ArgvParserGroup, OverwritesAnEarlierValueWithNone) {
    EXPECT_EQ(parse({"-p=80", "-pv"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("p"));
    EXPECT_EQ(parser.optionValue("p"), "");
}

TEST_F(ArgvParserGroup, MayRepeatAMember) {
    EXPECT_EQ(parse({"-vv"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("v"));
}

TEST_F(ArgvParserGroup, CannotTakeAValue) {
    EXPECT_EQ(parse({"-vq=1"}), ArgvParser::ParserMalformedMultipleShortOption);
    EXPECT_EQ(parser.errorOption(), "vq");
    EXPECT_FALSE(parser.foundOption("v"));
}

TEST_F(ArgvParserGroup, CannotTakeAValueEvenIfItsMembersAreUnknown) {
    EXPECT_EQ(parse({"-ab=3"}), ArgvParser::ParserMalformedMultipleShortOption);
    EXPECT_EQ(parser.errorOption(), "ab");
}

TEST_F(ArgvParserGroup, CannotTakeAValueEvenIfItSpellsALongLabel) {
    parser.defineOption("port", "", ArgvParser::OptionRequiresValue);
    EXPECT_EQ(parse({"-port=80"}), ArgvParser::ParserMalformedMultipleShortOption);
    EXPECT_EQ(parser.errorOption(), "port");
}

TEST_F(ArgvParserGroup, StopsAtAnUnknownMember) {
    EXPECT_EQ(parse({"-vxq"}), ArgvParser::ParserUnknownOption);
    EXPECT_EQ(parser.errorOption(), "x");
    EXPECT_TRUE(parser.foundOption("v"));
    EXPECT_FALSE(parser.foundOption("q"));
}

TEST_F(ArgvParserGroup, TakesAnEqualsSignWithoutAValueForAMember) {
    EXPECT_EQ(parse({"-p="}), ArgvParser::ParserUnknownOption);
    EXPECT_EQ(parser.errorOption(), "=");
    EXPECT_TRUE(parser.foundOption("p"));
}

TEST_F(ArgvParserGroup, TakesAnEqualsSignWithoutANameForAMember) {
    EXPECT_EQ(parse({"-=80"}), ArgvParser::ParserUnknownOption);
    EXPECT_EQ(parser.errorOption(), "=");
}

TEST_F(ArgvParserGroup, IsWhatTwoDashesAndOneCharacterAre) {
    EXPECT_EQ(parse({"--v"}), ArgvParser::ParserUnknownOption);
    EXPECT_EQ(parser.errorOption(), "-");
    EXPECT_FALSE(parser.foundOption("v"));
}

TEST_F(ArgvParserGroup, OfTwoDashesAndOneCharacterMayHoldADashAsLabel) {
    parser.defineOption("-", "", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parse({"--v"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("-"));
    EXPECT_TRUE(parser.foundOption("v"));
}

TEST_F(ArgvParserGroup, OfTwoDashesAndADigitIsNoNumber) {
    EXPECT_EQ(parse({"--5"}), ArgvParser::ParserUnknownOption);
    EXPECT_EQ(parser.errorOption(), "-");
}

}  // namespace
