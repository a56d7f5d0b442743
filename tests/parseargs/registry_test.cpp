// Declaring options: labels, keys and what is refused.

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "parseargs/parse_command_line.h"
#include "support/output_capture.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

constexpr auto flag = ArgvParser::NoOptionAttribute;

TEST(OptionAttributes, HaveTheirValues) {
    EXPECT_EQ(ArgvParser::NoOptionAttribute, 0);
    EXPECT_EQ(ArgvParser::OptionRequiresValue, 1);
    EXPECT_EQ(ArgvParser::OptionRequired, 2);
}

TEST(OptionAttributes, CombineToAnAttribute) {
    constexpr auto both = ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired;
    static_assert(std::is_same_v<decltype(both), const ArgvParser::OptionAttributes>);
    EXPECT_EQ(both, 3);
}

TEST(ParserResults, HaveTheirValues) {
    EXPECT_EQ(ArgvParser::NoParserError, 0);
    EXPECT_EQ(ArgvParser::ParserUnknownOption, 1);
    EXPECT_EQ(ArgvParser::ParserMissingValue, 2);
    EXPECT_EQ(ArgvParser::ParserOptionAfterArgument, 4);
    EXPECT_EQ(ArgvParser::ParserMalformedMultipleShortOption, 8);
    EXPECT_EQ(ArgvParser::ParserRequiredOptionMissing, 22);
    EXPECT_EQ(ArgvParser::ParserHelpRequested, 50);
}

TEST(ArgvParserTypes, AreNestedInTheClass) {
    static_assert(std::is_same_v<ArgvParser::String2KeyMap, std::map<std::string, unsigned int>>);
    static_assert(std::is_same_v<ArgvParser::Key2AttributeMap, std::map<unsigned int, int>>);
    static_assert(std::is_same_v<ArgvParser::Key2StringMap, std::map<unsigned int, std::string>>);
    static_assert(std::is_same_v<ArgvParser::ArgumentContainer, std::vector<std::string>>);
}

TEST(NewArgvParser, KnowsNothing) {
    const ArgvParser parser;
    EXPECT_FALSE(parser.isDefinedOption("h"));
    EXPECT_FALSE(parser.isDefinedOption("help"));
    EXPECT_EQ(parser.arguments(), 0U);
    EXPECT_EQ(parser.errorOption(), "");
    EXPECT_EQ(parser.usageDescription(80), "");
}

TEST(DefineOption, SucceedsWithoutAMessage) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_TRUE(parser.defineOption("port", "Port", ArgvParser::OptionRequiresValue));
    EXPECT_TRUE(parser.isDefinedOption("port"));
    EXPECT_EQ(capture.text(), "");
}

TEST(DefineOption, RefusesALabelInUse) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_TRUE(parser.defineOption("h", "", flag));
    EXPECT_FALSE(parser.defineOption("h", "", flag));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOption(): The option label equals an already defined option.\n");
}

TEST(DefineOption, RefusesALabelInUseAsAnAlternative) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    parser.defineOptionAlternative("port", "p");
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOption("p", "", flag));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOption(): The option label equals an already defined option.\n");
}

TEST(DefineOption, RefusesASingleDigit) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOption("5", "", flag));
    EXPECT_FALSE(parser.isDefinedOption("5"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOption(): Digits as short option labels are not allowd.\n");
}

TEST(DefineOption, AcceptsLongerLabelsThatHoldDigits) {
    ArgvParser parser;
    EXPECT_TRUE(parser.defineOption("55", "", flag));
    EXPECT_TRUE(parser.defineOption("x5", "", flag));
}

TEST(DefineOption, ChecksNoOtherCharacter) {
    ArgvParser parser;
    EXPECT_TRUE(parser.defineOption("a=b", "", flag));
    EXPECT_TRUE(parser.defineOption("-x", "", flag));
    EXPECT_TRUE(parser.defineOption("", "", flag));
    EXPECT_TRUE(parser.isDefinedOption(""));
}

TEST(DefineOption, TellsUpperFromLowerCase) {
    ArgvParser parser;
    EXPECT_TRUE(parser.defineOption("port", "", flag));
    EXPECT_FALSE(parser.isDefinedOption("Port"));
    EXPECT_TRUE(parser.defineOption("Port", "", flag));
}

TEST(DefineOption, KeepsTheOrderOfDeclaration) {
    ArgvParser parser;
    parser.defineOption("zeta", "", flag);
    parser.defineOption("alpha", "", flag);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n--zeta\n    (no description)\n\n"
              "--alpha\n    (no description)\n\n");
}

