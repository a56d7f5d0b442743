// Reading and writing whole files, and what is left after each kind of failure.

#include "vlib/vos/vfile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/sanitizers.h"
#include "support/temporary_directory.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr size_t noSize = std::numeric_limits<size_t>::max();

bool isOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1 || errno != EBADF;
}

// A directory with one file in it.
class VFileTest : public testing::Test {
protected:
    // Makes the file and opens it for reading.
    void openWith(const std::string& content) {
        writeFile(path, content);
        ASSERT_TRUE(file.open(path.c_str(), "rb"));
    }
    void openForWriting() { ASSERT_TRUE(file.open(path.c_str(), "wb")); }

    // What is in the file once it is closed.
    std::string closedContent() {
        EXPECT_TRUE(file.close());
        return readFile(path);
    }

    TemporaryDirectory directory;
    const std::string path = directory.path("file");
    VFile file;
};

using VFileOpen = VFileTest;
using VFileClose = VFileTest;
using VFileDestructor = VFileTest;
using VFileWrite = VFileTest;
using VFileRead = VFileTest;
using VFileReadCount = VFileTest;
using VFileGetSize = VFileTest;
using VFileRewind = VFileTest;
using VFileGetFd = VFileTest;
using VFileWithoutStream = VFileTest;
using VFileOnDirectory = VFileTest;
using VFileOnFullDevice = VFileTest;

TEST_F(VFileOpen, MakesAFileInWritingMode) {
    EXPECT_TRUE(file.open(path.c_str(), "w"));
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
}

TEST_F(VFileOpen, ReturnsFalseWhenTheFileIsMissing) {
    EXPECT_FALSE(file.open(path.c_str(), "r"));
    EXPECT_FALSE(file.close());
}

TEST_F(VFileOpen, ReturnsFalseForAModeThatFopenDoesNotKnow) {
    writeFile(path, "abc");
    EXPECT_FALSE(file.open(path.c_str(), "q"));
}

TEST_F(VFileOpen, ReturnsFalseForANullPath) {
    EXPECT_FALSE(file.open(nullptr, "r"));
}

TEST_F(VFileOpen, ReturnsFalseForANullMode) {
    EXPECT_FALSE(file.open(path.c_str(), nullptr));
}

TEST_F(VFileOpen, ForgetsAStreamThatIsOpenWithoutClosingIt) {
    openForWriting();
    const int forgotten = file.getFd();
    EXPECT_TRUE(file.open(directory.path("second").c_str(), "w"));
    EXPECT_NE(file.getFd(), forgotten);
    EXPECT_TRUE(isOpen(forgotten));
}

TEST_F(VFileOpen, ForgetsAStreamThatIsOpenAlsoWhenItFails) {
    openForWriting();
    const int forgotten = file.getFd();
    EXPECT_FALSE(file.open(directory.path("missing/file").c_str(), "r"));
    EXPECT_FALSE(file.close());
    EXPECT_TRUE(isOpen(forgotten));
}

TEST_F(VFileOpen, WorksAgainAfterAClose) {
    openForWriting();
    ASSERT_TRUE(file.close());
    EXPECT_TRUE(file.open(path.c_str(), "r"));
}

TEST_F(VFileClose, ReturnsFalseWhenNothingWasEverOpened) {
    EXPECT_FALSE(file.close());
}

TEST_F(VFileClose, ReturnsFalseTheSecondTime) {
    openForWriting();
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.close());
}

TEST_F(VFileClose, ClosesTheDescriptor) {
    openForWriting();
    const int fd = file.getFd();
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(isOpen(fd));
}

TEST_F(VFileClose, WritesWhatIsBuffered) {
    openForWriting();
    ASSERT_TRUE(file.write(std::string("abc")));
    EXPECT_EQ(closedContent(), "abc");
}

TEST_F(VFileDestructor, ClosesTheStream) {
    int fd = -1;
    {
        VFile scoped;
        ASSERT_TRUE(scoped.open(path.c_str(), "w"));
        ASSERT_TRUE(scoped.write(std::string("abc")));
        fd = scoped.getFd();
    }
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(readFile(path), "abc");
}

