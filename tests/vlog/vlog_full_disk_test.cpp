// Logging to a disk that is really full. Run by on_small_disk.sh, which brings the disk: 16 blocks
// of 4096 bytes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/files.h"
#include "support/numbered_lines.h"
#include "vlib/vlog/vlog.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t INFO = VLogConfig::INFO;
constexpr size_t blockSize = 4096;

class VLogFullDisk : public testing::Test {
protected:
    VLogFullDisk() {
        const char* given = std::getenv("VELMORA_TEST_SMALL_DISK");
        disk = given != nullptr ? given : "";
    }
    void SetUp() override { ASSERT_NE(disk, "") << "run me with on_small_disk.sh"; }
    ~VLogFullDisk() override {
        for (const char* name : {"log", "log.bkp", "filler"}) {
            fs::remove(fs::path(disk) / name);
        }
    }

    // Takes every block that is free.
    void fill() {
        std::ofstream filler(disk + "/filler", std::ios::binary);
        const std::string block(blockSize, 'f');
        while (filler.write(block.data(), blockSize).flush()) {
        }
    }
    void route(unsigned long size) {
        log.addTopic("A", INFO, VLogConfig::SIMPLE, {disk + "/log"}, {size});
    }
    void sayTen(int begin) {
        log.addTopic(numberedTopic, INFO, VLogConfig::SIMPLE, {disk + "/log"}, {0});
        writeLines(log, begin, begin + 10);
        log.dumpToFile();
    }
    void say(const char* text) {
        log.write("A", 1, INFO, "call.cpp", 12, "%s", text);
        log.dumpToFile();
    }

    std::string disk;
    VLog log{1};
};

// The first ten lines fill a block to its end, so that no part of the others has room in it.
TEST_F(VLogFullDisk, FindsTwentyOfThirtyLinesWhenItIsFullForAWhile) {
    const std::string content(blockSize - numberedLines(0, 10).size(), 'x');
    writeFile(disk + "/log", content);
    sayTen(0);
    fill();
    sayTen(10);
    fs::remove(disk + "/filler");
    sayTen(20);
    EXPECT_EQ(readFile(disk + "/log"), content + numberedLines(0, 10) + numberedLines(20, 30));
}

TEST_F(VLogFullDisk, LosesTheLineAndNothingElse) {
    const std::string content(blockSize, 'x');
    writeFile(disk + "/log", content);
    route(0);
    fill();
    say("lost");
    EXPECT_EQ(readFile(disk + "/log"), content);
    fs::remove(disk + "/filler");
    say("found");
    EXPECT_EQ(readFile(disk + "/log"), content + "[A        : 0x0001 : INFO] -> found\r\n");
}

// The next line stands behind the part, whole.
TEST_F(VLogFullDisk, KeepsThePartOfALineThatHasRoom) {
    const std::string content(blockSize - 10, 'x');
    writeFile(disk + "/log", content);
    route(0);
    fill();
    say("lost");
    EXPECT_EQ(readFile(disk + "/log"), content + "[A        ");
    fs::remove(disk + "/filler");
    say("found");
    EXPECT_EQ(readFile(disk + "/log"),
              content + "[A        " + "[A        : 0x0001 : INFO] -> found\r\n");
}

// What fits of the backup is its beginning.
TEST_F(VLogFullDisk, EmptiesTheFileWhoseBackupFindsNoRoom) {
    std::string content(10 * blockSize, 'x');
    content.front() = 'f';
    writeFile(disk + "/log", content);
    route(content.size());
    say("found");
    EXPECT_EQ(readFile(disk + "/log"), "[A        : 0x0001 : INFO] -> found\r\n");
    const std::string backup = readFile(disk + "/log.bkp");
    EXPECT_EQ(backup, content.substr(0, backup.size()));
    EXPECT_LT(backup.size(), content.size());
}

TEST_F(VLogFullDisk, RotatesWhenTheBackupFits) {
    const std::string content(8 * blockSize, 'x');
    writeFile(disk + "/log", content);
    route(content.size());
    say("found");
    EXPECT_EQ(readFile(disk + "/log"), "[A        : 0x0001 : INFO] -> found\r\n");
    EXPECT_EQ(readFile(disk + "/log.bkp"), content);
}

}  // namespace
