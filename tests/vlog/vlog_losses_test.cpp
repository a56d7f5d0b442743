// How many of the lines that are written are found, when something happens to a log file or to its
// directory between one ten of them and the next.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
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

// A FIFO with a reader: it takes a page, and who writes more waits.
class HeldFifo {
public:
    explicit HeldFifo(const std::string& path) {
        if (::mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0) {
            readEnd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        }
        capacity = ::fcntl(readEnd, F_SETPIPE_SZ, 4096);
    }
    ~HeldFifo() { ::close(readEnd); }
    HeldFifo(const HeldFifo&) = delete;
    HeldFifo& operator=(const HeldFifo&) = delete;

    // Waits for it.
    [[nodiscard]] bool isFull() const {
        return waitUntil([this] {
            int held = 0;
            return ::ioctl(readEnd, FIONREAD, &held) == 0 && held == capacity;
        });
    }

    // Waits until so many bytes have come, and returns them.
    [[nodiscard]] std::string take(size_t size) const {
        std::string all;
        const bool came = waitUntil([&] {
            char block[4096];
            const ssize_t count = ::read(readEnd, block, sizeof block);
            all.append(block, count > 0 ? static_cast<size_t>(count) : 0);
            return all.size() >= size;
        });
        return came ? all : "too little: " + all;
    }

private:
    int readEnd = -1;
    int capacity = -1;
};

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

// Two tens fill the limit; from the third on the file is due for rotation.
TEST_F(VLogLosses, AllThirtyAreFoundWhenTheBackupCannotBeWritten) {
    fs::create_directory(file + ".bkp");
    route({file}, numberedLines(0, 20).size());
    writeTen();
    writeTen();
    writeTen();
    EXPECT_EQ(readFile(file), numberedLines(0, 30));
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

// The first logger's backup is a FIFO that takes one page: it is held in the middle of a rotation,
// with the file read, until the test takes the rest of the copy.
TEST_F(VLogLosses, TenThatASecondLoggerAppendsDuringARotationAreLost) {
    const HeldFifo backup(file + ".bkp");
    writeLines(log, 0, 130);
    log.dumpToFile();
    const std::string before = readFile(file);
    route({file}, before.size());
    writeLines(log, 130, 131);
    ASSERT_TRUE(backup.isFull());

    VLog other(1);
    other.addTopic(numberedTopic, VLogConfig::INFO, VLogConfig::SIMPLE, {file}, {0});
    writeLines(other, 131, 141);
    other.dumpToFile();
    EXPECT_EQ(readFile(file), numberedLines(0, 130) + numberedLines(131, 141));

    EXPECT_EQ(backup.take(before.size()), numberedLines(0, 130));
    log.dumpToFile();
    EXPECT_EQ(readFile(file), numberedLines(130, 131));
}

}  // namespace
