#include "velmoralight_standin/router.h"

#include <gtest/gtest.h>

using standin::Response;
using standin::Route;

TEST(RequestRouter, KnowsThePaths) {
    EXPECT_EQ(std::get<Route>(standin::route("POST", "/v1/recognize")), Route::Recognize);
    EXPECT_EQ(std::get<Route>(standin::route("GET", "/v1/status")), Route::Status);
    EXPECT_EQ(std::get<Route>(standin::route("GET", "/healthz")), Route::Health);
    EXPECT_EQ(std::get<Route>(standin::route("HEAD", "/metrics")), Route::Metrics);
}

TEST(RequestRouter, HasThePageAtTheRoot) {
    EXPECT_EQ(std::get<Route>(standin::route("GET", "/")), Route::Page);
    EXPECT_EQ(std::get<Route>(standin::route("HEAD", "/")), Route::Page);
}

TEST(RequestRouter, MatchesPathsExactly) {
    EXPECT_EQ(std::get<Response>(standin::route("GET", "//")).status, 404);
    EXPECT_EQ(std::get<Response>(standin::route("GET", "/HEALTHZ")).status, 404);
    EXPECT_EQ(std::get<Response>(standin::route("GET", "")).status, 404);
}

TEST(RequestRouter, MatchesMethodsExactly) {
    EXPECT_EQ(std::get<Response>(standin::route("get", "/healthz")).status, 405);
    EXPECT_EQ(std::get<Response>(standin::route("HEAD", "/v1/recognize")).status, 405);
}

TEST(RequestRouter, AnswersOptionsItself) {
    const auto answer = std::get<Response>(standin::route("OPTIONS", "/"));
    EXPECT_EQ(answer.status, 204);
    EXPECT_EQ(answer.fields.at(0),
              std::pair(std::string("Allow"), std::string("GET, HEAD, OPTIONS")));
    EXPECT_EQ(std::get<Response>(standin::route("OPTIONS", "/nowhere")).status, 404);
}

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
