// The entry that a thread keeps from line to line.
#include "vlib/vlog/vlog_spare_entry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/capturing_sink.h"
#include "support/sanitizers.h"

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

// ---- entries of written lines ----------------------------------------------------------------

// Where the entries of lines are.
class AddressSink : public VLog::ILogSink {
public:
    explicit AddressSink(VLog& log) { log.addSink(this); }
    void consume(VLog*, const VLog::LogEntry& entry) override { addresses.push_back(&entry); }

    std::vector<const VLog::LogEntry*> addresses;
};

TEST(VLogUsedEntries, OfWrittenLinesServeForLaterOnes) {
    VLog log(200);
    log.addTopic("A", INFO, VLogConfig::SIMPLE, {}, {});
    AddressSink sink(log);
    log.write("A", 1, INFO, "a.cpp", 1, "queued, with the entry");
    log.dumpToFile();
    log.write("A", 1, INFO, "a.cpp", 1, "queued with a new entry, for that of the first line");
    log.write("A", 1, INFO, "a.cpp", 1, "has it");
    ASSERT_THAT(sink.addresses, testing::SizeIs(3));
    EXPECT_NE(sink.addresses[1], sink.addresses[0]);
    EXPECT_EQ(sink.addresses[2], sink.addresses[0]);
}

long allocatedBytes() {
    return static_cast<long>(::mallinfo2().uordblks);
}

// The sanitizers' allocators do not count for mallinfo2.
constexpr bool countsAllocations = !failedAllocationIsFatal;

TEST(VLogUsedEntries, OfHugeLinesAreNotKept) {
    if (!countsAllocations) {
        GTEST_SKIP() << "nothing is counted";
    }
    VLog log(200);
    log.addTopic("A", INFO, VLogConfig::SIMPLE, {}, {});
    const std::string message(20000, 'm');
    const long before = allocatedBytes();
    for (int i = 0; i < 200; ++i) {
        log.write("A", 1, INFO, "a.cpp", 1, "%s", message.c_str());
    }
    log.dumpToFile();
    EXPECT_LT(allocatedBytes() - before, 100 * static_cast<long>(message.size()));
}

TEST(VLogUsedEntries, OfVeryManyFilesAreNotKept) {
    auto entry = vlogspare::take();
    entry->rules.files.reserve(65);
    EXPECT_FALSE(vlogspare::isWorthKeeping(*entry));
}

// ---- the ends of threads ---------------------------------------------------------------------

// How many bytes more are allocated after so many threads have run than before.
template <typename Body>
long growthAfterThreads(int count, Body body) {
    const long before = allocatedBytes();
    for (int i = 0; i < count; ++i) {
        std::thread(body).join();
    }
    return allocatedBytes() - before;
}

// More than may be in the queue, and kept of it.
constexpr int manyThreads = 1000;
constexpr long halfOfTheirEntries = manyThreads / 2 * long{sizeof(VLog::LogEntry)};

class VLogSpareEntryAtTheEnd : public VLogSpareEntry {
protected:
    void SetUp() override {
        if (!countsAllocations) {
            GTEST_SKIP() << "nothing is counted";
        }
    }
};

TEST_F(VLogSpareEntryAtTheEnd, GoesWithItsThread) {
    const auto logOnce = [this] { log.write("A", 1, INFO, "a.cpp", 1, "once"); };
    EXPECT_LT(growthAfterThreads(manyThreads, logOnce), halfOfTheirEntries);
}

TEST_F(VLogSpareEntryAtTheEnd, IsNotLeftBehindByADestructorAtTheVeryEndOfAThread) {
    const auto logAtTheEnd = [this] {
        thread_local LogsAtItsEnd last;
        last.log = &log;
        log.write("A", 1, INFO, "a.cpp", 1, "before");
    };
    EXPECT_LT(growthAfterThreads(manyThreads, logAtTheEnd), halfOfTheirEntries);
}

// Later than the thread's own objects.
TEST_F(VLogSpareEntryAtTheEnd, IsNotLeftBehindByAKeysDestructorThatLogsTheFirstLine) {
    pthread_key_t key{};
    ASSERT_EQ(::pthread_key_create(&key,
                                   [](void* logger) {
                                       static_cast<VLog*>(logger)->write("A", 1, INFO, "a.cpp", 1,
                                                                         "the end");
                                   }),
              0);
    const auto logAtTheEnd = [this, key] { ::pthread_setspecific(key, &log); };
    EXPECT_LT(growthAfterThreads(manyThreads, logAtTheEnd), halfOfTheirEntries);
    ::pthread_key_delete(key);
}

pthread_key_t keyThatComesBack{};

// The system gives up on such a key after some rounds.
TEST_F(VLogSpareEntryAtTheEnd, IsNotLeftBehindByAKeysDestructorThatLogsToTheLast) {
    log.write("A", 1, INFO, "a.cpp", 1, "so that the logger's own key comes first");
    ASSERT_EQ(::pthread_key_create(&keyThatComesBack,
                                   [](void* logger) {
                                       static_cast<VLog*>(logger)->write("A", 1, INFO, "a.cpp", 1,
                                                                         "again");
                                       ::pthread_setspecific(keyThatComesBack, logger);
                                   }),
              0);
    const auto logAtTheEnd = [this] { ::pthread_setspecific(keyThatComesBack, &log); };
    EXPECT_LT(growthAfterThreads(manyThreads, logAtTheEnd), halfOfTheirEntries);
    ::pthread_key_delete(keyThatComesBack);
}

}  // namespace
