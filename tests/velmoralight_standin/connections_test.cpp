#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "engine.h"
#include "test_images.h"

namespace {

using nlohmann::json;

VelmoraLightServerConfig withConnections(int32_t conns) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.conns = conns;
    return config;
}

// Opens a connection and makes sure that the server has taken it in.
std::unique_ptr<HttpClient> admittedClient(const Engine& engine) {
    auto client = std::make_unique<HttpClient>(engine.port());
    client->send(httpRequest("GET", "/healthz"));
    EXPECT_EQ(client->receive().status, 200);
    return client;
}

// Asks until it is let in; every refusal on the way must be a proper one.
void insistOnAnswer(const Engine& engine, std::atomic<int>& refusals) {
    for (;;) {
        HttpClient client(engine.port());
        client.send(httpRequest("GET", "/healthz", "", "Connection: close\r\n"));
        const int status = client.receive().status;
        EXPECT_EQ(client.awaitHangup(), Hangup::Orderly);
        if (status == 200) {
            return;
        }
        EXPECT_EQ(status, 503);
        ++refusals;
    }
}

}  // namespace

TEST(ConnectionLimit, RefusesOneMoreWith503) {
    const Engine engine(withConnections(2));
    const auto first = admittedClient(engine);
    const auto second = admittedClient(engine);
    const HttpReply reply = httpExchange(engine.port(), "GET", "/healthz");
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.fields.at("connection"), "close");
    EXPECT_EQ(reply.fields.at("retry-after"), "1");
    EXPECT_EQ(json::parse(reply.body)["name"], "VELMORA_LIGHT_ERROR_OTHER");
}

TEST(ConnectionLimit, LetsTheRefusedClientSeeItsAnswerAndNoReset) {
    const Engine engine(withConnections(1));
    const auto first = admittedClient(engine);
    HttpClient refused(engine.port());
    refused.send(httpRequest("POST", "/v1/recognize", std::string(4'000'000, 'x')));
    EXPECT_EQ(refused.receive().status, 503);
    refused.finishSending();
    EXPECT_EQ(refused.awaitHangup(), Hangup::Orderly);
}

TEST(ConnectionLimit, RefusesASilentClientToo) {
    const Engine engine(withConnections(1));
    const auto first = admittedClient(engine);
    HttpClient silent(engine.port());
    EXPECT_EQ(silent.receive().status, 503);
}

TEST(ConnectionLimit, StillServesThoseWhoAreIn) {
    const Engine engine(withConnections(1));
    const auto first = admittedClient(engine);
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 503);
    EXPECT_EQ(Engine::counter(*first, "connectionsRefused"), 1);
    EXPECT_EQ(Engine::counter(*first, "connectionsOpen"), 1);
}

TEST(ConnectionLimit, NeverRefusesAClientThatComesBackAtOnce) {
    const Engine engine(withConnections(1));
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
    }
}

TEST(ConnectionLimit, AnswersTwoHundredClientsOnFourConnections) {
    const Engine engine(withConnections(4));
    std::atomic<int> refusals = 0;
    std::vector<std::thread> clients;
    for (int i = 0; i < 200; ++i) {
        clients.emplace_back([&] { insistOnAnswer(engine, refusals); });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    HttpClient observer(engine.port());
    EXPECT_EQ(Engine::counter(observer, "connectionsRefused"), refusals);
    EXPECT_EQ(Engine::counter(observer, "connectionsAdmitted"), 201);
}

TEST(ConnectionLimit, HoldsForTwoHundredClientsWhoAllStay) {
    const Engine engine(withConnections(4));
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<HttpClient>(engine.port()));
        clients.back()->send(httpRequest("GET", "/healthz"));
    }
    int admitted = 0;
    for (const auto& client : clients) {
        const int status = client->receive().status;
        EXPECT_TRUE(status == 200 || status == 503) << status;
        admitted += status == 200 ? 1 : 0;
    }
    EXPECT_EQ(admitted, 4);
}

TEST(DestroyUnderLoad, ReturnsWhileClientsAreInAllStages) {
    Engine engine;
    const auto idle = admittedClient(engine);
    HttpClient silent(engine.port());
    HttpClient half(engine.port());
    half.send("POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\nhalf");
    HttpClient working(engine.port());
    working.send(httpRequest("POST", "/v1/recognize", qrPng("stages")));
    EXPECT_EQ(engine.destroy(), VELMORA_LIGHT_SUCCESS);
    EXPECT_EQ(idle->awaitHangup(), Hangup::Orderly);
}

TEST(DestroyUnderLoad, LetsRunningWorkEndAndBeAnswered) {
    Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("POST", "/v1/recognize", slowImage()));
    HttpClient observer(engine.port());
    EXPECT_TRUE(waitUntil([&] { return Engine::counter(observer, "workersBusy") == 1; }));
    EXPECT_EQ(engine.destroy(), VELMORA_LIGHT_SUCCESS);
    const HttpReply reply = client.receive();
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.fields.at("connection"), "close");
}

TEST(DestroyUnderLoad, ReturnsWhileManyClientsAsk) {
    Engine engine;
    std::atomic<bool> stop = false;
    std::vector<std::thread> clients;
    const std::string image = qrPng("load");
    for (int i = 0; i < 6; ++i) {
        clients.emplace_back([&] {
            while (!stop) {
                // Whatever becomes of it: refused, served or cut off.
                try {
                    static_cast<void>(engine.recognize(image));
                } catch (const std::runtime_error&) {
                    std::this_thread::yield();
                }
            }
        });
    }
    HttpClient observer(engine.port());
    EXPECT_TRUE(waitUntil([&] { return Engine::counter(observer, "symbols") > 20; }));
    EXPECT_EQ(engine.destroy(), VELMORA_LIGHT_SUCCESS);
    stop = true;
    for (std::thread& client : clients) {
        client.join();
    }
}
