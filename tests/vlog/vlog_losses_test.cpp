// How many of the lines that are written are found, when something happens to a log file or to its
// directory between one ten of them and the next.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/bound_by_permissions.h"
#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/held_writer.h"
#include "support/numbered_lines.h"
#include "support/output_capture.h"
#include "support/resource_limit.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

namespace {

namespace fs = std::filesystem;

// Set while the copy of a rotation is to be held when it is complete, and not yet returned from.
std::atomic<bool> holdsCopies = false;
std::atomic<bool> isCopied = false;

class VLogLosses : public testing::Test {
protected:
    // The writer's thread has been around once: what it takes to run it is there.
    void SetUp() override {
        route({directory.path("first")});
        writeLines(log, 0, 1);
        ASSERT_TRUE(waitUntil([this] { return !readFile(directory.path("first")).empty(); }));
        route({file});
    }

    void route(std::vector<std::string> files, unsigned long size = 0) {
        log.addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, std::move(files), {size});
    }

    // Returns when the next ten lines are in their files, or lost.
    void writeTen() {
        writeLines(log, written, written + 10);
        written += 10;
        log.dumpToFile();
    }

    void writeTenBeforeDuringAndAfterTheAbsenceOf(const std::string& path) {
        writeTen();
        fs::rename(path, aside);
        writeTen();
        fs::rename(aside, path);
        writeTen();
    }

    TemporaryDirectory directory;
    const std::string logs = directory.path("logs");
    const std::string file = directory.path("log");
    const std::string aside = directory.path("aside");
    int written = 0;
    VLog log{1};
};

// ---- the directory ---------------------------------------------------------------------------

TEST_F(VLogLosses, TenOfTwentyAreFoundWhenTheDirectoryIsMissingAtTheStart) {
    route({logs + "/log"});
    writeTen();
    fs::create_directory(logs);
    writeTen();
    EXPECT_EQ(readFile(logs + "/log"), numberedLines(10, 20));
}

TEST_F(VLogLosses, TwentyOfThirtyAreFoundWhenTheDirectoryIsMovedAwayAndBack) {
    fs::create_directory(logs);
    route({logs + "/log"});
    writeTenBeforeDuringAndAfterTheAbsenceOf(logs);
    EXPECT_EQ(readFile(logs + "/log"), numberedLines(0, 10) + numberedLines(20, 30));
}

TEST_F(VLogLosses, TwentyOfThirtyAreFoundWhenALinkLosesItsDirectoryForAWhile) {
    fs::create_directory(logs);
    fs::create_directory_symlink(logs, directory.path("link"));
    route({directory.path("link") + "/log"});
    writeTenBeforeDuringAndAfterTheAbsenceOf(logs);
    EXPECT_EQ(readFile(logs + "/log"), numberedLines(0, 10) + numberedLines(20, 30));
}

// ---- the file --------------------------------------------------------------------------------

TEST_F(VLogLosses, NoneIsLostBesideThoseThatAreDeletedWithTheFile) {
    writeTen();
    fs::remove(file);
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(10, 20));
}

TEST_F(VLogLosses, NoneIsLostBesideThoseThatAreTruncated) {
    writeTen();
    fs::resize_file(file, 0);
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(10, 20));
}

// As logrotate does with "create".
TEST_F(VLogLosses, AllTwentyAreFoundWhenTheFileIsRenamedAndMadeAnew) {
    writeTen();
    fs::rename(file, aside);
    writeFile(file, "");
    writeTen();
    EXPECT_EQ(readFile(aside) + readFile(file), numberedLines(0, 20));
}

// As logrotate does with "copytruncate".
TEST_F(VLogLosses, AllTwentyAreFoundWhenTheFileIsCopiedAndTruncated) {
    writeTen();
    fs::copy_file(file, aside);
    fs::resize_file(file, 0);
    writeTen();
    EXPECT_EQ(readFile(aside) + readFile(file), numberedLines(0, 20));
}

// Who copies and then truncates does not see what comes in between.
TEST_F(VLogLosses, TwentyOfThirtyAreFoundWhenTenComeBetweenTheCopyAndTheTruncation) {
    writeTen();
    fs::copy_file(file, aside);
    writeTen();
    fs::resize_file(file, 0);
    writeTen();
    EXPECT_EQ(readFile(aside) + readFile(file), numberedLines(0, 10) + numberedLines(20, 30));
}

