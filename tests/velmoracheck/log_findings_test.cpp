#include <ostream>

#include "support/row_name.h"
#include "velmoracheck/check_test.h"

namespace {

struct Row {
    const char* name;
    const char* content;   // after two lines that are right
    const char* findings;  // all of them
    const char* ending;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << row.content;
}

class LogFindings : public CheckTest, public testing::WithParamInterface<Row> {};

TEST_P(LogFindings, AreToldWithPlaceAndRemedy) {
    const CheckOutcome outcome = checkLog(goodLog + std::string(GetParam().content));
    EXPECT_EQ(outcome.output, GetParam().findings);
    EXPECT_EQ(outcome.ending, GetParam().ending);
    EXPECT_EQ(outcome.errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    Lines, LogFindings,
    testing::Values(
        Row{"NoneForCommentsAndBlankLines", "# a comment;\n\n \t \n   # another\n", "", "exit 0"},
        Row{"NoneForCarriageReturns", "\r\n# comment\r\nLOGGER;INFO;FULL;[STDOUT];0\r\n", "",
            "exit 0"},
        Row{"TooFewFields", "LOGGER ; INFO ; FULL ; x.log\n",
            "vlog.cfg:3: error: 4 fields instead of 5, so the daemon ignores the whole file: write "
            "'TOPIC ; LEVEL ; FORMAT ; FILES ; SIZES'\n",
            "exit 1"},
        Row{"TooManyFields", "LOGGER ; INFO ; FULL ; x.log ; 0 ; 1\n",
            "vlog.cfg:3: error: 6 fields instead of 5, so the daemon ignores the whole file: write "
            "'TOPIC ; LEVEL ; FORMAT ; FILES ; SIZES'\n",
            "exit 1"},
        Row{"TooShort", "A;B;X\n",
            "vlog.cfg:3: warning: line 'A;B;X' is too short to count: a comment begins with '#'\n",
            "exit 0"},
        Row{"Replaced", "LOGGER;INFO;FULL;[STDOUT];0\nLOGGER;INFO;SIMPLE;[STDOUT];0\n",
            "vlog.cfg:3: warning: this rule is replaced by that of line 4: a topic and level have "
            "one "
            "rule\n",
            "exit 0"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Fields, LogFindings,
    testing::Values(
        Row{"Wildcard", "*;INFO;FULL;[STDOUT];0\n",
            "vlog.cfg:3: warning: topic '*' is no wildcard: no line of the daemon has it\n",
            "exit 0"},
        Row{"MisspeltTopic", "VELMORASVR;WARN;FULL;[STDOUT];0\n",
            "vlog.cfg:3: warning: no line of the daemon has the topic 'VELMORASVR': did you mean "
            "'VELMORASRV'?\n",
            "exit 0"},
        Row{"BlanksInATopic", "LOG GER;INFO;FULL;[STDOUT];0\n",
            "vlog.cfg:3: error: blanks do not count: 'LOG GER' is taken as 'LOGGER'\n", "exit 1"},
        Row{"BlanksInAFile", "LOGGER;INFO;FULL;[STDOUT], my file;0\n",
            "vlog.cfg:3: error: blanks do not count: 'my file' is taken as 'myfile'\n", "exit 1"},
        Row{"UnknownLevel", "LOGGER;INFOS;FULL;[STDOUT];0\n",
            "vlog.cfg:3: error: unknown level 'INFOS': did you mean 'INFO'?\n", "exit 1"},
        Row{"LevelInLowerCase", "LOGGER;info;FULL;[STDOUT];0\n",
            "vlog.cfg:3: error: unknown level 'info': did you mean 'INFO'?\n", "exit 1"},
        Row{"LevelLikeNone", "LOGGER;ALL;FULL;[STDOUT];0\n",
            "vlog.cfg:3: error: unknown level 'ALL': write one of INFO, DEBUG, WARN, NOTICE, "
            "CRITICAL, "
            "TRACE\n",
            "exit 1"},
        Row{"ListOfLevels", "LOGGER;INFO,DEBUG;FULL;[STDOUT];0\n",
            "vlog.cfg:3: error: unknown level 'INFO,DEBUG': write one level a line\n", "exit 1"},
        Row{"UnknownFormat", "LOGGER;INFO;SIMPLE_TX;[STDOUT];0\n",
            "vlog.cfg:3: error: unknown format 'SIMPLE_TX': did you mean 'SIMPLE_TS'? (the daemon "
            "takes SIMPLE_TS)\n",
            "exit 1"},
        Row{"NoDestination", "LOGGER;INFO;FULL;,;0\n",
            "vlog.cfg:3: error: no destination: nothing is written; name '[STDOUT]' or a file\n",
            "exit 1"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Sizes, LogFindings,
    testing::Values(
        Row{"NoneForKnownUnits", "LOGGER;INFO;FULL;a,b,c,d,e;0,5K,5KB,5M,1GB\n", "", "exit 0"},
        Row{"LowerCaseUnit", "LOGGER;INFO;FULL;x.log;900m\n",
            "vlog.cfg:3: error: size '900m' has an unknown unit and counts as 900 bytes; did you "
            "mean '900M'?\n",
            "exit 1"},
        Row{"UnitThatOnlyHoldsAKnownOne", "LOGGER;INFO;FULL;x.log;1.5M\n",
            "vlog.cfg:3: error: size '1.5M' has an unknown unit and counts as 1000000 bytes; write "
            "a whole number with K, M, G or nothing after it\n",
            "exit 1"},
        Row{"UnitOfTwoPowers", "LOGGER;INFO;FULL;x.log;5KiB\n",
            "vlog.cfg:3: warning: size '5KiB' counts as 5000 bytes: K, M and G stand for "
            "thousands\n",
            "exit 0"},
        Row{"TooLong", "LOGGER;INFO;FULL;x.log;5000000000\n",
            "vlog.cfg:3: error: size '5000000000' is too long and counts as 0, no limit; write "
            "5G\n",
            "exit 1"},
        Row{"TooLongWithoutAShortForm", "LOGGER;INFO;FULL;x.log;5000000001\n",
            "vlog.cfg:3: error: size '5000000001' is too long and counts as 0, no limit; write it "
            "shorter, with K, M or G\n",
            "exit 1"},
        Row{"NoNumber", "LOGGER;INFO;FULL;x.log;big\n",
            "vlog.cfg:3: error: size 'big' is not a number and counts as 0, no limit\n", "exit 1"},
        Row{"Negative", "LOGGER;INFO;FULL;x.log;-1\n",
            "vlog.cfg:3: error: size '-1' is negative and counts as no limit; write 0 for none\n",
            "exit 1"},
        Row{"None", "LOGGER;INFO;FULL;x.log;,\n",
            "vlog.cfg:3: warning: no size is given, so no destination has a limit: write 0\n",
            "exit 0"},
        Row{"TooMany", "LOGGER;INFO;FULL;x.log;1M,2M\n",
            "vlog.cfg:3: warning: more sizes than destinations: those at the end do not count\n",
            "exit 0"},
        Row{"TooFew", "LOGGER;INFO;SIMPLE;f1,f2,f3;5K,6K\n",
            "vlog.cfg:3: warning: fewer sizes than destinations: the last one, '6K', is also that "
            "of 'f3'; write one for each, or a single one for all\n",
            "exit 0"},
        Row{"NoneForASingleOneOfAllFiles", "LOGGER;INFO;SIMPLE;f1,f2,f3;5K\n", "", "exit 0"},
        Row{"CommentAfterIt", "LOGGER;INFO;FULL;x.log;0#x\n",
            "vlog.cfg:3: error: size '0#x' has an unknown unit and counts as 0 bytes; write a "
            "whole number with K, M, G or nothing after it\n",
            "exit 1"}),
    rowName);

TEST_F(CheckTest, TellsThatTheServicesTopicHasNoRule) {
    const CheckOutcome outcome = checkLog("LOGGER;INFO;FULL;[STDOUT];0\n");
    EXPECT_EQ(outcome.output,
              "vlog.cfg:1: warning: no rule for VELMORASRV INFO: what the daemon starts with is "
              "logged nowhere; write 'VELMORASRV ; INFO ; SIMPLE_TS ; [STDOUT] ; 0'\n"
              "vlog.cfg:1: warning: no rule for VELMORASRV CRITICAL: why a start fails is logged "
              "nowhere; write 'VELMORASRV ; CRITICAL ; SIMPLE_TS ; [STDOUT] ; 0'\n");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(CheckTest, TellsThatALogConfigurationHasNoRule) {
    EXPECT_EQ(checkLog("# nothing\n").output,
              "vlog.cfg:1: error: has no rule: the daemon uses its built-in rules, which log "
              "nothing of the service\n");
}

TEST_F(CheckTest, TellsOfAByteOrderMark) {
    EXPECT_EQ(checkLog("\xEF\xBB\xBF# comment ; of ; five ; fields ; here\n" + std::string(goodLog))
                  .output.substr(0, 52),
              "vlog.cfg:1: error: begins with a byte order mark, wh");
}

TEST_F(CheckTest, TellsThatNothingIsLoggedWithoutAConfiguration) {
    EXPECT_EQ(check({"--quiet", "-p", "6000"}).output,
              "<environment>:1: warning: VL_LOGCFG is not set: nothing is logged, not even why a "
              "start fails; set it to the path of a log configuration file, or say --logcfg \"\" "
              "if that is "
              "meant\n");
}

TEST_F(CheckTest, TellsThatNothingIsLoggedWithAnEmptyName) {
    environment["VL_LOGCFG"] = "";
    EXPECT_EQ(check({"--quiet", "-p", "6000"}).output,
              "<environment>:1: warning: VL_LOGCFG is empty: nothing is logged, not even why a "
              "start fails; set it to the path of a log configuration file, or say --logcfg \"\" "
              "if that is "
              "meant\n");
}

TEST_F(CheckTest, TellsThatTheBuiltInRulesHaveNoneForTheService) {
    environment["VL_LOGCFG"] = "Default";
    const CheckOutcome outcome = check({"--quiet", "-p", "6000"});
    EXPECT_EQ(outcome.output,
              "<environment>:1: warning: the built-in log rules have none for VELMORASRV: nothing "
              "of the service is logged; name a log configuration file\n");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(CheckTest, TakesTheLogConfigurationOfItsOptionBeforeThatOfTheEnvironment) {
    environment["VL_LOGCFG"] = "elsewhere.cfg";
    EXPECT_EQ(check({"--quiet", "-p", "6000", "--logcfg", "default"}).output.substr(0, 16),
              "<command-line>:1");
}

}  // namespace
