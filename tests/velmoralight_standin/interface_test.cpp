#include <dlfcn.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "child_processes.h"
#include "engine.h"
#include "support/output_capture.h"
#include "support/row_name.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

// Sets a variable of the environment and takes it back.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* theName, const char* value) : name(theName) {
        ::setenv(name, value, 1);
    }
    ~EnvironmentVariable() { ::unsetenv(name); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* name;
};

struct Refused {
    VelmoraLightServer* server;
    std::string said;  // on standard error
};

Refused tryToCreate(VelmoraLightServerConfig* config) {
    OutputCapture capture(stderr);
    VelmoraLightServer* server = velmoraLightServer_create(config);
    return {server, capture.text()};
}

std::ptrdiff_t entriesOf(const char* directory) {
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
}

std::string exportedSymbols() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(
        ::popen("nm -D --defined-only --format=posix " VELMORA_ENGINE_FILE
                " | cut -d ' ' -f 1 | LC_ALL=C sort",
                "re"),
        ::pclose);
    char block[4096];
    std::string symbols;
    for (size_t count = 0; (count = std::fread(block, 1, sizeof block, pipe.get())) > 0;) {
        symbols.append(block, count);
    }
    return symbols;
}

// How often each thread of the engine has gone to sleep so far, by the thread's number.
std::map<std::string, std::string> sleepsOfEngineThreads() {
    std::map<std::string, std::string> sleeps;
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        std::string name;
        std::getline(status, name);
        for (std::string line; std::getline(status, line);) {
            if (name.find("\tvelmora-") != std::string::npos && line.starts_with("voluntary")) {
                sleeps[task.path()] = line;
            }
        }
    }
    return sleeps;
}

}  // namespace

TEST(GetVersion, FillsTheThreeNumbers) {
    int numbers[] = {-1, -1, -1};
    EXPECT_EQ(velmoraLight_getVersion(&numbers[0], &numbers[1], &numbers[2]),
              VELMORA_LIGHT_SUCCESS);
    EXPECT_THAT(numbers, testing::ElementsAre(1, 0, 0));
}

TEST(GetVersion, ToleratesNullPointers) {
    int minor = -1;
    EXPECT_EQ(velmoraLight_getVersion(nullptr, &minor, nullptr), VELMORA_LIGHT_SUCCESS);
    EXPECT_EQ(minor, 0);
}

TEST(GetBuildSHA1, SaysThatItIsAStandIn) {
    EXPECT_THAT(velmoraLight_getBuildSHA1(), testing::MatchesRegex("stand-in-[0-9a-f]{7}"));
}

TEST(EngineLibrary, ExportsTheFourOperationsAndNothingElse) {
    EXPECT_EQ(exportedSymbols(),
              "velmoraLightServer_create\n"
              "velmoraLightServer_destroy\n"
              "velmoraLight_getBuildSHA1\n"
              "velmoraLight_getVersion\n");
}

struct SenselessNumber {
    const char* name;
    int32_t VelmoraLightServerConfig::*field;
    int32_t value;
    const char* said;
};

std::ostream& operator<<(std::ostream& out, const SenselessNumber& row) {
    return out << row.name;
}

class ServerCreateWithSenselessNumber : public testing::TestWithParam<SenselessNumber> {};

