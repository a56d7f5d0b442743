#include "velmoraserver/app/velmoracheck/ini_layout.h"

#include <gtest/gtest.h>

#include <sstream>

using velmoracheck::iniLayout;
using velmoracheck::IniLine;

namespace {

// "1 section [default]", a line each.
std::string layoutOf(const std::string& text) {
    constexpr const char* kinds[] = {"section", "value", "continuation",
                                     "after",   "error", "overlong"};
    std::ostringstream out;
    for (const IniLine& line : iniLayout(text)) {
        out << line.number << ' ' << kinds[line.kind] << " [" << line.section << "] " << line.key
            << '=' << line.value << '\n';
    }
    return out.str();
}

TEST(IniLayout, HasKeysAndSections) {
    EXPECT_EQ(layoutOf("a=1\n[s]\nb : 2 ; two\n"),
              "1 value [] a=1\n2 section [s] =\n3 value [s] b=2\n");
}

TEST(IniLayout, LeavesOutCommentsAndBlankLines) {
    EXPECT_EQ(layoutOf("; x=1\n\n# y=2\n  \t\n[s]\n"), "5 section [s] =\n");
}

TEST(IniLayout, IsEmptyForAnEmptyText) {
    EXPECT_EQ(layoutOf(""), "");
}

TEST(IniLayout, NeedsNoLineEndAtTheEnd) {
    EXPECT_EQ(layoutOf("[s]\na=1"), "1 section [s] =\n2 value [s] a=1\n");
}

TEST(IniLayout, KnowsCrLfLineEnds) {
    EXPECT_EQ(layoutOf("[s]\r\n\r\na=1\r\n"), "1 section [s] =\n3 value [s] a=1\n");
}

TEST(IniLayout, SkipsAByteOrderMark) {
    EXPECT_EQ(layoutOf("\xEF\xBB\xBF[s]\na=1\n"), "1 section [s] =\n2 value [s] a=1\n");
}

TEST(IniLayout, HasEverySyntaxError) {
    EXPECT_EQ(layoutOf("one\n[two\na=1\nthree\n"),
              "1 error [] =\n2 error [] =\n3 value [] a=1\n4 error [] =\n");
}

TEST(IniLayout, TellsAnIndentedKeyFromAKey) {
    EXPECT_EQ(layoutOf("a=1\n b=2\n"), "1 value [] a=1\n2 continuation [] a=b=2\n");
}

TEST(IniLayout, TellsAnIndentedWordFromASyntaxError) {
    EXPECT_EQ(layoutOf("a=1\n b\n"), "1 value [] a=1\n2 continuation [] a=b\n");
}

TEST(IniLayout, TakesAnIndentedKeyAfterASectionAsAKey) {
    EXPECT_EQ(layoutOf("[s]\n b=2\n"), "1 section [s] =\n2 value [s] b=2\n");
}

TEST(IniLayout, HasWhatStandsAfterASection) {
    EXPECT_EQ(layoutOf("[default] threads = 4\nport = 7000\n"),
              "1 section [default] =\n1 after [default] =threads = 4\n"
              "2 value [default] port=7000\n");
}

TEST(IniLayout, HasWhatStandsCloseAfterASection) {
    EXPECT_EQ(layoutOf("[default]junk\r\n"), "1 section [default] =\n1 after [default] =junk\n");
}

TEST(IniLayout, HasWhatStandsAfterASectionWithoutAName) {
    EXPECT_EQ(layoutOf("[] a=1\n"), "1 after [] =a=1\n");
}

TEST(IniLayout, HasWhatStandsAfterASectionThatAByteOrderMarkPrecedes) {
    EXPECT_EQ(layoutOf("\xEF\xBB\xBF[s]]"), "1 section [s] =\n1 after [s] =]\n");
}

TEST(IniLayout, LeavesOutBlanksAndCommentsAfterASection) {
    EXPECT_EQ(layoutOf("[a] \t\r\n[b] ; one\n[c]# two\n"),
              "1 section [a] =\n2 section [b] =\n3 section [c] =\n");
}

TEST(IniLayout, TakesAnIndentedSectionAfterAKeyAsMoreOfIt) {
    EXPECT_EQ(layoutOf("a=1\n [s] b\n"), "1 value [] a=1\n2 continuation [] a=[s] b\n");
}

TEST(IniLayout, CountsTheLinesOfTheTextAndNotThePiecesOfTheReader) {
    EXPECT_EQ(layoutOf("a=" + std::string(1000, ' ') + "\nb=2\n"),
              "1 value [] a=\n2 value [] b=2\n");
}

TEST(IniLayout, HasTheRestOfALineThatIsTooLong) {
    EXPECT_EQ(layoutOf(";" + std::string(198, 'x') + "b=2\nc=3\n"),
              "1 overlong [] =b=2\n1 value [] b=2\n2 value [] c=3\n");
}

}  // namespace
