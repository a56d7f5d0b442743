#include "velmoralight_standin/request_target.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(SplitTarget, SeparatesPathAndQuery) {
    const auto target = standin::splitTarget("/v1/recognize?roi=1,2,3,4?");
    EXPECT_EQ(target.path, "/v1/recognize");
    EXPECT_EQ(target.query, "roi=1,2,3,4?");
}

TEST(SplitTarget, TakesATargetWithoutQuery) {
    const auto target = standin::splitTarget("/healthz");
    EXPECT_EQ(target.path, "/healthz");
    EXPECT_EQ(target.query, "");
}

TEST(SplitTarget, DropsTheHost) {
    EXPECT_EQ(standin::splitTarget("http://host:1/healthz?a").path, "/healthz");
    EXPECT_EQ(standin::splitTarget("http://host").path, "/");
    EXPECT_EQ(standin::splitTarget("http://host?a=b").query, "a=b");
}

TEST(SplitTarget, TakesNothing) {
    EXPECT_EQ(standin::splitTarget("").path, "");
}

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