TEST_F(VFileWrite, WritesBytesFromMemory) {
    openForWriting();
    std::array<uint8_t, 4> data = {'a', 0, 0xFF, '\n'};
    EXPECT_TRUE(file.write(data.data(), data.size()));
    EXPECT_EQ(closedContent(), std::string("a\0\xFF\n", 4));
}

TEST_F(VFileWrite, WritesOnlyAsManyBytesAsAsked) {
    openForWriting();
    std::array<uint8_t, 4> data = {'a', 'b', 'c', 'd'};
    EXPECT_TRUE(file.write(data.data(), 2));
    EXPECT_EQ(closedContent(), "ab");
}

TEST_F(VFileWrite, WritesAVectorOfUnsignedCharacters) {
    openForWriting();
    Bytes data = {1, 0, 255};
    EXPECT_TRUE(file.write(data));
    EXPECT_EQ(closedContent(), std::string("\1\0\xFF", 3));
}

TEST_F(VFileWrite, WritesAVectorOfCharacters) {
    openForWriting();
    std::vector<char> data = {'x', '\0', 'y'};
    EXPECT_TRUE(file.write(data));
    EXPECT_EQ(closedContent(), std::string("x\0y", 3));
}

TEST_F(VFileWrite, WritesAStringWithItsNulCharacters) {
    openForWriting();
    EXPECT_TRUE(file.write(std::string("a\0b", 3)));
    EXPECT_EQ(closedContent(), std::string("a\0b", 3));
}

TEST_F(VFileWrite, WritesOneAfterTheOther) {
    openForWriting();
    EXPECT_TRUE(file.write(std::string("one,")));
    EXPECT_TRUE(file.write(std::string("two")));
    EXPECT_EQ(closedContent(), "one,two");
}

TEST_F(VFileWrite, AppendsInAppendingMode) {
    writeFile(path, "old,");
    ASSERT_TRUE(file.open(path.c_str(), "a"));
    EXPECT_TRUE(file.write(std::string("new")));
    EXPECT_EQ(closedContent(), "old,new");
}

TEST_F(VFileWrite, TakesAnEmptyVectorOfUnsignedCharacters) {
    openForWriting();
    Bytes empty;
    EXPECT_TRUE(file.write(empty));
    EXPECT_EQ(closedContent(), "");
}

TEST_F(VFileWrite, TakesAnEmptyVectorOfCharacters) {
    openForWriting();
    std::vector<char> empty;
    EXPECT_TRUE(file.write(empty));
    EXPECT_EQ(closedContent(), "");
}

TEST_F(VFileWrite, TakesAnEmptyString) {
    openForWriting();
    EXPECT_TRUE(file.write(std::string()));
    EXPECT_EQ(closedContent(), "");
}

TEST_F(VFileWrite, TakesNoBytesFromNowhere) {
    openForWriting();
    EXPECT_TRUE(file.write(nullptr, 0));
}

TEST_F(VFileWrite, ReturnsFalseForBytesFromNowhere) {
    openForWriting();
    EXPECT_FALSE(file.write(nullptr, 3));
    EXPECT_EQ(closedContent(), "");
}

TEST_F(VFileWrite, ReturnsFalseOnAStreamForReading) {
    openWith("abc");
    EXPECT_FALSE(file.write(std::string("x")));
    EXPECT_EQ(closedContent(), "abc");
}

TEST_F(VFileOnFullDevice, TakesWhatFitsTheBufferAndFailsToClose) {
    ASSERT_TRUE(file.open("/dev/full", "w"));
    EXPECT_TRUE(file.write(std::string("abc")));
    EXPECT_FALSE(file.close());
}

TEST_F(VFileOnFullDevice, IsClosedEvenWhenCloseFails) {
    ASSERT_TRUE(file.open("/dev/full", "w"));
    ASSERT_TRUE(file.write(std::string("abc")));
    const int fd = file.getFd();
    EXPECT_FALSE(file.close());
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(file.getFd(), -1);
}

