#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>
#include <thread>
#include <utility>

#include "engine.h"
#include "support/row_name.h"
#include "test_images.h"

namespace {

using nlohmann::json;

// A request in chunks of `size` bytes.
std::string chunkedRequest(const std::string& body, size_t size) {
    std::string request =
        "POST /v1/recognize HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (size_t at = 0; at < body.size(); at += size) {
        const std::string chunk = body.substr(at, size);
        char length[16];
        std::snprintf(length, sizeof length, "%zx\r\n", chunk.size());
        request += length + chunk + "\r\n";
    }
    return request + "0\r\n\r\n";
}

std::string firstText(const HttpReply& reply) {
    return json::parse(reply.body)["symbols"][0]["text"].get<std::string>();
}

// What one client is answered to its bytes.
HttpReply answerTo(const Engine& engine, const std::string& bytes) {
    HttpClient client(engine.port());
    client.send(bytes);
    return client.receive();
}

}  // namespace

struct Exchange {
    const char* name;
    const char* bytes;
    int status;
    int code;
};

std::ostream& operator<<(std::ostream& out, const Exchange& row) {
    return out << row.name;
}

class RefusedRequest : public testing::TestWithParam<Exchange> {};

TEST_P(RefusedRequest, IsAnsweredWithStatusAndCode) {
    const Engine engine;
    const HttpReply reply = answerTo(engine, GetParam().bytes);
    EXPECT_EQ(reply.status, GetParam().status);
    const json body = json::parse(reply.body);
    EXPECT_EQ(body["code"], GetParam().code);
    EXPECT_THAT(body["name"].get<std::string>(), testing::StartsWith("VELMORA_LIGHT_ERROR_"));
    EXPECT_FALSE(body["message"].get<std::string>().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Requests, RefusedRequest,
    testing::Values(
        Exchange{"UnknownPath", "GET /v2/recognize HTTP/1.1\r\nHost: x\r\n\r\n", 404, 6},
        Exchange{"PostOfThePage", "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\nbody",
                 405, 6},
        Exchange{"PathThatIsLonger", "GET /healthz/ HTTP/1.1\r\nHost: x\r\n\r\n", 404, 6},
        Exchange{"GetOfRecognize", "GET /v1/recognize HTTP/1.1\r\nHost: x\r\n\r\n", 405, 6},
        Exchange{"PostOfStatus",
                 "POST /v1/status HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\nbody", 405, 6},
        Exchange{"UnknownMethod", "BREW /healthz HTTP/1.1\r\nHost: x\r\n\r\n", 405, 6},
        Exchange{"Garbage", "\x16\x03\x01 this is no HTTP\r\n\r\n", 400, 999},
        Exchange{"NoHost", "GET /healthz HTTP/1.1\r\n\r\n", 400, 999},
        Exchange{"TwoHosts", "GET /healthz HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n", 400, 999},
        Exchange{"BadField", "GET /healthz HTTP/1.1\r\nHost: x\r\nno colon\r\n\r\n", 400, 999},
        Exchange{"BadLength",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: -1\r\n\r\n", 400, 999},
        Exchange{"TwoLengths",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n"
                 "Content-Length: 2\r\n\r\nab",
                 400, 999},
        Exchange{"LengthAndChunks",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n"
                 "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                 400, 999},
        Exchange{
            "BadChunk",
            "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n",
            400, 999},
        Exchange{"HugeLength",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: "
                 "18446744073709551615\r\n\r\n",
                 413, 10},
        Exchange{"UnknownExpectation", "GET /healthz HTTP/1.1\r\nHost: x\r\nExpect: tea\r\n\r\n",
                 417, 999},
        Exchange{"UnknownCoding",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: gzip\r\n\r\n", 501,
                 999},
        Exchange{"CodingBeforeChunks",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: gzip, chunked\r\n"
                 "\r\n0\r\n\r\n",
                 501, 999},
        Exchange{"TwoCodings",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: gzip\r\n"
                 "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                 501, 999},
        Exchange{"ChunksInTheOldVersion",
                 "POST /v1/recognize HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400,
                 999},
        Exchange{"FoldedBySpace", "GET /healthz HTTP/1.1\r\nHost: x\r\nX-A: b\r\n c\r\n\r\n", 400,
                 999},
        Exchange{"FoldedByTabulator", "GET /healthz HTTP/1.1\r\nHost: x\r\nX-A: b\r\n\tc\r\n\r\n",
                 400, 999},
        Exchange{"EmptyHost", "GET /healthz HTTP/1.1\r\nHost: \r\n\r\n", 400, 999},
        Exchange{"HostWithABlank", "GET /healthz HTTP/1.1\r\nHost: a b\r\n\r\n", 400, 999},
        Exchange{"HostWithAPath", "GET /healthz HTTP/1.1\r\nHost: a/b\r\n\r\n", 400, 999},
        Exchange{"HostWithoutItsName", "GET /healthz HTTP/1.1\r\nHost: :80\r\n\r\n", 400, 999},
        Exchange{"HostWithAPortInLetters", "GET /healthz HTTP/1.1\r\nHost: a:b\r\n\r\n", 400, 999},
        Exchange{"HostWithHalfAnAddress", "GET /healthz HTTP/1.1\r\nHost: [::1\r\n\r\n", 400, 999},
        Exchange{"BadHostInTheOldVersion", "GET /healthz HTTP/1.0\r\nHost: a b\r\n\r\n", 400, 999},
        Exchange{"PageOfAnotherHost",
                 "GET /healthz HTTP/1.1\r\nHost: x\r\nOrigin: http://y\r\n\r\n", 403, 999},
        Exchange{"PageOfAnotherPort",
                 "GET /healthz HTTP/1.1\r\nHost: x:3333\r\nOrigin: http://x:8080\r\n\r\n", 403,
                 999},
        Exchange{"PageOfNobody",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nOrigin: null\r\n"
                 "Content-Length: 4\r\n\r\nbody",
                 403, 999},
        Exchange{"Form",
                 "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n"
                 "Content-Type: Multipart/Form-Data; boundary=b\r\n\r\nbody",
                 415, 3},
        Exchange{"NewVersion", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 505, 999}),
    rowName);

TEST(RequestMethod, IsAnsweredWithThoseThatThePathKnows) {
    const Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "DELETE", "/v1/recognize").fields.at("allow"),
              "POST, OPTIONS");
    EXPECT_EQ(httpExchange(engine.port(), "DELETE", "/metrics").fields.at("allow"),
              "GET, HEAD, OPTIONS");
}

TEST(OptionsRequest, AreAnsweredWithTheMethodsOfThePath) {
    const Engine engine;
    HttpClient client(engine.port());
    for (const auto& [target, methods] :
         {std::pair("/v1/recognize", "POST, OPTIONS"), std::pair("/healthz", "GET, HEAD, OPTIONS"),
          std::pair("*", "GET, HEAD, POST, OPTIONS")}) {
        client.send(httpRequest("OPTIONS", target));
        const HttpReply reply = client.receive();
        EXPECT_EQ(reply.status, 204);
        EXPECT_EQ(reply.fields.at("allow"), methods);
        EXPECT_EQ(reply.fields.count("content-length"), 0U);
        EXPECT_EQ(reply.fields.count("content-type"), 0U);
    }
    EXPECT_EQ(httpExchange(engine.port(), "OPTIONS", "/nowhere").status, 404);
}

struct GoodHost {
    const char* name;
    const char* fields;
};

std::ostream& operator<<(std::ostream& out, const GoodHost& row) {
    return out << row.name;
}

class ServedHost : public testing::TestWithParam<GoodHost> {};

TEST_P(ServedHost, GetsItsAnswer) {
    const Engine engine;
    const std::string fields = GetParam().fields;
    EXPECT_EQ(answerTo(engine, "GET /healthz HTTP/1.1\r\n" + fields + "\r\n").status, 200);
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, ServedHost,
    testing::Values(GoodHost{"Name", "Host: machine_1.example\r\n"},
                    GoodHost{"NameWithPort", "Host: x:3333\r\n"},
                    GoodHost{"Address", "Host: 127.0.0.1\r\n"},
                    GoodHost{"NewAddressWithPort", "Host: [::1]:80\r\n"},
                    GoodHost{"ItsOwnPage", "Host: x:3333\r\nOrigin: http://X:3333\r\n"},
                    GoodHost{"ItsOwnPageWithThePortLeftOut", "Host: x:80\r\nOrigin: http://x\r\n"},
                    GoodHost{"ItsOwnPageBehindAProxy", "Host: x\r\nOrigin: https://x\r\n"}),
    rowName);

TEST(MultipartForm, IsToldHowToSendTheImage) {
    const Engine engine;
    const HttpReply reply =
        answerTo(engine,
                 "POST /v1/recognize HTTP/1.1\r\nHost: x:3333\r\nContent-Length: 4\r\n"
                 "Content-Type: multipart/form-data; boundary=b\r\n\r\nbody");
    EXPECT_EQ(json::parse(reply.body)["message"],
              "send the image itself as the body, not a form: curl --data-binary @image.png "
              "http://x:3333/v1/recognize");
}

TEST(HeadRequest, GetsTheFieldsOfGetAndNoBody) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("HEAD", "/healthz") + httpRequest("GET", "/healthz"));
    const HttpReply head = client.receive(/*withBody=*/false);
    const HttpReply get = client.receive();
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.fields, get.fields);
    EXPECT_EQ(get.status, 200);
}

