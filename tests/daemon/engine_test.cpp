// The daemon and its engine: which library, in which order it is called, what is logged of it.

#include <filesystem>
#include <set>
#include <sstream>

#include "daemon/daemon_engine.h"

namespace {

// The paths of the files that a process has mapped into its memory, of those that end like this.
std::set<std::string> mappedFiles(pid_t pid, const std::string& end) {
    std::istringstream maps(readFile("/proc/" + std::to_string(pid) + "/maps"));
    std::set<std::string> paths;
    for (std::string line; std::getline(maps, line);) {
        if (line.ends_with(end)) {
            paths.insert(line.substr(line.find('/')));
        }
    }
    return paths;
}

TEST_F(DaemonEngine, IsAnnouncedInTwoBlocksAfterTheIniFile) {
    writeFile(directory.path("a.ini"),
              "[default]\nconnections=2\nport=6000\nthreads=3\nthreadQueueSize=4\n"
              "queueTimeout=-5\n");

    const Outcome outcome = serve({"-i", "a.ini"});

    EXPECT_EQ(outcome.output,
              std::string("[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
                          "velmoraserver/app/velmoraserviced/velmoraserviced : 102] -> "
                          "Start parser file : a.ini\r\n") +
                  engineLines + settingsLines);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls,
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=-5\n");
}

// Settings of the command line have no line of their own.
TEST_F(DaemonEngine, IsAnnouncedInTwoBlocksAloneForTheCommandLine) {
    const Outcome outcome = serve({"-c", "2", "-p", "6000", "-t", "3", "-q", "4", "-o", "-5"});

    EXPECT_EQ(outcome.output, std::string(engineLines) + settingsLines);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(DaemonEngine, IsAnnouncedBeforeItFails) {
    environment["ENGINE_DOUBLE_FAIL"] = "1";

    const Outcome outcome = run({"-c", "2", "-p", "6000", "-t", "3", "-q", "4", "-o", "-5"});

    EXPECT_EQ(outcome.output, std::string(engineLines) + settingsLines);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls,
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=-5\n");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonEngine, EndsTheDaemonWithStatusZeroWhenItFailsForAnIniFile) {
    environment["ENGINE_DOUBLE_FAIL"] = "1";
    writeFile(directory.path("a.ini"), "[default]\nport=0\n");

    const Outcome outcome = run({"-i", "a.ini"});

    EXPECT_EQ(outcome.calls,
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=0 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(DaemonEngine, LeavesBothBlocksInTheLogFileWhenItFails) {
    environment["ENGINE_DOUBLE_FAIL"] = "1";
    writeFile(directory.path("vlog.cfg"), "VELMORASRV;INFO;FULL;all.log;0\n");

    ASSERT_EQ(run({"-c", "2", "-p", "6000", "-t", "3", "-q", "4", "-o", "-5"}).ending, "exit 0");

    EXPECT_EQ(normalised(readFile(directory.path("all.log"))),
              std::string(engineLines) + settingsLines);
}

TEST_F(DaemonEngine, IsAskedWhereItsAnswersAreLogged) {
    writeFile(directory.path("vlog.cfg"), "VELMORASRV;INFO;SIMPLE;[STDOUT];0\n");
    environment["ENGINE_DOUBLE_FAIL"] = "1";
    showCallsInOutput();

    const Outcome outcome = run({"-p", "6000"});

    EXPECT_EQ(outcome.output,
              "[VELMORASRV : 0x0000 : INFO] -> ----------------------------------------\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> Velmora Light Info\r\n"
              "getVersion\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tVelmora Version: 7.12.345\r\n"
              "getBuildSHA1\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tVelmora BuildInfo: 0123abc-%s\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> ----------------------------------------\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> ----------------------------------------\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> Velmora Service\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tBUILD           :<build>\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tconnections     : 1\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tport            : 6000\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tthreads         : 1\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tthreadQueuesize : 10\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> \tqueueTimeout    : 0\r\n"
              "[VELMORASRV : 0x0000 : INFO] -> ----------------------------------------\r\n"
              "create port=6000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n");
}

// The version is what the engine leaves in the numbers; a build text may be missing.
TEST_F(DaemonEngine, MayTellNothingAboutItself) {
    writeFile(directory.path("vlog.cfg"), "VELMORASRV;INFO;SIMPLE;[STDOUT];0\n");
    environment.erase("ENGINE_DOUBLE_VERSION");
    environment["ENGINE_DOUBLE_NO_BUILD"] = "1";

    const Outcome outcome = serve({"-p", "6000"});

    EXPECT_NE(outcome.output.find("\tVelmora Version: 0.0.0\r\n"), std::string::npos);
    EXPECT_NE(outcome.output.find("\tVelmora BuildInfo: (null)\r\n"), std::string::npos);
    EXPECT_EQ(outcome.ending, "signal 15");
}

// The folder of LD_LIBRARY_PATH comes before the one beside the daemon.
TEST_F(DaemonEngine, IsTheOneThatTheEnvironmentNames) {
    startServing({"-p", "6000"});

    const std::string engine =
        std::filesystem::canonical(ENGINE_DOUBLE_DIRECTORY).string() + "/libvelmoraLight.so";
    EXPECT_EQ(mappedFiles(process->pid(), "/libvelmoraLight.so"), std::set{engine});
}

TEST_F(DaemonEngine, IsFoundBesideTheDaemonOtherwise) {
    environment.erase("LD_LIBRARY_PATH");

    const Outcome outcome = run({"--bogus"});

    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(outcome.ending, "exit 255");
}

}  // namespace
