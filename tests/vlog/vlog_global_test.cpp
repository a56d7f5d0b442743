// The global logger: how it comes, what it says, how it goes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/log_text.h"
#include "support/on_threads.h"
#include "support/output_capture.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

namespace {

using testing::EndsWith;
using testing::MatchesRegex;

constexpr const char* disabledWarning = "\\[WARN\\]\tvlog:init\\(\\):[0-9]+ - VLog disabled\r\n";
constexpr const char* startedLine =
    "[TIME : LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n";
constexpr const char* stoppedLine =
    "[TIME : LOGGER   : 0x0002 : INFO] -> VLib log session stopped\r\n";

class GlobalLog : public testing::Test {
protected:
    ~GlobalLog() override {
        OutputCapture console;
        VLog::destroy();
    }

    TemporaryDirectory directory;
    const std::string path = directory.path("VLog.CFG");
};

// What the calls print, without timestamps.
std::string printedBy(const std::function<void()>& calls) {
    OutputCapture console;
    calls();
    return withoutTimes(console.text());
}

void say(const char* topic) {
    VLog::getGlobalLog()->write(topic, 1, VLogConfig::INFO, "call.cpp", 12, "hello");
}

// ---- disabled --------------------------------------------------------------------------------

TEST_F(GlobalLog, WarnsOnceWhenItIsAskedForBeforeInit) {
    EXPECT_THAT(printedBy([] {
                    say("LOGGER");
                    say("*");
                }),
                MatchesRegex(disabledWarning));
}

TEST_F(GlobalLog, IsDisabledByAnEmptyName) {
    EXPECT_THAT(printedBy([] { VLog::init(""); }), MatchesRegex(disabledWarning));
    EXPECT_EQ(printedBy([] { say("LOGGER"); }), "");
}

TEST_F(GlobalLog, GivesNothingToSinksWhileItIsDisabled) {
    OutputCapture console;
    const CapturingSink sink(*VLog::getGlobalLog());
    say("LOGGER");
    EXPECT_TRUE(sink.entries.empty());
}

TEST_F(GlobalLog, StaysDisabledWhenInitComesLater) {
    printedBy([] { EXPECT_NE(VLog::getGlobalLog(), nullptr); });
    EXPECT_EQ(printedBy([] {
                  VLog::init("default");
                  say("LOGGER");
              }),
              "");
}

TEST_F(GlobalLog, SaysNothingAtTheEndWhenItIsDisabled) {
    printedBy([] { VLog::init(""); });
    EXPECT_EQ(printedBy([] { VLog::destroy(); }), "");
}

// ---- the built-in configuration --------------------------------------------------------------

TEST_F(GlobalLog, UsesTheBuiltInConfigurationForTheNameDefault) {
    EXPECT_EQ(printedBy([] { VLog::init("default"); }), startedLine);
    EXPECT_EQ(printedBy([] { say("MSGSERVER"); }),
              "[TIME : MSGSERVER : 0x0001 : INFO] -> hello\r\n");
}

TEST_F(GlobalLog, UsesTheBuiltInConfigurationForDefaultInCapitals) {
    EXPECT_EQ(printedBy([] { VLog::init("DEFAULT"); }), startedLine);
}

TEST_F(GlobalLog, UsesTheBuiltInConfigurationForDefaultWithACapital) {
    EXPECT_EQ(printedBy([] { VLog::init("Default"); }), startedLine);
}

TEST_F(GlobalLog, TakesALongerNameForAFile) {
    EXPECT_THAT(printedBy([] { VLog::init("default "); }),
                testing::StartsWith("[TIME : LOGGER   : 0x0001 : CRITICAL] -> Log configuration "
                                    "file [default ] not found - using default\r\n"));
}

TEST_F(GlobalLog, DropsATopicThatTheBuiltInConfigurationDoesNotName) {
    printedBy([] { VLog::init("default"); });
    EXPECT_EQ(printedBy([] { say("VELMORASRV"); }), "");
}

// ---- files -----------------------------------------------------------------------------------

TEST_F(GlobalLog, UsesTheFileOfTheNameAsItIsGiven) {
    writeFile(path, "LOGGER;INFO;SIMPLE;[STDOUT];0\n");
    EXPECT_EQ(printedBy([this] { VLog::init(path); }),
              "[LOGGER   : 0x0002 : INFO] -> Loaded config file: " + path +
                  " - status: OK\r\n[LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n");
}

TEST_F(GlobalLog, FallsBackWhenTheFileIsMissing) {
    EXPECT_EQ(printedBy([this] { VLog::init(path); }),
              "[TIME : LOGGER   : 0x0001 : CRITICAL] -> Log configuration file [" + path +
                  "] not found - using default\r\n" + startedLine);
}

TEST_F(GlobalLog, FallsBackWhenTheFileIsMalformed) {
    writeFile(path, "not a rule at all\n");
    EXPECT_EQ(printedBy([this] { VLog::init(path); }),
              "[TIME : LOGGER   : 0x0003 : INFO] -> Loaded config file: " + path +
                  " - status: SYNTAX_ERROR - using default\r\n" + startedLine);
}

TEST_F(GlobalLog, FallsBackWhenTheFileIsADirectory) {
    EXPECT_EQ(printedBy([this] { VLog::init(directory.path()); }),
              "[TIME : LOGGER   : 0x0003 : INFO] -> Loaded config file: " + directory.path() +
                  " - status: SYNTAX_ERROR - using default\r\n" + startedLine);
}

TEST_F(GlobalLog, WritesWhatIsQueuedBeforeDestroyReturns) {
    const std::string log = directory.path("log");
    writeFile(path, "LOGGER;INFO;SIMPLE;" + log + ";0\nA;INFO;SIMPLE;" + log + ";0\n");
    VLog::init(path);
    say("A");
    VLog::destroy();
    EXPECT_THAT(readFile(log),
                EndsWith("[LOGGER   : 0x0001 : INFO] -> VLib log session started\r\n"
                         "[A        : 0x0001 : INFO] -> hello\r\n"
                         "[LOGGER   : 0x0002 : INFO] -> VLib log session stopped\r\n"));
}

TEST_F(GlobalLog, WritesItsFilesWhileItRuns) {
    const std::string log = directory.path("log");
    writeFile(path, "A;INFO;SIMPLE;" + log + ";0\n");
    VLog::init(path);
    say("A");
    EXPECT_TRUE(waitUntil([&] { return !readFile(log).empty(); }));
    EXPECT_EQ(readFile(log), "[A        : 0x0001 : INFO] -> hello\r\n");
}

// ---- coming and going ------------------------------------------------------------------------

TEST_F(GlobalLog, IsTheSameForAll) {
    printedBy([] { VLog::init("default"); });
    VLog* const log = VLog::getGlobalLog();
    EXPECT_NE(log, nullptr);
    EXPECT_EQ(VLog::getGlobalLog(), log);
}

TEST_F(GlobalLog, IgnoresASecondInit) {
    printedBy([] { VLog::init("default"); });
    VLog* const log = VLog::getGlobalLog();
    EXPECT_EQ(printedBy([this] {
                  VLog::init("");
                  VLog::init("default");
                  VLog::init(path);
              }),
              "");
    EXPECT_EQ(VLog::getGlobalLog(), log);
    EXPECT_NE(printedBy([] { say("MSGSERVER"); }), "");
}

TEST_F(GlobalLog, SaysThatItStops) {
    printedBy([] { VLog::init("default"); });
    EXPECT_EQ(printedBy([] { VLog::destroy(); }), stoppedLine);
}

TEST_F(GlobalLog, IsNotThereForASecondDestroy) {
    printedBy([] { VLog::init("default"); });
    printedBy([] { VLog::destroy(); });
    EXPECT_EQ(printedBy([] { VLog::destroy(); }), "");
}

TEST_F(GlobalLog, NeedNotExistForDestroy) {
    EXPECT_EQ(printedBy([] { VLog::destroy(); }), "");
}

TEST_F(GlobalLog, ComesAgainAfterDestroy) {
    printedBy([] { VLog::init(""); });
    printedBy([] { VLog::destroy(); });
    EXPECT_EQ(printedBy([] { VLog::init("default"); }), startedLine);
    EXPECT_NE(printedBy([] { say("MSGSERVER"); }), "");
}

TEST_F(GlobalLog, CanBeConfiguredAfterItWasDisabled) {
    printedBy([] { VLog::init(""); });
    EXPECT_EQ(VLog::getGlobalLog()->configFromDefault(), VLogConfig::OK);
    EXPECT_EQ(printedBy([] { VLog::destroy(); }), stoppedLine);
}

// ---- several threads -------------------------------------------------------------------------

TEST_F(GlobalLog, IsMadeOnceWhenSeveralThreadsAskForIt) {
    std::vector<VLog*> seen(8);
    EXPECT_THAT(printedBy([&] {
                    onThreads(8,
                              [&](int i) { seen[static_cast<size_t>(i)] = VLog::getGlobalLog(); });
                }),
                MatchesRegex(disabledWarning));
    EXPECT_THAT(seen, testing::Each(VLog::getGlobalLog()));
}

TEST_F(GlobalLog, IsConfiguredOnceWhenSeveralThreadsInitialiseIt) {
    EXPECT_EQ(printedBy([] { onThreads(8, [](int) { VLog::init("default"); }); }), startedLine);
}

TEST_F(GlobalLog, IsNotSeenBeforeItIsConfigured) {
    const std::string everything = printedBy(
        [] { onThreads(8, [](int i) { i == 0 ? VLog::init("default") : say("MSGSERVER"); }); });
    // Either the initialisation was first and nothing is lost, or it came too late.
    EXPECT_THAT(everything,
                testing::AnyOf(MatchesRegex(disabledWarning), testing::StartsWith(startedLine)));
}

// Calls init when it is given a line.
class InitialisingSink : public VLog::ILogSink {
public:
    void consume(VLog* /*log*/, const VLog::LogEntry& /*entry*/) override {
        VLog::init("default");
        ++calls;
    }

