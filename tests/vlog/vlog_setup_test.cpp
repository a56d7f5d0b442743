// Changing and showing a logger's rules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "support/capturing_sink.h"
#include "support/files.h"
#include "support/log_text.h"
#include "support/output_capture.h"
#include "support/stopwatch.h"
#include "support/temporary_directory.h"
#include "support/wait_until.h"
#include "vlib/vlog/vlog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t INFO = VLogConfig::INFO;
constexpr uint32_t SIMPLE = VLogConfig::SIMPLE;

class VLogSetup : public testing::Test {
protected:
    // Whether a message of the topic at INFO is delivered.
    bool isDelivered(const std::string& topic) {
        const CapturingSink sink(log);
        log.write(topic, 1, INFO, "call.cpp", 12, "hello");
        return !sink.entries.empty();
    }

    TemporaryDirectory directory;
    const std::string path = directory.path("vlog.cfg");
    VLog log{1};
};

// ---- the period -------------------------------------------------------------------------------

// Each line comes to the file in a drain of its own, the first one maybe at once.
TEST_F(VLogSetup, ThePeriodIsHalfASecondUnlessToldOtherwise) {
    const Stopwatch watch;
    VLog usual;
    usual.addTopic("A", INFO, SIMPLE, {path}, {0});
    for (size_t lines = 1; lines <= 3; ++lines) {
        usual.write("A", 1, INFO, "call.cpp", 12, "%s", "");
        const size_t expected = lines * std::string("[A        : 0x0001 : INFO] -> \r\n").size();
        ASSERT_TRUE(waitUntil([&] { return readFile(path).size() == expected; }));
    }
    EXPECT_GE(watch.elapsed(), std::chrono::milliseconds(990));
}

// ---- configFromFile --------------------------------------------------------------------------

TEST_F(VLogSetup, AFileThatLoadsIsReported) {
    writeFile(path, "LOGGER;INFO;SIMPLE;[STDOUT];0\n");
    OutputCapture console;
    EXPECT_EQ(log.configFromFile(path), 4);
    EXPECT_EQ(console.text(),
              "[LOGGER   : 0x0002 : INFO] -> Loaded config file: " + path + " - status: OK\r\n");
}

TEST_F(VLogSetup, AFileThatLoadsIsTheWholeConfiguration) {
    writeFile(path, "A;INFO;SIMPLE;,;0\n");
    log.addTopic("BEFORE", INFO, SIMPLE, {}, {});
    EXPECT_EQ(log.configFromFile(path), 4);
    EXPECT_TRUE(isDelivered("A"));
    EXPECT_FALSE(isDelivered("BEFORE"));
    EXPECT_FALSE(isDelivered("LOGGER"));
}

TEST_F(VLogSetup, AMissingFileIsReportedAndTheDefaultUsed) {
    OutputCapture console;
    EXPECT_EQ(log.configFromFile(path), 4);
    EXPECT_EQ(withoutTimes(console.text()),
              "[TIME : LOGGER   : 0x0001 : CRITICAL] -> Log configuration file [" + path +
                  "] not found - using default\r\n");
}

TEST_F(VLogSetup, AMalformedFileIsReportedAndTheDefaultUsed) {
    writeFile(path, "A;INFO;SIMPLE;f\n");
    OutputCapture console;
    EXPECT_EQ(log.configFromFile(path), 4);
    EXPECT_EQ(withoutTimes(console.text()),
              "[TIME : LOGGER   : 0x0003 : INFO] -> Loaded config file: " + path +
                  " - status: SYNTAX_ERROR - using default\r\n");
}

TEST_F(VLogSetup, AFileWithOneMalformedLineIsMalformed) {
    writeFile(path, "A;INFO;SIMPLE;f;0\nB;INFO;SIMPLE;f\n");
    OutputCapture console;
    EXPECT_EQ(log.configFromFile(path), 4);
    EXPECT_THAT(console.text(), testing::HasSubstr("status: SYNTAX_ERROR - using default\r\n"));
    EXPECT_FALSE(isDelivered("A"));
}

TEST_F(VLogSetup, AnEmptyFileIsMalformed) {
    writeFile(path, "");
    OutputCapture console;
    EXPECT_EQ(log.configFromFile(path), 4);
    EXPECT_THAT(console.text(), testing::HasSubstr("status: SYNTAX_ERROR - using default\r\n"));
}

TEST_F(VLogSetup, ADirectoryIsMalformed) {
    OutputCapture console;
    EXPECT_EQ(log.configFromFile(directory.path()), 4);
    EXPECT_EQ(withoutTimes(console.text()),
              "[TIME : LOGGER   : 0x0003 : INFO] -> Loaded config file: " + directory.path() +
                  " - status: SYNTAX_ERROR - using default\r\n");
}

TEST_F(VLogSetup, TheDefaultAfterAMissingFileReplacesEarlierRules) {
    log.addTopic("BEFORE", INFO, SIMPLE, {}, {});
    OutputCapture console;
    log.configFromFile(path);
    EXPECT_FALSE(isDelivered("BEFORE"));
    EXPECT_TRUE(isDelivered("MSGSERVER"));
}

TEST_F(VLogSetup, TheReportNamesTheLogger) {
    writeFile(path, "LOGGER;INFO;FULL;,;0\n");
    const CapturingSink sink(log);
    log.configFromFile(path);
    ASSERT_EQ(sink.entries.size(), 1U);
    EXPECT_EQ(sink.entries[0].file, "vlog");
    EXPECT_GT(sink.entries[0].line, 0U);
}

