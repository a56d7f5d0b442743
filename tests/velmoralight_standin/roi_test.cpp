#include "velmoralight_standin/reader/roi.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "support/row_name.h"

namespace {

using standin::ImageInfo;
using standin::ImageType;
using standin::Roi;

constexpr ImageInfo kImage{ImageType::Png, 100, 50};

}  // namespace

TEST(ParseRoi, ReadsFourNumbers) {
    const auto roi = standin::parseRoi("1,2,30,4294967295");
    ASSERT_TRUE(roi);
    EXPECT_EQ(roi->x, 1U);
    EXPECT_EQ(roi->y, 2U);
    EXPECT_EQ(roi->width, 30U);
    EXPECT_EQ(roi->height, 4294967295U);
}

struct MalformedRoi {
    const char* name;
    const char* text;
};

std::ostream& operator<<(std::ostream& out, const MalformedRoi& row) {
    return out << row.name;
}

class ParseMalformedRoi : public testing::TestWithParam<MalformedRoi> {};

TEST_P(ParseMalformedRoi, ReturnsNothing) {
    EXPECT_FALSE(standin::parseRoi(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseMalformedRoi,
    testing::Values(MalformedRoi{"Empty", ""}, MalformedRoi{"Commas", ",,,"},
                    MalformedRoi{"ThreeNumbers", "1,2,3"}, MalformedRoi{"FiveNumbers", "1,2,3,4,5"},
                    MalformedRoi{"TrailingComma", "1,2,3,4,"}, MalformedRoi{"Negative", "-1,2,3,4"},
                    MalformedRoi{"Plus", "+1,2,3,4"}, MalformedRoi{"Blank", "1, 2,3,4"},
                    MalformedRoi{"Fraction", "1.5,2,3,4"}, MalformedRoi{"Letters", "a,b,c,d"},
                    MalformedRoi{"Semicolons", "1;2;3;4"},
                    MalformedRoi{"TooLarge", "4294967296,0,1,1"},
                    MalformedRoi{"FarTooLarge", "99999999999999999999,0,1,1"}),
    rowName);

TEST(RoiInside, HoldsForTheWholeImage) {
    EXPECT_TRUE(standin::liesInside(Roi{0, 0, 100, 50}, kImage));
}

TEST(RoiInside, HoldsForTheLastPixel) {
    EXPECT_TRUE(standin::liesInside(Roi{99, 49, 1, 1}, kImage));
}

TEST(RoiInside, DoesNotHoldOneColumnTooFar) {
    EXPECT_FALSE(standin::liesInside(Roi{1, 0, 100, 50}, kImage));
}

TEST(RoiInside, DoesNotHoldOneRowTooFar) {
    EXPECT_FALSE(standin::liesInside(Roi{0, 1, 100, 50}, kImage));
}

TEST(RoiInside, DoesNotHoldWithoutPixels) {
    EXPECT_FALSE(standin::liesInside(Roi{0, 0, 0, 50}, kImage));
    EXPECT_FALSE(standin::liesInside(Roi{0, 0, 100, 0}, kImage));
}

TEST(RoiInside, IsNotFooledByNumbersThatOverflow) {
    EXPECT_FALSE(standin::liesInside(Roi{4294967295U, 0, 2, 1}, kImage));
    EXPECT_FALSE(standin::liesInside(Roi{0, 4294967295U, 1, 2}, kImage));
}
