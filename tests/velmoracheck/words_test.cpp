#include "velmoraserver/app/velmoracheck/words.h"

#include <gtest/gtest.h>

using namespace velmoracheck;

namespace {

TEST(Closest, IsTheCandidateWithTheFewestChanges) {
    EXPECT_EQ(closest("thread", {"port", "threads", "threadQueuesize"}), "threads");
}

TEST(Closest, CountsTwoLettersThatWereSwappedAsOneChange) {
    EXPECT_EQ(closest("prot", {"port"}), "port");
}

TEST(Closest, LooksAtNoCase) {
    EXPECT_EQ(closest("info", {"INFO", "WARN"}), "INFO");
}

TEST(Closest, IsEmptyWhenMoreThanAThirdIsDifferent) {
    EXPECT_EQ(closest("pxrx", {"port"}), "");
}

TEST(Closest, IsEmptyForAWordOfAMegabyte) {
    EXPECT_EQ(closest(std::string(1000000, 'x'), {"port"}), "");
}

TEST(Remedy, ListsTheCandidatesWhenNoneIsClose) {
    EXPECT_EQ(remedy("zzz", {"a", "bc"}), ": write one of a, bc");
}

TEST(InQuotes, AreForWhatIsPrintable) {
    EXPECT_EQ(inQuotes("a\x1b\xc3\xa4~"), "'a\\x1b\xc3\xa4~'");
}

TEST(InQuotes, CutsLongTexts) {
    EXPECT_EQ(inQuotes(std::string(60, 'x')), "'" + std::string(60, 'x') + "'");
    EXPECT_EQ(inQuotes(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
}

TEST(InQuotes, CountsCharactersAndCutsNone) {
    std::string text;
    for (int i = 0; i < 61; ++i) {
        text += "\xc3\xa4";
    }
    EXPECT_EQ(inQuotes(text), "'" + text.substr(0, 120) + "...'");
}

TEST(Printable, WritesOutControlCharactersOfTheSecondRange) {
    EXPECT_EQ(printable("\xc2\x9b"
                        "31m\xc2\xa0"),
              "\\xc2\\x9b31m\xc2\xa0");
}

TEST(Printable, WritesOutWhatIsNoUtf8) {
    EXPECT_EQ(printable("\x9b\xff\xc3"), "\\x9b\\xff\\xc3");
    EXPECT_EQ(printable("\xe0\x82\x9b"), "\\xe0\\x82\\x9b");  // too long a form of U+009B
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");  // half of a pair
    EXPECT_EQ(printable("\xf0\x80\x82\x9b"), "\\xf0\\x80\\x82\\x9b");
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last one
}

TEST(Printable, LeavesCharactersOfEveryLength) {
    EXPECT_EQ(printable("a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"),
              "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
}

TEST(Width, CountsCharacters) {
    EXPECT_EQ(width("a\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"), 4U);
}

TEST(Printable, LeavesAllButControlCharacters) {
    EXPECT_EQ(printable("\xc3\xa4\n\x7f"), "\xc3\xa4\\x0a\\x7f");
}

}  // namespace
