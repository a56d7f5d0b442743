// Trimming, and splitting at delimiters.

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::splitString;
using CommandLineProcessing::trimmedString;

TEST(TrimmedString, DropsWhiteSpaceOnBothSidesAndKeepsItInside) {
    EXPECT_EQ(trimmedString(" \t ab c\r\n"), "ab c");
}

TEST(TrimmedString, DropsAllEightCharactersOfTheSet) {
    EXPECT_EQ(trimmedString(" \a\b\f\n\r\t\vx \a\b\f\n\r\t\v"), "x");
}

TEST(TrimmedString, DropsNoOtherCharacter) {
    std::string others;
    for (int byte = 0; byte < 256; ++byte) {
        others += (byte == ' ' || (byte >= 7 && byte <= 13))
                      ? std::string()
                      : trimmedString(std::string(1, static_cast<char>(byte)));
    }
    EXPECT_EQ(others.size(), 248U);
}

TEST(TrimmedString, IsEmptyForAnEmptyText) {
    EXPECT_EQ(trimmedString(""), "");
}

TEST(TrimmedString, IsEmptyForWhiteSpaceAlone) {
    EXPECT_EQ(trimmedString(" \a\b\f\n\r\t\v"), "");
}

template <typename Container>
class SplitString : public testing::Test {
protected:
    static Container pieces(const std::string& text, const char* delimiters) {
        Container out;
        splitString(out, text, delimiters);
        return out;
    }
};

using Containers = testing::Types<std::list<std::string>, std::vector<std::string>>;
TYPED_TEST_SUITE(SplitString, Containers);

TYPED_TEST(SplitString, SkipsDelimitersAtBothEndsAndRunsOfThem) {
    EXPECT_EQ(this->pieces(",,a,,b,", ","), (TypeParam{"a", "b"}));
}

TYPED_TEST(SplitString, GivesEveryPiece) {
    EXPECT_EQ(this->pieces("x=1=2", "="), (TypeParam{"x", "1", "2"}));
}

TYPED_TEST(SplitString, SplitsAtAnyOfTheDelimiters) {
    EXPECT_EQ(this->pieces("a,b;c;,d", ",;"), (TypeParam{"a", "b", "c", "d"}));
}

TYPED_TEST(SplitString, GivesTheTextWhenItHoldsNoDelimiter) {
    EXPECT_EQ(this->pieces("a b", ","), TypeParam{"a b"});
}

TYPED_TEST(SplitString, GivesNothingForAnEmptyText) {
    EXPECT_EQ(this->pieces("", ","), TypeParam{});
}

TYPED_TEST(SplitString, GivesNothingForDelimitersAlone) {
    EXPECT_EQ(this->pieces(",,,", ","), TypeParam{});
}

TYPED_TEST(SplitString, GivesTheTextWhenThereAreNoDelimiters) {
    EXPECT_EQ(this->pieces("a,b", ""), TypeParam{"a,b"});
    EXPECT_EQ(this->pieces("a,b!c", nullptr), TypeParam{"a,b!c"});
}

TYPED_TEST(SplitString, AppendsToWhatIsThere) {
    TypeParam out{"before"};
    splitString(out, "a,b", ",");
    EXPECT_EQ(out, (TypeParam{"before", "a", "b"}));
}

}  // namespace