TEST(RequestTarget, MayNameTheHost) {
    const Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "GET", "http://localhost/healthz").status, 200);
}

TEST(RequestTarget, MayHaveAQueryThatNobodyLooksAt) {
    const Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz?fresh=1").status, 200);
}

TEST(RequestHeader, MayBeAlmostAsLargeAsTheLimit) {
    const Engine engine;
    const std::string field = "X-Padding: " + std::string(8000, 'x') + "\r\n";
    EXPECT_EQ(answerTo(engine, httpRequest("GET", "/healthz", "", field)).status, 200);
}

TEST(RequestHeader, IsRefusedWhenItIsTooLarge) {
    const Engine engine;
    const std::string field = "X-Padding: " + std::string(100'000, 'x') + "\r\n";
    const HttpReply reply = answerTo(engine, httpRequest("GET", "/healthz", "", field));
    EXPECT_EQ(reply.status, 431);
    EXPECT_EQ(json::parse(reply.body)["name"], "VELMORA_LIGHT_ERROR_OTHER");
}

TEST(RequestHeader, IsRefusedWhenItNeverEnds) {
    const Engine engine;
    const std::string endless(200'000, 'x');
    EXPECT_EQ(answerTo(engine, "GET /" + endless).status, 431);
}

TEST(RequestHeader, IsAsLargeAsAllItsPieces) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send("GET /healthz HTTP/1.1\r\nHost: x\r\n");
    const std::string field = "X-Padding: " + std::string(487, 'x') + "\r\n";
    // Each piece ends a byte into a name, which the parser does not take before the next one.
    for (int i = 0; i < 20; ++i) {
        client.send(i == 0 ? field + "X" : field.substr(1) + "X");
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    client.send("-A: b\r\n\r\n");
    EXPECT_EQ(client.receive().status, 431);
}

TEST(RequestHeader, MayHaveAHundredFieldsAndNoMore) {
    const Engine engine;
    std::string fields;  // beside Host
    for (int i = 1; i < 100; ++i) {
        fields += "A:b\r\n";
    }
    EXPECT_EQ(answerTo(engine, httpRequest("GET", "/healthz", "", fields)).status, 200);
    const HttpReply reply =
        answerTo(engine, httpRequest("GET", "/healthz", "", fields + "A:b\r\n"));
    EXPECT_EQ(reply.status, 431);
    EXPECT_EQ(json::parse(reply.body)["message"], "the header has more than 100 fields");
}

// RFC 9110, 10.1.1.
TEST(RequestHeader, HasNoExpectationsInTheOldVersion) {
    const Engine engine;
    EXPECT_EQ(answerTo(engine, "GET /healthz HTTP/1.0\r\nExpect: tea\r\n\r\n").status, 200);
}

TEST(RequestHeader, IsNotMistakenForFoldedWhenItsLastLineEndComesLate) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    client.send("\n\n by");
    EXPECT_EQ(client.receive().status, 415);
}

TEST(RequestBody, MayComeInChunks) {
    const Engine engine;
    const HttpReply reply = answerTo(engine, chunkedRequest(qrPng("in chunks"), 17));
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(firstText(reply), "in chunks");
}

TEST(RequestBody, IsRefusedWhenItsChunksAddUpToTooMuch) {
    const Engine engine;
    const std::string body(17 * 1024 * 1024, 'x');
    const HttpReply reply = answerTo(engine, chunkedRequest(body, 1024 * 1024));
    EXPECT_EQ(reply.status, 413);
    EXPECT_EQ(json::parse(reply.body)["code"], 10);
}

TEST(RequestBody, MayBeginWhenTheServerSaysContinue) {
    const Engine engine;
    const std::string image = qrPng("continued");
    const std::string request =
        httpRequest("POST", "/v1/recognize", image, "Expect: 100-continue\r\n");
    HttpClient client(engine.port());
    client.send(request.substr(0, request.size() - image.size()));
    EXPECT_EQ(client.receive(/*withBody=*/false).status, 100);
    client.send(image);
    EXPECT_EQ(firstText(client.receive()), "continued");
}

TEST(RequestBody, IsNotAskedForWhenItIsTooLarge) {
    const Engine engine;
    const HttpReply reply = answerTo(engine,
                                     "POST /v1/recognize HTTP/1.1\r\nHost: x\r\n"
                                     "Expect: 100-continue\r\nContent-Length: 999999999\r\n\r\n");
    EXPECT_EQ(reply.status, 413);
}

TEST(RequestBody, IsNotAskedForWhenThePathIsUnknown) {
    const Engine engine;
    const HttpReply reply = answerTo(engine,
                                     "POST /nowhere HTTP/1.1\r\nHost: x\r\n"
                                     "Expect: 100-continue\r\nContent-Length: 10\r\n\r\n");
    EXPECT_EQ(reply.status, 404);
    EXPECT_EQ(reply.fields.at("connection"), "close");
}

TEST(ServerConnection, ServesSeveralRequests) {
    const Engine engine;
    HttpClient client(engine.port());
    for (const std::string text : {"first", "second", "third"}) {
        client.send(httpRequest("POST", "/v1/recognize", qrPng(text)));
        EXPECT_EQ(firstText(client.receive()), text);
    }
    EXPECT_EQ(Engine::counter(client, "connectionsAdmitted"), 1);
}

TEST(ServerConnection, GoesOnAfterARefusedImage) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("POST", "/v1/recognize", "no image"));
    EXPECT_EQ(client.receive().status, 415);
    client.send(httpRequest("GET", "/healthz"));
    EXPECT_EQ(client.receive().status, 200);
}

