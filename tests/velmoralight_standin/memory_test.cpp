#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "child_processes.h"
#include "engine.h"
#include "host_process.h"
#include "support/sanitizers.h"
#include "support/stopwatch.h"
#include "test_images.h"

namespace {

constexpr int64_t kMegabyte = 1'000'000;

int64_t residentSizeOf(pid_t pid) {
    std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
    int64_t total = 0;
    int64_t resident = 0;
    statm >> total >> resident;
    return resident * ::sysconf(_SC_PAGESIZE);
}

// An engine in a process of its own, and the largest resident size of it and its readers together.
class MeasuredHost {
public:
    MeasuredHost() : host([this] { return velmoraLightServer_create(&config); }) {
        EXPECT_TRUE(waitUntil([this] { return childrenOf(host.id).size() == 4; }));
        watcher = std::thread([this] { watch(); });
    }
    ~MeasuredHost() {
        enough = true;
        watcher.join();
    }
    MeasuredHost(const MeasuredHost&) = delete;
    MeasuredHost& operator=(const MeasuredHost&) = delete;

    [[nodiscard]] uint16_t port() const { return static_cast<uint16_t>(config.port); }
    [[nodiscard]] int64_t peak() const { return largest; }
    [[nodiscard]] int64_t sizeOfHost() const { return residentSizeOf(host.id); }

private:
    static VelmoraLightServerConfig withFourReaders() {
        VelmoraLightServerConfig config = sensibleConfig();
        config.threads = 4;
        config.conns = 100;
        return config;
    }

    void watch() {
        while (!enough) {
            int64_t sum = residentSizeOf(host.id);
            for (const pid_t reader : childrenOf(host.id)) {
                sum += residentSizeOf(reader);
            }
            largest = std::max<int64_t>(largest, sum);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    VelmoraLightServerConfig config = withFourReaders();
    const HostProcess host;
    std::atomic<bool> enough = false;
    std::atomic<int64_t> largest = 0;
    std::thread watcher;
};

}  // namespace

class EngineMemory : public testing::Test {
protected:
    void SetUp() override {
        if (failedAllocationIsFatal) {
            GTEST_SKIP() << "a sanitizer has its own use of memory";
        }
    }
};

TEST_F(EngineMemory, StaysBoundedWithSixtyLargeBodiesHeldOpen) {
    const MeasuredHost engine;
    const Stopwatch watch;
    const std::string half(15 * kMegabyte / 2, 'x');
    const std::string head = "POST /v1/recognize HTTP/1.1\r\nHost: x\r\nContent-Length: " +
                             std::to_string(15 * kMegabyte) + "\r\n\r\n";
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int i = 0; i < 60; ++i) {
        clients.push_back(std::make_unique<HttpClient>(engine.port()));
        clients.back()->send(head + half);
        clients.back()->send(half.substr(1));
    }
    // A machine that has much else to do needs more than the time that there is for a body.
    const bool isLate = watch.elapsed() > std::chrono::seconds(25);
    int worked = 0;
    for (const auto& client : clients) {
        client->send("x");
        const int status = client->receive().status;
        EXPECT_TRUE(status == 415 || status == 503 || (isLate && status == 408)) << status;
        worked += status == 415 ? 1 : 0;
    }
    EXPECT_TRUE(isLate || worked >= 6) << worked;
    EXPECT_LT(engine.peak(), 768 * kMegabyte);
    RecordProperty("peak", std::to_string(engine.peak()));
}

TEST_F(EngineMemory, IsGivenBackAfterLargeBodies) {
    const MeasuredHost engine;
    const auto post = [&](int64_t size) {
        const std::string body(static_cast<size_t>(size), 'x');
        const int status = httpExchange(engine.port(), "POST", "/v1/recognize", body).status;
        EXPECT_TRUE(status == 415 || status == 503) << status;
    };
    post(1000);
    const int64_t before = engine.sizeOfHost();
    // The second time, the allocator has seen the sizes of the first.
    for (int i = 0; i < 2; ++i) {
        std::vector<std::thread> clients;
        for (const int64_t megabytes : {15, 3, 8, 15, 2, 15, 4, 6, 15, 7}) {
            clients.emplace_back([&post, megabytes] { post(megabytes * kMegabyte); });
        }
        for (std::thread& client : clients) {
            client.join();
        }
    }
    EXPECT_TRUE(waitUntil([&] { return engine.sizeOfHost() < before + 20 * kMegabyte; }))
        << engine.sizeOfHost() - before;
}

TEST_F(EngineMemory, StaysBoundedWithFourLargeProgressiveJpegsAtOnce) {
    const MeasuredHost engine;
    const std::string image = encodeProgressiveJpeg(plain(8000, 6250));
    std::vector<std::thread> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([&] {
            const int status = httpExchange(engine.port(), "POST", "/v1/recognize", image).status;
            // A machine that has much else to do needs more than the time that there is.
            EXPECT_TRUE(status == 200 || status == 422) << status;
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_LT(engine.peak(), 768 * kMegabyte);
    RecordProperty("peak", std::to_string(engine.peak()));
}
