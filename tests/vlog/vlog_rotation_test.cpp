// The writer: how lines come into their files, and when a file is rotated.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/bound_by_permissions.h"
#include "support/files.h"
#include "support/held_fifo.h"
#include "support/held_writer.h"
#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t INFO = VLogConfig::INFO;
constexpr size_t overhead = 32;  // what a line has besides its message: prefix, "\r\n"

// What a message of this text becomes.
std::string lineOf(const std::string& text) {
    return "[A        : 0x0001 : INFO] -> " + text + "\r\n";
}

class VLogRotation : public testing::Test {
protected:
    void route(std::vector<std::string> files, std::vector<unsigned long> sizes) {
        log.addTopic("A", INFO, VLogConfig::SIMPLE, std::move(files), std::move(sizes));
    }
    void queue(const std::string& text) {
        log.write("A", 1, INFO, "call.cpp", 12, "%s", text.c_str());
    }
    // Returns when the line is in its files.
    void say(const std::string& text) {
        queue(text);
        log.dumpToFile();
    }
    void expectLeftAloneWith(fs::perms permissions) {
        writeFile(file, std::string(100, 'x'));
        fs::permissions(file, permissions);
        {
            const BoundByPermissions user;
            log.rotateFile(file, 1);
        }
        EXPECT_EQ(fs::file_size(file), 100U);
        EXPECT_FALSE(fs::exists(backup));
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    const std::string backup = file + ".bkp";
    VLog log{1};
};

// ---- the limit -------------------------------------------------------------------------------

TEST_F(VLogRotation, ALineThatFillsTheFileToItsSizeIsAppended) {
    writeFile(file, std::string(100, 'x'));
    route({file}, {100 + overhead + 8});
    say("8 letter");
    EXPECT_EQ(readFile(file), std::string(100, 'x') + lineOf("8 letter"));
    EXPECT_FALSE(fs::exists(backup));
}

TEST_F(VLogRotation, ALineThatIsOneByteTooLongRotates) {
    writeFile(file, std::string(100, 'x'));
    route({file}, {100 + overhead + 8 - 1});
    say("8 letter");
    EXPECT_EQ(readFile(file), lineOf("8 letter"));
    EXPECT_EQ(readFile(backup), std::string(100, 'x'));
}

TEST_F(VLogRotation, AFileOf990BytesWithSize1000RotatesForALineOf40) {
    writeFile(file, std::string(990, 'x'));
    route({file}, {1000});
    say("8 letter");
    EXPECT_EQ(readFile(file), lineOf("8 letter"));
    EXPECT_EQ(readFile(backup), std::string(990, 'x'));
}

TEST_F(VLogRotation, AFileOf990BytesWithSize1000RotatesForALineOf20) {
    writeFile(file, std::string(990, 'x'));
    log.rotateFile(file, 1000 - 20);
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(readFile(backup), std::string(990, 'x'));
}

TEST_F(VLogRotation, ASizeSmallerThanTheLineNeverRotates) {
    writeFile(file, std::string(5000, 'x'));
    route({file}, {overhead + 8 - 1});
    say("8 letter");
    EXPECT_EQ(readFile(file), std::string(5000, 'x') + lineOf("8 letter"));
    EXPECT_FALSE(fs::exists(backup));
}

TEST_F(VLogRotation, ASizeOfExactlyTheLineKeepsOneLine) {
    route({file}, {overhead + 8});
    say("letter 1");
    say("letter 2");
    EXPECT_EQ(readFile(file), lineOf("letter 2"));
    EXPECT_EQ(readFile(backup), lineOf("letter 1"));
}

TEST_F(VLogRotation, SizeZeroNeverRotates) {
    route({file}, {0});
    std::string expected(1000000, 'x');
    writeFile(file, expected);
    for (int i = 0; i < 100; ++i) {
        queue(std::to_string(i));
        expected += lineOf(std::to_string(i));
    }
    log.dumpToFile();
    EXPECT_EQ(readFile(file), expected);
    EXPECT_FALSE(fs::exists(backup));
}

TEST_F(VLogRotation, ASizeAboveThirtyTwoBitsIsTakenWhole) {
    writeFile(file, std::string(1000, 'x'));
    route({file}, {4294967296 + 500});
    say("hello");
    EXPECT_EQ(readFile(file), std::string(1000, 'x') + lineOf("hello"));
}

TEST_F(VLogRotation, ALineWithZeroBytesCountsWithThem) {
    writeFile(file, std::string(100, 'x'));
    route({file}, {100 + overhead + 2000 - 1});
    say(std::string(2000, 'm'));
    EXPECT_EQ(readFile(file), lineOf(std::string(993, 'm') + std::string(1007, '\0')));
    EXPECT_EQ(readFile(backup), std::string(100, 'x'));
}

TEST_F(VLogRotation, TheLimitHoldsOverManyLines) {
    route({file}, {3 * (overhead + 1)});
    for (const char* text : {"0", "1", "2", "3", "4", "5", "6"}) {
        queue(text);
    }
    log.dumpToFile();
    EXPECT_EQ(readFile(file), lineOf("6"));
    EXPECT_EQ(readFile(backup), lineOf("3") + lineOf("4") + lineOf("5"));
}

// ---- the backup ------------------------------------------------------------------------------

TEST_F(VLogRotation, ReplacesAnEarlierBackup) {
    writeFile(file, "new content");
    writeFile(backup, "an earlier and much longer backup");
    route({file}, {overhead + 8});
    say("8 letter");
    EXPECT_EQ(readFile(backup), "new content");
}

TEST_F(VLogRotation, KeepsOneGeneration) {
    route({file}, {overhead + 1});
    for (const char* text : {"0", "1", "2", "3"}) {
        say(text);
    }
    const fs::directory_iterator files(directory.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
    EXPECT_EQ(readFile(backup), lineOf("2"));
}

TEST_F(VLogRotation, CopiesEveryByteIntoTheBackup) {
    std::string content;
    for (int i = 0; i < 100000; ++i) {
        content += static_cast<char>(i % 256);
    }
    writeFile(file, content);
    log.rotateFile(file, 1);
    EXPECT_EQ(readFile(backup), content);
    EXPECT_EQ(readFile(file), "");
}

TEST_F(VLogRotation, CopiesAFileOfWholePiecesIntoTheBackup) {
    const std::string content(2 * 65536, 'x');
    writeFile(file, content);
    log.rotateFile(file, 1);
    EXPECT_EQ(readFile(backup), content);
}

TEST_F(VLogRotation, CopiesTheByteBehindWholePiecesIntoTheBackup) {
    const std::string content = std::string(65536, 'x') + "y";
    writeFile(file, content);
    log.rotateFile(file, 1);
    EXPECT_EQ(readFile(backup), content);
}

TEST_F(VLogRotation, TakesNothingOutOfAFifo) {
    ASSERT_EQ(::mkfifo(file.c_str(), S_IRUSR | S_IWUSR), 0);
    const int fifo = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::write(fifo, "abc", 3), 3);
    log.rotateFile(file, 1);
    char bytes[4] = {};
    EXPECT_EQ(::read(fifo, bytes, sizeof bytes), 3);
    EXPECT_FALSE(fs::exists(backup));
    ::close(fifo);
}

// To empty it would mean to wait for a reader.
TEST_F(VLogRotation, DoesNotOpenAFifoToEmptyIt) {
    ASSERT_EQ(::mkfifo(file.c_str(), S_IRUSR | S_IWUSR), 0);
    const int reader = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    ::close(reader);
    log.rotateFile(file, 1);
    EXPECT_FALSE(fs::exists(backup));
    ::close(writer);
}

TEST_F(VLogRotation, EmptiesTheFileWhenTheBackupCannotBeOpened) {
    writeFile(file, std::string(100, 'x'));
    fs::create_directory(backup);
    route({file}, {100});
    say("hello");
    EXPECT_EQ(readFile(file), lineOf("hello"));
    EXPECT_TRUE(fs::is_directory(backup));
}

TEST_F(VLogRotation, EmptiesTheFileWhenTheBackupCannotBeWritten) {
    writeFile(file, std::string(100, 'x'));
    fs::create_symlink("/dev/full", backup);
    route({file}, {100});
    say("hello");
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

TEST_F(VLogRotation, KeepsTheEarlierBackupThatMayNotBeWritten) {
    writeFile(file, std::string(100, 'x'));
    writeFile(backup, "an earlier backup");
    fs::permissions(backup, fs::perms::owner_read);
    {
        const BoundByPermissions user;
        log.rotateFile(file, 1);
    }
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(readFile(backup), "an earlier backup");
}

TEST_F(VLogRotation, GivesTheBackupThePermissionsOfTheFile) {
    writeFile(file, "private");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    writeFile(backup, "for all to read");
    log.rotateFile(file, 1);
    EXPECT_EQ(fs::status(backup).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(VLogRotation, FillsABackupThatIsSomebodyElses) {
    writeFile(file, "new content");
    writeFile(backup, "an earlier and much longer backup");
    fs::permissions(backup, fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::add);
    constexpr uid_t somebodyElse = 1;
    if (::chown(backup.c_str(), somebodyElse, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "only root gives a file away";
    }
    {
        const BoundByPermissions user;
        log.rotateFile(file, 1);
    }
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(readFile(backup), "new content");
}

TEST_F(VLogRotation, EmptiesTheSameFileThatItCopies) {
    writeFile(file, "content");
    fs::create_hard_link(file, directory.path("link"));
    log.rotateFile(file, 1);
    EXPECT_EQ(readFile(directory.path("link")), "");
    EXPECT_TRUE(fs::equivalent(file, directory.path("link")));
    EXPECT_EQ(readFile(backup), "content");
}

TEST_F(VLogRotation, LeavesAFileThatMayNotBeEmptied) {
    expectLeftAloneWith(fs::perms::owner_read);
}

// Its size is not known to who may not read it.
TEST_F(VLogRotation, LeavesAFileThatMayNotBeRead) {
    expectLeftAloneWith(fs::perms::owner_write);
}

TEST_F(VLogRotation, AFifoWithAReaderKeepsNoLineFromOtherFiles) {
    const std::string other = directory.path("other");
    const HeldFifo fifo(file);
    route({file, other}, {1000});
    queue("one");
    queue("two");
    EXPECT_TRUE(waitUntil([&] { return readFile(other) == lineOf("one") + lineOf("two"); }));
    EXPECT_EQ(fifo.take(2 * lineOf("one").size()), lineOf("one") + lineOf("two"));
}

// ---- rotateFile ------------------------------------------------------------------------------

TEST_F(VLogRotation, RotateFileLeavesAFileOfExactlyTheSize) {
    writeFile(file, "12345");
    log.rotateFile(file, 5);
    EXPECT_EQ(readFile(file), "12345");
    EXPECT_FALSE(fs::exists(backup));
}

TEST_F(VLogRotation, RotateFileRotatesAFileOfOneByteMore) {
    writeFile(file, "123456");
    log.rotateFile(file, 5);
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(readFile(backup), "123456");
}

TEST_F(VLogRotation, RotateFileTakesSizeZeroAsItIs) {
    writeFile(file, "1");
    log.rotateFile(file, 0);
    EXPECT_EQ(readFile(backup), "1");
}

TEST_F(VLogRotation, RotateFileLeavesAnEmptyFile) {
    writeFile(file, "");
    log.rotateFile(file, 0);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_FALSE(fs::exists(backup));
}

TEST_F(VLogRotation, RotateFileMakesNoFile) {
    log.rotateFile(file, 0);
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(VLogRotation, RotateFileLeavesADirectory) {
    fs::create_directory(file);
    log.rotateFile(file, 0);
    EXPECT_TRUE(fs::is_directory(file));
    EXPECT_FALSE(fs::exists(backup));
}

// ---- the writer ------------------------------------------------------------------------------

TEST_F(VLogRotation, TheWriterDrainsTheQueueByItself) {
    route({file}, {0});
    queue("one");
    EXPECT_TRUE(waitUntil([this] { return readFile(file) == lineOf("one"); }));
    queue("two");
    EXPECT_TRUE(waitUntil([this] { return readFile(file) == lineOf("one") + lineOf("two"); }));
}

TEST(VLogWriter, OfALoggerWithoutPeriodDrainsTheQueueToo) {
    const TemporaryDirectory directory;
    VLog log;
    log.addTopic("A", INFO, VLogConfig::SIMPLE, {directory.path("log")}, {0});
    log.write("A", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_TRUE(waitUntil([&] { return readFile(directory.path("log")) == lineOf("hello"); }));
}

TEST(VLogWriter, MayHavePeriodZero) {
    const TemporaryDirectory directory;
    VLog log(0);
    log.addTopic("A", INFO, VLogConfig::SIMPLE, {directory.path("log")}, {0});
    log.write("A", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_TRUE(waitUntil([&] { return readFile(directory.path("log")) == lineOf("hello"); }));
}

TEST(VLogWriter, LeavesNothingInTheQueueAtTheEnd) {
    const TemporaryDirectory directory;
    std::string expected;
    {
        VLog log(50);
        log.addTopic("A", INFO, VLogConfig::SIMPLE, {directory.path("log")}, {0});
        for (int i = 0; i < 200; ++i) {
            log.write("A", 1, INFO, "call.cpp", 12, "%d", i);
            expected += lineOf(std::to_string(i));
        }
    }
    EXPECT_EQ(readFile(directory.path("log")), expected);
}

TEST_F(VLogRotation, RunGivesOtherThreadsAMillisecond) {
    const auto begin = std::chrono::steady_clock::now();
    log.run(nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::microseconds(900));
}

// With a writer that sleeps most of the time: who calls is who drains.
class VLogRunnable : public testing::Test {
protected:
    VLogRunnable() {
        log.addTopic("A", INFO, VLogConfig::SIMPLE, {file}, {0});
        log.write("A", 1, INFO, "call.cpp", 12, "hello");
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    VLog log{300};
};

TEST_F(VLogRunnable, RunDrainsTheQueue) {
    log.run(nullptr);
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

TEST_F(VLogRunnable, CleanupDrainsTheQueue) {
    log.cleanup();
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

TEST_F(VLogRunnable, DumpToFileDrainsTheQueue) {
    log.dumpToFile();
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

TEST_F(VLogRotation, AnEmptyQueueTouchesNoFile) {
    route({file}, {0});
    log.dumpToFile();
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(VLogRotation, ALineIsWrittenOnce) {
    route({file}, {0});
    say("hello");
    log.dumpToFile();
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

TEST_F(VLogRotation, ALineIsAppendedToWhatIsThere) {
    writeFile(file, "from before\n");
    route({file}, {0});
    say("hello");
    EXPECT_EQ(readFile(file), "from before\n" + lineOf("hello"));
}

TEST_F(VLogRotation, EachFileOfARuleHasItsOwnSize) {
    const std::string second = directory.path("second");
    writeFile(file, std::string(100, 'x'));
    writeFile(second, std::string(100, 'y'));
    route({file, second}, {100, 1000});
    say("hello");
    EXPECT_EQ(readFile(file), lineOf("hello"));
    EXPECT_EQ(readFile(second), std::string(100, 'y') + lineOf("hello"));
    EXPECT_FALSE(fs::exists(second + ".bkp"));
}

TEST_F(VLogRotation, AFileNamedTwiceGetsTheLineTwice) {
    route({file, file}, {0});
    say("hello");
    EXPECT_EQ(readFile(file), lineOf("hello") + lineOf("hello"));
}

TEST_F(VLogRotation, RulesMayShareAFile) {
    log.addTopic("B", INFO, VLogConfig::SIMPLE, {file}, {0});
    route({file}, {0});
    queue("one");
    log.write("B", 1, INFO, "call.cpp", 12, "two");
    queue("three");
    log.dumpToFile();
    EXPECT_EQ(readFile(file),
              lineOf("one") + "[B        : 0x0001 : INFO] -> two\r\n" + lineOf("three"));
}

TEST_F(VLogRotation, AFileThatCannotBeOpenedIsPassedOver) {
    const std::string missing = directory.path("missing/log");
    route({missing, directory.path(), file}, {0});
    say("hello");
    EXPECT_EQ(readFile(file), lineOf("hello"));
    EXPECT_FALSE(fs::exists(missing));
}

TEST_F(VLogRotation, AQueuedLineKeepsTheRuleOfItsTime) {
    const std::string later = directory.path("later");
    HeldWriter writer(log);
    writeFile(file, std::string(100, 'x'));
    route({file}, {100});
    queue("before");
    route({later}, {0});
    queue("after");
    log.removeTopic("A", INFO);
    writer.release();
    EXPECT_EQ(readFile(file), lineOf("before"));
    EXPECT_EQ(readFile(backup), std::string(100, 'x'));
    EXPECT_EQ(readFile(later), lineOf("after"));
}

TEST_F(VLogRotation, TheConsoleIsNoFile) {
    route({"[STDOUT]"}, {0});
    OutputCapture console;
    say("hello");
    EXPECT_EQ(console.text(), lineOf("hello"));
    EXPECT_FALSE(fs::exists("[STDOUT]"));
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(VLogRotation, SeveralThreadsMayDrainAndKeepTheOrder) {
    route({file}, {0});
    std::string expected;
    for (int i = 0; i < 150; ++i) {
        queue(std::to_string(i));
        expected += lineOf(std::to_string(i));
    }
    onThreads(2, [this](int) { log.dumpToFile(); });
    EXPECT_EQ(readFile(file), expected);
}

TEST_F(VLogRotation, ADrainReturnsWhenAnEarlierOneIsDone) {
    HeldWriter writer(log);
    route({file}, {0});
    queue("hello");
    std::atomic<bool> drained = false;
    std::thread other([&] {
        log.dumpToFile();
        drained = true;
    });
    EXPECT_FALSE(waitUntil([&] { return drained.load(); }, std::chrono::milliseconds(50)));
    writer.release();
    other.join();
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

}  // namespace
