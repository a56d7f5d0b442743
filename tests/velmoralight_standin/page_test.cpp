#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "engine.h"
#include "support/command_output.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

HttpReply pageOf(const Engine& engine, const std::string& method = "GET") {
    return httpExchange(engine.port(), method, "/");
}

// What stands between two marks that the page has once.
std::string between(const std::string& page, const std::string& start, const std::string& end) {
    const size_t first = page.find(start) + start.size();
    EXPECT_EQ(page.find(start, first), std::string::npos) << start;
    return page.substr(first, page.find(end, first) - first);
}

// As a content security policy names it, computed by programs that know nothing of this project.
std::string hashOf(const std::string& text) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("text");
    writeFile(file, text);
    const std::string hash = outputOf("sha256sum '" + file +
                                      "' | cut -c -64 | tr a-f A-F | basenc --base16 -d | "
                                      "base64 -w 0");
    return "'sha256-" + hash + "'";
}

}  // namespace

TEST(EnginePage, IsAWholeDocument) {
    const Engine engine;
    const HttpReply reply = pageOf(engine);
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.fields.at("content-type"), "text/html; charset=utf-8");
    EXPECT_THAT(reply.body, testing::StartsWith("<!doctype html>\n<html lang=\"en\">\n"));
    EXPECT_THAT(reply.body, testing::EndsWith("\n</body>\n</html>\n"));
}

TEST(EnginePage, IsAllowedNothingButItsOwnParts) {
    const Engine engine;
    const HttpReply reply = pageOf(engine);
    const std::string script = hashOf(between(reply.body, "<script type=\"module\">", "</script>"));
    const std::string style = hashOf(between(reply.body, "<style>", "</style>"));
    EXPECT_EQ(reply.fields.at("content-security-policy"),
              "default-src 'none'; connect-src 'self'; img-src blob: data:; script-src " + script +
                  "; style-src " + style +
                  "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
                  "require-trusted-types-for 'script'; trusted-types 'none'");
}

TEST(EnginePage, IsGuardedByItsFields) {
    const Engine engine;
    const HttpReply reply = pageOf(engine);
    EXPECT_EQ(reply.fields.at("x-content-type-options"), "nosniff");
    EXPECT_EQ(reply.fields.at("referrer-policy"), "no-referrer");
    EXPECT_EQ(reply.fields.at("permissions-policy"),
              "camera=(self), geolocation=(), microphone=()");
    EXPECT_EQ(reply.fields.at("cache-control"), "no-store");
}

TEST(EnginePage, HasItsPartsInside) {
    const Engine engine;
    const std::string page = pageOf(engine).body;
    for (const char* const place : {"@css@", "@js@", "@SAMPLE@"}) {
        EXPECT_THAT(page, testing::Not(testing::HasSubstr(place)));
    }
}

TEST(EnginePage, CarriesTheSampleImage) {
    const Engine engine;
    const std::string sample = outputOf("base64 -w 0 '" VELMORA_SAMPLE_IMAGE "'");
    EXPECT_THAT(pageOf(engine).body, testing::HasSubstr("atob('" + sample + "')"));
}

TEST(EnginePage, TakesNoQueryIntoAccount) {
    const Engine engine;
    const HttpReply reply = httpExchange(engine.port(), "GET", "/?a=b");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, pageOf(engine).body);
}

TEST(EnginePage, AnswersHeadWithTheFieldsOfGetAndNoBody) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("HEAD", "/"));
    const HttpReply head = client.receive(/*withBody=*/false);
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.fields, pageOf(engine).fields);
    EXPECT_THROW(static_cast<void>(client.receive()), std::runtime_error);
}

TEST(EnginePage, KnowsNoOtherMethod) {
    const Engine engine;
    for (const std::string method : {"POST", "PUT", "DELETE"}) {
        const HttpReply reply = pageOf(engine, method);
        EXPECT_EQ(reply.status, 405) << method;
        EXPECT_EQ(reply.fields.at("allow"), "GET, HEAD, OPTIONS") << method;
    }
}

TEST(EnginePage, GivesItsConnectionBack) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("GET", "/"));
    EXPECT_EQ(client.receive().fields.at("connection"), "close");
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}
