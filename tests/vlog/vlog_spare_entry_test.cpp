// The entry that a thread keeps from line to line.
#include "vlib/vlog/vlog_spare_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>
#include <thread>
#include <utility>

#include "support/capturing_sink.h"

namespace {

using testing::ElementsAre;

constexpr uint32_t INFO = VLogConfig::INFO;

class VLogSpareEntry : public testing::Test {
protected:
    VLogSpareEntry() { log.addTopic("A", INFO, VLogConfig::SIMPLE, {}, {}); }

    VLog log{1};
};

TEST(VLogSpare, IsTheEntryThatTheThreadKept) {
    auto entry = vlogspare::take();
    const VLog::LogEntry* const kept = entry.get();
    vlogspare::keep(std::move(entry));
    EXPECT_EQ(vlogspare::take().get(), kept);
}

TEST(VLogSpare, IsAnotherOneWhileTheFirstIsInUse) {
    auto first = vlogspare::take();
    const auto second = vlogspare::take();
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
}

TEST(VLogSpare, IsNoneOfAnotherThread) {
    auto entry = vlogspare::take();
    const VLog::LogEntry* const kept = entry.get();
    vlogspare::keep(std::move(entry));
    std::thread([kept] { EXPECT_NE(vlogspare::take().get(), kept); }).join();
}

TEST(VLogSpare, KeepsNothingOfNull) {
    vlogspare::keep(nullptr);
    EXPECT_NE(vlogspare::take(), nullptr);
}

TEST(VLogSpare, LeavesTheMemoryOfAHugeLineToTheSystem) {
    auto entry = vlogspare::take();
    entry->buffer.reserve(2049);
    EXPECT_FALSE(vlogspare::isWorthKeeping(*entry));
    vlogspare::keep(std::move(entry));
    EXPECT_LT(vlogspare::take()->buffer.capacity(), 2049U);
}

TEST(VLogSpare, KeepsTheMemoryOfALineOfUsualLength) {
    auto entry = vlogspare::take();
    entry->buffer.reserve(1026);
    EXPECT_TRUE(vlogspare::isWorthKeeping(*entry));
}

// A line shows nothing of the longer one that had its entry before.
TEST_F(VLogSpareEntry, IsFilledAnewForEachLine) {
    log.addTopic("LONG", INFO, VLogConfig::FULL, {"", "", ""}, {1, 2, 3});
    log.write("LONG", 0xFFFF, INFO, "a_very_long_name_of_a_file.cpp", 999999, "%s",
              std::string(900, 'm').c_str());
    const CapturingSink sink(log);
    log.write("A", 1, INFO, "a.cpp", 2, "short");

    EXPECT_THAT(sink.lines(), ElementsAre("[A        : 0x0001 : INFO] -> short\r\n"));
    const VLog::LogEntry& entry = sink.entries.front();
    EXPECT_EQ(entry.file, "a.cpp");
    EXPECT_EQ(entry.line, 2U);
    EXPECT_THAT(entry.rules.files, testing::IsEmpty());
    EXPECT_THAT(entry.rules.sizes, testing::IsEmpty());
}

// Hands its lines on to another logger.
class Relay : public VLog::ILogSink {
public:
    explicit Relay(VLog& logger) : next(logger) {}
    void consume(VLog*, const VLog::LogEntry& entry) override {
        next.write("A", 2, INFO, "relay.cpp", 2, "relayed");
        seenAfterwards = entry.buffer;
    }

    std::string seenAfterwards;

private:
    VLog& next;
};

TEST_F(VLogSpareEntry, StaysAsItIsWhileASinkLogsElsewhere) {
    VLog first{1};
    first.addTopic("B", INFO, VLogConfig::SIMPLE, {}, {});
    Relay relay(log);
    first.addSink(&relay);
    const CapturingSink sink(log);
    for (int i = 0; i < 300; ++i) {  // more than are queued
        first.write("B", 1, INFO, "b.cpp", 1, "%d", i);
    }
    EXPECT_EQ(relay.seenAfterwards, "[B        : 0x0001 : INFO] -> 299\r\n");
    EXPECT_EQ(sink.last(), "[A        : 0x0002 : INFO] -> relayed\r\n");
}

struct LogsAtItsEnd {
    ~LogsAtItsEnd() {
        if (log != nullptr) {
            log->write("A", 1, INFO, "a.cpp", 1, "the end");
            log->write("A", 1, INFO, "a.cpp", 1, "really");
        }
    }
    VLog* log = nullptr;
};

TEST_F(VLogSpareEntry, IsNotMissedByADestructorAtTheVeryEndOfAThread) {
    const CapturingSink sink(log);
    std::thread([this] {
        // Made first, and so destroyed after what the logger keeps for the thread.
        thread_local LogsAtItsEnd last;
        last.log = &log;
        log.write("A", 1, INFO, "a.cpp", 1, "before");
    }).join();
    EXPECT_THAT(sink.lines(), ElementsAre("[A        : 0x0001 : INFO] -> before\r\n",
                                          "[A        : 0x0001 : INFO] -> the end\r\n",
                                          "[A        : 0x0001 : INFO] -> really\r\n"));
}

// How many bytes more are allocated after so many threads have run than before.
template <typename Body>
long growthAfterThreads(int count, Body body) {
    const auto before = static_cast<long>(::mallinfo2().uordblks);
    for (int i = 0; i < count; ++i) {
        std::thread(body).join();
    }
    return static_cast<long>(::mallinfo2().uordblks) - before;
}

// More than may be in the queue, and kept of it.
constexpr int manyThreads = 1000;
constexpr long halfOfTheirEntries = manyThreads / 2 * long{sizeof(VLog::LogEntry)};

TEST_F(VLogSpareEntry, GoesWithItsThread) {
    const auto logOnce = [this] { log.write("A", 1, INFO, "a.cpp", 1, "once"); };
    EXPECT_LT(growthAfterThreads(manyThreads, logOnce), halfOfTheirEntries);
}

TEST_F(VLogSpareEntry, IsNotLeftBehindByADestructorAtTheVeryEndOfAThread) {
    const auto logAtTheEnd = [this] {
        thread_local LogsAtItsEnd last;
        last.log = &log;
        log.write("A", 1, INFO, "a.cpp", 1, "before");
    };
    EXPECT_LT(growthAfterThreads(manyThreads, logAtTheEnd), halfOfTheirEntries);
}

}  // namespace
