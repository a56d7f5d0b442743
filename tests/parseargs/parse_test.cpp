// Command lines without a fault: options, values and arguments.

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "parseargs/parse_command_line.h"
#include "support/argument_vector.h"
#include "support/output_capture.h"
#include "support/row_name.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;
using Arguments = ArgvParser::ArgumentContainer;

// "port"/"p" takes a value, "verbose"/"v" and "quiet"/"q" are flags.
class ArgvParserParse : public testing::Test {
protected:
    ArgvParserParse() {
        parser.defineOption("port", "", ArgvParser::OptionRequiresValue);
        parser.defineOptionAlternative("port", "p");
        parser.defineOption("verbose", "", ArgvParser::NoOptionAttribute);
        parser.defineOptionAlternative("verbose", "v");
        parser.defineOption("quiet", "", ArgvParser::NoOptionAttribute);
        parser.defineOptionAlternative("quiet", "q");
    }

    ArgvParser::ParserResults parse(std::vector<std::string> arguments) {
        return parseCommandLine(parser, std::move(arguments));
    }

    ArgvParser parser;
};

struct SpellingRow {
    const char* name;
    std::vector<std::string> arguments;
};

std::ostream& operator<<(std::ostream& out, const SpellingRow& row) {
    return out << testing::PrintToString(row.arguments);
}

class ArgvParserValue : public ArgvParserParse, public testing::WithParamInterface<SpellingRow> {};

