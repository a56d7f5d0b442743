// What goes wrong around the logger. Lines that nothing could save are lost: those for a file that
// cannot be opened or written at that time. All others arrive.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/held_writer.h"
#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/resource_limit.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "support/waiting_sink.h"
#include "vlib/vlog/vlog.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t INFO = VLogConfig::INFO;

std::string lineOf(const std::string& text) {
    return "[A        : 0x0001 : INFO] -> " + text + "\r\n";
}

class VLogFaults : public testing::Test {
protected:
    void route(std::vector<std::string> files, unsigned long size = 0) {
        log.addTopic("A", INFO, VLogConfig::SIMPLE, std::move(files), {size});
    }
    // Returns when the line is in its files, or lost.
    void say(const std::string& text) {
        log.write("A", 1, INFO, "call.cpp", 12, "%s", text.c_str());
        log.dumpToFile();
    }
    // Lets the writer run, a sink be called and a backup fail once. The undefined-behaviour
    // sanitizer looks at an object of a type that it has not met through a pipe, which takes
    // descriptors.
    void meetEveryType() {
        const CapturingSink sink(log);
        log.addTopic("WARMUP", INFO, VLogConfig::SIMPLE, {other}, {0});
        log.write("WARMUP", 1, INFO, "call.cpp", 12, "hello");
        ASSERT_TRUE(waitUntil([this] { return !readFile(other).empty(); }));
        fs::create_directory(other + ".bkp");
        log.rotateFile(other, 1);
        ASSERT_EQ(readFile(other), "");
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    const std::string other = directory.path("other");
    VLog log{1};
};

// ---- files and directories that come and go --------------------------------------------------

TEST_F(VLogFaults, ADirectoryThatIsRemovedAndRestoredIsUsedAgain) {
    const std::string logs = directory.path("logs");
    fs::create_directory(logs);
    route({logs + "/log"});
    say("one");
    fs::remove_all(logs);
    say("lost");
    EXPECT_FALSE(fs::exists(logs));
    fs::create_directory(logs);
    say("two");
    EXPECT_EQ(readFile(logs + "/log"), lineOf("two"));
}

TEST_F(VLogFaults, ADirectoryThatIsRemovedDoesNotKeepALineFromOtherFiles) {
    const std::string logs = directory.path("logs");
    fs::create_directory(logs);
    route({logs + "/log", file});
    say("one");
    fs::remove_all(logs);
    say("two");
    EXPECT_EQ(readFile(file), lineOf("one") + lineOf("two"));
}

TEST_F(VLogFaults, AFileThatIsMovedAwayIsMadeAnew) {
    route({file});
    say("one");
    fs::rename(file, other);
    say("two");
    EXPECT_EQ(readFile(other), lineOf("one"));
    EXPECT_EQ(readFile(file), lineOf("two"));
}

TEST_F(VLogFaults, AFileThatIsReplacedIsContinued) {
    route({file});
    say("one");
    writeFile(other, "by another program\n");
    fs::rename(other, file);
    say("two");
    EXPECT_EQ(readFile(file), "by another program\n" + lineOf("two"));
}

TEST_F(VLogFaults, AFileThatIsRemovedIsMadeAnew) {
    route({file});
    say("one");
    fs::remove(file);
    say("two");
    EXPECT_EQ(readFile(file), lineOf("two"));
}

TEST_F(VLogFaults, AFileThatIsEmptiedIsContinued) {
    route({file});
    say("one");
    writeFile(file, "");
    say("two");
    EXPECT_EQ(readFile(file), lineOf("two"));
}

TEST_F(VLogFaults, WhatAnotherProgramAppendsStays) {
    route({file});
    say("one");
    writeFile(file, readFile(file) + "by another program\n");
    say("two");
    EXPECT_EQ(readFile(file), lineOf("one") + "by another program\n" + lineOf("two"));
}

TEST_F(VLogFaults, AFileThatAnotherProgramGrewIsRotated) {
    route({file}, 1000);
    say("one");
    const std::string grown = readFile(file) + std::string(1000, 'x');
    writeFile(file, grown);
    say("two");
    EXPECT_EQ(readFile(file + ".bkp"), grown);
    EXPECT_EQ(readFile(file), lineOf("two"));
}

TEST_F(VLogFaults, ADirectoryInThePlaceOfAFileLosesThatFileOnly) {
    fs::create_directory(file);
    route({file, other}, 40);
    say("one");
    EXPECT_EQ(readFile(other), lineOf("one"));
    EXPECT_TRUE(fs::is_empty(file));
}

// ---- no room ---------------------------------------------------------------------------------

TEST_F(VLogFaults, AFullDiskLosesTheLinesOfThatFileOnly) {
    fs::create_symlink("/dev/full", file);
    route({file, other});
    say("one");
    say("two");
    EXPECT_EQ(readFile(other), lineOf("one") + lineOf("two"));
}

TEST_F(VLogFaults, ALineThatFindsNoRoomLeavesWhatIsThere) {
    const std::string content(4096, 'x');
    writeFile(file, content);
    route({file});
    {
        const ResourceLimit full(RLIMIT_FSIZE, content.size());
        say("lost");
    }
    EXPECT_EQ(readFile(file), content);
}

TEST_F(VLogFaults, LinesAreAppendedAgainWhenThereIsRoom) {
    const std::string content(4096, 'x');
    writeFile(file, content);
    route({file});
    {
        const ResourceLimit full(RLIMIT_FSIZE, content.size());
        say("lost");
    }
    say("found");
    EXPECT_EQ(readFile(file), content + lineOf("found"));
}

TEST_F(VLogFaults, ALineThatFindsNoRoomIsOnConsoleAndSinks) {
    fs::create_symlink("/dev/full", file);
    route({file, "[STDOUT]"});
    const CapturingSink sink(log);
    OutputCapture console;
    say("hello");
    EXPECT_EQ(console.text(), lineOf("hello"));
    EXPECT_EQ(sink.last(), lineOf("hello"));
}

TEST_F(VLogFaults, ABackupThatFindsNoRoomLeavesTheFileEmpty) {
    const std::string content(5000, 'x');
    writeFile(file, content);
    {
        const ResourceLimit full(RLIMIT_FSIZE, 4096);
        log.rotateFile(file, 1000);
    }
    EXPECT_EQ(readFile(file), "");
    EXPECT_EQ(readFile(file + ".bkp"), content.substr(0, 4096));
}

// A copy that fails is not tried again with each line.
TEST_F(VLogFaults, ABackupThatFindsNoRoomIsTriedOnceUntilTheFileIsFullAgain) {
    writeFile(file, std::string(5000, 'x'));
    route({file}, 4000);
    const ResourceLimit full(RLIMIT_FSIZE, 4096);
    say("one");
    const std::string backup = readFile(file + ".bkp");
    fs::remove(file + ".bkp");
    say("two");
    EXPECT_EQ(readFile(file), lineOf("one") + lineOf("two"));
    EXPECT_FALSE(fs::exists(file + ".bkp"));
    EXPECT_EQ(backup, std::string(4096, 'x'));
}

// ---- no file descriptors ---------------------------------------------------------------------

TEST_F(VLogFaults, WithoutDescriptorsALineIsOnConsoleAndSinks) {
    meetEveryType();
    route({file, "[STDOUT]"});
    const CapturingSink sink(log);
    OutputCapture console;
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        say("hello");
    }
    EXPECT_EQ(console.text(), lineOf("hello"));
    EXPECT_EQ(sink.last(), lineOf("hello"));
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(VLogFaults, LinesAreWrittenAgainWhenThereAreDescriptors) {
    meetEveryType();
    route({file});
    say("one");
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        say("lost");
    }
    say("two");
    EXPECT_EQ(readFile(file), lineOf("one") + lineOf("two"));
}

