// Lists of numbers and ranges.

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "support/row_name.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using CommandLineProcessing::expandRangeStringToUInt;
using Numbers = std::vector<unsigned int>;

struct RangeRow {
    const char* name;
    const char* text;
    bool valid;
    Numbers numbers;
};

std::ostream& operator<<(std::ostream& out, const RangeRow& row) {
    return out << '\'' << row.text << '\'';
}

class ExpandRange : public testing::TestWithParam<RangeRow> {};

TEST_P(ExpandRange, GivesTheNumbers) {
    Numbers out;
    EXPECT_EQ(expandRangeStringToUInt(GetParam().text, out), GetParam().valid);
    EXPECT_EQ(out, GetParam().numbers);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, ExpandRange,
    testing::Values(RangeRow{"RangeAndNumber", "1-3,7", true, {1, 2, 3, 7}},
                    RangeRow{"OneNumber", "12", true, {12}},
                    RangeRow{"NumbersInAnyOrder", "9,1,9", true, {9, 1, 9}},
                    RangeRow{"TextWithoutDigitsIsZero", "2,x", true, {2, 0}},
                    RangeRow{"ReadingStopsAtTheFirstNonDigit", "12abc", true, {12}},
                    RangeRow{"NoOtherMarkPartsNumbers", "1!2;3 4", true, {1}},
                    RangeRow{"LeadingWhiteSpaceIsSkipped", " \t7, 8", true, {7, 8}},
                    RangeRow{"PlusIsASign", "+7", true, {7}},
                    RangeRow{"NumbersAreDecimal", "010,0x10", true, {10, 0}},
                    RangeRow{"Empty", "", true, {}}, RangeRow{"CommasAlone", ",,,", true, {}},
                    RangeRow{"RunsOfCommasCountOnce", ",1,,2,", true, {1, 2}}),
    rowName);

INSTANTIATE_TEST_SUITE_P(Ranges, ExpandRange,
                         testing::Values(RangeRow{"Upwards", "3-5", true, {3, 4, 5}},
                                         RangeRow{"Downwards", "5-3", true, {5, 4, 3}},
                                         RangeRow{"OfOneNumber", "4-4", true, {4}},
                                         RangeRow{"DownToZero", "2-0", true, {2, 1, 0}},
                                         RangeRow{"WithBlanks", "1 - 3", true, {1, 2, 3}},
                                         RangeRow{"WithTwoDashes", "1--3", true, {1, 2, 3}},
                                         RangeRow{"WithDashesAround", "-1-3-", true, {1, 2, 3}},
                                         RangeRow{"ToAMarkIsToZero", "1-!", true, {1, 0}},
                                         RangeRow{"FromTextIsFromZero", "x-2", true, {0, 1, 2}}),
                         rowName);

INSTANTIATE_TEST_SUITE_P(
    Malformed, ExpandRange,
    testing::Values(RangeRow{"LeadingMinusIsNoSign", "-5", false, {}},
                    RangeRow{"WithoutEnd", "3-", false, {}}, RangeRow{"DashAlone", "-", false, {}},
                    RangeRow{"ThreeEnds", "1-2-3", false, {}},
                    RangeRow{"NumbersBeforeItStay", "1,-2", false, {1}},
                    RangeRow{"NothingAfterItIsRead", "1-2,-3,4", false, {1, 2}}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Limits, ExpandRange,
    testing::Values(RangeRow{"LargestUnsigned", "4294967295", true, {4294967295U}},
                    RangeRow{"BeyondItCountsModulo", "4294967296,4294967303", true, {0, 7}},
                    RangeRow{"RangeAcrossIt", "4294967295-4294967297", true, {4294967295U, 0, 1}},
                    RangeRow{"LargestLong", "9223372036854775807", true, {4294967295U}},
                    RangeRow{"BeyondTheLargestLong", "99999999999999999999", true, {4294967295U}},
                    RangeRow{"UpToTheLargestLong",
                             "9223372036854775806-99999999999999999999",
                             true,
                             {4294967294U, 4294967295U}},
                    RangeRow{"DownFromTheLargestLong",
                             "9223372036854775807-9223372036854775806",
                             true,
                             {4294967295U, 4294967294U}},
                    RangeRow{"OfTheLargestLong",
                             "9223372036854775807-9223372036854775807",
                             true,
                             {4294967295U}}),
    rowName);

TEST(ExpandRangeOutput, IsAppendedTo) {
    Numbers out{9};
    EXPECT_TRUE(expandRangeStringToUInt("1-2", out));
    EXPECT_EQ(out, (Numbers{9, 1, 2}));
}

TEST(ExpandRangeOutput, HasNoLimit) {
    Numbers out;
    EXPECT_TRUE(expandRangeStringToUInt("1000000-1", out));
    EXPECT_EQ(out.size(), 1000000U);
    EXPECT_EQ(out.back(), 1U);
}

}  // namespace