    int calls = 0;
};

TEST_F(GlobalLog, IgnoresAnInitOfASinkThatIsGivenItsLastLine) {
    InitialisingSink sink;
    (void)printedBy([&] {
        VLog::init("default");
        VLog::getGlobalLog()->addSink(&sink);
        VLog::destroy();
    });
    EXPECT_EQ(sink.calls, 1);
}

TEST_F(GlobalLog, IsHandedToNobodyWhileItGoes) {
    (void)printedBy([] { (void)VLog::getGlobalLog(); });
    const std::string fifo = directory.path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR), 0);
    VLog* const going = VLog::getGlobalLog();
    going->addTopic("A", VLogConfig::INFO, VLogConfig::SIMPLE, {fifo}, {0});
    say("A");  // keeps the writer, which waits for the other end

    std::jthread destroyer([] { VLog::destroy(); });
    std::atomic<bool> isGone = false;
    std::atomic<int> asked = 0;
    std::jthread seeker([&] {
        do {
            ++asked;
        } while (VLog::getGlobalLog() == going && !isGone);
    });
    EXPECT_TRUE(waitUntil([&] {
        const int before = asked;
        VThread::sleep(50);
        return before > 0 && asked == before;
    }));

    const int ends = ::open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    destroyer.join();
    isGone = true;
    seeker.join();
    ::close(ends);
}

TEST_F(GlobalLog, ComesAndGoesOnSeveralThreads) {
    printedBy([] {
        onThreads(6, [](int i) {
            const std::function<void()> calls[] = {
                [] { VLog::init("default"); },
                [] { EXPECT_NE(VLog::getGlobalLog(), nullptr); },
                [] { VLog::destroy(); },
            };
            for (int round = 0; round < 3; ++round) {
                calls[i % 3]();
            }
        });
    });
    printedBy([] { VLog::destroy(); });
    EXPECT_EQ(printedBy([] { VLog::init("default"); }), startedLine);
}

}  // namespace
