// The text of a log configuration, and the rules that it makes.
#include "vlib/vlog/vlog_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/log_rules.h"
#include "support/temporary_directory.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Sizes = std::vector<uint64_t>;

// The one rule that a text makes.
VLogConfig::Entry onlyRule(const std::string& text) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, text), VLogConfig::OK) << text;
    EXPECT_EQ(config.configTree.size(), 1U) << text;
    return config.configTree.empty() ? VLogConfig::Entry{} : config.configTree.begin()->second;
}

TEST(VLogConfigValues, LevelsAreSingleBits) {
    EXPECT_EQ(VLogConfig::NONE, 0);
    EXPECT_EQ(VLogConfig::INFO, 1);
    EXPECT_EQ(VLogConfig::DEBUG, 2);
    EXPECT_EQ(VLogConfig::WARN, 4);
    EXPECT_EQ(VLogConfig::NOTICE, 8);
    EXPECT_EQ(VLogConfig::CRITICAL, 16);
    EXPECT_EQ(VLogConfig::Level::TRACE, 32);
}

TEST(VLogConfigValues, TagFormatsCountFromOne) {
    EXPECT_EQ(VLogConfig::SIMPLE, 1);
    EXPECT_EQ(VLogConfig::SIMPLE_TS, 2);
    EXPECT_EQ(VLogConfig::Tag::FULL, 3);
}

TEST(VLogConfigValues, LoadStatesAreBits) {
    EXPECT_EQ(VLogConfig::EMPTY, 0);
    EXPECT_EQ(VLogConfig::MALFORMED, 1);
    EXPECT_EQ(VLogConfig::FILE_NOT_FOUND, 2);
    EXPECT_EQ(VLogConfig::State::OK, 4);
}

TEST(VLogConfigValues, ConstantsDescribeTheText) {
    EXPECT_EQ(VLogConfig::comment, '#');
    EXPECT_EQ(VLogConfig::separator, ';');
    EXPECT_EQ(VLogConfig::cat, ',');
    EXPECT_EQ(VLogConfig::minsize, 6);
    EXPECT_EQ(VLogConfig::nbfields, 5);
    EXPECT_EQ(VLogConfig::linesize, 1024U);
    static_assert(std::is_same_v<decltype(VLogConfig::linesize), const size_t>);
}

TEST(VLogConfigValues, ANewConfigurationHasNoRules) {
    const VLogConfig config;
    EXPECT_TRUE(config.configTree.empty());
}

TEST(VLogConfigLine, FiveFieldsBecomeOneRule) {
    const VLogConfig::Entry rule = onlyRule("NET;WARN;FULL;a.log,b.log;10K,20K\n");
    EXPECT_EQ(rule.topic, "NET");
    EXPECT_EQ(rule.level, 4U);
    EXPECT_EQ(rule.tagfmt, 3U);
    EXPECT_THAT(rule.files, ElementsAre("a.log", "b.log"));
    EXPECT_THAT(rule.sizes, ElementsAre(10000U, 20000U));
}

TEST(VLogConfigLine, TheLastLineNeedsNoLineEnd) {
    EXPECT_EQ(onlyRule("A;INFO;SIMPLE;f;7").sizes, Sizes{7});
}

TEST(VLogConfigLine, BlanksAndTabsMeanNothing) {
    const VLogConfig::Entry rule = onlyRule("A ; TRACE ;\tFULL ; [STDOUT] ; 0");
    const VLogConfig::Entry bare = onlyRule("A;TRACE;FULL;[STDOUT];0");
    EXPECT_EQ(rule.topic, bare.topic);
    EXPECT_EQ(rule.level, bare.level);
    EXPECT_EQ(rule.tagfmt, bare.tagfmt);
    EXPECT_EQ(rule.files, bare.files);
    EXPECT_EQ(rule.sizes, bare.sizes);
}

TEST(VLogConfigLine, BlanksInsideNamesAreRemoved) {
    EXPECT_EQ(onlyRule("MY TOPIC;INFO;SIMPLE;f;0").topic, "MYTOPIC");
    EXPECT_THAT(onlyRule("A;IN FO;SIMPLE;my\tfile, b;0").files, ElementsAre("myfile", "b"));
}