// ---- configFromDefault -----------------------------------------------------------------------

TEST_F(VLogSetup, TheDefaultReturnsTheLoadersState) {
    EXPECT_EQ(log.configFromDefault(), VLogConfig::OK);
}

TEST_F(VLogSetup, TheDefaultReplacesEarlierRules) {
    log.addTopic("BEFORE", INFO, SIMPLE, {}, {});
    log.configFromDefault();
    OutputCapture console;
    EXPECT_FALSE(isDelivered("BEFORE"));
    EXPECT_TRUE(isDelivered("*"));
}

TEST_F(VLogSetup, TheDefaultSaysNothing) {
    OutputCapture console;
    log.configFromDefault();
    EXPECT_EQ(console.text(), "");
}

// ---- addTopic and removeTopic ----------------------------------------------------------------

std::vector<uint64_t> sizesOf(VLog& log, std::vector<std::string> files,
                              std::vector<unsigned long> sizes) {
    const CapturingSink sink(log);
    log.addTopic("A", INFO, SIMPLE, std::move(files), std::move(sizes));
    log.write("A", 1, INFO, "call.cpp", 12, "hello");
    return sink.entries.at(0).rules.sizes;
}

TEST_F(VLogSetup, ATopicReplacesTheOneOfTheSameKey) {
    log.addTopic("A", INFO, VLogConfig::FULL, {}, {});
    log.addTopic("A", INFO, SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.write("A", 1, INFO, "call.cpp", 12, "hello");
    EXPECT_THAT(sink.lines(), ElementsAre("[A        : 0x0001 : INFO] -> hello\r\n"));
}

TEST_F(VLogSetup, ATopicWithFewerSizesThanFilesRepeatsTheLast) {
    EXPECT_THAT(sizesOf(log, {"[STDOUT]", "[STDOUT]", "[STDOUT]"}, {1, 2}), ElementsAre(1, 2, 2));
}

TEST_F(VLogSetup, ATopicWithoutSizesHasNoLimits) {
    EXPECT_THAT(sizesOf(log, {"[STDOUT]", "[STDOUT]"}, {}), ElementsAre(0, 0));
}

TEST_F(VLogSetup, ATopicWithMoreSizesThanFilesDropsTheRest) {
    EXPECT_THAT(sizesOf(log, {"[STDOUT]"}, {1, 2, 3}), ElementsAre(1));
}

TEST_F(VLogSetup, ARemovedTopicIsDeliveredNoMore) {
    log.addTopic("A", INFO, SIMPLE, {}, {});
    EXPECT_TRUE(isDelivered("A"));
    log.removeTopic("A", INFO);
    EXPECT_FALSE(isDelivered("A"));
}

TEST_F(VLogSetup, RemovingALevelKeepsTheOthersOfTheTopic) {
    log.addTopic("A", INFO, SIMPLE, {}, {});
    log.addTopic("A", VLogConfig::DEBUG, SIMPLE, {}, {});
    log.removeTopic("A", VLogConfig::DEBUG);
    log.removeTopic("MISSING", INFO);
    EXPECT_TRUE(isDelivered("A"));
}

// ---- dumpConfigInfo --------------------------------------------------------------------------

TEST_F(VLogSetup, DumpsTheRulesInKeyOrder) {
    log.addTopic("VLOG", INFO, SIMPLE, {}, {});
    log.addTopic("A", VLogConfig::CRITICAL, SIMPLE, {"a.log", "[STDOUT]"}, {10, 4294967295});
    log.addTopic("A", INFO, VLogConfig::FULL, {"b.log"}, {0});
    const CapturingSink sink(log);
    log.dumpConfigInfo();
    const std::string start = "[VLOG     : 0x0000 : INFO] -> ";
    const std::string ruler =
        start + "============================================================\r\n";
    EXPECT_THAT(sink.lines(), ElementsAre(ruler, start + "TOPIC: A \t\t LEVEL: INFO\r\n",
                                          start + "FILE: b.log \t SIZE: 0 B\r\n", ruler,
                                          start + "TOPIC: A \t\t LEVEL: CRITICAL\r\n",
                                          start + "FILE: a.log \t SIZE: 10 B\r\n",
                                          start + "FILE: [STDOUT] \t SIZE: 4294967295 B\r\n", ruler,
                                          start + "TOPIC: VLOG \t\t LEVEL: INFO\r\n"));
}

TEST_F(VLogSetup, DumpsTheLowThirtyTwoBitsOfASize) {
    log.addTopic("VLOG", INFO, SIMPLE, {"[STDOUT]"}, {5000000000});
    OutputCapture console;
    log.dumpConfigInfo();
    EXPECT_THAT(console.text(), testing::EndsWith("FILE: [STDOUT] \t SIZE: 705032704 B\r\n"));
}

TEST_F(VLogSetup, DumpsALevelThatIsNotOneAsUnknown) {
    log.addTopic("VLOG", INFO, SIMPLE, {}, {});
    log.addTopic("A", 3, SIMPLE, {}, {});
    const CapturingSink sink(log);
    log.dumpConfigInfo();
    EXPECT_THAT(sink.lines(),
                testing::Contains(testing::EndsWith("-> TOPIC: A \t\t LEVEL: UNKNOWN\r\n")));
}

TEST_F(VLogSetup, DumpsNothingOfTheDefaultConfiguration) {
    log.configFromDefault();
    const CapturingSink sink(log);
    OutputCapture console;
    log.dumpConfigInfo();
    EXPECT_THAT(sink.entries, IsEmpty());
    EXPECT_EQ(console.text(), "");
}

}  // namespace
