// How an element of the command line is read: option or not, long or short, name and value.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "support/row_name.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using namespace CommandLineProcessing;

TEST(IsDigit, IsTrueForTheTenDigitsAlone) {
    std::string digits;
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        digits += isDigit(c) ? std::string(1, c) : "";
    }
    EXPECT_EQ(digits, "0123456789");
}

struct ElementRow {
    const char* name;
    const char* element;
    bool is_option;
    bool is_long;
};

std::ostream& operator<<(std::ostream& out, const ElementRow& row) {
    return out << '\'' << row.element << '\'';
}

class ParsedElement : public testing::TestWithParam<ElementRow> {};

TEST_P(ParsedElement, IsAnOptionOrNot) {
    EXPECT_EQ(isValidOptionString(GetParam().element), GetParam().is_option);
}

TEST_P(ParsedElement, IsLongOrNot) {
    EXPECT_EQ(isValidLongOptionString(GetParam().element), GetParam().is_long);
}

INSTANTIATE_TEST_SUITE_P(Grammar, ParsedElement,
                         testing::Values(ElementRow{"Empty", "", false, false},
                                         ElementRow{"Letter", "x", false, false},
                                         ElementRow{"Dash", "-", false, false},
                                         ElementRow{"TwoDashes", "--", false, false},
                                         ElementRow{"ThreeDashes", "---", true, false},
                                         ElementRow{"FourDashes", "----", true, true},
                                         ElementRow{"Word", "word", false, false},
                                         ElementRow{"DashInside", "a-b", false, false},
                                         ElementRow{"Short", "-x", true, false},
                                         ElementRow{"Group", "-xyz", true, false},
                                         ElementRow{"OneDigit", "-5", false, false},
                                         ElementRow{"NegativeNumber", "-12", false, false},
                                         ElementRow{"DigitThenLetter", "-5x", false, false},
                                         ElementRow{"LetterThenDigit", "-x5", true, false},
                                         ElementRow{"TwoDashesDigit", "--5", true, false},
                                         ElementRow{"TwoDashesLetter", "--a", true, false},
                                         ElementRow{"TwoDashesTwoLetters", "--ab", true, true},
                                         ElementRow{"Long", "--port", true, true},
                                         ElementRow{"LongWithValue", "--port=80", true, true}),
                         rowName);

struct SplitRow {
    const char* name;
    const char* text;
    bool splits;
    const char* option;
    const char* value;
};

std::ostream& operator<<(std::ostream& out, const SplitRow& row) {
    return out << '\'' << row.text << '\'';
}

class SplitOptionAndValue : public testing::TestWithParam<SplitRow> {};

TEST_P(SplitOptionAndValue, GivesNameAndValue) {
    const SplitRow& row = GetParam();
    std::string option;
    std::string value;
    EXPECT_EQ(splitOptionAndValue(row.text, option, value), row.splits);
    EXPECT_EQ(option, row.option);
    EXPECT_EQ(value, row.value);
}

INSTANTIATE_TEST_SUITE_P(
    Elements, SplitOptionAndValue,
    testing::Values(SplitRow{"NameAndValue", "port=80", true, "port", "80"},
                    SplitRow{"InnerEqualsSignIsDropped", "a=b=c", true, "a", "bc"},
                    SplitRow{"RunOfEqualsSignsCountsOnce", "a==b", true, "a", "b"},
                    SplitRow{"LeadingEqualsSignIsSkipped", "=a=b", true, "a", "b"},
                    SplitRow{"TrailingEqualsSignIsSkipped", "a=b=", true, "a", "b"},
                    SplitRow{"NoOtherMarkSplits", "a=b!c", true, "a", "b!c"},
                    SplitRow{"NoEqualsSign", "port", false, "port", ""},
                    SplitRow{"NoValue", "a=", false, "a=", ""},
                    SplitRow{"NoName", "=a", false, "=a", ""},
                    SplitRow{"EqualsSignAlone", "=", false, "=", ""},
                    SplitRow{"Empty", "", false, "", ""}),
    rowName);

TEST(SplitOptionAndValueOutput, ValueIsAppendedTo) {
    std::string option = "old";
    std::string value = "old";
    EXPECT_TRUE(splitOptionAndValue("a=b", option, value));
    EXPECT_EQ(option, "a");
    EXPECT_EQ(value, "oldb");
}

TEST(SplitOptionAndValueOutput, ValueIsLeftAloneWithoutOne) {
    std::string option = "old";
    std::string value = "old";
    EXPECT_FALSE(splitOptionAndValue("a=", option, value));
    EXPECT_EQ(option, "a=");
    EXPECT_EQ(value, "old");
}

TEST(SplitOptionAndValueOutput, MayBeTheTextItself) {
    std::string text = "a=b";
    std::string value;
    EXPECT_TRUE(splitOptionAndValue(text, text, value));
    EXPECT_EQ(text, "a");
    EXPECT_EQ(value, "b");
}

}  // namespace
