// The usage text, compared whole.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::ArgvParser;

// An introduction and an option of every kind.
class UsageText : public testing::Test {
protected:
    UsageText() {
        parser.setIntroductoryDescription("Velmora Service, the host of the recognition server.");
        parser.setHelpOption("h", "help", "Show this text.");
        parser.defineOption("port", "Port to listen on, a number between 1 and 65535",
                            ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired);
        parser.defineOptionAlternative("port", "p");
        parser.defineOption("connections", "Number of connections",
                            ArgvParser::OptionRequiresValue);
        parser.defineOption("v", "", ArgvParser::NoOptionAttribute);
        parser.defineOption("log", "line one\nline two", ArgvParser::OptionRequiresValue);
    }

    void addErrorCodes() {
        parser.addErrorCode(1, "The command line was not understood");
        parser.addErrorCode(0, "OK");
        parser.addErrorCode(-1000000, "Internal failure");
    }

    ArgvParser parser;
};

TEST_F(UsageText, AtWidth80) {
    addErrorCodes();
    EXPECT_EQ(parser.usageDescription(80),
              "Velmora Service, the host of the recognition server.\n"
              "\n"
              "Available options\n"
              "-----------------\n"
              "-h, --help\n"
              "    Show this text.\n"
              "\n"
              "-p <value>, --port <value> [required]\n"
              "    Port to listen on, a number between 1 and 65535\n"
              "\n"
              "--connections <value>\n"
              "    Number of connections\n"
              "\n"
              "-v\n"
              "    (no description)\n"
              "\n"
              "--log <value>\n"
              "    line one\n"
              "    line two\n"
              "\n"
              "Return codes\n"
              "-----------------\n"
              "    -1000000ternal failure\n"
              "    0     OK\n"
              "    1     The command line was not understood\n");
}

TEST_F(UsageText, AtWidth40) {
    addErrorCodes();
    EXPECT_EQ(parser.usageDescription(40),
              "Velmora Service, the host of the\n"
              "recognition server.\n"
              "\n"
              "Available options\n"
              "-----------------\n"
              "-h, --help\n"
              "    Show this text.\n"
              "\n"
              "-p <value>, --port <value> [required]\n"
              "    Port to listen on, a number\n"
              "    between 1 and 65535\n"
              "\n"
              "--connections <value>\n"
              "    Number of connections\n"
              "\n"
              "-v\n"
              "    (no description)\n"
              "\n"
              "--log <value>\n"
              "    line one\n"
              "    line two\n"
              "\n"
              "Return codes\n"
              "-----------------\n"
              "    -1000000ternal failure\n"
              "    0     OK\n"
              "    1     The command line was not\n"
              "          understood\n");
}

TEST_F(UsageText, AtWidth20) {
    addErrorCodes();
    EXPECT_EQ(parser.usageDescription(20),
              "Velmora Service,\n"
              "the host of the\n"
              "recognition server.\n"
              "\n"
              "Available options\n"
              "-----------------\n"
              "-h, --help\n"
              "    Show this text.\n"
              "\n"
              "-p <value>, --port\n"
              "<value> [required]\n"
              "    Port to listen\n"
              "    on, a number\n"
              "    between 1 and\n"
              "    65535\n"
              "\n"
              "--connections\n"
              "<value>\n"
              "    Number of\n"
              "    connections\n"
              "\n"
              "-v\n"
              "    (no\n"
              "    description)\n"
              "\n"
              "--log <value>\n"
              "    line one\n"
              "    line two\n"
              "\n"
              "Return codes\n"
              "-----------------\n"
              "    -1000000ternal\n"
              "          failure\n"
              "    0     OK\n"
              "    1     The\n"
              "          command\n"
              "          line was\n"
              "          not\n"
              "          understood\n");
}

