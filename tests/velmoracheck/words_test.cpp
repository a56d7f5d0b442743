#include "velmoraserver/app/velmoracheck/words.h"

#include <gtest/gtest.h>

using namespace velmoracheck;

namespace {

TEST(ClosestWord, IsTheCandidateWithTheFewestChanges) {
    EXPECT_EQ(closest("thread", {"port", "threads", "threadQueuesize"}), "threads");
}

TEST(ClosestWord, CountsTwoLettersThatWereSwappedAsOneChange) {
    EXPECT_EQ(closest("prot", {"port"}), "port");
}

TEST(ClosestWord, LooksAtNoCase) {
    EXPECT_EQ(closest("info", {"INFO", "WARN"}), "INFO");
}

TEST(ClosestWord, IsEmptyWhenMoreThanAThirdIsDifferent) {
    EXPECT_EQ(closest("pxrx", {"port"}), "");
}

TEST(ClosestWord, IsEmptyForAWordOfAMegabyte) {
    EXPECT_EQ(closest(std::string(1000000, 'x'), {"port"}), "");
}

TEST(FindingRemedy, ListsTheCandidatesWhenNoneIsClose) {
    EXPECT_EQ(remedy("zzz", {"a", "bc"}), ": write one of a, bc");
}

TEST(TextInQuotes, AreForWhatIsPrintable) {
    EXPECT_EQ(inQuotes("a\x1b\xc3\xa4~"), "'a\\x1b\xc3\xa4~'");
}

TEST(TextInQuotes, CutsLongTexts) {
    EXPECT_EQ(inQuotes(std::string(60, 'x')), "'" + std::string(60, 'x') + "'");
    EXPECT_EQ(inQuotes(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
}

TEST(TextInQuotes, CountsCharactersAndCutsNone) {
    std::string text;
    for (int i = 0; i < 61; ++i) {
        text += "\xc3\xa4";
    }
    EXPECT_EQ(inQuotes(text), "'" + text.substr(0, 120) + "...'");
}

TEST(PrintableText, WritesOutControlCharactersOfTheSecondRange) {
    EXPECT_EQ(printable("\xc2\x9b"
                        "31m\xc2\xa0"),
              "\\xc2\\x9b31m\xc2\xa0");
}

TEST(PrintableText, WritesOutWhatIsNoUtf8) {
    EXPECT_EQ(printable("\x9b\xff\xc3"), "\\x9b\\xff\\xc3");
    EXPECT_EQ(printable("\xe0\x82\x9b"), "\\xe0\\x82\\x9b");  // too long a form of U+009B
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // half of a pair
    EXPECT_EQ(printable("\xf0\x80\x82\x9b"), "\\xf0\\x80\\x82\\x9b");
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last one
}

TEST(PrintableText, LeavesCharactersOfEveryLength) {
    EXPECT_EQ(printable("a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"),
              "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(TextWidth, CountsCharacters) {
    EXPECT_EQ(width("a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"), 4U);
}

TEST(PrintableText, LeavesAllButControlCharacters) {
    EXPECT_EQ(printable("\xc3\xa4\n\x7f"), "\xc3\xa4\\x0a\\x7f");
}

}  // namespace