TEST(VLogConfigLine, TheCallersTextLosesItsBlanksAndTabsAndNothingElse) {
    VLogConfig config;
    std::string text = " A ; TRACE\t; FULL ; [STDOUT] ; 0 \r\n\v\f# a comment \n";
    config.loadFromString(text);
    EXPECT_EQ(text, "A;TRACE;FULL;[STDOUT];0\r\n\v\f#acomment\n");
}

TEST(VLogConfigLine, AnUnknownLevelIsStoredUnderNone) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;LOUD;SIMPLE;f;0"), VLogConfig::OK);
    EXPECT_TRUE(config.hasEntry("A", VLogConfig::NONE));
}

TEST(VLogConfigLine, ALevelInLowerCaseIsNone) {
    EXPECT_EQ(onlyRule("A;info;SIMPLE;f;0").level, 0U);
}

TEST(VLogConfigLine, AListOfLevelsIsNone) {
    EXPECT_EQ(onlyRule("A;INFO,DEBUG;SIMPLE;f;0").level, 0U);
}

TEST(VLogConfigLine, AnUnknownTagFormatIsSimpleWithTimestamp) {
    EXPECT_EQ(onlyRule("A;INFO;FANCY;f;0").tagfmt, 2U);
}

TEST(VLogConfigLine, AdjacentSeparatorsMakeNoEmptyField) {
    const VLogConfig::Entry rule = onlyRule("A;;B;X;D;E");
    EXPECT_EQ(rule.topic, "A");
    EXPECT_EQ(rule.level, 0U);
    EXPECT_EQ(rule.tagfmt, 2U);
    EXPECT_THAT(rule.files, ElementsAre("D"));
    EXPECT_EQ(rule.sizes, Sizes{0});
}

TEST(VLogConfigLine, SeparatorsAtTheEndsMakeNoEmptyField) {
    EXPECT_EQ(onlyRule(";A;INFO;SIMPLE;f;3;;").sizes, Sizes{3});
}

TEST(VLogConfigLine, EmptyItemsOfAListAreDropped) {
    const VLogConfig::Entry rule = onlyRule("A;INFO;SIMPLE;,f1,,f2,;,1,,2,");
    EXPECT_THAT(rule.files, ElementsAre("f1", "f2"));
    EXPECT_THAT(rule.sizes, ElementsAre(1U, 2U));
}

TEST(VLogConfigLine, OneSizeServesAllFiles) {
    EXPECT_THAT(onlyRule("A;INFO;SIMPLE;f1,f2,f3;5K").sizes, ElementsAre(5000U, 5000U, 5000U));
}

TEST(VLogConfigLine, TheLastSizeServesTheFilesAfterIt) {
    EXPECT_THAT(onlyRule("A;INFO;SIMPLE;f1,f2,f3;5K,1M").sizes,
                ElementsAre(5000U, 1000000U, 1000000U));
}

TEST(VLogConfigLine, SizesBeyondTheFilesAreDropped) {
    EXPECT_THAT(onlyRule("A;INFO;SIMPLE;f1;1,2,3").sizes, ElementsAre(1U));
}

TEST(VLogConfigLine, ASizesFieldOfCommasPairsEveryFileWithZero) {
    EXPECT_THAT(onlyRule("A;INFO;SIMPLE;f1,f2;,,").sizes, ElementsAre(0U, 0U));
}

TEST(VLogConfigLine, AFilesFieldOfCommasHasNeitherFilesNorSizes) {
    const VLogConfig::Entry rule = onlyRule("A;INFO;SIMPLE;,,;5K");
    EXPECT_THAT(rule.files, IsEmpty());
    EXPECT_THAT(rule.sizes, IsEmpty());
}

TEST(VLogConfigLine, ACarriageReturnAtTheEndIsNoPartOfTheSize) {
    EXPECT_EQ(onlyRule("A;INFO;SIMPLE;f;12K\r\n").sizes, Sizes{12000});
    EXPECT_EQ(onlyRule("A;INFO;SIMPLE;f;0\r\n").sizes, Sizes{0});
}

TEST(VLogConfigLine, ACarriageReturnStaysInAnyOtherField) {
    EXPECT_THAT(onlyRule("A;INFO;SIMPLE;f\r;0").files, ElementsAre("f\r"));
}

TEST(VLogConfigLine, ANumberSignInsideALineIsAnOrdinaryCharacter) {
    EXPECT_EQ(onlyRule("A;INFO;SIMPLE;f;0#x").sizes, Sizes{0});
    EXPECT_EQ(onlyRule("A#1;INFO;SIMPLE;f;0").topic, "A#1");
}