TEST_F(UsageText, AtWidth10WithoutReturnCodes) {
    EXPECT_EQ(parser.usageDescription(10),
              "Velmora\n"
              "Service,\n"
              "the host\n"
              "of the\n"
              "recognitio\n"
              "n server.\n"
              "\n"
              "Available\n"
              "options\n"
              "----------\n"
              "-------\n"
              "-h,\n"
              "--help\n"
              "    Show\n"
              "    this\n"
              "    text.\n"
              "\n"
              "-p\n"
              "<value>,\n"
              "--port\n"
              "<value>\n"
              "[required]\n"
              "    Port\n"
              "    to\n"
              "    listen\n"
              "    on,\n"
              "    a\n"
              "    numbe\n"
              "    r\n"
              "    betwee\n"
              "    n 1\n"
              "    and\n"
              "    65535\n"
              "\n"
              "--connecti\n"
              "ons\n"
              "<value>\n"
              "    Number\n"
              "    of\n"
              "    conne\n"
              "    ctions\n"
              "\n"
              "-v\n"
              "    (no\n"
              "    descri\n"
              "    ption)\n"
              "\n"
              "--log\n"
              "<value>\n"
              "    line\n"
              "    one\n"
              "    line\n"
              "    two\n"
              "\n");
}

TEST_F(UsageText, AtWidth4LeavesDescriptionsAsTheyAre) {
    EXPECT_EQ(parser.usageDescription(4),
              "Velm\n"
              "ora\n"
              "Serv\n"
              "ice,\n"
              "the\n"
              "hos\n"
              "t\n"
              "of\n"
              "the\n"
              "reco\n"
              "gnit\n"
              "ion\n"
              "serv\n"
              "er.\n"
              "\n"
              "Avai\n"
              "labl\n"
              "e\n"
              "opti\n"
              "ons\n"
              "----\n"
              "----\n"
              "----\n"
              "----\n"
              "-\n"
              "-h,\n"
              "--he\n"
              "lp\n"
              "Show this text.\n"
              "\n"
              "-p\n"
              "<val\n"
              "ue>,\n"
              "--p\n"
              "ort\n"
              "<val\n"
              "ue>\n"
              "[req\n"
              "uire\n"
              "d]\n"
              "Port to listen on, a number between 1 and 65535\n"
              "\n"
              "--co\n"
              "nnec\n"
              "tion\n"
              "s\n"
              "<val\n"
              "ue>\n"
              "Number of connections\n"
              "\n"
              "-v\n"
              "(no description)\n"
              "\n"
              "--lo\n"
              "g\n"
              "<val\n"
              "ue>\n"
              "line one\n"
              "line two\n"
              "\n");
}

TEST_F(UsageText, AtWidth0LeavesEverythingAsItIs) {
    EXPECT_EQ(parser.usageDescription(0),
              "Velmora Service, the host of the recognition server.\n"
              "\n"
              "Available options\n"
              "-----------------\n"
              "-h, --help\n"
              "Show this text.\n"
              "\n"
              "-p <value>, --port <value> [required]\n"
              "Port to listen on, a number between 1 and 65535\n"
              "\n"
              "--connections <value>\n"
              "Number of connections\n"
              "\n"
              "-v\n"
              "(no description)\n"
              "\n"
              "--log <value>\n"
              "line one\n"
              "line two\n"
              "\n");
}

TEST(NarrowUsageText, AtWidth5) {
    ArgvParser parser;
    parser.setIntroductoryDescription("Velmora it");
    parser.setHelpOption("h", "help", "Help me");
    parser.defineOption("p", "", ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired);
    EXPECT_EQ(parser.usageDescription(5),
              "Velmo\n"
              "ra\n"
              "it\n"
              "\n"
              "Avail\n"
              "able\n"
              "optio\n"
              "ns\n"
              "-----\n"
              "-----\n"
              "-----\n"
              "--\n"
              "-h,\n"
              "--hel\n"
              "p\n"
              "    H\n"
              "    e\n"
              "    l\n"
              "    p\n"
              "    m\n"
              "    e\n"
              "\n"
              "-p\n"
              "<valu\n"
              "e>\n"
              "[requ\n"
              "ired]\n"
              "    (\n"
              "    n\n"
              "    o\n"
              "    d\n"
              "    e\n"
              "    s\n"
              "    c\n"
              "    r\n"
              "    i\n"
              "    p\n"
              "    t\n"
              "    i\n"
              "    o\n"
              "    n\n"
              "    )\n"
              "\n");
}

