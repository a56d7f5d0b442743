#include <fstream>

#include "velmoracheck/check_test.h"

namespace {

// Whether a finding of the engine is there, and what it says.
class EngineFinding : public CheckTest {
protected:
    [[nodiscard]] std::string finding() {
        writeFile(directory.path("vlog.cfg"), goodLog);
        const CheckOutcome outcome = check({"--quiet", "--logcfg", "vlog.cfg", "-p", "6000"});
        const bool isError = outcome.output.find(": error: ") != std::string::npos;
        EXPECT_EQ(outcome.ending, isError ? "exit 1" : "exit 0");
        EXPECT_EQ(outcome.errors, "");
        return outcome.output;
    }
};

TEST_F(EngineFinding, IsNotThereForAnEngineThatAnswers) {
    EXPECT_EQ(finding(), "");
}

TEST_F(EngineFinding, CostsTheEngineTwoCallsAndNoServer) {
    EXPECT_EQ(finding(), "");
    EXPECT_EQ(calls(), "getVersion\ngetBuildSHA1\n");
}

TEST_F(EngineFinding, NamesTheSignalOfACrash) {
    environment["ENGINE_DOUBLE_MISBEHAVE"] = "crash";
    EXPECT_EQ(
        finding(),
        "libvelmoraLight.so:1: error: the engine cannot be used: crashes with SIGABRT when it "
        "is asked for its version\n");
}

TEST_F(EngineFinding, NamesTheStatusOfAnEngineThatEndsTheProcess) {
    environment["ENGINE_DOUBLE_MISBEHAVE"] = "exit";
    EXPECT_EQ(
        finding(),
        "libvelmoraLight.so:1: error: the engine cannot be used: ends the process with status "
        "3 when it is asked for its version\n");
}

// It may be one that serves later, as the daemon would wait for it.
TEST_F(EngineFinding, IsAWarningThatComesInTimeWhenTheEngineHangs) {
    environment["ENGINE_DOUBLE_MISBEHAVE"] = "hang";
    EXPECT_EQ(finding(),
              "libvelmoraLight.so:1: warning: the engine does not answer within 5000 ms: its "
              "version is not known; see with --rehearse whether it serves\n");
}

TEST_F(EngineFinding, IsNotMixedWithWhatTheEnginePrints) {
    environment["ENGINE_DOUBLE_MISBEHAVE"] = "chatter";
    EXPECT_EQ(finding(), "");
}

TEST_F(EngineFinding, NamesTheFunctionThatIsMissing) {
    environment["LD_LIBRARY_PATH"] = INCOMPLETE_ENGINE_DIRECTORY;
    EXPECT_EQ(finding(),
              "libvelmoraLight.so:1: error: the engine cannot be used: cannot be loaded "
              "when it is asked for its version; it says: symbol lookup error: undefined symbol: "
              "velmoraLight_getBuildSHA1\n");
}

TEST_F(EngineFinding, TellsThatThereIsNoEngine) {
    copyProgram();
    std::filesystem::remove(directory.path("lib/libvelmoraLight.so"));
    environment.erase("LD_LIBRARY_PATH");
    EXPECT_EQ(finding(),
              "libvelmoraLight.so:1: error: the engine cannot be used: cannot be loaded when it is "
              "asked for its version; it says: error while loading shared libraries: "
              "libvelmoraLight.so: cannot open shared object file: No such file or directory\n");
}

TEST_F(EngineFinding, TellsThatTheFileIsNoLibrary) {
    copyProgram();
    writeFile(directory.path("lib/libvelmoraLight.so"), "no library\n");
    environment["LD_LIBRARY_PATH"] = directory.path("lib");
    EXPECT_EQ(finding(),
              "libvelmoraLight.so:1: error: the engine cannot be used: cannot be loaded when it is "
              "asked for its version; it says: error while loading shared libraries: " +
                  directory.path("lib/libvelmoraLight.so") + ": file too short\n");
}

TEST_F(EngineFinding, IsNotThereForAnEngineBesideTheProgram) {
    copyProgram();
    environment.erase("LD_LIBRARY_PATH");
    EXPECT_EQ(finding(), "");
    EXPECT_EQ(calls(), "getVersion\ngetBuildSHA1\n");
}

// The pipe to the child process that loads the engine must not take the place of one.
TEST_F(EngineFinding, IsNotThereForClosedStandardStreams) {
    prefix = {"/bin/sh", "-c", "exec \"$@\" <&- 2>&-", "sh"};
    EXPECT_EQ(finding(), "");
}

TEST_F(EngineFinding, LeavesNoCoreFile) {
    environment["ENGINE_DOUBLE_MISBEHAVE"] = "crash";
    EXPECT_NE(finding(), "");
    for (const auto& entry : std::filesystem::directory_iterator(directory.path())) {
        EXPECT_EQ(entry.path().filename(), "vlog.cfg");
    }
}

}  // namespace