TEST_F(VFileOnFullDevice, FailsToWriteMoreThanTheBuffer) {
    ASSERT_TRUE(file.open("/dev/full", "w"));
    EXPECT_FALSE(file.write(std::string(1 << 20, 'x')));
}

TEST_F(VFileRead, GivesTheWholeFile) {
    openWith(std::string("a\0\xFF\r\n", 5));
    Bytes content;
    EXPECT_TRUE(file.read(content));
    EXPECT_EQ(content, (Bytes{'a', 0, 0xFF, '\r', '\n'}));
}

TEST_F(VFileRead, BeginsAtTheStartWhereverTheStreamStands) {
    openWith("abcdef");
    Bytes content;
    ASSERT_TRUE(file.read(content, 4));
    EXPECT_TRUE(file.read(content));
    EXPECT_EQ(content, (Bytes{'a', 'b', 'c', 'd', 'e', 'f'}));
}

TEST_F(VFileRead, DropsSurplusBytesOfTheVector) {
    openWith("ab");
    Bytes content(10, 'x');
    EXPECT_TRUE(file.read(content));
    EXPECT_EQ(content, (Bytes{'a', 'b'}));
}

TEST_F(VFileRead, EmptiesTheVectorForAnEmptyFile) {
    openWith("");
    Bytes content = {1, 2, 3};
    EXPECT_TRUE(file.read(content));
    EXPECT_TRUE(content.empty());
}

TEST_F(VFileRead, GivesAFileOfManyBuffers) {
    const std::string text(300000, 'z');
    openWith(text);
    Bytes content;
    EXPECT_TRUE(file.read(content));
    EXPECT_EQ(content, Bytes(300000, 'z'));
}

TEST_F(VFileRead, ReturnsWhatItRead) {
    openWith("abc");
    EXPECT_EQ(file.read(), (Bytes{'a', 'b', 'c'}));
}

TEST_F(VFileRead, ReturnsAnEmptyVectorForAnEmptyFile) {
    openWith("");
    EXPECT_TRUE(file.read().empty());
}

TEST_F(VFileRead, ReturnsFalseWithTheVectorResizedOnAStreamForWriting) {
    openForWriting();
    ASSERT_TRUE(file.write(std::string("abc")));
    Bytes content = {'x'};
    EXPECT_FALSE(file.read(content));
    EXPECT_EQ(content, (Bytes{'x', 0, 0}));
}

TEST_F(VFileRead, ReturnsTheBytesOfAFailedReadAsZeros) {
    openForWriting();
    ASSERT_TRUE(file.write(std::string("abc")));
    EXPECT_EQ(file.read(), (Bytes{0, 0, 0}));
}

TEST_F(VFileReadCount, ReadsOnFromWhereTheStreamStands) {
    openWith("abcdef");
    Bytes content;
    EXPECT_TRUE(file.read(content, 2));
    EXPECT_EQ(content, (Bytes{'a', 'b'}));
    EXPECT_TRUE(file.read(content, 3));
    EXPECT_EQ(content, (Bytes{'c', 'd', 'e'}));
}

TEST_F(VFileReadCount, ReturnsFalseAtTheEndWithTheVectorResized) {
    openWith("ab");
    Bytes content;
    ASSERT_TRUE(file.read(content));
    EXPECT_FALSE(file.read(content, 4));
    EXPECT_EQ(content, (Bytes{'a', 'b', 0, 0}));
}

TEST_F(VFileReadCount, ReturnsFalseWithWhatIsLeftAndZerosBehindIt) {
    openWith("abc");
    Bytes content;
    EXPECT_FALSE(file.read(content, 5));
    EXPECT_EQ(content, (Bytes{'a', 'b', 'c', 0, 0}));
}

TEST_F(VFileReadCount, ReadsNoBytesAlsoAtTheEnd) {
    openWith("");
    Bytes content = {1};
    EXPECT_TRUE(file.read(content, 0));
    EXPECT_TRUE(content.empty());
}

TEST_F(VFileReadCount, ReturnsFalseForMoreThanAnyVectorHolds) {
    openWith("abc");
    Bytes content = {'x'};
    EXPECT_NO_THROW(EXPECT_FALSE(file.read(content, noSize)));
    EXPECT_EQ(content, (Bytes{'x'}));
}

