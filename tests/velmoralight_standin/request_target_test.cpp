#include "velmoralight_standin/request_target.h"

#include <gtest/gtest.h>

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