TEST(VLogConfigLine, EmbeddedNulsAreKeptAsBytes) {
    const std::string topic("A\0B", 3);
    EXPECT_EQ(onlyRule(topic + ";INFO;SIMPLE;f;0").topic, topic);
}

TEST(VLogConfigLine, ALineMayBeLongerThanTheLineSize) {
    const std::string topic(5000, 'T');
    EXPECT_EQ(onlyRule(topic + ";INFO;SIMPLE;f;0").topic, topic);
}

TEST(VLogConfigText, AnEmptyTextIsEmpty) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, ""), 0);
    EXPECT_TRUE(config.configTree.empty());
}

TEST(VLogConfigText, CommentsAndShortLinesAloneAreEmpty) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "# A;INFO;SIMPLE;f;0\n\n \t \nshort\nA;B;C;\n"), 0);
    EXPECT_TRUE(config.configTree.empty());
}

TEST(VLogConfigText, AnEmptyTextIsOkWhenThereAreRulesAlready) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0");
    EXPECT_EQ(loadRules(config, ""), 4);
    EXPECT_EQ(loadRules(config, "# comment\nshort\n"), 4);
    EXPECT_EQ(config.configTree.size(), 1U);
}

TEST(VLogConfigText, BlanksBeforeACommentSignDoNotMatter) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, " \t # A;INFO;SIMPLE;f;0"), 0);
}

TEST(VLogConfigText, FourFieldsAloneAreMalformed) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;INFO;SIMPLE;f"), 1);
    EXPECT_TRUE(config.configTree.empty());
}

TEST(VLogConfigText, FourFieldsBesideAGoodLineAreMalformedAndOk) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;INFO;SIMPLE;f\nA;INFO;SIMPLE;f;0\n"), 5);
    EXPECT_EQ(config.configTree.size(), 1U);
}

TEST(VLogConfigText, AGoodLineBeforeDoesNotHideAMalformedOne) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;INFO;SIMPLE;f;0\nA;INFO;SIMPLE;f\n"), 5);
}

TEST(VLogConfigText, SixFieldsAreMalformed) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;INFO;SIMPLE;f;0;more"), 1);
    EXPECT_TRUE(config.configTree.empty());
}

TEST(VLogConfigText, AMalformedLineIsOkAndMalformedWhenThereAreRulesAlready) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0");
    EXPECT_EQ(loadRules(config, "B;INFO;SIMPLE;f"), 5);
    EXPECT_FALSE(config.hasEntry("B", VLogConfig::INFO));
}

TEST(VLogConfigText, SevenCharactersAreALine) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;B;X;D"), 1);
}

TEST(VLogConfigText, SixCharactersAreTooShortToBeALine) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;B;XY"), 0);
    EXPECT_EQ(loadRules(config, "A;B;X"), 0);
}

TEST(VLogConfigText, TheLengthCountsWithoutBlanks) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A ; B ; X"), 0);
}

TEST(VLogConfigText, ALaterRuleReplacesAnEarlierOneOfTheSameKey) {
    const VLogConfig::Entry rule = onlyRule("A;INFO;SIMPLE;f,h;0\nA;INFO;FULL;g;0\n");
    EXPECT_EQ(rule.tagfmt, VLogConfig::FULL);
    EXPECT_THAT(rule.files, ElementsAre("g"));
}

TEST(VLogConfigText, SeveralLevelsOfATopicAreSeveralRules) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;INFO;SIMPLE;f;0\nA;DEBUG;SIMPLE;f;0\n"), 4);
    EXPECT_EQ(config.configTree.size(), 2U);
}

TEST(VLogConfigText, ASecondLoadKeepsTheRulesOfTheFirst) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, "A;INFO;SIMPLE;f;0"), 4);
    EXPECT_EQ(loadRules(config, "B;INFO;SIMPLE;f;0"), 4);
    EXPECT_TRUE(config.hasEntry("A", VLogConfig::INFO));
    EXPECT_TRUE(config.hasEntry("B", VLogConfig::INFO));
}

TEST(VLogConfigText, ASecondLoadReplacesTheRuleOfTheSameKey) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;1");
    loadRules(config, "A;INFO;SIMPLE;g;2");
    EXPECT_EQ(config.configTree.size(), 1U);
    EXPECT_THAT(config.getEntry("A", VLogConfig::INFO).files, ElementsAre("g"));
}

