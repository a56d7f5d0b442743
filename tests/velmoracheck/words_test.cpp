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
    EXPECT_EQ(remedy("zzz", {"a", "bc"}), ": one of a, bc is meant");
}

TEST(InQuotes, WritesOutAllButPrintableAscii) {
    EXPECT_EQ(inQuotes("a\x1b\xc3\xa4~"), "'a\\x1b\\xc3\\xa4~'");
}

TEST(InQuotes, CutsLongTexts) {
    EXPECT_EQ(inQuotes(std::string(60, 'x')), "'" + std::string(60, 'x') + "'");
    EXPECT_EQ(inQuotes(std::string(61, 'x')), "'" + std::string(60, 'x') + "...'");
}

TEST(Printable, LeavesAllButControlCharacters) {
    EXPECT_EQ(printable("\xc3\xa4\n\x7f"), "\xc3\xa4\\x0a\\x7f");
}

}  // namespace
