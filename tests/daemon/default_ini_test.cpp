// Starts that read the INI file at its default path.

#include <filesystem>

#include "daemon/daemon_test.h"

namespace {

constexpr char bothLevels[] =
    "VELMORASRV;INFO;SIMPLE;[STDOUT];0\nVELMORASRV;CRITICAL;SIMPLE;[STDOUT];0\n";

constexpr char noDefaultIni[] =
    "[VELMORASRV : 0x0000 : INFO] -> "
    "Start parser file : /opt/velmoraserver/velmora.ini\r\n"
    "[VELMORASRV : 0x0000 : CRITICAL] -> "
    "Error to open file /opt/velmoraserver/velmora.ini\r\n";

// Runs the daemon in a mount namespace of its own, where its default INI file is that of the test:
// none, unless it writes one. Skipped where that is not allowed.
class DaemonDefaultIni : public DaemonTest {
protected:
    DaemonDefaultIni() { prefix = {WITH_DEFAULT_INI, "none"}; }

    void SetUp() override {
        if (!hasNamespaces()) {
            GTEST_SKIP() << "no namespaces on this machine";
        }
    }

    [[nodiscard]] bool hasNamespaces() {
        startProgram({WITH_DEFAULT_INI, "none", "/bin/true"});
        return outcome().ending == "exit 0";
    }

    void writeDefaultIni(const std::string& content) {
        writeFile(files.path("velmora.ini"), content);
        prefix = {WITH_DEFAULT_INI, files.path("velmora.ini")};
    }

private:
    TemporaryDirectory files;
};

// Needs no namespace on a machine that has no such file.
class DaemonWithoutDefaultIni : public DaemonDefaultIni {
protected:
    void SetUp() override {
        if (!std::filesystem::exists("/opt/velmoraserver/velmora.ini")) {
            prefix.clear();
        } else {
            DaemonDefaultIni::SetUp();
        }
    }
};

TEST_F(DaemonDefaultIni, DecidesAStartWithoutArguments) {
    writeDefaultIni("[default]\nport=6000\nthreads=2\n");

    const Outcome outcome = serve({});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=6000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"));
    EXPECT_EQ(outcome.output, logDisabled);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.ending, "signal 15");
}

TEST_F(DaemonDefaultIni, GivesAllDefaultsWhenEmpty) {
    writeDefaultIni("");

    EXPECT_EQ(serve({}).calls, callsUpTo(defaultCreate));
}

TEST_F(DaemonWithoutDefaultIni, EndsWithStatusZero) {
    writeFile(directory.path("vlog.cfg"), bothLevels);
    environment["VL_LOGCFG"] = "vlog.cfg";

    const Outcome outcome = run({});

    EXPECT_EQ(outcome.output, noDefaultIni);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

// A group takes no values, and an empty path is the default one.
TEST_F(DaemonWithoutDefaultIni, IsAskedForItByAGroupThatHoldsTheIniOption) {
    writeFile(directory.path("vlog.cfg"), bothLevels);
    environment["VL_LOGCFG"] = "vlog.cfg";

    const Outcome outcome = run({"-p", "6000", "-ic"});

    EXPECT_EQ(outcome.output, noDefaultIni);
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonWithoutDefaultIni, IsAskedForItByAnEmptyIniPath) {
    writeFile(directory.path("vlog.cfg"), bothLevels);
    environment["VL_LOGCFG"] = "vlog.cfg";

    const Outcome outcome = run({"-i", ""});

    EXPECT_EQ(outcome.output, noDefaultIni);
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonWithoutDefaultIni, EndsInSilenceWhenNothingIsLogged) {
    const Outcome outcome = run({});

    EXPECT_EQ(outcome.output, logDisabled);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonDefaultIni, IsReadForAGroupThatHoldsTheIniOption) {
    writeDefaultIni("[default]\nconnections=7\n");

    const Outcome outcome = serve({"-p", "6000", "-ic"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=51000 conns=7 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

TEST_F(DaemonDefaultIni, IsReadForAnEmptyIniPath) {
    writeDefaultIni("[default]\nconnections=7\n");

    const Outcome outcome = serve({"--ini", ""});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=51000 conns=7 threads=1 threadQueueSize=10 queueTimeout=0\n"));
}

TEST_F(DaemonDefaultIni, IsNotReadWhenTheCommandLineNamesAnother) {
    writeDefaultIni("[default]\nconnections=7\n");
    writeFile(directory.path("a.ini"), "[default]\nthreads=2\n");

    const Outcome outcome = serve({"-i", "a.ini"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"));
}

TEST_F(DaemonDefaultIni, IsNotReadForSettingsOfTheCommandLine) {
    writeDefaultIni("[default]\nconnections=7\n");

    const Outcome outcome = serve({"-t", "2"});

    EXPECT_EQ(outcome.calls,
              callsUpTo("create port=51000 conns=1 threads=2 threadQueueSize=10 queueTimeout=0\n"));
}

// A plain argument is none of the settings, and still is an argument.
TEST_F(DaemonDefaultIni, IsNotReadWhenThereIsAPlainArgument) {
    writeDefaultIni("[default]\nconnections=7\n");

    EXPECT_EQ(serve({"a.ini"}).calls, callsUpTo(defaultCreate));
}

}  // namespace
