// Wrapping and indenting.

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::formatString;

TEST(FormatString, IndentsALineThatFits) {
    EXPECT_EQ(formatString("ab cd", 80, 4), "    ab cd");
}

TEST(FormatString, IsEmptyForAnEmptyText) {
    EXPECT_EQ(formatString("", 80, 4), "");
}

TEST(FormatString, IsEmptyForWhiteSpaceAlone) {
    EXPECT_EQ(formatString(" \a\b\f\n\r\t\v", 80, 4), "");
    EXPECT_EQ(formatString(" \a\b\f\n\r\t\v", 6, 4), "");
}

TEST(FormatString, BreaksAtTheLastWhiteSpaceBeforeTheLimit) {
    EXPECT_EQ(formatString("one two three four", 10, 0), "one two\nthree\nfour");
}

TEST(FormatString, IndentsEveryLine) {
    EXPECT_EQ(formatString("one two three four", 12, 2), "  one two\n  three\n  four");
}

TEST(FormatString, BreaksAtEveryCharacterOfTheSet) {
    EXPECT_EQ(formatString("a\ab\bc\fd\re\tf\vg h", 3, 0), "a\nb\nc\nd\ne\nf\ng\nh");
}

TEST(FormatString, BreaksATextThatFillsTheLineExactly) {
    EXPECT_EQ(formatString("ab cd", 5, 0), "ab\ncd");
    EXPECT_EQ(formatString("ab cd", 6, 0), "ab cd");
}

TEST(FormatString, BreaksEarlierWhenABlankFillsTheLine) {
    EXPECT_EQ(formatString("one two three", 8, 0), "one\ntwo\nthree");
    EXPECT_EQ(formatString("one two three", 9, 0), "one two\nthree");
}

TEST(FormatString, CutsAWordLongerThanALine) {
    EXPECT_EQ(formatString("abcdefgh", 3, 0), "abc\ndef\ngh");
    EXPECT_EQ(formatString("abcdefgh", 5, 2), "  abc\n  def\n  gh");
}

TEST(FormatString, KeepsAWordThatFillsTheLineExactly) {
    EXPECT_EQ(formatString("abcd", 4, 0), "abcd");
}

TEST(FormatString, BreaksAtLineFeeds) {
    EXPECT_EQ(formatString("line one\nline two", 80, 4), "    line one\n    line two");
}

TEST(FormatString, DropsEmptyLines) {
    EXPECT_EQ(formatString("a\n\nb", 80, 4), "    a\n    b");
    EXPECT_EQ(formatString("\na\n\n\nb\n", 80, 0), "a\nb");
}

TEST(FormatString, RepeatsTheEndOfALineThatBeganWithWhiteSpace) {
    EXPECT_EQ(formatString("  ab", 80, 0), "ab\nb");
    EXPECT_EQ(formatString("a\n  bcd\ne", 80, 0), "a\nbcd\nd\ne");
}

TEST(FormatString, RepeatsALineThatWasBrokenAfterLeadingWhiteSpace) {
    EXPECT_EQ(formatString("   ab cd", 7, 0), "ab\nab cd");
}

TEST(FormatString, KeepsTheBlanksBeforeTheBreak) {
    EXPECT_EQ(formatString("ab   cdef", 6, 0), "ab  \ncdef");
}

TEST(FormatString, SkipsALineOfBlanks) {
    EXPECT_EQ(formatString("abc      d", 3, 0), "abc\nd");
}

TEST(FormatString, SkipsBlanksAtTheEndAndBeforeALineFeed) {
    EXPECT_EQ(formatString("ab     \n  cd    ", 20, 0), "ab\ncd\nd");
    EXPECT_EQ(formatString("    ", 20, 0), "");
}

TEST(FormatString, ReturnsTheTextWhenTheIndentIsNotLessThanTheWidth) {
    EXPECT_EQ(formatString("abc", 4, 4), "abc");
    EXPECT_EQ(formatString(" a\n\n b ", 4, 5), " a\n\n b ");
    EXPECT_EQ(formatString("abc", 0, 0), "abc");
}

TEST(FormatString, TakesLinesOfOneCharacter) {
    EXPECT_EQ(formatString("ab c", 1, 0), "a\nb\nc");
    EXPECT_EQ(formatString("ab c", 5, 4), "    a\n    b\n    c");
}

TEST(FormatString, TakesTheLargestWidth) {
    const auto largest = std::numeric_limits<unsigned int>::max();
    EXPECT_EQ(formatString("one two\nthree", largest, 1), " one two\n three");
}

TEST(FormatString, ReturnsTheTextForTheLargestIndent) {
    const auto largest = std::numeric_limits<unsigned int>::max();
    EXPECT_EQ(formatString("one two", largest, largest), "one two");
}

TEST(FormatString, KeepsNullCharacters) {
    EXPECT_EQ(formatString(std::string("a\0b", 3), 80, 1), std::string(" a\0b", 4));
}

}  // namespace
