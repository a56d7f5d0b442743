#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "limited_server.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using standin::Limits;

VelmoraLightServerConfig withQueue(int32_t threadQueueSize, int32_t queueTimeout = 0) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.threads = 1;
    config.threadQueueSize = threadQueueSize;
    config.queueTimeout = queueTimeout;
    return config;
}

Limits patientLimits() {
    Limits limits;
    limits.pictureTime = 1min;
    return limits;
}

// A server, one reader of which works until the test has seen enough.
class BusyServer {
public:
    explicit BusyServer(const VelmoraLightServerConfig& config)
        : server(config, patientLimits(), VELMORA_SCRIPTED_READER), busy(server.port) {
        // A request that waits for the start of its reader waits as others do.
        awaitReaders(static_cast<size_t>(config.threads), "ready");
        busy.send(httpRequest("POST", "/v1/recognize", "hold"));
        EXPECT_TRUE(waitUntil([&] { return counter("workersBusy") == 1; }));
    }

    void expectToFinish() {
        letReadersGoOn();
        EXPECT_EQ(busy.receive().status, 200);
    }

    [[nodiscard]] int64_t counter(const char* name) const {
        return server.counters()[name].get<int64_t>();
    }

    // A client whose request waits.
    [[nodiscard]] std::unique_ptr<HttpClient> waitingClient() const {
        const int64_t before = counter("requestsWaiting");
        auto client = std::make_unique<HttpClient>(server.port);
        client->send(httpRequest("POST", "/v1/recognize", "waits"));
        EXPECT_TRUE(waitUntil([&] { return counter("requestsWaiting") == before + 1; }));
        return client;
    }

    LimitedServer server;
    HttpClient busy;
};

void expectBusy(const HttpReply& reply, const std::string& message) {
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.fields.at("retry-after"), "1");
    EXPECT_EQ(json::parse(reply.body),
              json({{"code", 999}, {"name", "VELMORA_LIGHT_ERROR_OTHER"}, {"message", message}}));
}

}  // namespace

TEST(PictureQueue, RefusesARequestWhenItIsFull) {
    BusyServer server(withQueue(1));
    const auto waiting = server.waitingClient();
    expectBusy(server.server.recognize("too much"), "the queue is full");
    EXPECT_EQ(server.counter("queueFull"), 1);
    server.expectToFinish();
    EXPECT_EQ(waiting->receive().status, 200);
}

TEST(PictureQueue, TakesNothingWhenItsSizeIsZeroAndTheReaderIsBusy) {
    BusyServer server(withQueue(0));
    expectBusy(server.server.recognize("too much"), "the queue is full");
    server.expectToFinish();
}

TEST(PictureQueue, LetsAnIdleReaderServeWhenItsSizeIsZero) {
    const LimitedServer server(withQueue(0), Limits(), VELMORA_SCRIPTED_READER);
    EXPECT_EQ(server.recognize("idle").status, 200);
    EXPECT_EQ(server.recognize("idle again").status, 200);
}

TEST(PictureQueue, RefusesARequestThatHasWaitedTooLongAndDoesNotWorkOnIt) {
    BusyServer server(withQueue(5, 50));
    expectBusy(server.server.recognize("too late"), "the request waited longer than 50 ms");
    EXPECT_EQ(server.counter("queueTimeouts"), 1);
    server.expectToFinish();
    EXPECT_EQ(server.counter("symbols"), 1);
}

TEST(PictureQueue, DoesNotLetTheWorkItselfCountAsWaiting) {
    BusyServer server(withQueue(5, 50));
    std::this_thread::sleep_for(100ms);
    server.expectToFinish();
    EXPECT_EQ(server.counter("queueTimeouts"), 0);
}

TEST(PictureQueue, TellsHowLongARequestWaited) {
    BusyServer server(withQueue(5));
    const auto waiting = server.waitingClient();
    std::this_thread::sleep_for(20ms);
    server.expectToFinish();
    const HttpReply reply = waiting->receive();
    EXPECT_EQ(reply.status, 200);
    EXPECT_GE(json::parse(reply.body)["waitedMs"].get<double>(), 20.0);
}

TEST(PictureQueue, IsAnsweredWithoutWorkWhenTheServerIsDestroyed) {
    BusyServer server(withQueue(5));
    const auto waiting = server.waitingClient();
    const auto stopped = std::async(std::launch::async, [&] { server.server.stop(); });
    expectBusy(waiting->receive(), "the server is being stopped");
    server.expectToFinish();
}

TEST(PictureQueue, DoesNotHoldUpTheReports) {
    BusyServer server(withQueue(0));
    EXPECT_EQ(httpExchange(server.server.port, "GET", "/healthz").status, 200);
    EXPECT_EQ(server.counter("workersBusy"), 1);
    server.expectToFinish();
}

TEST(PictureQueue, LosesTheRequestOfAClientThatLeaves) {
    BusyServer server(withQueue(5));
    for (int i = 0; i < 3; ++i) {
        auto waiting = server.waitingClient();
        waiting.reset();
        EXPECT_TRUE(waitUntil([&] { return server.counter("requestsWaiting") == 0; }));
    }
    server.expectToFinish();
    EXPECT_EQ(server.counter("symbols"), 1);
}

TEST(PictureQueue, LosesTheRequestOfAClientThatLeavesAfterWordsOfItsNextOne) {
    BusyServer server(withQueue(5));
    auto waiting = server.waitingClient();
    for (const char* early : {"G", "ET /healthz HT"}) {
        waiting->send(early);
        std::this_thread::sleep_for(20ms);  // mostly a piece of its own for the server
    }
    waiting.reset();
    EXPECT_TRUE(waitUntil([&] { return server.counter("requestsWaiting") == 0; }));
    server.expectToFinish();
}

TEST(PictureQueue, KeepsTheRequestsOfAClientThatSaysMoreThanThereIsRoomFor) {
    BusyServer server(withQueue(5));
    const auto waiting = server.waitingClient();
    std::string more;
    for (int i = 0; i < 1000; ++i) {
        more += httpRequest("GET", "/healthz");
    }
    waiting->send(more);
    EXPECT_EQ(server.counter("requestsWaiting"), 1);
    server.expectToFinish();
    for (int i = 0; i <= 1000; ++i) {
        ASSERT_EQ(waiting->receive().status, 200);
    }
}

TEST(PictureQueue, IsOneForAllReaders) {
    VelmoraLightServerConfig config = withQueue(5);
    config.threads = 2;
    BusyServer server(config);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(server.server.recognize("quick").status, 200);
    }
    EXPECT_EQ(server.counter("workersBusy"), 1);
    server.expectToFinish();
}

TEST(PictureQueue, HasRoomForTheThreadsTimesItsSize) {
    VelmoraLightServerConfig config = withQueue(2);
    config.threads = 2;
    config.conns = 20;
    BusyServer server(config);
    HttpClient other(server.server.port);
    other.send(httpRequest("POST", "/v1/recognize", "hold"));
    EXPECT_TRUE(waitUntil([&] { return server.counter("workersBusy") == 2; }));
    std::vector<std::unique_ptr<HttpClient>> waiting;
    for (int i = 0; i < 4; ++i) {
        waiting.push_back(server.waitingClient());
    }
    expectBusy(server.server.recognize("too much"), "the queue is full");
    server.expectToFinish();
    EXPECT_EQ(other.receive().status, 200);
    for (const auto& client : waiting) {
        EXPECT_EQ(client->receive().status, 200);
    }
}
