// Starts with arguments: which of them decide, what they come to, and what is said of wrong ones.

#include <ostream>

#include "daemon/daemon_test.h"
#include "support/row_name.h"

namespace {

constexpr char usage[] =
    "[LOG]\tVelmora Service\n"
    "\n"
    "Available options\n"
    "-----------------\n"
    "-h, --help\n"
    "    Velmora Service Help.\n"
    "\n"
    "-c <value>, --connections <value>\n"
    "    Number of connections\n"
    "\n"
    "-i <value>, --ini <value>\n"
    "    Ini file path\n"
    "\n"
    "-p <value>, --port <value>\n"
    "    Port for Server\n"
    "\n"
    "-t <value>, --threads <value>\n"
    "    Number of threads\n"
    "\n"
    "-q <value>, --threadQueuesize <value>\n"
    "    Queue Size\n"
    "\n"
    "-o <value>, --queueTimeout <value>\n"
    "    Queue Timeout (ms)\n"
    "\n"
    "\r\n";

struct CommandLine {
    const char* name;
    std::vector<std::string> arguments;
    const char* result;  // the call of the engine, or the line before the usage text
};

std::ostream& operator<<(std::ostream& out, const CommandLine& line) {
    return out << testing::PrintToString(line.arguments);
}

class DaemonSettings : public DaemonTest, public testing::WithParamInterface<CommandLine> {};

TEST_P(DaemonSettings, ReachTheEngine) {
    const Outcome outcome = serve(GetParam().arguments);

    EXPECT_EQ(outcome.calls, callsUpTo(GetParam().result));
    EXPECT_EQ(outcome.output, logDisabled);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.ending, "signal 15");
}

