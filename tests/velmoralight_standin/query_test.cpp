#include "velmoralight_standin/reader/query.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(ParseQuery, KeepsTheOrder) {
    EXPECT_THAT(*standin::parseQuery("b=2&a=1&b=3"),
                ElementsAre(Pair("b", "2"), Pair("a", "1"), Pair("b", "3")));
}

TEST(ParseQuery, GivesAParameterWithoutValueAnEmptyOne) {
    EXPECT_THAT(*standin::parseQuery("a&b="), ElementsAre(Pair("a", ""), Pair("b", "")));
}

TEST(ParseQuery, FindsNothingInNothing) {
    EXPECT_THAT(*standin::parseQuery(""), IsEmpty());
}

TEST(ParseQuery, DecodesEscapesInNamesAndValues) {
    EXPECT_THAT(*standin::parseQuery("%72oi=1%2c2%2C%00"),
                ElementsAre(Pair("roi", std::string("1,2,\0", 5))));
}

TEST(ParseQuery, RefusesMalformedEscapes) {
    EXPECT_FALSE(standin::parseQuery("a=%"));
    EXPECT_FALSE(standin::parseQuery("a=%4"));
    EXPECT_FALSE(standin::parseQuery("a=%4g"));
    EXPECT_FALSE(standin::parseQuery("a=%-1"));
    EXPECT_FALSE(standin::parseQuery("%zz=1"));
}