TEST_F(VLogLosses, TwentyOfThirtyAreFoundWhenADirectoryStandsInThePlaceOfTheFile) {
    writeTen();
    fs::rename(file, aside);
    fs::create_directory(file);
    writeTen();
    fs::remove(file);
    writeTen();
    EXPECT_EQ(readFile(aside) + readFile(file), numberedLines(0, 10) + numberedLines(20, 30));
}

// The logger is made where permissions bind, and its thread with it.
TEST_F(VLogLosses, TwentyOfThirtyAreFoundWhenTheFileIsReadOnlyForAWhile) {
    const BoundByPermissions user;
    VLog bound(1);
    bound.addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, {file}, {0});
    writeLines(bound, 0, 10);
    bound.dumpToFile();
    fs::permissions(file, fs::perms::owner_read);
    writeLines(bound, 10, 20);
    bound.dumpToFile();
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    writeLines(bound, 20, 30);
    bound.dumpToFile();
    EXPECT_EQ(readFile(file), numberedLines(0, 10) + numberedLines(20, 30));
}

// Two tens fill the limit; with the third the file is due for rotation.
TEST_F(VLogLosses, TenOfThirtyAreFoundWhenTheBackupCannotBeWritten) {
    fs::create_directory(file + ".bkp");
    route({file}, numberedLines(0, 20).size());
    writeTen();
    writeTen();
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(20, 30));
}

TEST_F(VLogLosses, NoneOfAnotherFileIsLostWhenABackupCannotBeWritten) {
    fs::create_symlink("/dev/full", file + ".bkp");
    route({file, directory.path("other")}, numberedLines(0, 20).size());
    writeTen();
    writeTen();
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(20, 30));
    EXPECT_EQ(readFile(directory.path("other.bkp")) + readFile(directory.path("other")),
              numberedLines(0, 30));
}

// ---- the process -----------------------------------------------------------------------------

TEST_F(VLogLosses, TwentyOfThirtyAreFoundWhenDescriptorsRunOutForAWhile) {
    writeTen();
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        writeTen();
    }
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(0, 10) + numberedLines(20, 30));
}

TEST_F(VLogLosses, ThirtyOfThirtyAreOnConsoleAndSinksWhenDescriptorsRunOutForAWhile) {
    route({"[STDOUT]", file});
    const CapturingSink sink(log);
    OutputCapture console;
    writeTen();
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        writeTen();
    }
    writeTen();
    EXPECT_EQ(console.text(), numberedLines(0, 30));
    EXPECT_EQ(sink.text(), numberedLines(0, 30));
}

// ---- more than a period can take -------------------------------------------------------------

TEST_F(VLogLosses, TwoHundredOfTwoHundredFiftyInOnePeriodAreInTheFileAndAllOnConsoleAndSinks) {
    route({"[STDOUT]", file});
    HeldWriter period(log);
    const CapturingSink sink(log);
    OutputCapture console;
    writeLines(log, 0, 250);
    EXPECT_EQ(console.text(), numberedLines(0, 250));
    EXPECT_EQ(sink.text(), numberedLines(0, 250));
    period.release();
    EXPECT_EQ(readFile(file), numberedLines(0, 200));
}

// ---- a second logger on the file -------------------------------------------------------------

// The first logger is held in the middle of a rotation, with the file copied and not yet emptied.
TEST_F(VLogLosses, TenThatASecondLoggerAppendsDuringARotationAreLost) {
    writeLines(log, 0, 130);
    log.dumpToFile();
    route({file}, readFile(file).size());
    isCopied = false;
    holdsCopies = true;
    writeLines(log, 130, 131);
    ASSERT_TRUE(waitUntil([] { return isCopied.load(); }));

    VLog other(1);
    other.addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, {file}, {0});
    writeLines(other, 131, 141);
    other.dumpToFile();
    EXPECT_EQ(readFile(file), numberedLines(0, 130) + numberedLines(131, 141));

    holdsCopies = false;
    log.dumpToFile();
    EXPECT_EQ(readFile(file + ".bkp"), numberedLines(0, 130));
    EXPECT_EQ(readFile(file), numberedLines(130, 131));
}

}  // namespace

// The system call that the standard library copies files with, in the place of that of the C
// library.
extern "C" [[gnu::visibility("default")]] ssize_t sendfile(int out, int in, off_t* offset,
                                                           size_t count) {
    const ssize_t sent = ::syscall(SYS_sendfile, out, in, offset, count);
    isCopied = true;
    while (holdsCopies) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return sent;
}
