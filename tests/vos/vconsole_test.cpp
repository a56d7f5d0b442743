// What a stream's file holds after a text is printed, and in which order.

#include "vlib/vos/vconsole.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "support/files.h"
#include "support/on_threads.h"
#include "support/pipe.h"
#include "support/temporary_directory.h"

namespace {

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

class PrintAndFlush : public testing::Test {
protected:
    TemporaryDirectory directory;
    const std::string path = directory.path("printed");
    const Stream stream{std::fopen(path.c_str(), "wb")};
};

TEST_F(PrintAndFlush, WritesTheTextBeforeItReturns) {
    vos::printAndFlush(stream.get(), "a line\r\n");
    EXPECT_EQ(readFile(path), "a line\r\n");
}

TEST_F(PrintAndFlush, TakesPercentSignsAsTheyAre) {
    vos::printAndFlush(stream.get(), "100 %s\n");
    EXPECT_EQ(readFile(path), "100 %s\n");
}

TEST_F(PrintAndFlush, WritesNothingForAnEmptyText) {
    vos::printAndFlush(stream.get(), "");
    EXPECT_EQ(readFile(path), "");
}

TEST_F(PrintAndFlush, WritesWhatWaitsInTheStreamFirst) {
    std::fputs("before ", stream.get());
    vos::printAndFlush(stream.get(), "now");
    EXPECT_EQ(readFile(path), "before now");
}

TEST_F(PrintAndFlush, FlushesWhatWaitsForAnEmptyTextToo) {
    std::fputs("before", stream.get());
    vos::printAndFlush(stream.get(), "");
    EXPECT_EQ(readFile(path), "before");
}

TEST_F(PrintAndFlush, LetsTheStreamGoOnBehindTheText) {
    vos::printAndFlush(stream.get(), "now ");
    std::fputs("after", stream.get());
    std::fflush(stream.get());
    EXPECT_EQ(readFile(path), "now after");
}

TEST_F(PrintAndFlush, WritesATextThatIsLargerThanTheStreamsBuffer) {
    const std::string text(100000, 'x');
    vos::printAndFlush(stream.get(), text.c_str());
    EXPECT_EQ(readFile(path), text);
}

TEST_F(PrintAndFlush, KeepsTextsOfThreadsWhole) {
    constexpr int count = 2000;
    onThreads(4, [this](int number) {
        const std::string text = "thread " + std::to_string(number) + "\n";
        for (int i = 0; i < count; ++i) {
            number % 2 == 0 ? vos::printAndFlush(stream.get(), text.c_str())
                            : static_cast<void>(std::fputs(text.c_str(), stream.get()));
        }
    });
    std::fflush(stream.get());
    std::array<int, 4> found{};
    std::istringstream lines(readFile(path));
    for (std::string line; std::getline(lines, line);) {
        ASSERT_THAT(line, testing::MatchesRegex("thread [0-3]"));
        ++found.at(static_cast<size_t>(line.back() - '0'));
    }
    EXPECT_THAT(found, testing::Each(count));
}

TEST(PrintAndFlushElsewhere, ServesAStreamWithoutADescriptor) {
    char* text = nullptr;
    size_t size = 0;
    Stream memory(::open_memstream(&text, &size));
    vos::printAndFlush(memory.get(), "a line\r\n");
    EXPECT_STREQ(text, "a line\r\n");
    memory.reset();
    std::free(text);
}

TEST(PrintAndFlushElsewhere, GoesOnBehindALineThatAFullPipeDidNotTake) {
    Pipe pipe;
    Stream stream(::fdopen(::dup(pipe.output()), "wb"));
    const std::string before(pipe.fill(), 'f');
    ::fcntl(pipe.output(), F_SETFL, O_NONBLOCK);
    vos::printAndFlush(stream.get(), "a line\r\n");
    EXPECT_TRUE(std::ferror(stream.get()));
    EXPECT_EQ(pipe.read(before.size()), before);
    vos::printAndFlush(stream.get(), "another\r\n");
    stream.reset();
    EXPECT_EQ(pipe.readAll(), "another\r\n");
}

TEST(PrintAndFlushElsewhere, TellsTheStreamOfAnError) {
    const Stream full(std::fopen("/dev/full", "wb"));
    vos::printAndFlush(full.get(), "a line\r\n");
    EXPECT_TRUE(std::ferror(full.get()));
}

}  // namespace
