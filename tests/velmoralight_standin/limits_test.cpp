#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "limited_server.h"

namespace {

using namespace std::chrono_literals;
using standin::Limits;

// How long something took.
template <typename Action>
std::chrono::steady_clock::duration timeOf(Action action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

// Takes the process's descriptors away for as long as it lives.
class NoMoreDescriptors {
public:
    NoMoreDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before);
        const int next = ::dup(STDERR_FILENO);
        ::close(next);
        rlimit none = before;
        none.rlim_cur = static_cast<rlim_t>(next);
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before); }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

private:
    rlimit before{};
};

// A client that needs no descriptor beyond the one that it begins with.
class Newcomer {
public:
    ~Newcomer() { ::close(descriptor); }
    Newcomer() = default;
    Newcomer(const Newcomer&) = delete;
    Newcomer& operator=(const Newcomer&) = delete;

    void connectTo(uint16_t port) const {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ASSERT_EQ(::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }

    // The status line, or what there is of it.
    [[nodiscard]] std::string ask() const {
        const std::string request = httpRequest("GET", "/healthz");
        ::send(descriptor, request.data(), request.size(), MSG_NOSIGNAL);
        char answer[16] = {};
        ::recv(descriptor, answer, sizeof answer - 1, 0);
        return answer;
    }

private:
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

// The second answer tells that the server is through with the first in all its parts. The
// undefined-behaviour sanitizer needs descriptors to look at a type that it has not met.
void askTwice(HttpClient& client) {
    for (int i = 0; i < 2; ++i) {
        client.send(httpRequest("GET", "/healthz"));
        EXPECT_EQ(client.receive().status, 200);
    }
}

// Asks for more than the buffers between client and server hold, so that the server's answers
// stick.
void askWithoutListening(HttpClient& client) {
    constexpr int kRequests = 8000;
    std::string requests;
    for (int i = 0; i < kRequests; ++i) {
        requests += "GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n";
    }
    client.send(requests);
}

// Whether the server answers the observer and nobody else for a while.
bool servesNobodyElse(HttpClient& observer) {
    const auto answers = [&] {
        observer.send(httpRequest("GET", "/v1/status"));
        const auto status = nlohmann::json::parse(observer.receive().body);
        return status["counters"]["responses"].value("200", 0);
    };
    const int before = answers();
    std::this_thread::sleep_for(100ms);
    return answers() == before + 1;
}

double processorSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

TEST(IdleTimeout, ClosesASilentConnectionWithoutAWord) {
    Limits limits;
    limits.idleTimeout = 1s;
    const LimitedServer server(limits);
    const auto time = timeOf([&] {
        HttpClient client(server.port);
        EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
    });
    EXPECT_GE(time, 950ms);
}

TEST(IdleTimeout, CountsAnewAfterEachAnswer) {
    Limits limits;
    limits.idleTimeout = 2s;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    std::this_thread::sleep_for(500ms);  // the time that is to count no more
    const auto time = timeOf([&] {
        client.send(httpRequest("GET", "/healthz"));
        EXPECT_EQ(client.receive().status, 200);
        EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
    });
    EXPECT_GE(time, 1950ms);
}

TEST(HeaderTimeout, IsAnsweredWith408) {
    Limits limits;
    limits.headerTimeout = 100ms;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    client.send("GET /healthz HT");
    const HttpReply reply = client.receive();
    EXPECT_EQ(reply.status, 408);
    EXPECT_EQ(reply.fields.at("connection"), "close");
    EXPECT_EQ(nlohmann::json::parse(reply.body)["name"], "VELMORA_LIGHT_ERROR_OTHER");
}

TEST(HeaderTimeout, IsNotPutOffByAByteNowAndThen) {
    Limits limits;
    limits.headerTimeout = 200ms;
    limits.refusalTime = 100ms;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    // A byte is sent every millisecond until the server does not take it any more.
    EXPECT_TRUE(waitUntil([&] { return !client.send("x"); }));
}

TEST(BodyTimeout, IsAnsweredWith408) {
    Limits limits;
    limits.bodyTimeout = 100ms;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    client.send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nhalf");
    EXPECT_EQ(client.receive().status, 408);
}

TEST(RefusalTime, BoundsTheReadingAwayOfARequest) {
    Limits limits;
    limits.refusalTime = 100ms;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    client.send("POST /nowhere HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nhalf");
    EXPECT_EQ(client.receive().status, 404);
    // The client does not hang up; the server does not wait for ever.
    EXPECT_TRUE(waitUntil([&] { return !client.send("x"); }));
}

TEST(RefusalBytes, BoundTheReadingAwayOfARequest) {
    Limits limits;
    limits.refusalTime = 60s;
    limits.refusalBytes = 100'000;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    client.send("POST /nowhere HTTP/1.1\r\nHost: x\r\nContent-Length: 9999999\r\n\r\n");
    EXPECT_EQ(client.receive().status, 404);
    const std::string block(10'000, 'x');
    EXPECT_TRUE(waitUntil([&] { return !client.send(block); }));
}

TEST(MaxVisitors, LetsFurtherOnesWaitInTheBacklog) {
    Limits limits;
    limits.maxVisitors = 1;
    limits.visitTime = 100ms;
    // Each of the refused is waited for until its refusal is over; the busy one is to outlast them.
    limits.refusalTime = 100ms;
    limits.headerTimeout = 600s;
    const LimitedServer server(limits, 1);
    HttpClient busy(server.port);
    busy.send("GET /v1/status HTTP/1.1\r\n");
    std::vector<std::unique_ptr<HttpClient>> refused;
    for (int i = 0; i < 5; ++i) {
        refused.push_back(std::make_unique<HttpClient>(server.port));
    }
    for (const auto& client : refused) {
        EXPECT_EQ(client->receive().status, 503);
    }
}

TEST(VisitTime, GivesASilentNewcomerAPlaceThatIsFree) {
    Limits limits;
    limits.visitTime = 100ms;
    const LimitedServer server(limits, 2);
    HttpClient silent(server.port);
    EXPECT_TRUE(waitUntil([&] { return server.counters()["connectionsOpen"] == 2; }));
    silent.send(httpRequest("GET", "/v1/status"));
    EXPECT_EQ(silent.receive().status, 200);
}

TEST(VisitTime, IsNotSpentOnABodyThatNobodyReads) {
    const LimitedServer server(Limits(), 1);
    HttpClient busy(server.port);
    busy.send("GET /v1/status HTTP/1.1\r\n");
    HttpClient visitor(server.port);
    visitor.send("GET /healthz HTTP/1.1\r\nHost: x\r\nContent-Length: 100000\r\n\r\n");
    EXPECT_EQ(visitor.receive().status, 200);
}

TEST(MaxBodiesBytes, RefusesWhatIsMoreThanThatTogether) {
    Limits limits;
    limits.maxBodiesBytes = 1'000'000;
    const LimitedServer server(limits, 4);
    HttpClient first(server.port);
    first.send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 900000\r\n\r\n" +
               std::string(850'000, 'x'));
    // Who asks before it sends takes nothing while there is room, so the first is always read.
    EXPECT_TRUE(waitUntil([&] {
        HttpClient second(server.port);
        second.send(httpRequest("POST", "/v1/recognize", "",
                                "Expect: 100-continue\r\nContent-Length: 200000\r\n"));
        const HttpReply reply = second.receive();
        return reply.status == 503 && reply.fields.at("retry-after") == "1" &&
               reply.body.find("too many bodies are on their way") != std::string::npos;
    }));
    EXPECT_EQ(httpExchange(server.port, "POST", "/v1/recognize", std::string(90'000, 'x')).status,
              415);
    first.send(std::string(50'000, 'x'));
    EXPECT_EQ(first.receive().status, 415);
    EXPECT_EQ(httpExchange(server.port, "POST", "/v1/recognize", std::string(900'000, 'x')).status,
              415);
}

TEST(MaxBodiesBytes, AreNotTakenByBodiesThatAreOnlyAnnounced) {
    Limits limits;
    limits.maxBodiesBytes = 1'000'000;
    const LimitedServer server(limits, 4);
    HttpClient one(server.port);
    HttpClient other(server.port);
    for (HttpClient* client : {&one, &other}) {
        client->send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 900000\r\n\r\nx");
    }
    EXPECT_TRUE(waitUntil([&] { return server.counters()["connectionsOpen"] == 3; }));
    EXPECT_EQ(httpExchange(server.port, "POST", "/v1/recognize", std::string(900'000, 'x')).status,
              415);
}

TEST(MaxBodiesBytes, CountsBodiesInChunksAsTheyGrow) {
    Limits limits;
    limits.maxBodiesBytes = 1'000'000;
    const LimitedServer server(limits, 4);
    HttpClient client(server.port);
    client.send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
    client.send("1E8480\r\n" + std::string(2'000'000, 'x') + "\r\n0\r\n\r\n");
    EXPECT_EQ(client.receive().status, 503);
    EXPECT_EQ(httpExchange(server.port, "POST", "/v1/recognize", std::string(900'000, 'x')).status,
              415);
}

// A picture of 600,000 bytes that tells the scripted reader what to do.
std::string largeBody(const std::string& command) {
    return command + std::string(600'000 - command.size(), ' ');
}

const std::string kRecognizeHead = "POST /v1/recognize HTTP/1.1\r\nHost: x\r\n";

VelmoraLightServerConfig withOneReader() {
    VelmoraLightServerConfig config = sensibleConfig();
    config.threads = 1;
    config.threadQueueSize = 0;
    return config;
}

void expectRoom(const LimitedServer& server, const char* after) {
    EXPECT_TRUE(waitUntil([&] { return server.recognize(largeBody("good")).status == 200; }))
        << after;
}

TEST(MaxBodiesBytes, AreGivenBackHoweverARequestEnds) {
    Limits limits;
    limits.maxBodiesBytes = 1'000'000;
    limits.pictureTime = 3s;
    const LimitedServer server(withOneReader(), limits, VELMORA_SCRIPTED_READER);
    EXPECT_EQ(server.recognize(largeBody("die")).status, 422);
    expectRoom(server, "a reader that died");
    EXPECT_EQ(server.recognize(largeBody("hang")).status, 422);
    expectRoom(server, "a picture that took too long");
    HttpClient(server.port).send(kRecognizeHead + "Content-Length: 600000\r\n\r\nhalf");
    expectRoom(server, "a client that left");
    HttpClient(server.port).send(httpRequest("POST", "/v1/recognize", largeBody("sleep 100")));
    expectRoom(server, "a client that left during the work");
    HttpClient bad(server.port);
    bad.send(kRecognizeHead + "Transfer-Encoding: chunked\r\n\r\n7A120\r\n" +
             std::string(500'000, 'x') + "no end of a chunk");
    EXPECT_EQ(bad.receive().status, 400);
    expectRoom(server, "a malformed body");
}

TEST(MaxBodiesBytes, AreGivenBackWhenABodyTakesTooLong) {
    Limits limits;
    limits.maxBodiesBytes = 1'000'000;
    limits.bodyTimeout = 1s;
    const LimitedServer server(withOneReader(), limits, VELMORA_SCRIPTED_READER);
    HttpClient slow(server.port);
    slow.send(kRecognizeHead + "Content-Length: 600000\r\n\r\n" + std::string(500'000, 'x'));
    EXPECT_EQ(slow.receive().status, 408);
    expectRoom(server, "a body that took too long");
}

TEST(MaxBodiesBytes, AreGivenBackWhenTheQueueIsFull) {
    Limits limits;
    limits.maxBodiesBytes = 1'000'000;
    limits.pictureTime = 1min;
    const LimitedServer server(withOneReader(), limits, VELMORA_SCRIPTED_READER);
    HttpClient busy(server.port);
    busy.send(httpRequest("POST", "/v1/recognize", "hold"));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    EXPECT_EQ(server.recognize(largeBody("good")).status, 503);
    letReadersGoOn();
    EXPECT_EQ(busy.receive().status, 200);
    expectRoom(server, "a full queue");
}

TEST(ServerAccept, RestsWhileThereAreNoDescriptors) {
    const LimitedServer server{Limits()};
    HttpClient client(server.port);
    askTwice(client);
    client.send("GET /healthz");  // which is at work from now on, and gives nothing up
    const Newcomer second;
    {
        const NoMoreDescriptors nothing;
        second.connectTo(server.port);
        const double before = processorSeconds();
        std::this_thread::sleep_for(500ms);  // the time in which it must not work
        EXPECT_LT(processorSeconds() - before, 0.25);
    }
    EXPECT_EQ(second.ask(), "HTTP/1.1 200 OK");
}

TEST(ServerAccept, TakesTheDescriptorOfTheLongestIdleWhenThereAreNoOthers) {
    Limits limits;
    limits.idleTimeout = 10min;
    const LimitedServer server(limits);
    HttpClient client(server.port);
    askTwice(client);
    const Newcomer second;
    const NoMoreDescriptors nothing;
    second.connectTo(server.port);
    EXPECT_EQ(second.ask(), "HTTP/1.1 200 OK");
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}

TEST(AnswerTimeout, EndsAConnectionThatDoesNotTakeItsAnswers) {
    Limits limits;
    limits.answerTimeout = 200ms;
    const LimitedServer server(limits);
    HttpClient observer(server.port);
    HttpClient deaf(server.port);
    askWithoutListening(deaf);
    EXPECT_TRUE(waitUntil([&] { return Engine::counter(observer, "connectionsOpen") == 1; }));
}

TEST(StopGrace, BoundsTheWaitForAClientThatDoesNotTakeItsAnswers) {
    Limits limits;
    limits.answerTimeout = 600s;
    limits.stopGrace = 100ms;
    auto server = std::make_unique<LimitedServer>(limits);
    HttpClient observer(server->port);
    HttpClient deaf(server->port);
    askWithoutListening(deaf);
    EXPECT_TRUE(waitUntil([&] { return servesNobodyElse(observer); }));
    const auto time = timeOf([&] { server.reset(); });
    EXPECT_LT(time, 60s);
}

TEST(ServerStop, DoesNotWaitForThoseWhoComeMeanwhile) {
    Limits limits;
    limits.idleTimeout = 600s;
    for (int round = 0; round < 20; ++round) {
        auto server = std::make_unique<LimitedServer>(limits, 200);
        std::vector<std::unique_ptr<HttpClient>> silent;
        std::atomic<bool> stop = false;
        std::thread crowd([&] {
            try {
                while (!stop && silent.size() < 300) {
                    silent.push_back(std::make_unique<HttpClient>(server->port));
                }
            } catch (const std::runtime_error&) {
                // Nobody listens any more.
            }
        });
        std::this_thread::yield();
        const auto time = timeOf([&] { server->stop(); });
        stop = true;
        crowd.join();
        ASSERT_LT(time, 60s);
    }
}

TEST(ServerStop, DoesNotWaitForASilentClient) {
    Limits limits;
    limits.idleTimeout = 600s;
    auto server = std::make_unique<LimitedServer>(limits);
    HttpClient client(server->port);
    client.send(httpRequest("GET", "/healthz"));
    EXPECT_EQ(client.receive().status, 200);
    const auto time = timeOf([&] { server.reset(); });
    EXPECT_LT(time, 60s);
    EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
}