TEST_F(VFileReadCount, ReturnsFalseForMoreThanCanBeAllocated) {
    if (failedAllocationIsFatal) {
        GTEST_SKIP() << "the sanitizer's allocator ends the process";
    }
    openWith("abc");
    Bytes content = {'x'};
    EXPECT_NO_THROW(EXPECT_FALSE(file.read(content, content.max_size())));
    EXPECT_EQ(content, (Bytes{'x'}));
}

TEST_F(VFileReadCount, GoesOnAfterASizeThatCouldNotBeHad) {
    openWith("abc");
    Bytes content;
    ASSERT_FALSE(file.read(content, noSize));
    EXPECT_TRUE(file.read(content, 3));
    EXPECT_EQ(content, (Bytes{'a', 'b', 'c'}));
}

TEST_F(VFileGetSize, CountsTheBytes) {
    openWith(std::string("a\0b\r\n", 5));
    EXPECT_EQ(file.getSize(), 5U);
}

TEST_F(VFileGetSize, IsZeroForAnEmptyFile) {
    openWith("");
    EXPECT_EQ(file.getSize(), 0U);
}

TEST_F(VFileGetSize, CountsWhatIsStillBuffered) {
    openForWriting();
    ASSERT_TRUE(file.write(std::string("abcd")));
    EXPECT_EQ(file.getSize(), 4U);
}

TEST_F(VFileGetSize, LeavesTheStreamAtTheStartOfTheFile) {
    openWith("abcdef");
    Bytes content;
    ASSERT_TRUE(file.read(content, 3));
    EXPECT_EQ(file.getSize(), 6U);
    ASSERT_TRUE(file.read(content, 2));
    EXPECT_EQ(content, (Bytes{'a', 'b'}));
}

TEST_F(VFileGetSize, LeavesAStreamForWritingAtTheStartOfTheFile) {
    openForWriting();
    ASSERT_TRUE(file.write(std::string("abcd")));
    EXPECT_EQ(file.getSize(), 4U);
    ASSERT_TRUE(file.write(std::string("X")));
    EXPECT_EQ(closedContent(), "Xbcd");
}

TEST_F(VFileRewind, GoesBackToTheStart) {
    openWith("abc");
    Bytes content;
    ASSERT_TRUE(file.read(content, 3));
    file.rewind();
    EXPECT_TRUE(file.read(content, 1));
    EXPECT_EQ(content, (Bytes{'a'}));
}

TEST_F(VFileGetFd, IsTheDescriptorOfTheStream) {
    openWith("abc");
    struct stat byDescriptor {};
    struct stat byName {};
    ASSERT_EQ(::fstat(file.getFd(), &byDescriptor), 0);
    ASSERT_EQ(::stat(path.c_str(), &byName), 0);
    EXPECT_EQ(byDescriptor.st_ino, byName.st_ino);
}

TEST_F(VFileGetFd, IsMinusOneWhenNothingIsOpen) {
    EXPECT_EQ(file.getFd(), -1);
}

TEST_F(VFileWithoutStream, WritesNothing) {
    std::array<uint8_t, 1> data = {1};
    Bytes unsignedBytes = {1};
    std::vector<char> bytes = {1};
    EXPECT_FALSE(file.write(data.data(), data.size()));
    EXPECT_FALSE(file.write(unsignedBytes));
    EXPECT_FALSE(file.write(bytes));
    EXPECT_FALSE(file.write(std::string("a")));
}

TEST_F(VFileWithoutStream, DoesNotEvenWriteNothing) {
    Bytes unsignedBytes;
    std::vector<char> bytes;
    EXPECT_FALSE(file.write(nullptr, 0));
    EXPECT_FALSE(file.write(unsignedBytes));
    EXPECT_FALSE(file.write(bytes));
    EXPECT_FALSE(file.write(std::string()));
}