TEST_P(ServerCreateWithSenselessNumber, ReturnsNullAndSaysWhyInOneLine) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.*GetParam().field = GetParam().value;
    const Refused refused = tryToCreate(&config);
    EXPECT_EQ(refused.server, nullptr);
    EXPECT_EQ(refused.said,
              std::string("velmoraLight: no server created: ") + GetParam().said + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, ServerCreateWithSenselessNumber,
    testing::Values(SenselessNumber{"PortZero", &VelmoraLightServerConfig::port, 0,
                                    "port 0 is not in 1..65535"},
                    SenselessNumber{"PortNegative", &VelmoraLightServerConfig::port, -1,
                                    "port -1 is not in 1..65535"},
                    SenselessNumber{"PortTooLarge", &VelmoraLightServerConfig::port, 65536,
                                    "port 65536 is not in 1..65535"},
                    SenselessNumber{"NoConnections", &VelmoraLightServerConfig::conns, 0,
                                    "conns 0 is not in 1..10000"},
                    SenselessNumber{"ConnectionsNegative", &VelmoraLightServerConfig::conns,
                                    INT32_MIN, "conns -2147483648 is not in 1..10000"},
                    SenselessNumber{"ConnectionsTooMany", &VelmoraLightServerConfig::conns, 10001,
                                    "conns 10001 is not in 1..10000"},
                    SenselessNumber{"NoThreads", &VelmoraLightServerConfig::threads, 0,
                                    "threads 0 is not in 1..256"},
                    SenselessNumber{"ThreadsNegative", &VelmoraLightServerConfig::threads, -5,
                                    "threads -5 is not in 1..256"},
                    SenselessNumber{"ThreadsTooMany", &VelmoraLightServerConfig::threads, 257,
                                    "threads 257 is not in 1..256"},
                    SenselessNumber{"QueueNegative", &VelmoraLightServerConfig::threadQueueSize, -1,
                                    "threadQueueSize -1 is not in 0..10000"},
                    SenselessNumber{"QueueTooLong", &VelmoraLightServerConfig::threadQueueSize,
                                    INT32_MAX, "threadQueueSize 2147483647 is not in 0..10000"},
                    SenselessNumber{"TimeoutNegative", &VelmoraLightServerConfig::queueTimeout, -1,
                                    "queueTimeout -1 is not in 0..86400000"},
                    SenselessNumber{"TimeoutTooLong", &VelmoraLightServerConfig::queueTimeout,
                                    86400001, "queueTimeout 86400001 is not in 0..86400000"}),
    rowName);

TEST(ServerCreate, ReturnsNullWithoutAConfiguration) {
    const Refused refused = tryToCreate(nullptr);
    EXPECT_EQ(refused.server, nullptr);
    EXPECT_EQ(refused.said, "velmoraLight: no server created: there is no configuration\n");
}

TEST(ServerCreate, ReturnsNullWhenThePortIsTaken) {
    const Engine engine;
    VelmoraLightServerConfig config = sensibleConfig();
    config.port = engine.port();
    const Refused refused = tryToCreate(&config);
    EXPECT_EQ(refused.server, nullptr);
    EXPECT_EQ(refused.said, "velmoraLight: no server created: cannot listen on 127.0.0.1 port " +
                                std::to_string(engine.port()) + ": Address already in use\n");
}

TEST(ServerCreate, ReturnsNullWhenTheReaderIsNotBesideTheLibrary) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() + "/libvelmoraLight.so";
    fs::copy_file(VELMORA_ENGINE_FILE, file);
    void* const library = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << ::dlerror();
    const auto create = reinterpret_cast<decltype(&velmoraLightServer_create)>(
        ::dlsym(library, "velmoraLightServer_create"));
    VelmoraLightServerConfig config = sensibleConfig();
    OutputCapture capture(stderr);
    EXPECT_EQ(create(&config), nullptr);
    EXPECT_EQ(capture.text(), "velmoraLight: no server created: cannot start " +
                                  fs::canonical(directory.path()).string() +
                                  "/velmora/velmoralight-reader: No such file or directory\n");
    // The library stays loaded: what it keeps until the end would look lost without it.
}

TEST(ServerCreate, LeavesTheRecordAsItWas) {
    VelmoraLightServerConfig config = sensibleConfig();
    const VelmoraLightServerConfig before = config;
    velmoraLightServer_destroy(velmoraLightServer_create(&config));
    EXPECT_EQ(std::memcmp(&config, &before, sizeof config), 0);
}

TEST(ServerCreate, ListensOnTheAddressThatTheEnvironmentNames) {
    const EnvironmentVariable address("VELMORA_LIGHT_BIND", "127.0.0.2");
    const Engine engine;
    EXPECT_THROW(HttpClient client(engine.port()), std::runtime_error);
}

TEST(ServerCreate, ListensOnAllAddressesWhenTheEnvironmentSaysSo) {
    const EnvironmentVariable address("VELMORA_LIGHT_BIND", "0.0.0.0");
    const Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
}