TEST_F(VLogFaults, WithoutDescriptorsAFileKeepsItsContent) {
    meetEveryType();
    writeFile(file, std::string(1000, 'x'));
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        log.rotateFile(file, 1);
    }
    EXPECT_EQ(readFile(file), std::string(1000, 'x'));
    EXPECT_FALSE(fs::exists(file + ".bkp"));
}

TEST_F(VLogFaults, WithOneDescriptorAFileIsEmptiedWithoutABackup) {
    meetEveryType();
    // Enough to read the file, not to open its backup as well.
    writeFile(file, std::string(1000, 'x'));
    const int next = ::dup(STDIN_FILENO);
    ::close(next);
    {
        const ResourceLimit one(RLIMIT_NOFILE, static_cast<rlim_t>(next) + 1);
        log.rotateFile(file, 1);
    }
    EXPECT_EQ(readFile(file), "");
    EXPECT_FALSE(fs::exists(file + ".bkp"));
}

// ---- slowness --------------------------------------------------------------------------------

TEST_F(VLogFaults, ASlowSinkLosesNoLine) {
    route({file});
    WaitingSink sink;
    log.addSink(&sink);
    std::thread release([&] {
        EXPECT_TRUE(waitUntil([&] { return sink.entered.load(); }));
        sink.goOn = true;
    });
    onThreads(4, [this](int) { log.write("A", 1, INFO, "call.cpp", 12, "hello"); });
    release.join();
    log.dumpToFile();
    EXPECT_EQ(readFile(file),
              lineOf("hello") + lineOf("hello") + lineOf("hello") + lineOf("hello"));
}

TEST_F(VLogFaults, ASlowFileLosesNoLineThatIsQueued) {
    route({file});
    HeldWriter slow(log);
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        log.write("A", 1, INFO, "call.cpp", 12, "%d", i);
        expected += lineOf(std::to_string(i));
    }
    slow.release();
    EXPECT_EQ(readFile(file), expected);
}

// Standard output takes nothing while the object lives.
class FullConsole {
public:
    FullConsole() : saved(::dup(STDOUT_FILENO)) {
        const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
        ::dup2(full, STDOUT_FILENO);
        ::close(full);
    }
    ~FullConsole() {
        ::dup2(saved, STDOUT_FILENO);
        ::close(saved);
    }
    FullConsole(const FullConsole&) = delete;
    FullConsole& operator=(const FullConsole&) = delete;

private:
    int saved;
};

TEST_F(VLogFaults, AConsoleThatCannotBeWrittenLosesNoLineOfAFile) {
    route({"[STDOUT]", file});
    const FullConsole console;
    say("one");
    say("two");
    EXPECT_EQ(readFile(file), lineOf("one") + lineOf("two"));
}

}  // namespace
