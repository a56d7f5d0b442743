// Command lines with a fault: which result, and what it is about.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "parseargs/parse_command_line.h"
#include "support/row_name.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

struct FaultRow {
    const char* name;
    std::vector<std::string> arguments;
    ArgvParser::ParserResults result;
    const char* error_option;
};

std::ostream& operator<<(std::ostream& out, const FaultRow& row) {
    return out << testing::PrintToString(row.arguments);
}

// "port"/"p" and "threads" take a value, "verbose"/"v" is a flag.
class ArgvParserFault : public testing::Test {
protected:
    ArgvParserFault() {
        parser.defineOption("port", "", ArgvParser::OptionRequiresValue);
        parser.defineOptionAlternative("port", "p");
        parser.defineOption("threads", "", ArgvParser::OptionRequiresValue);
        parser.defineOption("verbose", "", ArgvParser::NoOptionAttribute);
        parser.defineOptionAlternative("verbose", "v");
    }

    ArgvParser::ParserResults parse(std::vector<std::string> arguments) {
        return parseCommandLine(parser, std::move(arguments));
    }

    ArgvParser parser;
};

class ArgvParserFaultText : public ArgvParserFault, public testing::WithParamInterface<FaultRow> {};

TEST_P(ArgvParserFaultText, HasItsResultAndNamesItsOption) {
    EXPECT_EQ(parse(GetParam().arguments), GetParam().result);
    EXPECT_EQ(parser.errorOption(), GetParam().error_option);
}

constexpr auto unknown = ArgvParser::ParserUnknownOption;
INSTANTIATE_TEST_SUITE_P(
    UnknownOption, ArgvParserFaultText,
    testing::Values(FaultRow{"Long", {"--bogus"}, unknown, "bogus"},
                    FaultRow{"LongIsNamedWithoutItsValue", {"--bogus=1"}, unknown, "bogus"},
                    FaultRow{"Short", {"-x"}, unknown, "x"},
                    FaultRow{"ShortIsNamedWithoutItsValue", {"-x=1"}, unknown, "x"},
                    FaultRow{"TrailingEqualsSignIsInTheLabel", {"--port="}, unknown, "port="},
                    FaultRow{"LeadingEqualsSignIsInTheLabel", {"--=80"}, unknown, "=80"},
                    FaultRow{"LabelsAreCaseSensitive", {"--Port=80"}, unknown, "Port"},
                    FaultRow{"LabelsAreNotAbbreviated", {"--por=80"}, unknown, "por"},
                    FaultRow{"ThreeDashes", {"---port"}, unknown, "-port"},
                    FaultRow{"DigitAfterTwoDashes", {"--55"}, unknown, "55"}),
    rowName);

constexpr auto missing = ArgvParser::ParserMissingValue;
INSTANTIATE_TEST_SUITE_P(
    MissingValue, ArgvParserFaultText,
    testing::Values(FaultRow{"LongIsTheLastElement", {"--port"}, missing, "port"},
                    FaultRow{"LongIsFollowedByAnOption", {"--port", "--threads"}, missing, "port"},
                    FaultRow{"LongIsFollowedByAnUnknownOption", {"--port", "-x"}, missing, "port"},
                    FaultRow{"ShortIsTheLastElement", {"-p"}, missing, "p"},
                    FaultRow{"ShortIsFollowedByAnOption", {"-p", "-v"}, missing, "p"}),
    rowName);

constexpr auto misplaced = ArgvParser::ParserOptionAfterArgument;
INSTANTIATE_TEST_SUITE_P(
    OptionAfterArgument, ArgvParserFaultText,
    testing::Values(
        FaultRow{"AfterANegativeNumber", {"-5", "-x"}, misplaced, "-x"},
        FaultRow{"AfterTwoDashes", {"--", "-v"}, misplaced, "-v"},
        FaultRow{"IsNamedAsTyped", {"file", "--port=80"}, misplaced, "--port=80"},
        FaultRow{"WinsOverUnknown", {"file", "--bogus"}, misplaced, "--bogus"},
        FaultRow{"AfterTheArgumentAfterAValue", {"--port", "80", "81", "-v"}, misplaced, "-v"}),
    rowName);

TEST_F(ArgvParserFault, KeepsWhatWasFoundBeforeIt) {
    EXPECT_EQ(parse({"--port=80", "file", "-v"}), misplaced);
    EXPECT_EQ(parser.optionValue("port"), "80");
    EXPECT_EQ(parser.argument(0), "file");
}