TEST_P(ArgvParserValue, IsRecorded) {
    EXPECT_EQ(parse(GetParam().arguments), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "8080");
    EXPECT_EQ(parser.arguments(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Spellings, ArgvParserValue,
                         testing::Values(SpellingRow{"LongJoined", {"--port=8080"}},
                                         SpellingRow{"LongApart", {"--port", "8080"}},
                                         SpellingRow{"ShortApart", {"-p", "8080"}},
                                         SpellingRow{"ShortJoined", {"-p=8080"}},
                                         SpellingRow{"ShortLabelAfterTwoDashes", {"--p=8080"}}),
                         rowName);

TEST_F(ArgvParserParse, FindsNothingOnAnEmptyCommandLine) {
    EXPECT_EQ(parse({}), ArgvParser::NoParserError);
    EXPECT_FALSE(parser.foundOption("port"));
    EXPECT_EQ(parser.arguments(), 0U);
}

TEST_F(ArgvParserParse, PrintsNothing) {
    OutputCapture capture(stderr);
    parse({"-v", "--bogus"});
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ArgvParserParse, LeavesTheErrorOptionEmptyWithoutAFault) {
    parse({"-v", "--port=1", "file"});
    EXPECT_EQ(parser.errorOption(), "");
}

TEST_F(ArgvParserParse, NeverExaminesTheProgramName) {
    ArgumentVector elements({"--bogus", "-v"});
    EXPECT_EQ(parser.parse(elements.argc(), elements.argv()), ArgvParser::NoParserError);
    EXPECT_EQ(parser.arguments(), 0U);
}

TEST_F(ArgvParserParse, TakesACountBelowTwoForNoElements) {
    ArgumentVector elements({"prog", "--bogus"});
    EXPECT_EQ(parser.parse(1, elements.argv()), ArgvParser::NoParserError);
    EXPECT_EQ(parser.parse(0, elements.argv()), ArgvParser::NoParserError);
    EXPECT_EQ(parser.parse(-1, elements.argv()), ArgvParser::NoParserError);
}

TEST_F(ArgvParserParse, TakesANullVectorForNoElements) {
    EXPECT_EQ(parser.parse(3, nullptr), ArgvParser::NoParserError);
}

TEST_F(ArgvParserParse, DoesNotLookAtTheProgramsName) {
    ArgumentVector elements({"prog", "file"});
    elements.argv()[0] = nullptr;
    EXPECT_EQ(parser.parse(elements.argc(), elements.argv()), ArgvParser::NoParserError);
    EXPECT_EQ(parser.allArguments(), Arguments{"file"});
}

TEST_F(ArgvParserParse, EndsAtANullPointer) {
    ArgumentVector elements({"prog", "file"});
    EXPECT_EQ(parser.parse(elements.argc() + 1, elements.argv()), ArgvParser::NoParserError);
    EXPECT_EQ(parser.allArguments(), Arguments{"file"});
}

TEST_F(ArgvParserParse, FindsNoValueInANullPointer) {
    ArgumentVector elements({"prog", "--port"});
    EXPECT_EQ(parser.parse(elements.argc() + 1, elements.argv()), ArgvParser::ParserMissingValue);
}

TEST_F(ArgvParserParse, RecordsAFlagWithAnEmptyValue) {
    EXPECT_EQ(parse({"--verbose"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("v"));
    EXPECT_EQ(parser.optionValue("v"), "");
}

TEST_F(ArgvParserParse, RecordsAValueJoinedToAFlag) {
    EXPECT_EQ(parse({"--verbose=3", "-q=4"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("verbose"), "3");
    EXPECT_EQ(parser.optionValue("quiet"), "4");
}

TEST_F(ArgvParserParse, LeavesTheElementAfterAFlagAsAnArgument) {
    EXPECT_EQ(parse({"-v", "3"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("v"), "");
    EXPECT_EQ(parser.allArguments(), Arguments{"3"});
}

TEST_F(ArgvParserParse, DropsTheEqualsSignsInsideAValue) {
    EXPECT_EQ(parse({"--p=b=c"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("p"), "bc");
    EXPECT_EQ(parse({"-p=d==e="}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("p"), "de");
}

TEST_F(ArgvParserParse, KeepsTheEqualsSignsOfAValueOfItsOwn) {
    EXPECT_EQ(parse({"--port", "a=b=c"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "a=b=c");
}

TEST_F(ArgvParserParse, SkipsEqualsSignsBeforeTheName) {
    EXPECT_EQ(parse({"--=port=80"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "80");
    EXPECT_EQ(parse({"-=p=81"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "81");
}

TEST_F(ArgvParserParse, TakesANegativeNumberAsAValue) {
    EXPECT_EQ(parse({"--port", "-1"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "-1");
}

TEST_F(ArgvParserParse, TakesDashesAloneAsAValue) {
    EXPECT_EQ(parse({"--port", "--"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "--");
    EXPECT_EQ(parse({"--port", "-"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "-");
}

TEST_F(ArgvParserParse, TakesAnEmptyElementAsAValue) {
    EXPECT_EQ(parse({"--port", "", "file"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("port"));
    EXPECT_EQ(parser.optionValue("port"), "");
    EXPECT_EQ(parser.allArguments(), Arguments{"file"});
}

TEST_F(ArgvParserParse, TakesAValueThatLooksLikeAnOptionWhenItIsJoined) {
    EXPECT_EQ(parse({"--port=-v"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "-v");
    EXPECT_FALSE(parser.foundOption("v"));
}

TEST_F(ArgvParserParse, ConsumesTheValueSoThatOptionsMayFollow) {
    EXPECT_EQ(parse({"--port", "80", "-v"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("v"));
    EXPECT_EQ(parser.arguments(), 0U);
}

TEST_F(ArgvParserParse, LetsARepeatedOptionOverwriteTheEarlierValue) {
    EXPECT_EQ(parse({"--port=80", "-p", "81"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "81");
}

TEST_F(ArgvParserParse, TakesANegativeNumberAsAnArgument) {
    EXPECT_EQ(parse({"-5", "-12"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.allArguments(), (Arguments{"-5", "-12"}));
}

TEST_F(ArgvParserParse, TakesDashesAloneAsArguments) {
    EXPECT_EQ(parse({"--", "-"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.allArguments(), (Arguments{"--", "-"}));
}

TEST_F(ArgvParserParse, TakesAnEmptyElementAsAnArgument) {
    EXPECT_EQ(parse({""}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.allArguments(), Arguments{""});
}

TEST_F(ArgvParserParse, TakesALabelOfSeveralWordsAsItStands) {
    parser.defineOption("dry-run", "", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parse({"--dry-run"}), ArgvParser::NoParserError);
    EXPECT_TRUE(parser.foundOption("dry-run"));
}

TEST_F(ArgvParserParse, NeverMatchesALabelThatHoldsAnEqualsSign) {
    parser.defineOption("a=b", "", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parse({"--a=b"}), ArgvParser::ParserUnknownOption);
    EXPECT_EQ(parser.errorOption(), "a");
}

TEST_F(ArgvParserParse, CalledAgainAddsToTheOptions) {
    parse({"--port=80"});
    EXPECT_EQ(parse({"-v"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "80");
    EXPECT_TRUE(parser.foundOption("v"));
}

TEST_F(ArgvParserParse, CalledAgainAddsToTheArguments) {
    parse({"first"});
    EXPECT_EQ(parse({"second"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.allArguments(), (Arguments{"first", "second"}));
}

TEST_F(ArgvParserParse, CalledAgainTakesOptionsAfterTheEarlierArguments) {
    parse({"first"});
    EXPECT_EQ(parse({"-v"}), ArgvParser::NoParserError);
}

TEST_F(ArgvParserParse, CalledAgainKeepsTheErrorOption) {
    parse({"--bogus"});
    EXPECT_EQ(parse({"-v"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.errorOption(), "bogus");
}

}  // namespace