TEST(DefineOption, RefusalDeclaresNothing) {
    ArgvParser parser;
    parser.defineOption("a", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOption("a", "", flag));
    EXPECT_FALSE(parser.defineOption("1", "", flag));
    parser.defineOption("b", "", flag);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n-a\n    (no description)\n\n"
              "-b\n    (no description)\n\n");
}

TEST(DefineOption, RefusalLeavesTheOptionInUseAsItIs) {
    ArgvParser parser;
    parser.defineOption("a", "First", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOption("a", "Second", ArgvParser::OptionRequired));
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n-a\n    First\n\n");
}

TEST(DefineOptionAlternative, StandsForTheSameOption) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    EXPECT_TRUE(parser.defineOptionAlternative("port", "p"));
    parser.defineOption("threads", "", flag);
    EXPECT_EQ(parseCommandLine(parser, {"-p"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("port"));
    EXPECT_FALSE(parser.foundOption("threads"));
}

TEST(DefineOptionAlternative, MayBelongToAnAlternative) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    parser.defineOptionAlternative("port", "p");
    EXPECT_TRUE(parser.defineOptionAlternative("p", "listen"));
    EXPECT_EQ(parseCommandLine(parser, {"--listen"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("port"));
}

TEST(DefineOptionAlternative, RefusesAnUnknownOriginal) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOptionAlternative("port", "p"));
    EXPECT_FALSE(parser.isDefinedOption("p"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): Original option label is not a defined "
              "option.\n");
}

TEST(DefineOptionAlternative, LooksAtTheOriginalFirst) {
    ArgvParser parser;
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOptionAlternative("port", "5"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): Original option label is not a defined "
              "option.\n");
}

TEST(DefineOptionAlternative, RefusesASingleDigit) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOptionAlternative("port", "5"));
    EXPECT_FALSE(parser.isDefinedOption("5"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): Digits as short option labels are not "
              "allowd.\n");
}

TEST(DefineOptionAlternative, AcceptsLongerLabelsThatHoldDigits) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    EXPECT_TRUE(parser.defineOptionAlternative("port", "55"));
    EXPECT_TRUE(parser.defineOptionAlternative("port", "x5"));
}

TEST(DefineOptionAlternative, RefusesALabelInUse) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    parser.defineOption("p", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOptionAlternative("port", "p"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): The alternative option label equals an "
              "already defined option.\n");
}

TEST(DefineOptionAlternative, RefusesTheLabelItself) {
    ArgvParser parser;
    parser.defineOption("port", "", flag);
    OutputCapture capture(stderr);
    EXPECT_FALSE(parser.defineOptionAlternative("port", "port"));
    EXPECT_EQ(capture.text(),
              "ArgvParser::defineOptionAlternative(): The alternative option label equals an "
              "already defined option.\n");
}

TEST(DefineOptionAlternative, StandsInAscendingOrderOfTheLabels) {
    ArgvParser parser;
    parser.defineOption("port", "", ArgvParser::OptionRequired);
    parser.defineOption("other", "", flag);
    parser.defineOptionAlternative("port", "p");
    parser.defineOptionAlternative("port", "listen");
    parser.defineOptionAlternative("port", "Z");
    EXPECT_EQ(parseCommandLine(parser, {}), ArgvParser::ParserRequiredOptionMissing);
    EXPECT_EQ(parser.errorOption(), "-Z, --listen, -p, --port");
}

template <typename Parser>
concept ShowsItsKeys = requires(const Parser& parser) {
    parser.optionKey("");
}
|| requires(const Parser& parser) {
    parser.getAllOptionAlternatives(1);
};

TEST(ArgvParserKeys, AreItsOwnBusiness) {
    EXPECT_FALSE(ShowsItsKeys<ArgvParser>);
}

}  // namespace