TEST(ServerConnection, AnswersPipelinedRequestsInTheirOrder) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("POST", "/v1/recognize", qrPng("one")) +
                httpRequest("GET", "/nowhere") +
                httpRequest("POST", "/v1/recognize", qrPng("two")));
    EXPECT_EQ(firstText(client.receive()), "one");
    EXPECT_EQ(client.receive().status, 404);
    EXPECT_EQ(firstText(client.receive()), "two");
}

TEST(ServerConnection, IsClosedWhenTheClientAsksForIt) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("GET", "/healthz", "", "Connection: close\r\n"));
    EXPECT_EQ(client.receive().fields.at("connection"), "close");
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}

TEST(ServerConnection, IsClosedWhenAPageAsksForIt) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("GET", "/healthz", "", "Velmora-Connection: Close\r\n"));
    EXPECT_EQ(client.receive().fields.at("connection"), "close");
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}

TEST(ServerConnection, IsClosedWhenAPageAsksForItAndIsRefused) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("GET", "/v1/recognize", "", "Velmora-Connection: close\r\n"));
    const HttpReply reply = client.receive();
    EXPECT_EQ(reply.status, 405);
    EXPECT_EQ(reply.fields.at("connection"), "close");
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}

TEST(ServerConnection, StaysWhenAPageAsksForIt) {
    const Engine engine;
    HttpClient client(engine.port());
    for (int request = 0; request < 2; ++request) {
        client.send(httpRequest("GET", "/healthz", "", "Velmora-Connection: keep-alive\r\n"));
        EXPECT_EQ(client.receive().status, 200);
    }
}

