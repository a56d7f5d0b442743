// What the daemon makes of INI files: which five numbers reach the engine.

#include <unistd.h>

#include <filesystem>
#include <ostream>

#include "daemon/daemon_test.h"
#include "support/row_name.h"

namespace {

struct IniFile {
    const char* name;
    const char* content;
    const char* create;  // the call of the engine
};

std::ostream& operator<<(std::ostream& out, const IniFile& file) {
    return out << testing::PrintToString(file.content);
}

class DaemonIniFile : public DaemonTest, public testing::WithParamInterface<IniFile> {};

TEST_P(DaemonIniFile, GivesTheEngineItsNumbers) {
    writeFile(directory.path("a.ini"), GetParam().content);

    const Outcome outcome = serve({"-i", "a.ini"});

    EXPECT_EQ(outcome.calls, callsUpTo(GetParam().create));
    EXPECT_EQ(outcome.output, logDisabled);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.ending, "signal 15");
}

constexpr IniFile complete[] = {
    {"EveryKey",
     "[default]\nport = 51001\nconnections = 2\nthreads = 3\nthreadQueuesize = 4\nqueueTimeout = "
     "5\n",
     "create port=51001 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n"},
    {"CommentsAndBlankLines",
     "; first\n# second\n\n[default] ; third\nport=6000 ; fourth\n\nthreads=2\n",
     "create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    {"ColonsForEqualsSigns", "[default]\nport: 6000\nthreads :2\n",
     "create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    {"NoLineBreakAtTheEnd", "[default]\nport=6000",
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"CarriageReturnsBeforeLineFeeds", "[default]\r\nport = 6000\r\nthreads=2\r\n",
     "create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    {"ByteOrderMark", "\xEF\xBB\xBF[default]\nport=6000\n",
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"SectionInTwoPieces", "[default]\nport=6000\n[other]\nport=1\n[default]\nthreads=2\n",
     "create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
};
INSTANTIATE_TEST_SUITE_P(Form, DaemonIniFile, testing::ValuesIn(complete), rowName);

constexpr IniFile names[] = {
    {"CapitalSInThreadQueueSize", "[default]\nthreadQueueSize=4\n",
     "create port=51000 conns=1 threads=1 threadQueueSize=4 queueTimeout=0\n"},
    {"UpperCaseKeys", "[default]\nPORT=6000\nTHREADS=2\nConnections=3\nQUEUETIMEOUT=4\n",
     "create port=6000 conns=3 threads=2 threadQueueSize=10 queueTimeout=4\n"},
    {"UpperCaseSection", "[DEFAULT]\nport=6000\n",
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"OtherSection", "[server]\nport=6000\n[default]\nthreads=2\n",
     "create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    {"OutsideAnySection", "port=6000\n[default]\nthreads=2\n",
     "create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    {"UnknownKeys", "[default]\nprot=6000\nserver port=6001\nthreads=2\n",
     "create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
};
INSTANTIATE_TEST_SUITE_P(Names, DaemonIniFile, testing::ValuesIn(names), rowName);

constexpr IniFile values[] = {
    {"Hexadecimal", "[default]\nport=0x10\nthreads=0X1f\n",
     "create port=16 conns=1 threads=31 threadQueueSize=10 queueTimeout=0\n"},
    {"Octal", "[default]\nport=010\n",
     "create port=8 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"OctalUpToTheFirstOtherDigit", "[default]\nport=0189\n",
     "create port=1 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"TrailingText", "[default]\nport=12abc\n",
     "create port=12 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"NoNumberInAnyKey",
     "[default]\nport=abc\nconnections=\"2\"\nthreads=-\nthreadQueuesize=x4\nqueueTimeout=none\n",
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"NoValue", "[default]\nport=\nthreads=\n",
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"Negative", "[default]\nport=-1\nconnections=-2\nthreads=-3\nthreadQueuesize=-4\n",
     "create port=-1 conns=-2 threads=-3 threadQueueSize=-4 queueTimeout=0\n"},
    {"Zero", "[default]\nport=0\nconnections=0\nthreads=0\nthreadQueuesize=0\n",
     "create port=0 conns=0 threads=0 threadQueueSize=0 queueTimeout=0\n"},
    {"PlusSign", "[default]\nport=+6000\n",
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"LargestInt", "[default]\nport=2147483647\nthreads=-2147483648\n",
     "create port=2147483647 conns=1 threads=-2147483648 threadQueueSize=10 queueTimeout=0\n"},
    // The reader's numbers are longer than the engine's: of those the low 32 bits count.
    {"LongerThanInt", "[default]\nport=2147483648\nthreads=4294967297\n",
     "create port=-2147483648 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    // The reader's result is the largest, or the smallest, of its numbers.
    {"LongerThanLong", "[default]\nport=99999999999999999999\nthreads=-99999999999999999999\n",
     "create port=-1 conns=1 threads=0 threadQueueSize=10 queueTimeout=0\n"},
};
INSTANTIATE_TEST_SUITE_P(Values, DaemonIniFile, testing::ValuesIn(values), rowName);

constexpr IniFile faults[] = {
    {"Empty", "", "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"EmptySection", "[default]\n",
     "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"LineOfNoForm", "[default]\nport=6000\nthis is no assignment\nthreads=2\n",
     "create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    {"LineOfNoFormAtTheBeginning", "port\n[default]\nthreads=2\n",
     "create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    // A section that is not closed begins none.
    {"SectionWithoutItsEnd", "[default]\nport=6000\n[server\nthreads=2\n",
     "create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"},
    // The reader joins the values of a key that comes again, a line each, and the number at the
    // beginning is that of the first.
    {"DuplicateKeyCountsOnce", "[default]\nport=6000\nport=6001\nPORT=6002\n",
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    {"DuplicateKeyAfterAnEmptyOne", "[default]\nport=\nport=6001\n",
     "create port=6001 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
    // To the reader an indented line continues the value before it.
    {"IndentedKeyIsNoKey", "[default]\nport=6000\n  threads=2\n",
     "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"},
};
INSTANTIATE_TEST_SUITE_P(Faults, DaemonIniFile, testing::ValuesIn(faults), rowName);

// A line longer than the reader's buffer is read in pieces, which are lines of no form.
TEST_F(DaemonTest, SurvivesAnIniFileWithAnEndlessLine) {
    writeFile(directory.path("a.ini"),
              "[default]\nthreads=2\n" + std::string(1000000, 'x') + "\nport=6000\n");

    const Outcome outcome = serve({"-i", "a.ini"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"));
}

// A directory can be opened; it reads as an empty file.
TEST_F(DaemonTest, TakesADirectoryForAnEmptyIniFile) {
    std::filesystem::create_directory(directory.path("a.ini"));

    const Outcome outcome = serve({"-i", "a.ini"});

    EXPECT_EQ(outcome.calls, callsUpTo(defaultCreate));
    EXPECT_EQ(outcome.output, logDisabled);
}

class DaemonIniFileThatCannotBeOpened : public DaemonTest {
protected:
    DaemonIniFileThatCannotBeOpened() {
        environment["VL_LOGCFG"] = "vlog.cfg";
        writeFile(directory.path("vlog.cfg"),
                  "VELMORASRV;INFO;FULL;[STDOUT];0\nVELMORASRV;CRITICAL;FULL;[STDOUT];0\n");
    }

    static std::string linesAbout(const std::string& path) {
        return "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
               "velmoraserver/app/velmoraserviced/velmoraserviced : 102] -> Start parser file : " +
               path +
               "\r\n"
               "[<time> : <thread> : VELMORASRV : 0x0000 : CRITICAL : "
               "velmoraserver/app/velmoraserviced/velmoraserviced : 106] -> Error to open file " +
               path + "\r\n";
    }
};

TEST_F(DaemonIniFileThatCannotBeOpened, EndsTheDaemonWhenItIsMissing) {
    const Outcome outcome = run({"--ini", "missing.ini"});

    EXPECT_EQ(outcome.output, linesAbout("missing.ini"));
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonIniFileThatCannotBeOpened, EndsTheDaemonWhenItIsBelowAFile) {
    const Outcome outcome = run({"--ini", "vlog.cfg/a.ini"});

    EXPECT_EQ(outcome.output, linesAbout("vlog.cfg/a.ini"));
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonIniFileThatCannotBeOpened, EndsTheDaemonWhenItIsUnreadable) {
    writeFile(directory.path("a.ini"), "[default]\nport=6000\n");
    std::filesystem::permissions(directory.path("a.ini"), std::filesystem::perms::none);
    if (::geteuid() == 0) {
        // Binds root by the permissions of files, too.
        prefix = {"/usr/bin/setpriv", "--bounding-set=-dac_override,-dac_read_search"};
    }

    const Outcome outcome = run({"--ini", "a.ini"});

    EXPECT_EQ(outcome.output, linesAbout("a.ini"));
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

// The path is shown as given, whatever it holds; nothing of it is taken for a format.
TEST_F(DaemonIniFileThatCannotBeOpened, IsNamedAsGiven) {
    const Outcome outcome = run({"-i", "%s%n%d \xC3\xA4.ini"});

    EXPECT_EQ(outcome.output, linesAbout("%s%n%d \xC3\xA4.ini"));
    EXPECT_EQ(outcome.ending, "exit 0");
}

}  // namespace