TEST(NarrowUsageText, AtWidth1) {
    ArgvParser parser;
    parser.setIntroductoryDescription("Velmora it");
    parser.setHelpOption("h", "help", "Help me");
    parser.defineOption("p", "", ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired);
    EXPECT_EQ(parser.usageDescription(1),
              "V\n"
              "e\n"
              "l\n"
              "m\n"
              "o\n"
              "r\n"
              "a\n"
              "i\n"
              "t\n"
              "\n"
              "A\n"
              "v\n"
              "a\n"
              "i\n"
              "l\n"
              "a\n"
              "b\n"
              "l\n"
              "e\n"
              "o\n"
              "p\n"
              "t\n"
              "i\n"
              "o\n"
              "n\n"
              "s\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "-\n"
              "h\n"
              ",\n"
              "-\n"
              "-\n"
              "h\n"
              "e\n"
              "l\n"
              "p\n"
              "Help me\n"
              "\n"
              "-\n"
              "p\n"
              "<\n"
              "v\n"
              "a\n"
              "l\n"
              "u\n"
              "e\n"
              ">\n"
              "[\n"
              "r\n"
              "e\n"
              "q\n"
              "u\n"
              "i\n"
              "r\n"
              "e\n"
              "d\n"
              "]\n"
              "(no description)\n"
              "\n");
}

// What stands above the return codes of a parser that has nothing else.
constexpr char header[] = "Return codes\n-----------------\n";

TEST(UsageTextParts, AreNoneForANewParser) {
    const ArgvParser parser;
    EXPECT_EQ(parser.usageDescription(80), "");
}

TEST(UsageTextParts, MayBeTheIntroductionAlone) {
    ArgvParser parser;
    parser.setIntroductoryDescription("one two three");
    EXPECT_EQ(parser.usageDescription(9), "one two\nthree\n\n");
}

TEST(UsageTextParts, IntroductionSetAgainReplacesTheFormerOne) {
    ArgvParser parser;
    parser.setIntroductoryDescription("first");
    parser.setIntroductoryDescription("second");
    EXPECT_EQ(parser.usageDescription(80), "second\n\n");
}

TEST(UsageTextParts, IntroductionOfBlanksIsAnEmptyLine) {
    ArgvParser parser;
    parser.setIntroductoryDescription("  ");
    EXPECT_EQ(parser.usageDescription(80), "\n\n");
}

TEST(UsageTextParts, LabelsAreInAscendingOrderEachWithItsMarker) {
    ArgvParser parser;
    parser.defineOption("port", "Port",
                        ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired);
    parser.defineOptionAlternative("port", "p");
    parser.defineOptionAlternative("port", "listen");
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n"
              "--listen <value>, -p <value>, --port <value> [required]\n    Port\n\n");
}

