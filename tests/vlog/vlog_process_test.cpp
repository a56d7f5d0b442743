// How many of the lines of a process are found after its end, or in spite of what its standard
// output is connected to. The global logger's period is half a second.
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/numbered_lines.h"
#include "support/pipe.h"
#include "support/process.h"
#include "support/process_state.h"
#include "support/row_name.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"

namespace {

// The lines of a text in an order that does not depend on who wrote first.
std::multiset<std::string> sortedLines(const std::string& text) {
    std::istringstream in(text);
    std::multiset<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.insert(line);
    }
    return lines;
}

class VLogProcess : public testing::Test {
protected:
    using Words = std::vector<std::string>;

    // `shell` starts the program, as its "$@", when it is not empty.
    [[nodiscard]] std::unique_ptr<Process> start(const Words& arguments,
                                                 const std::string& shell = "",
                                                 int outputDescriptor = -1) const {
        Words command = shell.empty() ? Words{} : Words{"/bin/sh", "-c", shell, "sh"};
        command.emplace_back(LINE_WRITER);
        command.insert(command.end(), arguments.begin(), arguments.end());
        return std::make_unique<Process>(
            Process::Start{.command = command,
                           // The thread sanitizer waits a second in exit().
                           .environment = {"TSAN_OPTIONS=atexit_sleep_ms=0"},
                           .directory = directory.path(),
                           .output = console,
                           .errors = directory.path("errors"),
                           .outputDescriptor = outputDescriptor});
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    const std::string console = directory.path("console");
};

// ---- its end ---------------------------------------------------------------------------------

struct End {
    const char* name;
    std::vector<std::string> steps;  // after 21 lines, 20 of them in one period
    const char* ending;
    int found;  // in the file
};

std::ostream& operator<<(std::ostream& out, const End& end) {
    return out << end.ending << " with " << end.found << " lines";
}

class VLogProcessEnd : public VLogProcess, public testing::WithParamInterface<End> {};

TEST_P(VLogProcessEnd, LeavesSoManyOfTwentyOneLinesInTheFileAndAllOnTheConsole) {
    Words arguments = {file, "0", "21"};
    arguments.insert(arguments.end(), GetParam().steps.begin(), GetParam().steps.end());

    EXPECT_EQ(start(arguments)->waitForEnd(), GetParam().ending);

    EXPECT_EQ(readFile(file), numberedLines(0, GetParam().found));
    EXPECT_EQ(readFile(console), numberedLines(0, 21));
}

const End ends[] = {
    {"TermAtOnce", {"term"}, "signal 15", 1},
    {"TermAfterAPeriod", {"wait", "term"}, "signal 15", 21},
    {"KillAtOnce", {"kill"}, "signal 9", 1},
    {"KillAfterAPeriod", {"wait", "kill"}, "signal 9", 21},
    {"AbortAtOnce", {"abort"}, "signal 6", 1},
    {"AbortAfterAPeriod", {"wait", "abort"}, "signal 6", 21},
    {"ExitWithoutDeletingTheLogger", {"exit"}, "exit 0", 1},
    {"ExitAfterDeletingTheLogger", {"delete"}, "exit 0", 21},
};
INSTANTIATE_TEST_SUITE_P(Ends, VLogProcessEnd, testing::ValuesIn(ends), rowName);

TEST_F(VLogProcess, FindsTwoHundredOfTwoHundredFiftyLinesOfOnePeriodInTheFile) {
    EXPECT_EQ(start({file, "0", "251", "wait", "delete"})->waitForEnd(), "exit 0");

    EXPECT_EQ(readFile(file), numberedLines(0, 201));
    EXPECT_EQ(readFile(console), numberedLines(0, 251));
}

// ---- its standard output ---------------------------------------------------------------------

TEST_F(VLogProcess, EndsWithItsFirstLineWhenNobodyReadsItsPipeAnyMore) {
    Pipe pipe;
    pipe.closeReadEnd();

    EXPECT_EQ(start({file, "0", "21", "delete"}, "", pipe.output())->waitForEnd(), "signal 13");

    EXPECT_EQ(readFile(file), "");
}

// The service manager starts it so.
TEST_F(VLogProcess, LosesNoLineOfAFileToSuchAPipeWhenItsSignalIsIgnored) {
    Pipe pipe;
    pipe.closeReadEnd();

    const auto process =
        start({file, "0", "21", "delete"}, "trap '' PIPE; exec \"$@\"", pipe.output());

    EXPECT_EQ(process->waitForEnd(), "exit 0");
    EXPECT_EQ(readFile(file), numberedLines(0, 21));
}

TEST_F(VLogProcess, WaitsForTheReaderOfAFullPipeAndLosesNothing) {
    Pipe pipe;
    const std::string filled(pipe.fill(), 'f');
    const auto process = start({file, "0", "21", "delete"}, "", pipe.output());
    EXPECT_TRUE(waitUntil([&] { return isInCall(process->pid(), SYS_write); }));
    EXPECT_EQ(readFile(file), "");

    EXPECT_EQ(pipe.readAll(), filled + numberedLines(0, 21));

    EXPECT_EQ(process->waitForEnd(), "exit 0");
    EXPECT_EQ(readFile(file), numberedLines(0, 21));
}

// ---- its children ----------------------------------------------------------------------------

// The child has a copy of the queue, and no writer thread.
TEST_F(VLogProcess, FindsLinesOfAChildOnTheConsoleOnly) {
    EXPECT_EQ(start({file, "0", "21", "fork", "delete"})->waitForEnd(), "exit 0");

    EXPECT_EQ(readFile(file), numberedLines(0, 21));
    EXPECT_EQ(readFile(console), numberedLines(0, 21) + numberedLines(90000, 90001));
}

TEST_F(VLogProcess, FindsWhatWasQueuedTwiceWhenAChildDrainsItsCopy) {
    EXPECT_EQ(start({file, "0", "21", "fork-drain", "delete"})->waitForEnd(), "exit 0");

    EXPECT_EQ(readFile(file),
              numberedLines(0, 21) + numberedLines(90000, 90001) + numberedLines(1, 21));
}

TEST_F(VLogProcess, FindsNothingTwiceWhenTheQueueWasEmptyAtTheFork) {
    EXPECT_EQ(start({file, "0", "21", "wait", "fork-drain", "delete"})->waitForEnd(), "exit 0");

    EXPECT_EQ(readFile(file), numberedLines(0, 21) + numberedLines(90000, 90001));
}

// Only the thread that forks is in the child, and not the one that would give the lock back.
TEST_F(VLogProcess, LeavesAChildWaitingThatIsForkedWhileAnotherThreadLogs) {
    EXPECT_EQ(start({file, "0", "21", "fork-locked", "delete"})->waitForEnd(), "exit 0");

    EXPECT_EQ(readFile(file), numberedLines(0, 21) + numberedLines(90001, 90002));
    EXPECT_EQ(readFile(console), numberedLines(0, 21) + numberedLines(90001, 90002));
}

TEST_F(VLogProcess, LeavesAChildWaitingWithItsDrainThatIsForkedDuringOne) {
    EXPECT_EQ(start({file, "0", "21", "wait", "fork-held", "delete"})->waitForEnd(), "exit 0");

    EXPECT_EQ(readFile(file), numberedLines(0, 21));
    EXPECT_EQ(readFile(console), numberedLines(0, 21) + numberedLines(90000, 90001));
}

// ---- a second process on the file ------------------------------------------------------------

TEST_F(VLogProcess, LosesNoLineToASecondOneOnTheSameFileWithoutALimit) {
    const auto first = start({file, "0", "150", "delete"});
    const auto second = start({file, "0", "150", "delete"});
    EXPECT_EQ(first->waitForEnd(), "exit 0");
    EXPECT_EQ(second->waitForEnd(), "exit 0");

    EXPECT_EQ(sortedLines(readFile(file)),
              sortedLines(numberedLines(0, 150) + numberedLines(0, 150)));
}

}  // namespace