TEST(ServerConnection, IsClosedAfterARequestOfTheOldVersion) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send("GET /healthz HTTP/1.0\r\n\r\n");
    EXPECT_EQ(client.receive().status, 200);
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}

TEST(HttpClient, MaySendItsRequestByteByByte) {
    const Engine engine;
    HttpClient client(engine.port());
    for (const char byte : httpRequest("POST", "/v1/recognize", qrPng("slow", 2))) {
        ASSERT_TRUE(client.send({&byte, 1}));
    }
    EXPECT_EQ(firstText(client.receive()), "slow");
}

TEST(HttpClient, MaySayThatItSendsNothingMore) {
    const Engine engine;
    // From here on a reader is ready: a request that waited would be taken for that of a client
    // that has left.
    EXPECT_EQ(engine.recognize(qrPng("first words")).status, 200);
    HttpClient client(engine.port());
    client.send(httpRequest("POST", "/v1/recognize", qrPng("last words")));
    client.finishSending();
    EXPECT_EQ(firstText(client.receive()), "last words");
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}

TEST(HttpClient, IsToldThatItsRequestEndedEarly) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nhalf");
    client.finishSending();
    EXPECT_EQ(client.receive().status, 400);
}

TEST(HttpClient, MayHangUpInTheMiddleOfARequest) {
    const Engine engine;
    for (const std::string part : {"", "GET /hea", "POST /v1/recognize HTTP/1.1\r\nContent-"}) {
        HttpClient client(engine.port());
        client.send(part);
    }
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
}

TEST(HttpClient, MayHangUpBeforeItsAnswer) {
    const Engine engine;
    // The reader is there after this: a request that still waits for one goes with its client.
    httpExchange(engine.port(), "POST", "/v1/recognize", qrPng("somebody waits"));
    {
        HttpClient client(engine.port());
        client.send(httpRequest("POST", "/v1/recognize", qrPng("nobody waits")));
    }
    HttpClient observer(engine.port());
    EXPECT_TRUE(waitUntil([&] { return Engine::counter(observer, "symbols") == 2; }));
}

TEST(HttpClient, SeesTheAnswerToABodyThatWasNotRead) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send("POST /nowhere HTTP/1.1\r\nHost: x\r\nContent-Length: 8000000\r\n\r\n");
    client.send(std::string(8'000'000, 'x'));
    EXPECT_EQ(client.receive().status, 404);
    client.finishSending();
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}
