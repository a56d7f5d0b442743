// The way of one line from write() to the console, the queue and the sinks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/held_writer.h"
#include "support/output_capture.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "support/waiting_sink.h"
#include "vlib/vlog/vlog.h"
#include "vlib/vlog/vlog_format.h"
#include "vlib/vos/vthread.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr uint32_t INFO = VLogConfig::INFO;
const std::string prefix = "[A        : 0x002A : INFO] -> ";

class VLogWrite : public testing::Test {
protected:
    void route(std::vector<std::string> files, uint32_t tagfmt = VLogConfig::SIMPLE) {
        log.addTopic("A", INFO, tagfmt, std::move(files), {0});
    }
    void say(const std::string& text) {
        log.write("A", 0x2A, INFO, "call.cpp", 12, "%s", text.c_str());
    }

    TemporaryDirectory directory;
    const std::string file = directory.path("log");
    VLog log{1};
};

// What a message of this text becomes.
std::string lineOf(const std::string& text) {
    return prefix + text + "\r\n";
}

// ---- the rule --------------------------------------------------------------------------------

TEST_F(VLogWrite, DeliversToTheRuleOfExactlyTopicAndLevel) {
    route({});
    const CapturingSink sink(log);
    say("hello");
    EXPECT_THAT(sink.lines(), ElementsAre("[A        : 0x002A : INFO] -> hello\r\n"));
}

TEST_F(VLogWrite, DeliversUnderEachOfAThousandTopics) {
    const CapturingSink sink(log);
    for (int i = 0; i < 1000; ++i) {
        const std::string topic = std::to_string(i * 7919);
        log.addTopic(topic, INFO, VLogConfig::SIMPLE, {}, {});
        log.write(topic, 1, INFO, "call.cpp", 12, "%s", "hello");
        EXPECT_THAT(sink.last(), testing::HasSubstr(topic));
        log.removeTopic(topic, INFO);
    }
}

