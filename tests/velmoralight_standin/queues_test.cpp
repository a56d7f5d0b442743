#include <gtest/gtest.h>

#include <string>

#include "engine.h"
#include "test_images.h"

namespace {

using nlohmann::json;

VelmoraLightServerConfig oneWorker(int32_t threadQueueSize, int32_t queueTimeout = 0) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.threads = 1;
    config.threadQueueSize = threadQueueSize;
    config.queueTimeout = queueTimeout;
    return config;
}

// An engine whose only worker has been given seconds of work.
class BusyEngine {
public:
    explicit BusyEngine(const VelmoraLightServerConfig& config)
        : engine(config), busy(engine.port()), observer(engine.port()) {
        busy.send(httpRequest("POST", "/v1/recognize", slowImage()));
        EXPECT_TRUE(waitUntil([&] { return counter("workersBusy") == 1; }));
    }

    int64_t counter(const std::string& name) { return Engine::counter(observer, name); }

    Engine engine;
    HttpClient busy;
    HttpClient observer;
};

void expectBusy(const HttpReply& reply, const std::string& message) {
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.fields.at("retry-after"), "1");
    EXPECT_EQ(json::parse(reply.body),
              json({{"code", 999}, {"name", "VELMORA_LIGHT_ERROR_OTHER"}, {"message", message}}));
}

}  // namespace

TEST(Queues, RefuseARequestWhenAllAreFull) {
    BusyEngine server(oneWorker(1));
    HttpClient waiting(server.engine.port());
    waiting.send(httpRequest("POST", "/v1/recognize", qrPng("waited")));
    EXPECT_TRUE(waitUntil([&] { return server.counter("requestsWaiting") == 1; }));
    expectBusy(server.engine.recognize(qrPng("too much")), "every queue is full");
    EXPECT_EQ(server.counter("queueFull"), 1);
    EXPECT_EQ(server.busy.receive().status, 200);
    EXPECT_EQ(waiting.receive().status, 200);
}

TEST(Queues, TakeNothingWhenTheirSizeIsZeroAndTheWorkerIsBusy) {
    BusyEngine server(oneWorker(0));
    expectBusy(server.engine.recognize(qrPng("too much")), "every queue is full");
    EXPECT_EQ(server.busy.receive().status, 200);
}

TEST(Queues, LetAnIdleWorkerServeWhenTheirSizeIsZero) {
    const Engine engine(oneWorker(0));
    EXPECT_EQ(engine.recognize(qrPng("idle")).status, 200);
    EXPECT_EQ(engine.recognize(qrPng("idle again")).status, 200);
}

TEST(Queues, RefuseARequestThatHasWaitedTooLongAndDoNotWorkOnIt) {
    BusyEngine server(oneWorker(5, 50));
    expectBusy(server.engine.recognize(qrPng("too late")), "the request waited longer than 50 ms");
    EXPECT_EQ(server.counter("queueTimeouts"), 1);
    EXPECT_EQ(server.busy.receive().status, 200);
    EXPECT_EQ(server.counter("symbols"), 0);
}

TEST(Queues, DoNotLetTheWorkItselfCountAsWaiting) {
    BusyEngine server(oneWorker(5, 50));
    EXPECT_EQ(server.busy.receive().status, 200);
    EXPECT_EQ(server.counter("queueTimeouts"), 0);
}

TEST(Queues, TellHowLongARequestWaited) {
    BusyEngine server(oneWorker(5));
    const HttpReply reply = server.engine.recognize(qrPng("patient"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_GT(json::parse(reply.body)["waitedMs"].get<double>(), 1.0);
}

TEST(Queues, AreAnsweredWithoutWorkWhenTheServerIsDestroyed) {
    BusyEngine server(oneWorker(5));
    HttpClient waiting(server.engine.port());
    waiting.send(httpRequest("POST", "/v1/recognize", qrPng("waiting")));
    EXPECT_TRUE(waitUntil([&] { return server.counter("requestsWaiting") == 1; }));
    EXPECT_EQ(server.engine.destroy(), VELMORA_LIGHT_SUCCESS);
    expectBusy(waiting.receive(), "the server is being stopped");
    EXPECT_EQ(server.busy.receive().status, 200);
}

TEST(Queues, DoNotHoldUpTheReports) {
    BusyEngine server(oneWorker(0));
    EXPECT_EQ(httpExchange(server.engine.port(), "GET", "/healthz").status, 200);
    EXPECT_EQ(server.counter("workersBusy"), 1);
    EXPECT_EQ(server.busy.receive().status, 200);
}