TEST_F(ArgvParserFault, StopsTheWalk) {
    EXPECT_EQ(parse({"--bogus", "-v", "file"}), unknown);
    EXPECT_FALSE(parser.foundOption("v"));
    EXPECT_EQ(parser.arguments(), 0U);
}

TEST_F(ArgvParserFault, OfAMissingValueRecordsNothing) {
    EXPECT_EQ(parse({"--port"}), missing);
    EXPECT_FALSE(parser.foundOption("port"));
}

TEST_F(ArgvParserFault, ReplacesTheErrorOptionOfAnEarlierOne) {
    parse({"--bogus"});
    EXPECT_EQ(parse({"-p"}), missing);
    EXPECT_EQ(parser.errorOption(), "p");
}

TEST_F(ArgvParserFault, WinsOverAMissingRequiredOption) {
    parser.defineOption("ini", "", ArgvParser::OptionRequired);
    EXPECT_EQ(parse({"--bogus"}), unknown);
}

// "port"/"p" has key 2, "threads"/"t" key 3; both are required, "port" takes a value as well.
class RequiredOption : public testing::Test {
protected:
    RequiredOption() {
        parser.defineOption("verbose", "", ArgvParser::NoOptionAttribute);
        parser.defineOption("port", "",
                            ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired);
        parser.defineOptionAlternative("port", "p");
        parser.defineOption("threads", "", ArgvParser::OptionRequired);
        parser.defineOptionAlternative("threads", "t");
    }

    ArgvParser parser;
};

TEST_F(RequiredOption, IsMissedOnAnEmptyCommandLine) {
    EXPECT_EQ(parseCommandLine(parser, {}), ArgvParser::ParserRequiredOptionMissing);
}

TEST_F(RequiredOption, WithTheLowestKeyAloneIsNamed) {
    EXPECT_EQ(parseCommandLine(parser, {"--verbose"}), ArgvParser::ParserRequiredOptionMissing);
    EXPECT_EQ(parser.errorOption(), "-p, --port");
}

TEST_F(RequiredOption, IsNamedByAllItsLabelsInAscendingOrder) {
    parser.defineOptionAlternative("threads", "workers");
    parser.defineOptionAlternative("threads", "Z");
    parseCommandLine(parser, {"-p=80"});
    EXPECT_EQ(parser.errorOption(), "-Z, -t, --threads, --workers");
}

TEST_F(RequiredOption, IsNamedByItsOneLabel) {
    ArgvParser other;
    other.defineOption("ini", "", ArgvParser::OptionRequired);
    EXPECT_EQ(parseCommandLine(other, {}), ArgvParser::ParserRequiredOptionMissing);
    EXPECT_EQ(other.errorOption(), "--ini");
}

TEST_F(RequiredOption, IsNamedByTwoDashesAndALabelOfTwoCharacters) {
    ArgvParser other;
    other.defineOption("ab", "", ArgvParser::OptionRequired);
    EXPECT_EQ(parseCommandLine(other, {}), ArgvParser::ParserRequiredOptionMissing);
    EXPECT_EQ(other.errorOption(), "--ab");
}

TEST_F(RequiredOption, IsMissedAfterArgumentsToo) {
    EXPECT_EQ(parseCommandLine(parser, {"file"}), ArgvParser::ParserRequiredOptionMissing);
    EXPECT_EQ(parser.argument(0), "file");
}

TEST_F(RequiredOption, IsSatisfiedByAnyOfItsLabels) {
    EXPECT_EQ(parseCommandLine(parser, {"-p=80", "--threads"}), ArgvParser::NoParserError);
}

TEST_F(RequiredOption, IsSatisfiedByAnEmptyValue) {
    EXPECT_EQ(parseCommandLine(parser, {"-pt"}), ArgvParser::NoParserError);
    EXPECT_EQ(parser.optionValue("port"), "");
}

TEST_F(RequiredOption, IsSatisfiedByAnEarlierCall) {
    parseCommandLine(parser, {"-pt"});
    EXPECT_EQ(parseCommandLine(parser, {}), ArgvParser::NoParserError);
}

TEST_F(RequiredOption, MissedTwiceIsNamedTwice) {
    parseCommandLine(parser, {});
    parseCommandLine(parser, {});
    EXPECT_EQ(parser.errorOption(), "-p, --port-p, --port");
}

TEST_F(RequiredOption, IsAppendedToTheErrorOptionOfAnEarlierFault) {
    parseCommandLine(parser, {"--bogus"});
    parseCommandLine(parser, {});
    EXPECT_EQ(parser.errorOption(), "bogus-p, --port");
}

}  // namespace