TEST_F(VLogWrite, DropsALevelWithoutARule) {
    route({"[STDOUT]", file});
    const CapturingSink sink(log);
    OutputCapture console;
    log.write("A", 1, VLogConfig::DEBUG, "call.cpp", 12, "hello");
    log.dumpToFile();
    EXPECT_EQ(console.text(), "");
    EXPECT_THAT(sink.entries, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(VLogWrite, DropsALevelThatOnlyContainsTheRulesBit) {
    route({});
    const CapturingSink sink(log);
    log.write("A", 1, VLogConfig::INFO | VLogConfig::DEBUG, "call.cpp", 12, "hello");
    EXPECT_THAT(sink.entries, IsEmpty());
}

TEST_F(VLogWrite, DropsATopicWithoutARule) {
    route({});
    const CapturingSink sink(log);
    log.write("a", 1, INFO, "call.cpp", 12, "hello");
    log.write("AB", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_THAT(sink.entries, IsEmpty());
}

// Two topics of one length with the same first and last letters.
TEST_F(VLogWrite, DropsATopicThatIsLikeOneWithARule) {
    log.addTopic("TOP1C", INFO, VLogConfig::SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.write("TOP2C", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_THAT(sink.entries, IsEmpty());
}

TEST_F(VLogWrite, ServesATopicWhenOneThatIsLikeItHasGone) {
    log.addTopic("TOP1C", INFO, VLogConfig::SIMPLE, {}, {});
    log.addTopic("TOP2C", INFO, VLogConfig::SIMPLE, {}, {});
    log.removeTopic("TOP1C", INFO);
    const CapturingSink sink(log);
    log.write("TOP2C", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_EQ(sink.last(), "[TOP2C    : 0x0001 : INFO] -> hello\r\n");
}

TEST_F(VLogWrite, ServesAnEmptyTopic) {
    log.addTopic("", INFO, VLogConfig::SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.write("", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_EQ(sink.last(), "[         : 0x0001 : INFO] -> hello\r\n");
}

TEST_F(VLogWrite, TreatsTheStarAsAName) {
    log.addTopic("*", INFO, VLogConfig::SIMPLE, {}, {});
    const CapturingSink sink(log);
    say("no");
    log.write("*", 1, INFO, "call.cpp", 12, "yes");
    EXPECT_THAT(sink.lines(), ElementsAre("[*        : 0x0001 : INFO] -> yes\r\n"));
}

TEST_F(VLogWrite, ServesARuleOfLevelNone) {
    log.addTopic("A", VLogConfig::NONE, VLogConfig::SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.write("A", 1, VLogConfig::NONE, "call.cpp", 12, "hello");
    EXPECT_EQ(sink.last(), "[A        : 0x0001 : NONE] -> hello\r\n");
}

TEST_F(VLogWrite, CallsALevelThatIsNotOneUnknown) {
    log.addTopic("A", 3, VLogConfig::SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.write("A", 1, 3, "call.cpp", 12, "hello");
    EXPECT_EQ(sink.last(), "[A        : 0x0001 : UNKNOWN] -> hello\r\n");
}

TEST_F(VLogWrite, DropsEverythingWithoutRules) {
    const CapturingSink sink(log);
    say("hello");
    EXPECT_THAT(sink.entries, IsEmpty());
}

// ---- the entry -------------------------------------------------------------------------------

TEST(VLogEntry, IsEmptyWhenItIsMade) {
    const VLog::LogEntry entry;
    EXPECT_EQ(entry.id, 0U);
    EXPECT_EQ(entry.line, 0U);
    EXPECT_EQ(entry.buffer, "");
}

TEST_F(VLogWrite, FillsTheEntry) {
    route({file, file + "2"});
    const CapturingSink sink(log);
    say("hello");
    ASSERT_THAT(sink.entries, SizeIs(1));
    const VLog::LogEntry& entry = sink.entries[0];
    EXPECT_EQ(entry.rules.topic, "A");
    EXPECT_EQ(entry.rules.level, INFO);
    EXPECT_EQ(entry.rules.tagfmt, VLogConfig::SIMPLE);
    EXPECT_THAT(entry.rules.files, ElementsAre(file, file + "2"));
    EXPECT_THAT(entry.rules.sizes, ElementsAre(0U, 0U));
    EXPECT_EQ(entry.id, 0x2AU);
    EXPECT_EQ(entry.tid, VThread::self());
    EXPECT_EQ(entry.file, "call.cpp");
    EXPECT_EQ(entry.line, 12U);
    EXPECT_EQ(entry.buffer, lineOf("hello"));
}

TEST_F(VLogWrite, StampsTheEntryWithTheLocalTime) {
    route({});
    const CapturingSink sink(log);
    say("hello");
    ASSERT_THAT(sink.entries, SizeIs(1));
    EXPECT_THAT(sink.entries[0].timestamp.c_str(),
                testing::MatchesRegex("[0-9]{4}:[0-9]{2}:[0-9]{2} "
                                      "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}"));
}

TEST_F(VLogWrite, StampsTheEntryWith32CharactersThatEndInNuls) {
    route({});
    const CapturingSink sink(log);
    say("hello");
    ASSERT_THAT(sink.entries, SizeIs(1));
    EXPECT_EQ(sink.entries[0].timestamp.size(), 32U);
    EXPECT_EQ(sink.entries[0].timestamp.substr(26), std::string(6, '\0'));
}

TEST_F(VLogWrite, TakesTheThreadThatCalls) {
    route({});
    const CapturingSink sink(log);
    os_thread_t caller{};
    std::thread([&] {
        caller = VThread::self();
        say("hello");
    }).join();
    ASSERT_THAT(sink.entries, SizeIs(1));
    EXPECT_EQ(sink.entries[0].tid, caller);
}

TEST_F(VLogWrite, PutsTheEntrysTimestampBeforeASimpleTsLine) {
    route({}, VLogConfig::SIMPLE_TS);
    const CapturingSink sink(log);
    say("hello");
    ASSERT_THAT(sink.entries, SizeIs(1));
    EXPECT_EQ(sink.last(), std::string("[") + sink.entries[0].timestamp.c_str() +
                               " : A        : 0x002A : INFO] -> hello\r\n");
}

TEST_F(VLogWrite, PutsTimestampThreadAndCallSiteIntoAFullLine) {
    route({}, VLogConfig::FULL);
    const CapturingSink sink(log);
    say("hello");
    ASSERT_THAT(sink.entries, SizeIs(1));
    EXPECT_EQ(sink.last(), std::string("[") + sink.entries[0].timestamp.c_str() + " : " +
                               vlogformat::threadIdText(VThread::self()) +
                               " : A        : 0x002A : INFO : call.cpp : 12] -> hello\r\n");
}

TEST_F(VLogWrite, UsesSimpleTsForATagFormatThatIsNone) {
    route({}, 77);
    const CapturingSink sink(log);
    say("hello");
    ASSERT_THAT(sink.entries, SizeIs(1));
    EXPECT_EQ(sink.last(), std::string("[") + sink.entries[0].timestamp.c_str() +
                               " : A        : 0x002A : INFO] -> hello\r\n");
}

TEST_F(VLogWrite, TakesANullFileAsAnEmptyName) {
    route({}, VLogConfig::FULL);
    const CapturingSink sink(log);
    log.write("A", 1, INFO, nullptr, 12, "hello");
    EXPECT_THAT(sink.last(), testing::EndsWith(" : INFO :  : 12] -> hello\r\n"));
}

TEST_F(VLogWrite, TakesANullFormatAsAnEmptyMessage) {
    route({});
    const CapturingSink sink(log);
    const char* volatile none = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"  // the format is a variable on purpose
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    log.write("A", 0x2A, INFO, "call.cpp", 12, none);
#pragma GCC diagnostic pop
    EXPECT_EQ(sink.last(), lineOf(""));
}

TEST_F(VLogWrite, ShowsANegativeLineWithItsSign) {
    route({}, VLogConfig::FULL);
    const CapturingSink sink(log);
    log.write("A", 1, INFO, "call.cpp", -12, "hello");
    EXPECT_THAT(sink.last(), testing::EndsWith(" : call.cpp : -12] -> hello\r\n"));
}

TEST_F(VLogWrite, TakesAMessageThatCannotBeConvertedAsEmpty) {
    route({});
    const CapturingSink sink(log);
    log.write("A", 0x2A, INFO, "call.cpp", 12, "%ls", L"\x20AC");
    EXPECT_EQ(sink.last(), lineOf(""));
}

TEST_F(VLogWrite, KeepsTheFirstPartOfALongMessageAndPadsWithZeroBytes) {
    route({file});
    const CapturingSink sink(log);
    say(std::string(2000, 'm'));
    log.dumpToFile();
    const std::string expected = lineOf(std::string(993, 'm') + std::string(1007, '\0'));
    EXPECT_EQ(sink.last(), expected);
    EXPECT_EQ(readFile(file), expected);
}

TEST_F(VLogWrite, CutsAPrefixThatDoesNotFit) {
    const std::string topic(600, 'T');
    log.addTopic(topic, INFO, VLogConfig::SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.write(topic, 1, INFO, "call.cpp", 12, "hello");
    EXPECT_EQ(sink.last(), std::string("[") + std::string(510, 'T') + "hello\r\n");
}

TEST_F(VLogWrite, CutsAFullPrefixOfALongFileName) {
    route({}, VLogConfig::FULL);
    const CapturingSink sink(log);
    log.write("A", 1, INFO, std::string(5000, 'f').c_str(), 12, "hello");
    EXPECT_EQ(sink.last().size(), 511U + 7U);
    EXPECT_THAT(sink.last(), testing::EndsWith("fffhello\r\n"));
}

// ---- the console -----------------------------------------------------------------------------

TEST_F(VLogWrite, PrintsOnTheConsoleBeforeItReturns) {
    route({"[STDOUT]"});
    OutputCapture console;
    say("one");
    say("two");
    EXPECT_EQ(console.text(), lineOf("one") + lineOf("two"));
}

TEST_F(VLogWrite, FindsTheConsoleAnywhereAmongTheFilesAndPrintsOnce) {
    route({file, "[STDOUT]", "[STDOUT]"});
    OutputCapture console;
    say("hello");
    log.dumpToFile();
    EXPECT_EQ(console.text(), lineOf("hello"));
    EXPECT_EQ(readFile(file), lineOf("hello"));
}

TEST_F(VLogWrite, PrintsNothingWithoutTheConsoleInTheRule) {
    route({file});
    OutputCapture console;
    say("hello");
    log.dumpToFile();
    EXPECT_EQ(console.text(), "");
}

TEST_F(VLogWrite, PrintsPercentSignsOfAMessageAsTheyAre) {
    route({"[STDOUT]"});
    OutputCapture console;
    say("100%s %n");
    EXPECT_EQ(console.text(), lineOf("100%s %n"));
}

TEST_F(VLogWrite, PrintsALineThatDoesNotFitWithoutItsLineEnd) {
    route({"[STDOUT]"});
    OutputCapture console;
    say(std::string(1024, 'm'));
    EXPECT_EQ(console.text(), prefix + std::string(993, 'm'));
}

TEST_F(VLogWrite, PrintsALineOfOneThousandTwentyThreeCharactersWhole) {
    route({"[STDOUT]"});
    OutputCapture console;
    say(std::string(993, 'm'));
    EXPECT_EQ(console.text(), lineOf(std::string(993, 'm')));
}

// ---- the queue -------------------------------------------------------------------------------

std::string numberedLines(int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += lineOf(std::to_string(i));
    }
    return all;
}

TEST_F(VLogWrite, QueuesTwoHundredLinesAndNoMore) {
    HeldWriter writer(log);
    route({file});
    for (int i = 0; i < 201; ++i) {
        say(std::to_string(i));
    }
    writer.release();
    EXPECT_EQ(readFile(file), numberedLines(200));
}

TEST_F(VLogWrite, GivesALineBeyondTheQueueToConsoleAndSinks) {
    HeldWriter writer(log);
    route({"[STDOUT]", file});
    const CapturingSink sink(log);
    OutputCapture console;
    for (int i = 0; i < 201; ++i) {
        say(std::to_string(i));
    }
    EXPECT_EQ(console.text(), numberedLines(201));
    EXPECT_THAT(sink.entries, SizeIs(201));
    EXPECT_EQ(sink.last(), lineOf("200"));
}

TEST_F(VLogWrite, QueuesAgainAfterADrain) {
    HeldWriter writer(log);
    route({file});
    for (int i = 0; i < 250; ++i) {
        say("filler");
    }
    writer.release();
    say("after");
    log.dumpToFile();
    EXPECT_THAT(readFile(file), testing::EndsWith(lineOf("filler") + lineOf("after")));
}

TEST_F(VLogWrite, QueuesLinesOfConsoleRulesToo) {
    HeldWriter writer(log);
    log.addTopic("CONSOLE", INFO, VLogConfig::SIMPLE, {"[STDOUT]"}, {0});
    route({file});
    OutputCapture console;
    for (int i = 0; i < 200; ++i) {
        log.write("CONSOLE", 1, INFO, "call.cpp", 12, "takes a place");
    }
    say("finds none");
    writer.release();
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(VLogWrite, DoesNotWaitForFiles) {
    const HeldWriter writer(log);
    route({file});
    const CapturingSink sink(log);
    say("hello");
    EXPECT_EQ(sink.last(), lineOf("hello"));
    EXPECT_FALSE(std::filesystem::exists(file));
}

// ---- sinks -----------------------------------------------------------------------------------

// Writes its name into a list that all share.
class NamedSink : public VLog::ILogSink {
public:
    NamedSink(std::string sinkName, std::vector<std::string>& sharedList)
        : name(std::move(sinkName)), list(sharedList) {}
    void consume(VLog* /*log*/, const VLog::LogEntry& /*entry*/) override { list.push_back(name); }

private:
    std::string name;
    std::vector<std::string>& list;
};

class VLogSinks : public VLogWrite {
protected:
    VLogSinks() { route({}); }

    std::vector<std::string> calls;
    NamedSink first{"first", calls};
    NamedSink second{"second", calls};
};

TEST_F(VLogSinks, AreCalledInTheOrderOfTheirAddition) {
    log.addSink(&second);
    log.addSink(&first);
    say("hello");
    EXPECT_THAT(calls, ElementsAre("second", "first"));
}

TEST_F(VLogSinks, AreCalledOnceALine) {
    log.addSink(&first);
    say("hello");
    say("hello");
    EXPECT_THAT(calls, ElementsAre("first", "first"));
}

TEST_F(VLogSinks, AddedTwiceAreInTheListOnce) {
    log.addSink(&first);
    log.addSink(&second);
    log.addSink(&first);
    say("hello");
    EXPECT_THAT(calls, ElementsAre("first", "second"));
}

TEST_F(VLogSinks, RemovedAreCalledNoMore) {
    log.addSink(&first);
    log.addSink(&second);
    log.removeSink(&first);
    say("hello");
    EXPECT_THAT(calls, ElementsAre("second"));
}

TEST_F(VLogSinks, AddedTwiceAndRemovedOnceAreGone) {
    log.addSink(&first);
    log.addSink(&first);
    log.removeSink(&first);
    say("hello");
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(VLogSinks, AddedAgainStandAtTheEnd) {
    log.addSink(&first);
    log.addSink(&second);
    log.removeSink(&first);
    log.addSink(&first);
    say("hello");
    EXPECT_THAT(calls, ElementsAre("second", "first"));
}

TEST_F(VLogSinks, RemovingAnUnknownOneChangesNothing) {
    log.addSink(&first);
    log.removeSink(&second);
    log.removeSink(nullptr);
    say("hello");
    EXPECT_THAT(calls, ElementsAre("first"));
}

TEST_F(VLogSinks, ThatAreNullAreNotAdded) {
    log.addSink(nullptr);
    log.addSink(&first);
    say("hello");
    EXPECT_THAT(calls, ElementsAre("first"));
}

TEST_F(VLogSinks, AreHandedTheirLogger) {
    struct : VLog::ILogSink {
        void consume(VLog* log, const VLog::LogEntry& /*entry*/) override { seen = log; }
        VLog* seen = nullptr;
    } sink;
    log.addSink(&sink);
    say("hello");
    EXPECT_EQ(sink.seen, &log);
}

TEST(VLogSinkOwnership, OutlivesTheLogger) {
    std::vector<std::string> calls;
    NamedSink sink("sink", calls);
    {
        VLog log(1);
        log.addSink(&sink);
    }
    VLog next(1);
    next.addTopic("A", INFO, VLogConfig::SIMPLE, {}, {});
    next.addSink(&sink);
    next.write("A", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_THAT(calls, ElementsAre("sink"));
}

// Whether the flag stays false for a while; shorter than any deadline, so that a test that passes
// ends soon.
bool staysFalse(const std::atomic<bool>& flag) {
    return !waitUntil([&] { return flag.load(); }, std::chrono::milliseconds(50));
}

TEST_F(VLogSinks, RunWithTheLoggersMutexHeld) {
    log.addTopic("B", INFO, VLogConfig::SIMPLE, {}, {});
    WaitingSink sink;
    log.addSink(&sink);
    std::atomic<bool> returned = false;
    std::thread inSink([&] { say("in the sink"); });
    EXPECT_TRUE(waitUntil([&] { return sink.entered.load(); }));
    std::thread other([&] {
        log.write("B", 1, INFO, "call.cpp", 12, "waits");
        returned = true;
    });
    EXPECT_TRUE(staysFalse(returned));
    sink.goOn = true;
    inSink.join();
    other.join();
    EXPECT_TRUE(sink.letGo);
}

TEST_F(VLogSinks, AreNotAddedWhileOneRuns) {
    WaitingSink sink;
    log.addSink(&sink);
    std::atomic<bool> returned = false;
    std::thread inSink([&] { say("in the sink"); });
    EXPECT_TRUE(waitUntil([&] { return sink.entered.load(); }));
    std::thread other([&] {
        log.addSink(&first);
        returned = true;
    });
    EXPECT_TRUE(staysFalse(returned));
    sink.goOn = true;
    inSink.join();
    other.join();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(VLogSinks, RunAfterTheLineIsOnTheConsole) {
    struct : VLog::ILogSink {
        void consume(VLog* /*log*/, const VLog::LogEntry& /*entry*/) override {
            std::fputs("sink\n", stdout);
        }
    } sink;
    route({"[STDOUT]"});
    log.addSink(&sink);
    OutputCapture console;
    say("hello");
    EXPECT_EQ(console.text(), lineOf("hello") + "sink\n");
}

}  // namespace