TEST(UsageTextParts, LabelOfTwoCharactersHasTwoDashes) {
    ArgvParser parser;
    parser.defineOption("ab", "Both", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n--ab\n    Both\n\n");
}

TEST(UsageTextParts, OptionsAreInTheOrderOfTheirDeclaration) {
    ArgvParser parser;
    parser.defineOption("zeta", "Last letter", ArgvParser::OptionRequired);
    parser.defineOption("alpha", "First letter", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n"
              "--zeta [required]\n    Last letter\n\n"
              "--alpha\n    First letter\n\n");
}

TEST(UsageTextParts, LongDescriptionIsIndentedOnEveryLine) {
    ArgvParser parser;
    parser.defineOption("v", "Tell what is being done", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(20),
              "Available options\n-----------------\n"
              "-v\n    Tell what is\n    being done\n\n");
}

TEST(UsageTextParts, EmptyLineOfADescriptionVanishes) {
    ArgvParser parser;
    parser.defineOption("v", "a\n\nb", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(80),
              "Available options\n-----------------\n-v\n    a\n    b\n\n");
}

TEST(UsageTextParts, DescriptionOfBlanksIsAnEmptyLine) {
    ArgvParser parser;
    parser.defineOption("v", " ", ArgvParser::NoOptionAttribute);
    EXPECT_EQ(parser.usageDescription(80), "Available options\n-----------------\n-v\n\n\n");
}

TEST(UsageTextReturnCode, IsLaidOverTheIndentOfItsDescription) {
    ArgvParser parser;
    parser.addErrorCode(0, "OK");
    EXPECT_EQ(parser.usageDescription(80), header + std::string("    0     OK\n"));
}

TEST(UsageTextReturnCode, OfSixCharactersTouchesItsDescription) {
    ArgvParser parser;
    parser.addErrorCode(-12345, "Failed");
    EXPECT_EQ(parser.usageDescription(80), header + std::string("    -12345Failed\n"));
}

TEST(UsageTextReturnCode, OfEightCharactersCoversTheBeginningOfItsDescription) {
    ArgvParser parser;
    parser.addErrorCode(-1000000, "Failed");
    EXPECT_EQ(parser.usageDescription(80), header + std::string("    -1000000iled\n"));
}

TEST(UsageTextReturnCode, MayCoverAllOfItsDescription) {
    ArgvParser parser;
    parser.addErrorCode(-1000000, "OK");
    EXPECT_EQ(parser.usageDescription(80), header + std::string("    -1000000\n"));
}

TEST(UsageTextReturnCode, LongerThanItsDescriptionFails) {
    ArgvParser parser;
    parser.addErrorCode(-10000000, "OK");
    EXPECT_THROW((void)parser.usageDescription(80), std::out_of_range);
}

TEST(UsageTextReturnCode, WithoutADescriptionFails) {
    ArgvParser parser;
    parser.addErrorCode(0, "");
    EXPECT_THROW((void)parser.usageDescription(80), std::out_of_range);
}

TEST(UsageTextReturnCode, WithADescriptionOfBlanksFails) {
    ArgvParser parser;
    parser.addErrorCode(0, "  ");
    EXPECT_THROW((void)parser.usageDescription(80), std::out_of_range);
}

TEST(UsageTextReturnCode, LongerThanAnUnindentedDescriptionOnANarrowLineFails) {
    ArgvParser parser;
    parser.addErrorCode(0, "OK");
    EXPECT_THROW((void)parser.usageDescription(5), std::out_of_range);
}

TEST(UsageTextReturnCode, FailsWithTheMessageOfTheStandardLibrary) {
    ArgvParser parser;
    parser.addErrorCode(0, "");
    try {
        (void)parser.usageDescription(80);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_EQ(std::string(error.what()).substr(0, 20), "basic_string::substr");
    }
}

TEST(UsageTextReturnCode, CoversAnUnindentedDescriptionOnANarrowLine) {
    ArgvParser parser;
    parser.addErrorCode(0, "Everything went well");
    EXPECT_EQ(parser.usageDescription(10),
              "Return\ncodes\n----------\n-------\n    0thing went well\n");
}

TEST(UsageTextReturnCode, IsNotIndentedWhereNothingIs) {
    ArgvParser parser;
    parser.addErrorCode(0, "Everything went well");
    EXPECT_EQ(parser.usageDescription(0), header + std::string("0verything went well\n"));
}

TEST(UsageTextReturnCode, OfSeveralLinesCoversTheFirstCharacters) {
    ArgvParser parser;
    parser.addErrorCode(12, "Nothing went well here");
    EXPECT_EQ(parser.usageDescription(5),
              "Retur\nn\ncodes\n-----\n-----\n-----\n--\n    1\n    2t well here\n");
}

TEST(UsageTextReturnCode, AddedAgainReplacesTheFormerText) {
    ArgvParser parser;
    parser.addErrorCode(1, "first");
    parser.addErrorCode(1, "second");
    EXPECT_EQ(parser.usageDescription(80), header + std::string("    1     second\n"));
}

TEST(UsageTextReturnCode, StandsInAscendingNumericOrder) {
    ArgvParser parser;
    parser.addErrorCode(10, "ten");
    parser.addErrorCode(9, "nine");
    parser.addErrorCode(-1, "minus one");
    EXPECT_EQ(parser.usageDescription(80),
              header + std::string("    -1    minus one\n    9     nine\n    10    ten\n"));
}

}  // namespace