TEST_F(VFileWithoutStream, LeavesTheVectorOfAReadUntouched) {
    Bytes content = {1, 2};
    EXPECT_FALSE(file.read(content));
    EXPECT_FALSE(file.read(content, 5));
    EXPECT_FALSE(file.read(content, 0));
    EXPECT_EQ(content, (Bytes{1, 2}));
}

TEST_F(VFileWithoutStream, ReadsAnEmptyVector) {
    EXPECT_TRUE(file.read().empty());
}

TEST_F(VFileWithoutStream, HasSizeZero) {
    EXPECT_EQ(file.getSize(), 0U);
}

TEST_F(VFileWithoutStream, IgnoresARewind) {
    EXPECT_NO_THROW(file.rewind());
    EXPECT_FALSE(file.close());
}

TEST_F(VFileWithoutStream, BehavesAlikeAfterAClose) {
    openWith("abc");
    ASSERT_TRUE(file.close());
    Bytes content = {1, 2};
    EXPECT_FALSE(file.read(content));
    EXPECT_EQ(content, (Bytes{1, 2}));
    EXPECT_FALSE(file.write(std::string("a")));
    EXPECT_EQ(file.getSize(), 0U);
}

TEST_F(VFileOnDirectory, OpensForReadingButReadsNothing) {
    ASSERT_TRUE(file.open(directory.path().c_str(), "r"));
    Bytes content = {1, 2};
    EXPECT_NO_THROW(EXPECT_FALSE(file.read(content)));
    EXPECT_EQ(content, (Bytes{1, 2}));
}

TEST_F(VFileOnDirectory, ReadsAnEmptyVector) {
    ASSERT_TRUE(file.open(directory.path().c_str(), "r"));
    EXPECT_TRUE(file.read().empty());
}

TEST_F(VFileOnDirectory, ReadsNoBytesEither) {
    ASSERT_TRUE(file.open(directory.path().c_str(), "r"));
    Bytes content;
    EXPECT_FALSE(file.read(content, 2));
    EXPECT_EQ(content, (Bytes{0, 0}));
}

TEST_F(VFileOnDirectory, DoesNotOpenForWriting) {
    EXPECT_FALSE(file.open(directory.path().c_str(), "w"));
}

// In memory a directory has size 0, and so many bytes can be read.
TEST(VFileOnDirectoryInMemory, IsReadAsAnEmptyFile) {
    struct stat status {};
    if (::stat("/dev/shm", &status) != 0) {
        GTEST_SKIP() << "there is no /dev/shm";
    }
    VFile file;
    ASSERT_TRUE(file.open("/dev/shm", "r"));
    Bytes content = {1, 2};
    EXPECT_EQ(file.getSize(), 0U);
    EXPECT_TRUE(file.read(content));
    EXPECT_EQ(content, Bytes{});
}

// A FIFO that somebody writes to, with three bytes in it.
class VFileOnFifo : public VFileTest {
protected:
    void SetUp() override {
        ASSERT_EQ(::mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
        writer = ::open(path.c_str(), O_RDWR);
        ASSERT_EQ(::write(writer, "abc", 3), 3);
        ASSERT_TRUE(file.open(path.c_str(), "r"));
    }
    void TearDown() override { ::close(writer); }

    int writer = -1;
};

TEST_F(VFileOnFifo, PassesOnTheFailureToTellItsSize) {
    EXPECT_EQ(file.getSize(), noSize);
}

TEST_F(VFileOnFifo, ReadsNothingWithoutACount) {
    Bytes content = {1, 2};
    EXPECT_NO_THROW(EXPECT_FALSE(file.read(content)));
    EXPECT_EQ(content, (Bytes{1, 2}));
    EXPECT_TRUE(file.read().empty());
}

TEST_F(VFileOnFifo, ReadsACountOfBytes) {
    Bytes content;
    EXPECT_TRUE(file.read(content, 3));
    EXPECT_EQ(content, (Bytes{'a', 'b', 'c'}));
}

TEST_F(VFileOnFifo, IgnoresARewind) {
    file.rewind();
    Bytes content;
    EXPECT_TRUE(file.read(content, 1));
    EXPECT_EQ(content, (Bytes{'a'}));
}

}  // namespace
