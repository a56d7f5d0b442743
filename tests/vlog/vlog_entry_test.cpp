// The entry of a line: what it holds, and where it is kept.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <string>
#include <thread>
#include <vector>

#include "support/capturing_sink.h"
#include "support/held_writer.h"
#include "vlib/vlog/vlog.h"

namespace {

using testing::ElementsAre;

constexpr uint32_t INFO = VLogConfig::INFO;

class VLogEntry : public testing::Test {
protected:
    VLogEntry() { log.addTopic("A", INFO, VLogConfig::SIMPLE, {}, {}); }

    VLog log{200};
};

// A line shows nothing of the longer one before it.
TEST_F(VLogEntry, IsFilledAnewForEachLine) {
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

TEST_F(VLogEntry, StaysAsItIsWhileASinkLogsElsewhere) {
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

// Where the entries of lines are.
class AddressSink : public VLog::ILogSink {
public:
    explicit AddressSink(VLog& log) { log.addSink(this); }
    void consume(VLog*, const VLog::LogEntry& entry) override { addresses.push_back(&entry); }

    std::vector<const VLog::LogEntry*> addresses;
};

// A logger whose writer has drained its queue once has room in it for all lines.
TEST_F(VLogEntry, StandsInTheQueueBehindTheOneBefore) {
    const HeldWriter writer(log);  // after that, and before it drains the queue again
    AddressSink sink(log);
    log.write("A", 1, INFO, "a.cpp", 1, "second");
    log.write("A", 1, INFO, "a.cpp", 1, "third");
    ASSERT_THAT(sink.addresses, testing::SizeIs(2));
    EXPECT_EQ(sink.addresses[1] - sink.addresses[0], 1);
}

// ---- the ends of threads ---------------------------------------------------------------------

// The least key of the process that is free.
pthread_key_t freeKey() {
    pthread_key_t key{};
    EXPECT_EQ(::pthread_key_create(&key, nullptr), 0);
    ::pthread_key_delete(key);
    return key;
}

// What hangs on a key outlives a library that is unloaded.
TEST_F(VLogEntry, LeavesNothingAtTheThreadThatLogs) {
    const pthread_key_t before = freeKey();
    for (int i = 0; i < 300; ++i) {  // more than are queued
        log.write("A", 1, INFO, "a.cpp", 1, "%d", i);
    }
    EXPECT_EQ(freeKey(), before);
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

TEST_F(VLogEntry, IsMadeAlsoByADestructorAtTheVeryEndOfAThread) {
    const CapturingSink sink(log);
    std::thread([this] {
        thread_local LogsAtItsEnd last;
        last.log = &log;
        log.write("A", 1, INFO, "a.cpp", 1, "before");
    }).join();
    EXPECT_THAT(sink.lines(), ElementsAre("[A        : 0x0001 : INFO] -> before\r\n",
                                          "[A        : 0x0001 : INFO] -> the end\r\n",
                                          "[A        : 0x0001 : INFO] -> really\r\n"));
}

}  // namespace
