#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "child_processes.h"
#include "engine.h"
#include "host_process.h"
#include "test_images.h"

namespace {

using nlohmann::json;

VelmoraLightServerConfig withConnections(int32_t conns) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.conns = conns;
    return config;
}

constexpr const char* kNeedsPlace = "/v1/status";

// Opens a connection and makes sure that the server has taken it in.
std::unique_ptr<HttpClient> admittedClient(const Engine& engine) {
    auto client = std::make_unique<HttpClient>(engine.port());
    client->send(httpRequest("GET", kNeedsPlace));
    EXPECT_EQ(client->receive().status, 200);
    return client;
}

// A client in the middle of a request, whose place is its own.
std::unique_ptr<HttpClient> busyClient(const Engine& engine) {
    auto client = admittedClient(engine);
    client->send("GET /v1/status HTTP/1.1\r\n");
    // The answer to another one tells that the server has had the time to read it.
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
    return client;
}

// Asks until it is let in; every refusal on the way must be a proper one.
void insistOnAnswer(const Engine& engine, std::atomic<int>& refusals) {
    for (;;) {
        HttpClient client(engine.port());
        client.send(httpRequest("GET", kNeedsPlace, "", "Connection: close\r\n"));
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

TEST(ConnectionPlaces, AreRefusedWith503WhenAllAreInUse) {
    const Engine engine(withConnections(2));
    const auto first = busyClient(engine);
    const auto second = busyClient(engine);
    const HttpReply reply = httpExchange(engine.port(), "GET", kNeedsPlace);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(reply.fields.at("connection"), "close");
    EXPECT_EQ(reply.fields.at("retry-after"), "1");
    EXPECT_EQ(json::parse(reply.body)["name"], "VELMORA_LIGHT_ERROR_OTHER");
}

TEST(ConnectionPlaces, LetTheRefusedClientSeeItsAnswerAndNoReset) {
    const Engine engine(withConnections(1));
    const auto first = busyClient(engine);
    HttpClient refused(engine.port());
    refused.send(httpRequest("POST", "/v1/recognize", std::string(4'000'000, 'x')));
    EXPECT_EQ(refused.receive().status, 503);
    refused.finishSending();
    EXPECT_EQ(refused.awaitHangup(), Hangup::Orderly);
}

TEST(ConnectionPlaces, AreRefusedToASilentClientToo) {
    const Engine engine(withConnections(1));
    const auto first = busyClient(engine);
    HttpClient silent(engine.port());
    EXPECT_EQ(silent.receive().status, 503);
}

TEST(ConnectionPlaces, StayWithThoseInTheMiddleOfARequest) {
    const Engine engine(withConnections(1));
    const auto first = busyClient(engine);
    EXPECT_EQ(httpExchange(engine.port(), "GET", kNeedsPlace).status, 503);
    first->send("Host: x\r\n\r\n");
    const json counters = json::parse(first->receive().body)["counters"];
    EXPECT_EQ(counters["connectionsRefused"], 1);
    EXPECT_EQ(counters["connectionsOpen"], 1);
}

TEST(ConnectionPlaces, PassFromTheLongestIdleToWhoeverWaits) {
    const Engine engine(withConnections(2));
    const auto longest = admittedClient(engine);
    const auto other = admittedClient(engine);
    const auto newcomer = admittedClient(engine);
    EXPECT_EQ(longest->awaitHangup(), Hangup::Orderly);
    for (const auto& client : {other.get(), newcomer.get()}) {
        client->send(httpRequest("GET", kNeedsPlace));
        EXPECT_EQ(client->receive().status, 200);
    }
}

TEST(ConnectionPlaces, AreNotTakenFromTheIdleWhenOneIsFree) {
    const Engine engine(withConnections(3));
    const auto first = admittedClient(engine);
    const auto second = admittedClient(engine);
    const auto third = admittedClient(engine);
    EXPECT_EQ(Engine::counter(*first, "connectionsOpen"), 3);
}

TEST(ConnectionPlaces, AreNotHeldByWhoHasSaidNothingYet) {
    const Engine engine(withConnections(1));
    HttpClient silent(engine.port());
    EXPECT_EQ(httpExchange(engine.port(), "GET", kNeedsPlace).status, 200);
    silent.send(httpRequest("GET", kNeedsPlace));
    EXPECT_EQ(silent.receive().status, 200);
}

TEST(ConnectionPlaces, AreNotBlockedByTwoWhoComeAndGo) {
    const Engine engine(withConnections(1));
    const auto before = std::chrono::steady_clock::now();
    for (int round = 0; round < 20; ++round) {
        { const HttpClient one(engine.port()), other(engine.port()); }
        EXPECT_EQ(httpExchange(engine.port(), "GET", kNeedsPlace).status, 200);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
}

TEST(ConnectionPlaces, AreNotRefusedToAClientThatComesBackAtOnce) {
    const Engine engine(withConnections(1));
    for (int i = 0; i < 500; ++i) {
        ASSERT_EQ(httpExchange(engine.port(), "GET", kNeedsPlace).status, 200);
    }
}

TEST(ConnectionPlaces, AreNotNeededForHealthAndMetrics) {
    const Engine engine(withConnections(1));
    const auto first = busyClient(engine);
    for (const char* target : {"/healthz", "/metrics"}) {
        const HttpReply reply = httpExchange(engine.port(), "GET", target);
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(reply.fields.at("connection"), "close");
    }
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/nowhere").status, 404);
}

TEST(ConnectionPlaces, AreGivenToTwoHundredClientsInTurn) {
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

TEST(ConnectionPlaces, AreNeverMoreThanWereAskedFor) {
    const Engine engine(withConnections(4));
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<HttpClient>(engine.port()));
        clients.back()->send(httpRequest("GET", kNeedsPlace));
        const HttpReply reply = clients.back()->receive();
        EXPECT_EQ(reply.status, 200);
        EXPECT_LE(json::parse(reply.body)["counters"]["connectionsOpen"], 4);
    }
}

TEST(ConnectionPlaces, AreNotTakenFromAClientThatAsksAtTheSameMoment) {
    VelmoraLightServerConfig config = withConnections(2);
    const auto port = static_cast<uint16_t>(config.port);
    const HostProcess host([&] { return velmoraLightServer_create(&config); });
    EXPECT_TRUE(waitUntil([&] { return !childrenOf(host.id).empty(); }));
    HttpClient busy(port);
    busy.send("GET /v1/status HTTP/1.1\r\n");
    for (int round = 0; round < 8; ++round) {
        HttpClient client(port);
        client.send(httpRequest("POST", "/v1/recognize", "no picture"));
        EXPECT_EQ(client.receive().status, 415);
        HttpClient newcomer(port);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the client is idle now
        ::kill(host.id, SIGSTOP);
        ::waitpid(host.id, nullptr, WUNTRACED);
        client.send(httpRequest("GET", kNeedsPlace));
        newcomer.send(httpRequest("GET", kNeedsPlace));
        ::kill(host.id, SIGCONT);
        EXPECT_EQ(client.receive().status, 200);
        newcomer.receive();
    }
}

TEST(ServerDestroyUnderLoad, ReturnsWhileClientsAreInAllStages) {
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

TEST(ServerDestroyUnderLoad, ReturnsWhileManyClientsAsk) {
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