TEST(ServerCreate, TakesAnEmptyAddressForNone) {
    const EnvironmentVariable address("VELMORA_LIGHT_BIND", "");
    const Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
}

TEST(ServerCreate, ReturnsNullWhenTheEnvironmentNamesNoAddress) {
    const EnvironmentVariable address("VELMORA_LIGHT_BIND", "everywhere\n");
    VelmoraLightServerConfig config = sensibleConfig();
    const Refused refused = tryToCreate(&config);
    EXPECT_EQ(refused.server, nullptr);
    EXPECT_EQ(
        refused.said,
        "velmoraLight: no server created: VELMORA_LIGHT_BIND names no IPv4 or IPv6 address\n");
}

TEST(ServerCreate, SaysNothingWhenItSucceeds) {
    OutputCapture capture(stderr);
    const Engine engine;
    EXPECT_EQ(capture.text(), "");
}

TEST(ServerCreate, MakesServersThatDoNotKnowOneAnother) {
    const Engine first;
    Engine second;
    EXPECT_EQ(second.destroy(), VELMORA_LIGHT_SUCCESS);
    EXPECT_EQ(httpExchange(first.port(), "GET", "/healthz").status, 200);
}

TEST(ServerDestroy, RefusesTheNullHandle) {
    EXPECT_EQ(velmoraLightServer_destroy(nullptr), VELMORA_LIGHT_ERROR_INVALID_HANDLE);
}

TEST(ServerDestroy, RefusesAHandleThatHasBeenDestroyed) {
    VelmoraLightServerConfig config = sensibleConfig();
    VelmoraLightServer* const server = velmoraLightServer_create(&config);
    EXPECT_EQ(velmoraLightServer_destroy(server), VELMORA_LIGHT_SUCCESS);
    EXPECT_EQ(velmoraLightServer_destroy(server), VELMORA_LIGHT_ERROR_INVALID_HANDLE);
}

TEST(ServerDestroy, FreesThePort) {
    Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
    EXPECT_EQ(engine.destroy(), VELMORA_LIGHT_SUCCESS);
    EXPECT_THROW(HttpClient client(engine.port()), std::runtime_error);
}

TEST(ServerDestroy, LetsAServerBeCreatedOnTheSamePortAgain) {
    VelmoraLightServerConfig config = sensibleConfig();
    VelmoraLightServer* first = velmoraLightServer_create(&config);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(httpExchange(static_cast<uint16_t>(config.port), "GET", "/healthz").status, 200);
    EXPECT_EQ(velmoraLightServer_destroy(first), VELMORA_LIGHT_SUCCESS);
    VelmoraLightServer* second = velmoraLightServer_create(&config);
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(velmoraLightServer_destroy(second), VELMORA_LIGHT_SUCCESS);
}

TEST(ServerDestroy, LeavesNoThreadProcessOrDescriptorAfterAHundredServers) {
    // With the first thread of a process a sanitizer may start one of its own, which stays.
    std::thread([] {}).join();
    const VelmoraLightServerConfig config = sensibleConfig();
    const std::ptrdiff_t threads = entriesOf("/proc/self/task");
    const std::ptrdiff_t descriptors = entriesOf("/proc/self/fd");
    for (int i = 0; i < 100; ++i) {
        Engine engine(config);
        EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
        EXPECT_EQ(engine.destroy(), VELMORA_LIGHT_SUCCESS);
    }
    // A joined thread may stay in the list for a moment.
    EXPECT_TRUE(waitUntil([&] { return entriesOf("/proc/self/task") == threads; }));
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
    EXPECT_THAT(childrenOf(::getpid()), testing::IsEmpty());
}

TEST(IdleServer, WakesNobody) {
    const Engine engine;
    EXPECT_EQ(httpExchange(engine.port(), "GET", "/healthz").status, 200);
    // From now on the client is gone; once its end was noticed, nothing is left to do.
    constexpr std::chrono::milliseconds kSilence{300};
    EXPECT_TRUE(waitUntil([&] {
        const auto before = sleepsOfEngineThreads();
        std::this_thread::sleep_for(kSilence);
        return before.size() == 1 && sleepsOfEngineThreads() == before;
    }));
}