const CommandLine forms[] = {
    {"PortAlone",
     {"-p", "6000"},
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"ShortOptions",
     {"-c", "2", "-p", "6000", "-t", "3", "-q", "4", "-o", "5"},
     "create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n"},
    {"LongOptions",
     {"--queueTimeout", "5", "--threadQueuesize", "4", "--threads", "3", "--port", "6000",
      "--connections", "2"},
     "create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n"},
    {"JoinedValues",
     {"--port=6000", "-t=3"},
     "create port=6000 conns=1 threads=3 threadQueueSize=10 queueTimeout=0\n"},
    {"LastOfSeveral",
     {"-p", "6000", "--port=6001", "-p", "6002"},
     "create port=6002 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"PlainArgumentsBehindOptions",
     {"-p", "6000", "7000", "--", "-5"},
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"GroupWithoutValues",
     {"-tp"},
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    // No member of a group takes a value: the number is a plain argument.
    {"NumberBehindAGroup",
     {"-tp", "6000"},
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"GroupThatTakesAnEarlierValueAway",
     {"-p", "6000", "-tp"},
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"InnerEqualsSignsDropped",
     {"--port=6=0=0=1"},
     "create port=6001 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
};
INSTANTIATE_TEST_SUITE_P(Forms, DaemonSettings, testing::ValuesIn(forms), rowName);

const CommandLine numbers[] = {
    {"NoNumber",
     {"-t", "abc"},
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"NoNumberInAnyOption",
     {"-c", "x", "-p", "x1", "-t", "-", "-q", "--", "-o", "none"},
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"EmptyText",
     {"-p", ""},
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"TrailingText",
     {"-t", "12abc"},
     "create port=51000 conns=1 threads=12 threadQueueSize=10 queueTimeout=0\n"},
    {"LeadingBlank",
     {"-t", " 7"},
     "create port=51000 conns=1 threads=7 threadQueueSize=10 queueTimeout=0\n"},
    {"LeadingTabAndLineFeed",
     {"-t", "\t\n7"},
     "create port=51000 conns=1 threads=7 threadQueueSize=10 queueTimeout=0\n"},
    // Decimal only, unlike in the INI file.
    {"HexadecimalIsZero",
     {"-p", "0x10"},
     "create port=0 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"LeadingZeroIsDecimal",
     {"-p", "010"},
     "create port=10 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"Zero",
     {"-c", "0", "-p", "0", "-t", "0", "-q", "0", "-o", "0"},
     "create port=0 conns=0 threads=0 threadQueueSize=0 queueTimeout=0\n"},
    // What begins with a dash and a digit is a value.
    {"Negative",
     {"-c", "-1", "--port", "-2", "-t=-3", "--threadQueuesize=-4", "-o", "-5"},
     "create port=-2 conns=-1 threads=-3 threadQueueSize=-4 queueTimeout=-5\n"},
    {"PlusSign",
     {"-p", "+6000"},
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"LargestInt",
     {"-p", "2147483647", "-t", "-2147483648"},
     "create port=2147483647 conns=1 threads=-2147483648 threadQueueSize=10 queueTimeout=0\n"},
    // The C library reads a long and keeps its low 32 bits.
    {"LongerThanInt",
     {"-p", "2147483648", "-t", "4294967297"},
     "create port=-2147483648 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"LongerThanLong",
     {"-p", "99999999999999999999", "-t", "-99999999999999999999"},
     "create port=-1 conns=1 threads=0 threadQueueSize=10 queueTimeout=0\n"},
};
INSTANTIATE_TEST_SUITE_P(Numbers, DaemonSettings, testing::ValuesIn(numbers), rowName);

class DaemonWrongCommandLine : public DaemonTest,
                               public testing::WithParamInterface<CommandLine> {};

TEST_P(DaemonWrongCommandLine, IsDescribedBeforeTheUsage) {
    const Outcome outcome = run(GetParam().arguments);

    EXPECT_EQ(outcome.output, std::string(GetParam().result) + usage);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 255");
}

const CommandLine faults[] = {
    {"UnknownLongOption", {"--bogus"}, "[LOG]\tUnknown option: 'bogus'\r\n"},
    {"UnknownLongOptionWithItsValue", {"--bogus=5"}, "[LOG]\tUnknown option: 'bogus'\r\n"},
    {"UnknownShortOption", {"-x"}, "[LOG]\tUnknown option: 'x'\r\n"},
    {"UnknownMemberOfAGroup", {"-tx"}, "[LOG]\tUnknown option: 'x'\r\n"},
    // A group of p, 6, 0 and so on, none of which takes the value.
    {"ValueGluedToAShortOption", {"-p6000"}, "[LOG]\tUnknown option: '6'\r\n"},
    {"NothingBehindTheEqualsSign", {"--port="}, "[LOG]\tUnknown option: 'port='\r\n"},
    {"CapitalLetterInAnOption", {"--Port=6000"}, "[LOG]\tUnknown option: 'Port'\r\n"},
    {"CapitalSInThreadQueueSize",
     {"--threadQueueSize=4"},
     "[LOG]\tUnknown option: 'threadQueueSize'\r\n"},
    {"TwoDashesAndOneLetter", {"--p"}, "[LOG]\tUnknown option: '-'\r\n"},
    {"NoValueAtTheEnd", {"-p"}, "[LOG]\tMissing required value for option: 'p'\r\n"},
    {"NoValueAtTheEndOfALongOption",
     {"-t", "2", "--port"},
     "[LOG]\tMissing required value for option: 'port'\r\n"},
    {"NoValueBeforeAnOption",
     {"--port", "--threads", "2"},
     "[LOG]\tMissing required value for option: 'port'\r\n"},
    {"OptionBehindAnArgument",
     {"6000", "-t", "2"},
     "[LOG]\tMisplaced option '-t' detected. All option have to be BEFORE the first argument\r\n"},
    {"LongOptionBehindAnArgument",
     {"-tp", "6000", "--port=6001"},
     "[LOG]\tMisplaced option '--port=6001' detected. All option have to be BEFORE the first "
     "argument\r\n"},
    {"HelpBehindAnArgument",
     {"6000", "--help"},
     "[LOG]\tMisplaced option '--help' detected. All option have to be BEFORE the first "
     "argument\r\n"},
    {"GroupWithAValue", {"-tp=6000"}, "[LOG]\tMalformed short-options: 'tp'\r\n"},
    {"FaultBeforeARequestForHelp", {"--bogus", "--help"}, "[LOG]\tUnknown option: 'bogus'\r\n"},
    // Nothing of the description is taken for a format.
    {"PercentSigns", {"--%s%n"}, "[LOG]\tUnknown option: '%s%n'\r\n"},
};
INSTANTIATE_TEST_SUITE_P(Faults, DaemonWrongCommandLine, testing::ValuesIn(faults), rowName);

const CommandLine helpRequests[] = {
    {"Short", {"-h"}, ""},
    {"Long", {"--help"}, ""},
    {"BehindSettings", {"-p", "6000", "--help"}, ""},
    {"BeforeAFault", {"-h", "--bogus"}, ""},
    {"InAGroup", {"-th"}, ""},
    {"WithAValue", {"--help=port"}, ""},
    {"BehindAnIniFile", {"-i", "a.ini", "-h"}, ""},
};
INSTANTIATE_TEST_SUITE_P(Help, DaemonWrongCommandLine, testing::ValuesIn(helpRequests), rowName);

// The logger is set up before the command line is looked at.
TEST_F(DaemonTest, PrintsTheWarningOfAnEmptyLogConfigurationBeforeTheHelp) {
    environment["VL_LOGCFG"] = "";

    const Outcome outcome = run({"--help"});

    EXPECT_EQ(outcome.output, std::string(logDisabled) + usage);
    EXPECT_EQ(outcome.ending, "exit 255");
}

TEST_F(DaemonTest, DoesNotSendTheDescriptionOfAFaultToTheLog) {
    environment["VL_LOGCFG"] = "vlog.cfg";
    writeFile(directory.path("vlog.cfg"),
              "VELMORASRV;INFO;SIMPLE;[STDOUT],all.log;0\nLOGGER;INFO;SIMPLE;all.log;0\n");

    const Outcome outcome = run({"--bogus"});

    EXPECT_EQ(outcome.output, std::string("[LOG]\tUnknown option: 'bogus'\r\n") + usage);
    EXPECT_EQ(readFile(directory.path("all.log")).find("bogus"), std::string::npos);
    EXPECT_EQ(outcome.ending, "exit 255");
}

TEST_F(DaemonTest, LetsTheIniFileDecideAllThatTheCommandLineSays) {
    writeFile(directory.path("a.ini"), "[default]\nthreads=2\n");

    const Outcome outcome =
        serve({"-p", "6000", "-i", "a.ini", "-c", "7", "-t", "7", "-q", "7", "-o", "7"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"));
    EXPECT_EQ(outcome.ending, "signal 15");
}

TEST_F(DaemonTest, LetsTheLastOfSeveralIniFilesDecide) {
    writeFile(directory.path("a.ini"), "[default]\nthreads=2\n");
    writeFile(directory.path("b.ini"), "[default]\nport=6000\n");

    const Outcome outcome = serve({"-i", "a.ini", "--ini=b.ini"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

TEST_F(DaemonTest, DropsTheInnerEqualsSignsOfAJoinedIniPath) {
    writeFile(directory.path("a=b.ini"), "[default]\nport=1\n");
    writeFile(directory.path("ab.ini"), "[default]\nport=2\n");

    const Outcome outcome = serve({"--ini=a=b.ini"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=2 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

TEST_F(DaemonTest, KeepsTheEqualsSignsOfAnIniPathThatStandsAlone) {
    writeFile(directory.path("a=b.ini"), "[default]\nport=1\n");
    writeFile(directory.path("ab.ini"), "[default]\nport=2\n");

    const Outcome outcome = serve({"--ini", "a=b.ini"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=1 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

TEST_F(DaemonTest, EndsWithStatusZeroWhenTheIniFileOfTheCommandLineIsMissing) {
    const Outcome outcome = run({"-p", "6000", "-i", "missing.ini"});

    EXPECT_EQ(outcome.output, logDisabled);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

}  // namespace