TEST(VLogConfigText, RulesAreOrderedByTopicBytesThenLevel) {
    VLogConfig config;
    loadRules(config,
              "b;INFO;SIMPLE;f;0\nAB;INFO;SIMPLE;f;0\nA;CRITICAL;SIMPLE;f;0\n"
              "\xC3\x84;INFO;SIMPLE;f;0\nA;INFO;SIMPLE;f;0\n*;INFO;SIMPLE;f;0\n");
    std::vector<std::pair<std::string, uint32_t>> keys;
    for (const auto& [key, rule] : config.configTree) {
        keys.push_back(key);
    }
    EXPECT_THAT(keys,
                ElementsAre(std::pair("*", 1U), std::pair("A", 1U), std::pair("A", 16U),
                            std::pair("AB", 1U), std::pair("b", 1U), std::pair("\xC3\x84", 1U)));
}

class VLogConfigFile : public testing::Test {
protected:
    int loadFile(const std::string& content) {
        writeFile(path, content);
        return config.loadFromFile(path);
    }

    TemporaryDirectory directory;
    std::string path = directory.path("vlog.cfg");
    VLogConfig config;
};

TEST_F(VLogConfigFile, AddsTheRulesOfTheFile) {
    EXPECT_EQ(loadFile("# rules\nA;INFO;SIMPLE;f;1K\nB;WARN;FULL;g;2K\n"), VLogConfig::OK);
    EXPECT_EQ(config.configTree.size(), 2U);
    EXPECT_EQ(config.getEntry("B", VLogConfig::WARN).sizes, Sizes{2000});
}

TEST_F(VLogConfigFile, NeedsNoFinalLineEnd) {
    EXPECT_EQ(loadFile("A;INFO;SIMPLE;f;1K"), VLogConfig::OK);
    EXPECT_EQ(config.getEntry("A", VLogConfig::INFO).sizes, Sizes{1000});
}

TEST_F(VLogConfigFile, MayHaveCarriageReturns) {
    EXPECT_EQ(loadFile("# rules\r\nA;INFO;FULL;f,g;1K,0\r\nB;WARN;SIMPLE;h;2M\r\n"),
              VLogConfig::OK);
    EXPECT_THAT(config.getEntry("A", VLogConfig::INFO).sizes, ElementsAre(1000U, 0U));
    EXPECT_THAT(config.getEntry("B", VLogConfig::WARN).sizes, ElementsAre(2000000U));
}

TEST_F(VLogConfigFile, MayBeEmpty) {
    EXPECT_EQ(loadFile(""), VLogConfig::EMPTY);
}

TEST_F(VLogConfigFile, MayHoldNuls) {
    EXPECT_EQ(loadFile(std::string("A;INFO;SIMPLE;f;0\n\0\0\0\0\0\0\0\nB;INFO;SIMPLE;f;0\n", 44)),
              VLogConfig::MALFORMED | VLogConfig::OK);
    EXPECT_EQ(config.configTree.size(), 2U);
}

TEST_F(VLogConfigFile, LeavesTheCallersPathAlone) {
    path = directory.path("a name with blanks");
    EXPECT_EQ(loadFile("A;INFO;SIMPLE;f;0"), VLogConfig::OK);
    EXPECT_EQ(path, directory.path("a name with blanks"));
}

TEST_F(VLogConfigFile, ThatIsMissingIsNotFoundAlone) {
    EXPECT_EQ(config.loadFromFile(path), 2);
    EXPECT_TRUE(config.configTree.empty());
}

TEST_F(VLogConfigFile, ThatIsMissingLeavesTheRulesThatAreThere) {
    loadRules(config, "A;INFO;SIMPLE;f;0");
    EXPECT_EQ(config.loadFromFile(path), 2);
    EXPECT_EQ(config.configTree.size(), 1U);
}

TEST_F(VLogConfigFile, ThatIsADirectoryGivesNoRule) {
    std::string name = directory.path();
    EXPECT_EQ(config.loadFromFile(name) & (VLogConfig::OK | VLogConfig::FILE_NOT_FOUND), 0);
    EXPECT_TRUE(config.configTree.empty());
}

TEST_F(VLogConfigFile, IsClosedAfterwards) {
    const auto openFiles = [] {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return std::distance(begin(descriptors), end(descriptors));
    };
    const auto before = openFiles();
    loadFile("A;INFO;SIMPLE;f;0");
    EXPECT_EQ(openFiles(), before);
}

}  // namespace
