#include <ostream>

#include "support/row_name.h"
#include "velmoracheck/check_test.h"

namespace {

struct Row {
    const char* name;
    const char* content;
    const char* findings;  // all of them
    const char* ending;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << row.content;
}

class IniFindings : public CheckTest, public testing::WithParamInterface<Row> {};

TEST_P(IniFindings, AreToldWithPlaceAndRemedy) {
    const CheckOutcome outcome = checkIni(GetParam().content);
    EXPECT_EQ(outcome.output, GetParam().findings);
    EXPECT_EQ(outcome.ending, GetParam().ending);
    EXPECT_EQ(outcome.errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    Keys, IniFindings,
    testing::Values(
        Row{"AllKeysInAnyCase",
            "[DEFAULT]\nPORT=6000\nConnections=3\nthreads: 3\nthreadQueueSize = 4 ; four\n"
            "# comment\n\nqueueTimeout=0\n",
            "", "exit 0"},
        Row{"UnknownKey", "[default]\nthread = 4\n",
            "velmora.ini:2: error: unknown key 'thread': did you mean 'threads'?\n", "exit 1"},
        Row{"UnknownKeyLikeNone", "[default]\nthreads=1\nverbose = 4\n",
            "velmora.ini:3: error: unknown key 'verbose': write one of connections, port, threads, "
            "threadQueuesize, queueTimeout\n",
            "exit 1"},
        Row{"KeyOutsideAnySection", "port = 6000\n[default]\nthreads=1\n",
            "velmora.ini:1: error: key 'port' stands outside any section: write [default] above "
            "it\n",
            "exit 1"},
        Row{"UnknownSection", "[default]\nthreads=1\n[defualt]\nport = 1\nport = 2\n",
            "velmora.ini:3: warning: unknown section 'defualt': the daemon reads [default] alone: "
            "did you mean that?\n",
            "exit 0"},
        Row{"UnknownSectionLikeNone", "[default]\nthreads=1\n[server]\n",
            "velmora.ini:3: warning: unknown section 'server': the daemon reads [default] alone\n",
            "exit 0"},
        Row{"DuplicateKey", "[default]\nconnections = 2\nConnections = 3\n",
            "velmora.ini:3: warning: duplicate key 'Connections': line 2 counts, not this one\n",
            "exit 0"},
        Row{"DuplicateOfAnEmptyKey", "[default]\nconnections =\nconnections = 3\n",
            "velmora.ini:2: warning: duplicate key 'connections': line 3 counts, not this one\n",
            "exit 0"},
        Row{"IndentedKeyIsMoreOfTheOneAbove", "[default]\nport = 6000\n  threads = 4\n",
            "velmora.ini:3: error: 'threads = 4' begins with a blank, so it continues the value of "
            "'port' above: remove the blank\n",
            "exit 1"},
        Row{"SyntaxErrors", "[default]\nthreads\nport = 6000\n[default\n",
            "velmora.ini:2: error: syntax error, the line is ignored: write 'key = value', "
            "'[section]' or '; comment'\n"
            "velmora.ini:4: error: syntax error, the line is ignored: write 'key = value', "
            "'[section]' or '; comment'\n",
            "exit 1"},
        Row{"KeyInTheLineOfASection", "[default] threads = 4\nport = 7000\n",
            "velmora.ini:1: error: 'threads = 4' stands after a section and is ignored: write it "
            "on a line of its own\n",
            "exit 1"},
        Row{"TextAfterASection", "[default]junk\nport = 7000\n",
            "velmora.ini:1: error: 'junk' stands after a section and is ignored: write it on a "
            "line of its own\n",
            "exit 1"},
        Row{"CommentAfterASection", "[default] ; junk\nport = 7000\n", "", "exit 0"},
        Row{"NoKeyAtAll", "; nothing\n",
            "velmora.ini:1: warning: sets no key in [default]: every setting has its "
            "default\n",
            "exit 0"},
        Row{"ControlCharactersAreWrittenOut", "[default]\nport=6000\n\x1b[31m\xff = 4\n",
            "velmora.ini:3: error: unknown key '\\x1b[31m\\xff': write one of connections, port, "
            "threads, threadQueuesize, queueTimeout\n",
            "exit 1"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Values, IniFindings,
    testing::Values(
        Row{"NoNumber", "[default]\nthreads = many\n",
            "velmora.ini:2: error: value 'many' of 'threads' is not a number: the daemon takes the "
            "default, 1\n",
            "exit 1"},
        Row{"NoValue", "[default]\nport =\n",
            "velmora.ini:2: error: value '' of 'port' is not a number: the daemon takes the "
            "default, 51000\n",
            "exit 1"},
        Row{"TrailingText", "[default]\nqueueTimeout = 5s\n",
            "velmora.ini:2: error: value '5s' of 'queueTimeout' has trailing text: the daemon "
            "takes 5; remove what follows the number\n",
            "exit 1"},
        Row{"Hexadecimal", "[default]\nconnections = 99\nthreads = 0x10\n",
            "velmora.ini:3: warning: value '0x10' of 'threads' is hexadecimal: the daemon takes "
            "16; "
            "write a decimal number\n",
            "exit 0"},
        Row{"Octal", "[default]\nconnections = 99\nthreads = 010\n",
            "velmora.ini:3: error: value '010' of 'threads' is octal: the daemon takes 8; write it "
            "without the zero before it\n",
            "exit 1"},
        Row{"NoOctalDigit", "[default]\nqueueTimeout = 08\n",
            "velmora.ini:2: error: value '08' of 'queueTimeout' is octal: the daemon takes 0; "
            "write it without the zero before it\n",
            "exit 1"},
        Row{"TooLargeForAnInt", "[default]\nthreads = 4294967297\n",
            "velmora.ini:2: error: value '4294967297' of 'threads' does not fit into 32 bits: "
            "the daemon takes 1\n",
            "exit 1"},
        Row{"TooLargeForALong", "[default]\nthreads = 99999999999999999999\n",
            "velmora.ini:2: error: value '99999999999999999999' of 'threads' does not fit into "
            "32 bits: the daemon takes -1\n",
            "exit 1"},
        Row{"PortZero", "[default]\nport = 0\n",
            "velmora.ini:2: error: 'port' is 0: write 1 to 65535\n", "exit 1"},
        Row{"PortTooLarge", "[default]\nport = 65536\n",
            "velmora.ini:2: error: 'port' is 65536: write 1 to 65535\n", "exit 1"},
        Row{"NoThread", "[default]\nthreads = 0\n",
            "velmora.ini:2: error: 'threads' is 0: write at least 1\n", "exit 1"},
        Row{"NoConnection", "[default]\nconnections = 0\n",
            "velmora.ini:2: error: 'connections' is 0: write at least 1\n", "exit 1"},
        Row{"NegativeQueue", "[default]\nthreadQueuesize = -1\n",
            "velmora.ini:2: error: 'threadQueuesize' is -1: write at least 0\n", "exit 1"},
        Row{"NegativeTimeout", "[default]\nqueueTimeout = -1\n",
            "velmora.ini:2: error: 'queueTimeout' is -1: write at least 0\n", "exit 1"}),
    rowName);

TEST_F(CheckTest, TellsOfALineThatIsTooLongForTheReader) {
    const CheckOutcome outcome =
        checkIni("[default]\nport = 6000 ;" + std::string(186, 'x') + "connections = 2\n");
    EXPECT_EQ(
        outcome.output,
        "velmora.ini:2: error: line too long for the daemon: the rest of it, 'connections = 2', "
        "is read as a line of its own\n");
}

TEST_F(CheckTest, AllowsALineThatEndsInBlanksBeyondTheReadersBuffer) {
    EXPECT_EQ(checkIni("[default]\nport = 6000" + std::string(400, ' ') + "\nthreads=1\n").output,
              "");
}

}  // namespace
