// What happens around the daemon, and how many of its lines are found then.

#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <ostream>
#include <string>

#include "daemon/daemon_engine.h"
#include "support/held_fifo.h"
#include "support/pipe.h"
#include "support/row_name.h"
#include "support/sanitizers.h"
#include "support/stopwatch.h"

namespace {

namespace fs = std::filesystem;

// All 14 lines of a start with these arguments go to the console and to a file.
class DaemonFault : public DaemonEngine {
protected:
    DaemonFault() { logTo("[STDOUT],all.log"); }

    void logTo(const std::string& destinations) const {
        writeFile(directory.path("vlog.cfg"), "VELMORASRV;INFO;FULL;" + destinations + ";0\n");
    }

    [[nodiscard]] std::string log() const {
        return normalised(readFile(directory.path("all.log")));
    }

    const Arguments arguments = {"-c", "2", "-p", "6000", "-t", "3", "-q", "4", "-o", "-5"};
    const std::string create =
        callsUpTo("create port=6000 conns=2 threads=3 threadQueueSize=4 queueTimeout=-5\n");
    const std::string lines = std::string(engineLines) + settingsLines;
};

// ---- the log directory -----------------------------------------------------------------------

TEST_F(DaemonFault, OfAMissingLogDirectoryLeavesAllLinesOnTheConsole) {
    logTo("[STDOUT],logs/all.log");

    const Outcome outcome = serve(arguments);

    EXPECT_EQ(outcome.output, lines);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.calls, create);
    EXPECT_FALSE(fs::exists(directory.path("logs")));
}

// The writer waits for a reader; nobody else does.
TEST_F(DaemonFault, OfALogFileThatBlocksDoesNotKeepItFromServing) {
    ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
    logTo("[STDOUT],fifo");

    const Outcome outcome = serve(arguments);

    EXPECT_EQ(outcome.output, lines);
    EXPECT_EQ(outcome.calls, create);
    EXPECT_EQ(outcome.ending, "signal 15");
}

TEST_F(DaemonFault, OfALogFileThatBlocksDoesNotKeepAFailedStartFromEnding) {
    ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
    logTo("[STDOUT],fifo");
    environment["ENGINE_DOUBLE_FAIL"] = "1";

    const Outcome outcome = run(arguments);

    EXPECT_EQ(outcome.output.substr(0, lines.size()), lines);
    EXPECT_EQ(outcome.ending, "exit 0");
}

// Somebody holds the FIFO and reads nothing: the writer waits in the middle of a line.
TEST_F(DaemonFault, OfALogFileThatTakesHalfALineDoesNotKeepAFailedStartFromEnding) {
    const HeldFifo fifo(directory.path("fifo"));
    logTo("fifo");

    EXPECT_EQ(run({"--ini", std::string(2 * HeldFifo::capacity, 'n')}).ending, "exit 0");
}

TEST_F(DaemonFault, OfALogFileThatIsAFifoWithAReaderLosesNoLineOfAFailedStart) {
    const HeldFifo fifo(directory.path("fifo"));
    logTo("fifo,all.log");
    environment["ENGINE_DOUBLE_FAIL"] = "1";

    EXPECT_EQ(run(arguments).ending, "exit 0");

    const std::string written = readFile(directory.path("all.log"));
    EXPECT_EQ(log(), lines);
    EXPECT_EQ(fifo.take(written.size()), written);
}

// A thread's stack is larger than all that the daemon may have then, but for the stack that the
// log's writer asks for.
TEST_F(DaemonFault, OfAThreadThatCannotBeStartedLosesNoLineOfAFailedStart) {
    if (failedAllocationIsFatal) {
        GTEST_SKIP() << "sanitizers need more memory than the limit";
    }
    prefix = {"/bin/sh", "-c", "ulimit -s 2000000 && ulimit -v 500000 && exec \"$@\"", "sh"};
    environment["ENGINE_DOUBLE_FAIL"] = "1";

    const Outcome outcome = run(arguments);

    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.output, lines);
    EXPECT_EQ(log(), lines);
}

// ---- standard output -------------------------------------------------------------------------

// Else the first file that is opened would take its place, and receive the console's lines.
TEST_F(DaemonFault, OfAClosedStandardOutputLosesNoLineOfTheFile) {
    prefix = {"/bin/sh", "-c", "exec \"$@\" >&-", "sh"};

    startServing(arguments);

    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(process->pid()) + "/fd/1"), "/dev/null");
    EXPECT_TRUE(waitUntil([this] { return log() == lines; })) << log();
    EXPECT_EQ(output(), "");
}

TEST_F(DaemonFault, OfThreeClosedStandardStreamsLosesNoLineOfTheFile) {
    prefix = {"/bin/sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh"};

    startServing(arguments);

    const std::string descriptors = "/proc/" + std::to_string(process->pid()) + "/fd/";
    EXPECT_EQ(fs::read_symlink(descriptors + "0"), "/dev/null");
    EXPECT_EQ(fs::read_symlink(descriptors + "1"), "/dev/null");
    EXPECT_EQ(fs::read_symlink(descriptors + "2"), "/dev/null");
    EXPECT_TRUE(waitUntil([this] { return log() == lines; })) << log();
}

TEST_F(DaemonFault, OfAPipeThatNobodyReadsAnyMoreEndsTheStart) {
    Pipe pipe;
    pipe.closeReadEnd();
    outputDescriptor = pipe.output();

    const Outcome outcome = run(arguments);

    EXPECT_EQ(outcome.ending, "signal 13");
    EXPECT_EQ(outcome.calls, "");
    EXPECT_EQ(log(), "");
}

