// How a line is put together, byte for byte.
#include "vlib/vlog/vlog_format.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <ostream>
#include <string>

#include "vlib/vlog/vlog.h"
#include "vlib/vlog/vlog_config.h"

namespace {

using vlogformat::Prefix;

const Prefix examplePrefix{.tagfmt = VLogConfig::SIMPLE,
                           .timestamp = "2026:11:15 13:21:26.004512",
                           .tid = 4711,
                           .topic = "NET",
                           .id = 0x2A,
                           .level = "INFO",
                           .file = "net.cpp",
                           .line = 42};
const std::string exampleText = "[NET      : 0x002A : INFO] -> ";
constexpr size_t exampleLength = 30;

Prefix withFormat(uint32_t tagfmt) {
    Prefix prefix = examplePrefix;
    prefix.tagfmt = tagfmt;
    return prefix;
}

[[gnu::format(printf, 2, 3)]] std::string line(const Prefix& prefix, const char* fmt, ...) {
    std::va_list args;
    va_start(args, fmt);
    std::string text = vlogformat::formatLine(prefix, fmt, args);
    va_end(args);
    return text;
}

// The line of a message of so many 'm' behind the example's prefix.
std::string lineOfLength(size_t messageLength) {
    return line(examplePrefix, "%s", std::string(messageLength, 'm').c_str());
}

// ---- prefixes --------------------------------------------------------------------------------

TEST(VLogFormatPrefix, SimpleHasTopicIdAndLevel) {
    EXPECT_EQ(line(withFormat(1), "hello"), "[NET      : 0x002A : INFO] -> hello\r\n");
}

TEST(VLogFormatPrefix, SimpleTsHasTheTimestampBefore) {
    EXPECT_EQ(line(withFormat(2), "hello"),
              "[2026:11:15 13:21:26.004512 : NET      : 0x002A : INFO] -> hello\r\n");
}

TEST(VLogFormatPrefix, FullHasThreadAndCallSiteToo) {
    EXPECT_EQ(
        line(withFormat(3), "hello"),
        "[2026:11:15 13:21:26.004512 : 00004711 : NET      : 0x002A : INFO : net.cpp : 42] -> "
        "hello\r\n");
}

TEST(VLogFormatPrefix, AnyOtherFormatIsSimpleTs) {
    EXPECT_EQ(line(withFormat(0), "hello"), line(withFormat(2), "hello"));
    EXPECT_EQ(line(withFormat(4), "hello"), line(withFormat(2), "hello"));
    EXPECT_EQ(line(withFormat(UINT32_MAX), "hello"), line(withFormat(2), "hello"));
}

TEST(VLogFormatPrefix, TheTopicIsPaddedToEightCharactersAndNeverCut) {
    Prefix prefix = examplePrefix;
    prefix.topic = "VELMORASRV";
    EXPECT_EQ(line(prefix, "hello"), "[VELMORASRV : 0x002A : INFO] -> hello\r\n");
    prefix.topic = "";
    EXPECT_EQ(line(prefix, "hello"), "[         : 0x002A : INFO] -> hello\r\n");
}

TEST(VLogFormatPrefix, TheIdHasFourUpperCaseHexDigits) {
    Prefix prefix = examplePrefix;
    prefix.id = 0xBEEF;
    EXPECT_EQ(line(prefix, "hello"), "[NET      : 0xBEEF : INFO] -> hello\r\n");
    prefix.id = 0;
    EXPECT_EQ(line(prefix, "hello"), "[NET      : 0x0000 : INFO] -> hello\r\n");
}

TEST(VLogFormatPrefix, TheLineNumberIsSigned) {
    Prefix prefix = withFormat(3);
    prefix.line = -1;
    EXPECT_EQ(
        line(prefix, "hello"),
        "[2026:11:15 13:21:26.004512 : 00004711 : NET      : 0x002A : INFO : net.cpp : -1] -> "
        "hello\r\n");
}

TEST(VLogFormatPrefix, PercentSignsInNamesAreText) {
    Prefix prefix = examplePrefix;
    prefix.topic = "%s%n";
    EXPECT_EQ(line(prefix, "hello"), "[%s%n     : 0x002A : INFO] -> hello\r\n");
}

TEST(VLogFormatPrefix, OfFiveHundredElevenCharactersFits) {
    Prefix prefix = examplePrefix;
    const std::string topic(511 - 22, 'T');
    prefix.topic = topic.c_str();
    EXPECT_EQ(line(prefix, "hello"), std::string("[") + topic + " : 0x002A : INFO] -> hello\r\n");
}

TEST(VLogFormatPrefix, OfFiveHundredTwelveCharactersIsCutToFiveHundredEleven) {
    Prefix prefix = examplePrefix;
    const std::string topic(512 - 22, 'T');
    prefix.topic = topic.c_str();
    EXPECT_EQ(line(prefix, "hello"), std::string("[") + topic + " : 0x002A : INFO] ->hello\r\n");
}

TEST(VLogFormatPrefix, OfAnyLengthIsCutToFiveHundredEleven) {
    Prefix prefix = examplePrefix;
    const std::string topic(100000, 'T');
    prefix.topic = topic.c_str();
    EXPECT_EQ(line(prefix, "hello"), std::string("[") + std::string(510, 'T') + "hello\r\n");
}

// ---- messages --------------------------------------------------------------------------------

TEST(VLogFormatMessage, IsFormattedLikePrintf) {
    EXPECT_EQ(line(examplePrefix, "%s=%03d 100%%", "x", 7), exampleText + "x=007 100%\r\n");
}

TEST(VLogFormatMessage, MayBeEmpty) {
    EXPECT_EQ(line(examplePrefix, "%s", ""), exampleText + "\r\n");
}

TEST(VLogFormatMessage, KeepsItsOwnLineEnds) {
    EXPECT_EQ(line(examplePrefix, "a\nb\r\n"), exampleText + "a\nb\r\n\r\n");
}

TEST(VLogFormatMessage, MayHoldANul) {
    EXPECT_EQ(line(examplePrefix, "a%cb", '\0'), exampleText + std::string("a\0b\r\n", 5));
}

TEST(VLogFormatMessage, ThatFillsTheLineToOneThousandTwentyThreeIsWhole) {
    const size_t length = 1023 - exampleLength;
    EXPECT_EQ(lineOfLength(length), exampleText + std::string(length, 'm') + "\r\n");
}

TEST(VLogFormatMessage, ThatIsOneTooLongLosesItsLastCharacterToAZeroByte) {
    const size_t length = 1024 - exampleLength;
    EXPECT_EQ(lineOfLength(length),
              exampleText + std::string(length - 1, 'm') + std::string(1, '\0') + "\r\n");
}

TEST(VLogFormatMessage, OfOneThousandTwentyThreeCharactersEndsInZeroBytes) {
    EXPECT_EQ(lineOfLength(1023),
              exampleText + std::string(1023 - 30, 'm') + std::string(30, '\0') + "\r\n");
}

TEST(VLogFormatMessage, OfOneThousandTwentyFourCharactersEndsInZeroBytes) {
    EXPECT_EQ(lineOfLength(1024),
              exampleText + std::string(1023 - 30, 'm') + std::string(31, '\0') + "\r\n");
}

TEST(VLogFormatMessage, OfTwoThousandCharactersGrowsTheLineByZeroBytes) {
    const std::string text = lineOfLength(2000);
    EXPECT_EQ(text.size(), exampleLength + 2000 + 2);
    EXPECT_EQ(text, exampleText + std::string(993, 'm') + std::string(1007, '\0') + "\r\n");
}

TEST(VLogFormatMessage, BehindACutPrefixHasFiveHundredTwelveCharacters) {
    Prefix prefix = examplePrefix;
    const std::string topic(600, 'T');
    prefix.topic = topic.c_str();
    const std::string start = std::string("[") + std::string(510, 'T');
    EXPECT_EQ(line(prefix, "%s", std::string(512, 'm').c_str()),
              start + std::string(512, 'm') + "\r\n");
    EXPECT_EQ(line(prefix, "%s", std::string(513, 'm').c_str()),
              start + std::string(512, 'm') + std::string(1, '\0') + "\r\n");
}

TEST(VLogFormatMessage, ThatCannotBeConvertedCountsAsEmpty) {
    // No character of the "C" locale: the conversion fails, and the text before it goes as well.
    EXPECT_EQ(line(examplePrefix, "before %ls", L"\x20AC"), exampleText + "\r\n");
}

// ---- thread ids and level names --------------------------------------------------------------

struct ThreadIdRow {
    const char* name;
    os_thread_t id;
    const char* text;
};
std::ostream& operator<<(std::ostream& out, const ThreadIdRow& row) {
    return out << row.id << " is " << row.text;
}

class ThreadIdText : public testing::TestWithParam<ThreadIdRow> {};

TEST_P(ThreadIdText, IsDecimalWithAtLeastEightDigits) {
    EXPECT_EQ(vlogformat::threadIdText(GetParam().id), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Ids, ThreadIdText,
    testing::Values(ThreadIdRow{"Zero", 0, "00000000"}, ThreadIdRow{"OneDigit", 7, "00000007"},
                    ThreadIdRow{"SevenDigits", 1234567, "01234567"},
                    ThreadIdRow{"EightDigits", 12345678, "12345678"},
                    ThreadIdRow{"NineDigits", 123456789, "123456789"},
                    ThreadIdRow{"Largest", UINT64_MAX, "18446744073709551615"}),
    [](const testing::TestParamInfo<ThreadIdRow>& row) { return std::string(row.param.name); });

struct LevelRow {
    const char* name;
    uint32_t level;
    const char* text;
};
std::ostream& operator<<(std::ostream& out, const LevelRow& row) {
    return out << row.level << " is " << row.text;
}

class LevelName : public testing::TestWithParam<LevelRow> {};

TEST_P(LevelName, NamesSingleLevelsOnly) {
    VLog log(1);
    EXPECT_EQ(log.level2name(GetParam().level), GetParam().text);
    EXPECT_STREQ(vlogformat::levelName(GetParam().level), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Levels, LevelName,
    testing::Values(LevelRow{"None", 0, "NONE"}, LevelRow{"Info", 1, "INFO"},
                    LevelRow{"Debug", 2, "DEBUG"}, LevelRow{"Warn", 4, "WARN"},
                    LevelRow{"Notice", 8, "NOTICE"}, LevelRow{"Critical", 16, "CRITICAL"},
                    LevelRow{"Trace", 32, "TRACE"}, LevelRow{"TwoLevels", 3, "UNKNOWN"},
                    LevelRow{"NextBit", 64, "UNKNOWN"}, LevelRow{"AllBits", UINT32_MAX, "UNKNOWN"}),
    [](const testing::TestParamInfo<LevelRow>& row) { return std::string(row.param.name); });

}  // namespace
