// What VL_LOGCFG makes of the daemon's log.

#include <chrono>
#include <filesystem>
#include <ostream>

#include "daemon/daemon_test.h"
#include "support/row_name.h"

namespace {

struct LogConfiguration {
    const char* name;
    const char* value;   // of VL_LOGCFG
    const char* output;  // of a start that succeeds
};

std::ostream& operator<<(std::ostream& out, const LogConfiguration& configuration) {
    return out << testing::PrintToString(configuration.value);
}

class DaemonLogConfiguration : public DaemonTest,
                               public testing::WithParamInterface<LogConfiguration> {
protected:
    DaemonLogConfiguration() {
        writeFile(directory.path("good.cfg"),
                  "# TOPIC; LEVEL; TAG_FMT; FILES; SIZES\r\n"
                  "LOGGER ; INFO ; SIMPLE_TS ; [STDOUT] ; 0\r\n");
        writeFile(directory.path("malformed.cfg"),
                  "VELMORASRV;INFO;SIMPLE;[STDOUT];0\nVELMORASRV;CRITICAL;[STDOUT]\n");
        writeFile(directory.path("empty.cfg"), "");
        writeFile(directory.path("comments.cfg"), "# nothing but this\n\n   \nshort\n");
        std::filesystem::create_directory(directory.path("folder.cfg"));
        writeFile(directory.path("Good.CFG"), "LOGGER;INFO;SIMPLE;[STDOUT];0\n");
    }
};

TEST_P(DaemonLogConfiguration, DecidesWhatIsPrinted) {
    environment["VL_LOGCFG"] = GetParam().value;

    const Outcome outcome = serve({"-p", "6000"});

    EXPECT_EQ(outcome.output, GetParam().output);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
    EXPECT_EQ(outcome.ending, "signal 15");
}

constexpr char started[] = "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n";

const LogConfiguration configurations[] = {
    {"Empty", "", "[WARN]\tvlog:init():<line> - VLog disabled\r\n"},
    {"Default", "default", started},
    {"DefaultInCapitals", "DEFAULT", started},
    {"DefaultInMixedCase", "dEfAuLt", started},
    {"File", "good.cfg",
     "[<time> : LOGGER   : 0x0002 : INFO] -> Loaded config file: good.cfg - status: OK\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"FileWhoseNameHasCapitals", "Good.CFG",
     "[LOGGER   : 0x0002 : INFO] -> Loaded config file: Good.CFG - status: OK\r\n"
     "[LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"MissingFile", "Missing.cfg",
     "[<time> : LOGGER   : 0x0001 : CRITICAL] -> Log configuration file [Missing.cfg] not found - "
     "using default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"NameThatOnlyBeginsWithDefault", "default ",
     "[<time> : LOGGER   : 0x0001 : CRITICAL] -> Log configuration file [default ] not found - "
     "using default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    // One malformed line is enough for the good ones not to count either.
    {"MalformedFile", "malformed.cfg",
     "[<time> : LOGGER   : 0x0003 : INFO] -> Loaded config file: malformed.cfg - status: "
     "SYNTAX_ERROR - using default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"EmptyFile", "empty.cfg",
     "[<time> : LOGGER   : 0x0003 : INFO] -> Loaded config file: empty.cfg - status: "
     "SYNTAX_ERROR - using default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"FileWithoutRules", "comments.cfg",
     "[<time> : LOGGER   : 0x0003 : INFO] -> Loaded config file: comments.cfg - status: "
     "SYNTAX_ERROR - using default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"Directory", "folder.cfg",
     "[<time> : LOGGER   : 0x0003 : INFO] -> Loaded config file: folder.cfg - status: "
     "SYNTAX_ERROR - using default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
    {"PercentSigns", "%s%n",
     "[<time> : LOGGER   : 0x0001 : CRITICAL] -> Log configuration file [%s%n] not found - using "
     "default\r\n"
     "[<time> : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"},
};
INSTANTIATE_TEST_SUITE_P(Value, DaemonLogConfiguration, testing::ValuesIn(configurations), rowName);

TEST_F(DaemonTest, WarnsOnceWhenNoLogConfigurationIsSet) {
    writeFile(directory.path("a.ini"), "");

    const Outcome outcome = serve({"-i", "a.ini"});

    EXPECT_EQ(outcome.output, logDisabled);
    EXPECT_EQ(outcome.errors, "");
}

// The built-in configuration has no rule for the service.
TEST_F(DaemonTest, HidesAFailedStartWithTheBuiltInLogConfiguration) {
    environment["VL_LOGCFG"] = "default";

    const Outcome outcome = run({"-i", "missing.ini"});

    EXPECT_EQ(outcome.output, started);
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonTest, PrintsOnlyTheLevelsThatHaveARule) {
    writeFile(directory.path("vlog.cfg"), "VELMORASRV;CRITICAL;SIMPLE;[STDOUT];0\n");
    environment["VL_LOGCFG"] = "vlog.cfg";

    const Outcome outcome = run({"-i", "missing.ini"});

    EXPECT_EQ(outcome.output,
              "[VELMORASRV : 0x0000 : CRITICAL] -> Error to open file missing.ini\r\n");
}

TEST_F(DaemonTest, StampsItsLinesWithLocalTime) {
    writeFile(directory.path("vlog.cfg"), "VELMORASRV;CRITICAL;SIMPLE_TS;[STDOUT];0\n");
    environment["VL_LOGCFG"] = "vlog.cfg";
    constexpr time_t offset = 12 * 3600 + 45 * 60;  // of the time zone of these tests

    // By the daemon's clock: that of time() is some milliseconds behind it.
    using std::chrono::system_clock;
    const time_t before = system_clock::to_time_t(system_clock::now());
    ASSERT_EQ(run({"-i", "missing.ini"}).ending, "exit 0");
    const time_t after = system_clock::to_time_t(system_clock::now());

    tm stamp{};
    ASSERT_NE(::strptime(output().c_str(), "[%Y:%m:%d %H:%M:%S.", &stamp), nullptr) << output();
    EXPECT_GE(::timegm(&stamp) - offset, before);
    EXPECT_LE(::timegm(&stamp) - offset, after);
}

class DaemonLogFile : public DaemonTest {
protected:
    DaemonLogFile() {
        writeFile(directory.path("vlog.cfg"),
                  "VELMORASRV;INFO;SIMPLE;all.log;0\n"
                  "VELMORASRV;CRITICAL;SIMPLE;all.log,errors.log;0\n");
        environment["VL_LOGCFG"] = "vlog.cfg";
    }

    std::string log() const { return readFile(directory.path("all.log")); }
};

// The writer thread comes too late for that.
TEST_F(DaemonLogFile, HoldsTheReasonOfAFailedStart) {
    const Outcome outcome = run({"-i", "missing.ini"});

    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(log(),
              "[VELMORASRV : 0x0000 : INFO] -> Start parser file : missing.ini\r\n"
              "[VELMORASRV : 0x0000 : CRITICAL] -> Error to open file missing.ini\r\n");
    EXPECT_EQ(readFile(directory.path("errors.log")),
              "[VELMORASRV : 0x0000 : CRITICAL] -> Error to open file missing.ini\r\n");
    EXPECT_EQ(outcome.output, "");
}

TEST_F(DaemonLogFile, IsAppendedToByTheNextStart) {
    ASSERT_EQ(run({"-i", "a.ini"}).ending, "exit 0");
    ASSERT_EQ(run({"-i", "b.ini"}).ending, "exit 0");

    EXPECT_EQ(readFile(directory.path("errors.log")),
              "[VELMORASRV : 0x0000 : CRITICAL] -> Error to open file a.ini\r\n"
              "[VELMORASRV : 0x0000 : CRITICAL] -> Error to open file b.ini\r\n");
}

TEST_F(DaemonLogFile, IsWrittenWhileTheDaemonServes) {
    startServing({"-p", "6000"});

    EXPECT_TRUE(waitUntil([this] { return log().find("queueTimeout    : 0\r\n") != log().npos; }))
        << log();
    EXPECT_FALSE(process->hasEnded());
}

TEST_F(DaemonLogFile, LeavesTheStartAloneWhenItCannotBeWritten) {
    std::filesystem::create_directory(directory.path("all.log"));

    const Outcome outcome = serve({"-p", "6000"});

    EXPECT_EQ(outcome.ending, "signal 15");
    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

}  // namespace