TEST_F(DaemonFault, OfAPipeThatNobodyReadsAnyMoreIsHarmlessWhenItsSignalIsIgnored) {
    Pipe pipe;
    pipe.closeReadEnd();
    outputDescriptor = pipe.output();
    prefix = {"/bin/sh", "-c", "trap '' PIPE; exec \"$@\"", "sh"};

    startServing(arguments);

    EXPECT_TRUE(waitUntil([this] { return log() == lines; })) << log();
    EXPECT_EQ(calls(), create);
}

// ---- the engine's file -----------------------------------------------------------------------

class DaemonWithoutEngine : public DaemonFault {
protected:
    // The daemon beside a folder of its own for the engine, and nothing in that.
    DaemonWithoutEngine() {
        fs::create_directory(directory.path("bin"));
        fs::create_directory(directory.path("lib"));
        fs::copy_file(VELMORASERVICED, program);
        environment["LD_LIBRARY_PATH"] = directory.path("lib");
    }

    [[nodiscard]] Outcome runCopy() {
        startProgram({program});
        return outcome();
    }

    const std::string program = directory.path("bin/velmoraserviced");
    const std::string library = directory.path("lib/libvelmoraLight.so");
};

TEST_F(DaemonWithoutEngine, EndsBeforeItsFirstLine) {
    const Outcome outcome = runCopy();

    EXPECT_EQ(outcome.errors, program +
                                  ": error while loading shared libraries: libvelmoraLight.so: "
                                  "cannot open shared object file: No such file or directory\n");
    EXPECT_EQ(outcome.ending, "exit 127");
    EXPECT_EQ(outcome.output + log(), "");
}

TEST_F(DaemonWithoutEngine, EndsBeforeItsFirstLineWhenTheFileIsNoLibrary) {
    writeFile(library, "no library\n");

    const Outcome outcome = runCopy();

    EXPECT_EQ(outcome.errors, program + ": error while loading shared libraries: " + library +
                                  ": file too short\n");
    EXPECT_EQ(outcome.ending, "exit 127");
    EXPECT_EQ(outcome.output + log(), "");
}

struct MissingFunction {
    const char* name;
    const char* symbol;
};

std::ostream& operator<<(std::ostream& out, const MissingFunction& function) {
    return out << function.symbol;
}

class DaemonEngineWithout : public DaemonFault,
                            public testing::WithParamInterface<MissingFunction> {
protected:
    DaemonEngineWithout() {
        environment["LD_LIBRARY_PATH"] =
            std::string(INCOMPLETE_ENGINES) + "/without_" + GetParam().symbol;
        if (!bindsAtStart) {
            environment["LD_BIND_NOW"] = "1";
        }
    }
};

// All functions are looked up before the start, not when they are called.
TEST_P(DaemonEngineWithout, EndsTheDaemonBeforeItsFirstLine) {
    const Outcome outcome = run(arguments);

    EXPECT_NE(outcome.errors.find(std::string("symbol lookup error: ") + VELMORASERVICED +
                                  ": undefined symbol: " + GetParam().symbol + "\n"),
              std::string::npos)
        << outcome.errors;
    EXPECT_EQ(outcome.ending, "exit 127");
    EXPECT_EQ(outcome.output + log(), "");
}

const MissingFunction missingFunctions[] = {
    {"Create", "velmoraLightServer_create"},
    {"Destroy", "velmoraLightServer_destroy"},
    {"GetVersion", "velmoraLight_getVersion"},
    {"GetBuildSHA1", "velmoraLight_getBuildSHA1"},
};
INSTANTIATE_TEST_SUITE_P(Function, DaemonEngineWithout, testing::ValuesIn(missingFunctions),
                         rowName);

// ---- what the engine does --------------------------------------------------------------------

TEST_F(DaemonFault, OfAnEngineThatCreatesNoServerLosesNoLine) {
    environment["ENGINE_DOUBLE_FAIL"] = "1";

    const Outcome outcome = run(arguments);

    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.output, lines);
    EXPECT_EQ(log(), lines);
}

// Those of the last half second are queued, and end with the process.
TEST_F(DaemonFault, OfAnEngineThatCrashesWhenItCreatesTheServerLeavesAllLinesOnTheConsole) {
    environment["ENGINE_DOUBLE_CREATE"] = "crash";

    const Outcome outcome = run(arguments);

    EXPECT_EQ(outcome.ending, "signal 6");
    EXPECT_EQ(outcome.calls, create);
    EXPECT_EQ(outcome.output, lines);
    EXPECT_TRUE(lines.starts_with(log())) << log();
}

TEST_F(DaemonFault, OfAnEngineThatBlocksForTenSecondsLosesNoLineAndDelaysNone) {
    const std::string release = directory.path("release");
    environment["ENGINE_DOUBLE_CREATE"] = "block";
    environment["ENGINE_DOUBLE_RELEASE"] = release;
    const Stopwatch watch;

    startServing(arguments);

    EXPECT_TRUE(waitUntil([this] { return log() == lines; })) << log();
    writeFile(release, "");
    EXPECT_TRUE(waitUntil([this] { return calls() == create + "created\n"; })) << calls();
    EXPECT_GE(watch.elapsed(), std::chrono::seconds(10));
    EXPECT_FALSE(process->hasEnded());
}

TEST_F(DaemonFault, OfAnEngineWhoseThreadsPrintTearsNoLine) {
    environment["ENGINE_DOUBLE_CHATTER"] = "500";
    const std::string chatter = "engine speaking\n";

    startServing(arguments);
    EXPECT_TRUE(waitUntil([this] { return log() == lines; })) << log();
    process->signal(SIGTERM);
    const Outcome ended = outcome();

    EXPECT_EQ(replaceShape(ended.output, chatter, ""), lines);
    EXPECT_EQ(ended.output.size(), lines.size() + 1000 * chatter.size());
}

}  // namespace
