#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "child_processes.h"
#include "host_process.h"
#include "limited_server.h"
#include "support/files.h"
#include "support/row_name.h"
#include "support/stopwatch.h"
#include "support/temporary_directory.h"
#include "test_images.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using standin::Limits;

VelmoraLightServerConfig withReaders(int32_t threads) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.threads = threads;
    config.conns = 20;
    return config;
}

// A server whose readers do what the picture says.
class ScriptedServer : public LimitedServer {
public:
    explicit ScriptedServer(int32_t threads = 1, const Limits& limits = Limits())
        : ScriptedServer(withReaders(threads), limits) {}
    ScriptedServer(const VelmoraLightServerConfig& config, const Limits& limits)
        : LimitedServer(config, limits, VELMORA_SCRIPTED_READER) {}

    [[nodiscard]] int64_t replaced(const char* reason) const {
        return counters()["readersReplaced"][reason].get<int64_t>();
    }
};

void expectFailure(const HttpReply& reply, const std::string& message) {
    EXPECT_EQ(reply.status, 422);
    EXPECT_EQ(json::parse(reply.body),
              json({{"code", 999}, {"name", "VELMORA_LIGHT_ERROR_OTHER"}, {"message", message}}));
}

// A set of signals in /proc/PID/status, without those that the C library keeps for itself.
uint32_t signalsOf(const std::string& process, const std::string& name) {
    const std::string status = readFile(process + "/status");
    const std::string digits = status.substr(status.find(name) + name.size(), 16);
    return std::stoull(digits, nullptr, 16) & 0x7fffffffU;
}

// Waits until the readers of a process are as many, and returns them.
std::vector<pid_t> readersOnceThereAre(size_t count, pid_t host = ::getpid()) {
    EXPECT_TRUE(waitUntil([&] { return childrenOf(host).size() == count; }));
    return childrenOf(host);
}

// Limits with so much time for a picture.
Limits withPictureTime(std::chrono::milliseconds time) {
    Limits limits;
    limits.pictureTime = time;
    return limits;
}

// A server with one reader in a process of its own. A reader that was killed is not gone before the
// test allows it: the system keeps a process until its tracer has seen the end of it.
class HostOfDyingReader {
public:
    explicit HostOfDyingReader(const Limits& limits = Limits())
        : host([&] { return ScriptedServer(config, limits); }),
          reader(readersOnceThereAre(1, host.id).at(0)) {}

    // False where nobody may be traced.
    [[nodiscard]] bool holdReader() const {
        return ::ptrace(PTRACE_SEIZE, reader, nullptr, nullptr) == 0;
    }
    void awaitDeath() const {
        EXPECT_TRUE(waitUntil([&] { return !runs(reader); }));
    }
    void letReaderGo() const { ::waitpid(reader, nullptr, __WALL); }

    const VelmoraLightServerConfig config = withReaders(1);
    const uint16_t port = static_cast<uint16_t>(config.port);
    const HostProcess host;
    const pid_t reader;
};

std::string messageOfCreation(const std::string& reader) {
    try {
        const LimitedServer server(withReaders(1), Limits(), reader);
        return "it was created";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

}  // namespace

struct BadReader {
    const char* name;
    std::string picture;
    const char* reason;
    const char* message;
};

std::ostream& operator<<(std::ostream& out, const BadReader& row) {
    return out << row.name;
}

class ReaderThatFails : public testing::TestWithParam<BadReader> {};

TEST_P(ReaderThatFails, IsReplacedAndItsClientAnswered422) {
    const bool isSlow = std::string(GetParam().reason) == "timeout";
    const ScriptedServer server(1, withPictureTime(isSlow ? 3s : 60s));
    expectFailure(server.recognize(GetParam().picture), GetParam().message);
    EXPECT_EQ(server.recognize("good").status, 200);
    EXPECT_EQ(server.replaced(GetParam().reason), 1);
    EXPECT_EQ(server.counters()["recognitions"],
              json({{"VELMORA_LIGHT_SUCCESS", 1}, {"VELMORA_LIGHT_ERROR_OTHER", 1}}));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ReaderThatFails,
    testing::Values(
        BadReader{"Dies", "die", "died", "the reader died of the picture"},
        BadReader{"Hangs", "hang", "timeout", "reading the picture took too long"},
        BadReader{"HangsWithItsMemory", "memory 10 9999", "timeout",
                  "reading the picture took too long"},
        BadReader{"WantsTooMuch", "memory 100000 0", "memory",
                  "reading the picture would take too much memory"},
        BadReader{"AsksForMemoryTwice", "twice 10", "protocol", "the reader gave no proper answer"},
        BadReader{"SaysNoWord", "garbage", "protocol", "the reader gave no proper answer"},
        BadReader{"IsReadyTwice", "ready", "protocol", "the reader gave no proper answer"},
        BadReader{"HasTooLongAResult", "long", "protocol", "the reader gave no proper answer"},
        BadReader{"KnowsNoCode", "code 11", "protocol", "the reader gave no proper answer"},
        BadReader{"AnswersInProse", "prose", "protocol", "the reader gave no proper answer"},
        BadReader{"AnswersTooEarly", std::string(5'000'000, 'x'), "protocol",
                  "the reader gave no proper answer"}),
    rowName);

// What the reader before it has left of a picture. These zeros would be requests.
TEST(ReaderPool, IsGivenNoRemainsOfAPicture) {
    const ScriptedServer server;
    const std::string picture(5'000'000, '\0');
    for (int i = 1; i <= 40; ++i) {
        expectFailure(server.recognize(picture), "the reader gave no proper answer");
        ASSERT_EQ(server.replaced("protocol"), i);
    }
    EXPECT_EQ(server.replaced("died"), 0);
}

TEST(ReaderPool, IsNotGivenADeadlyPictureASecondTime) {
    const ScriptedServer server(2);
    for (int i = 1; i <= 5; ++i) {
        expectFailure(server.recognize("die"), "the reader died of the picture");
        EXPECT_EQ(server.replaced("died"), i);
    }
}

TEST(ReaderPool, LeavesItsPictureToTheQueueAndItsTimeLimitWhenItDiedBeforeIt) {
    const TemporaryDirectory directory;
    // The first is a reader as all are; the next ones never say that they are ready.
    const std::string program = directory.path("reader");
    const std::string mark = directory.path("mark");
    writeFile(program, "#!/bin/sh\n[ -e " + mark + " ] && exec cat\n: > " + mark + "\nexec " +
                           VELMORA_SCRIPTED_READER + "\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    VelmoraLightServerConfig config = withReaders(1);
    config.queueTimeout = 500;
    const LimitedServer server(config, withPictureTime(1min), program);
    awaitReaders(1, "ready");
    const pid_t reader = childrenOf(::getpid()).at(0);
    ::kill(reader, SIGSTOP);
    HttpClient client(server.port);
    client.send(httpRequest("POST", "/v1/recognize", "good"));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    ::kill(reader, SIGKILL);
    const HttpReply reply = client.receive();
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(json::parse(reply.body)["message"], "the request waited longer than 500 ms");
    EXPECT_EQ(server.counters()["queueTimeouts"], 1);
    EXPECT_EQ(server.counters()["requestsWaiting"], 0);
}

TEST(ReaderPool, IsNotGivenThePictureOfAClientThatHasLeft) {
    const ScriptedServer server(1, withPictureTime(1min));
    EXPECT_EQ(server.recognize("good").status, 200);
    const pid_t reader = readersOnceThereAre(1).at(0);
    ::kill(reader, SIGSTOP);
    {
        HttpClient client(server.port);
        client.send(httpRequest("POST", "/v1/recognize", "left behind"));
        EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    }
    // What comes after the client's end is answered after that was seen.
    EXPECT_EQ(server.counters()["workersBusy"], 1);
    ::kill(reader, SIGKILL);
    EXPECT_EQ(server.recognize("good").status, 200);
    EXPECT_EQ(server.counters()["recognitions"],
              json({{"VELMORA_LIGHT_SUCCESS", 2}, {"VELMORA_LIGHT_ERROR_OTHER", 1}}));
}

TEST(ReaderPool, IsReplacedWhenItDiesIdle) {
    const ScriptedServer server(1);
    EXPECT_EQ(server.recognize("good").status, 200);
    const pid_t before = readersOnceThereAre(1).at(0);
    ::kill(before, SIGKILL);
    EXPECT_EQ(server.recognize("good").status, 200);
    EXPECT_NE(readersOnceThereAre(1).at(0), before);
    EXPECT_EQ(server.replaced("died"), 1);
}

TEST(ReaderPool, IsCountedByWhatWasWrongWithIt) {
    const ScriptedServer server(1, withPictureTime(3s));
    EXPECT_EQ(server.recognize("sleep 30").status, 200);
    for (const char* const picture : {"die", "die", "hang", "memory 100000 0", "garbage"}) {
        EXPECT_EQ(server.recognize(picture).status, 422);
    }
    const json counters = server.counters();
    EXPECT_EQ(counters["readersReplaced"],
              json({{"died", 2}, {"timeout", 1}, {"memory", 1}, {"protocol", 1}}));
    EXPECT_EQ(counters["readersAlive"], 1);
    EXPECT_EQ(counters["workersBusy"], 0);
    EXPECT_EQ(counters["worked"]["+Inf"], 6);
    EXPECT_LE(counters["worked"]["0.025"], 4);
    EXPECT_LE(counters["worked"]["0.25"], 5);
    EXPECT_GE(counters["workedSeconds"].get<double>(), 3.0);
    const std::string metrics = httpExchange(server.port, "GET", "/metrics").body;
    EXPECT_THAT(metrics,
                testing::AllOf(testing::HasSubstr("readers_replaced_total{reason=\"died\"} 2\n"),
                               testing::HasSubstr("readers_replaced_total{reason=\"timeout\"} 1\n"),
                               testing::HasSubstr("readers_alive 1\n"),
                               testing::HasSubstr("worked_seconds_bucket{le=\"+Inf\"} 6\n"),
                               testing::HasSubstr("worked_seconds_count 6\n")));
}

TEST(ReaderPool, IsEndedWhileTheOthersServeWhenAPictureTakesTooLong) {
    const LimitedServer server(withReaders(2), Limits(), VELMORA_READER_FILE);
    const std::string good = qrPng("beside it");
    HttpClient client(server.port);
    client.send(httpRequest("POST", "/v1/recognize", finderPatterns(700)));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    EXPECT_EQ(server.recognize(good).status, 200);
    EXPECT_EQ(server.counters()["workersBusy"], 1);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(server.recognize(good).status, 200);
    }
    EXPECT_EQ(httpExchange(server.port, "GET", "/healthz").status, 200);
    expectFailure(client.receive(), "reading the picture took too long");
    EXPECT_EQ(server.counters()["readersReplaced"]["timeout"], 1);
    EXPECT_EQ(server.counters()["workersBusy"], 0);
    EXPECT_EQ(server.recognize(good).status, 200);
}

TEST(ReaderPool, IsFreedByTheTimeLimitWhenTheClientHasLeft) {
    const ScriptedServer server(1, withPictureTime(3s));
    {
        HttpClient client(server.port);
        client.send(httpRequest("POST", "/v1/recognize", "hang"));
        EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    }
    EXPECT_EQ(server.recognize("good").status, 200);
    EXPECT_EQ(server.replaced("timeout"), 1);
}

TEST(ReaderPool, HasNothingButItsSocketAndTheOutputs) {
    const int leak = ::dup(STDIN_FILENO);  // a descriptor that the host lets its children have
    ::signal(SIGUSR2, SIG_IGN);
    const ScriptedServer server(1);
    ::signal(SIGUSR2, SIG_DFL);
    ::close(leak);
    EXPECT_EQ(server.recognize("good").status, 200);
    const std::string self = "/proc/" + std::to_string(readersOnceThereAre(1).at(0));
    for (const auto& entry : std::filesystem::directory_iterator(self + "/fd")) {
        EXPECT_THAT(entry.path().filename().string(), testing::AnyOf("0", "1", "2"));
    }
    EXPECT_EQ(readFile(self + "/environ"), "");
    EXPECT_EQ(signalsOf(self, "SigBlk:\t"), 0U);
    EXPECT_EQ(signalsOf(self, "SigIgn:\t"), 0U);
}

TEST(ReaderPool, EndsWithTheServer) {
    {
        ScriptedServer server(3);
        EXPECT_EQ(readersOnceThereAre(3).size(), 3U);
    }
    EXPECT_THAT(childrenOf(::getpid()), testing::IsEmpty());
    // Nor is anything left to wait for.
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ReaderPool, EndsWithAHostThatIsKilled) {
    const HostProcess host([] { return ScriptedServer(2); });
    const std::vector<pid_t> readers = readersOnceThereAre(2, host.id);
    ::kill(host.id, SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return !runs(readers.at(0)) && !runs(readers.at(1)); }));
}

TEST(ReaderPool, HoldsNobodyUpUntilItIsGone) {
    const HostOfDyingReader host;
    if (!host.holdReader()) {
        GTEST_SKIP() << "nobody may be traced here";
    }
    ::kill(host.reader, SIGKILL);
    host.awaitDeath();
    EXPECT_EQ(httpExchange(host.port, "POST", "/v1/recognize", "good").status, 200);
    host.letReaderGo();
    // Not even as one that nobody has waited for.
    EXPECT_TRUE(waitUntil([&] { return statOf(std::to_string(host.reader)).empty(); }));
}

TEST(ReaderPool, HoldsNobodyUpForLongWhoDestroysTheServer) {
    ScriptedServer server(1);
    const pid_t reader = readersOnceThereAre(1).at(0);
    {
        const HostProcess tracer([reader] {
            if (::ptrace(PTRACE_SEIZE, reader, nullptr, nullptr) != 0) {
                ::_exit(1);
            }
            return true;
        });
        const std::string status = "/proc/" + std::to_string(reader) + "/status";
        const std::string traced = "TracerPid:\t" + std::to_string(tracer.id) + "\n";
        const auto isTraced = [&] { return readFile(status).find(traced) != std::string::npos; };
        ASSERT_TRUE(waitUntil([&] { return isTraced() || !runs(tracer.id); }));
        if (!isTraced()) {
            GTEST_SKIP() << "nobody may be traced here";
        }
        const Stopwatch watch;
        server.stop();
        EXPECT_LT(watch.elapsed(), 20s);
        EXPECT_TRUE(waitUntil([&] { return !runs(reader); }));
    }
    EXPECT_EQ(::waitpid(reader, nullptr, 0), reader);
}

TEST(ReaderPool, IsReplacedInAHostThatIgnoresItsChildren) {
    ::signal(SIGCHLD, SIG_IGN);
    {
        const ScriptedServer server(1);
        expectFailure(server.recognize("die"), "the reader died of the picture");
        EXPECT_EQ(server.recognize("good").status, 200);
    }
    ::signal(SIGCHLD, SIG_DFL);
}

TEST(ReaderPool, IsNobodysProblemWhenTwoHundredAreKilledUnderLoad) {
    constexpr int kKills = 200;
    const ScriptedServer server(2);
    std::atomic<bool> enough = false;
    std::atomic<int> good = 0;
    std::atomic<int> failed = 0;
    std::vector<std::thread> clients;
    for (int i = 0; i < 8; ++i) {
        clients.emplace_back([&] {
            HttpClient client(server.port);
            while (!enough) {
                client.send(httpRequest("POST", "/v1/recognize", "sleep 2"));
                const int status = client.receive().status;
                EXPECT_TRUE(status == 200 || status == 422) << status;
                ++(status == 200 ? good : failed);
            }
        });
    }
    std::mt19937 chance(12345);
    int killed = 0;
    while (killed < kKills) {
        const std::vector<pid_t> readers = childrenOf(::getpid());
        if (!readers.empty() && ::kill(readers[chance() % readers.size()], SIGKILL) == 0) {
            ++killed;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(chance() % 10));
        // Readers that never get to work are another matter.
        const int answered = good + failed;
        EXPECT_TRUE(waitUntil([&] { return good + failed > answered; }));
    }
    // Where readers take long to start, most of the answers so far are of those that died.
    EXPECT_TRUE(waitUntil([&] { return good > kKills; }));
    enough = true;
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_LE(failed, kKills);
    EXPECT_EQ(server.recognize("good").status, 200);
    EXPECT_LE(server.replaced("died"), kKills);
    EXPECT_EQ(readersOnceThereAre(2).size(), 2U);
}

TEST(ReaderPool, ThatCannotStartIsTriedAgainNowAndThen) {
    const Limits limits;
    const Stopwatch watch;
    const LimitedServer server(withReaders(1), limits, "/bin/false");
    EXPECT_TRUE(
        waitUntil([&] { return httpExchange(server.port, "GET", "/healthz").status == 503; }));
    const HttpReply reply = server.recognize("good");
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(json::parse(reply.body)["message"], "no reader is alive");
    std::this_thread::sleep_for(1s);  // in which it is not to be tried a thousand times
    const int died = server.counters()["readersReplaced"]["died"].get<int>();
    EXPECT_GE(died, 3);
    // After each but the last of these ends came a pause, each longer than the one before.
    EXPECT_GE(watch.elapsed(), died * (died - 1) / 2 * limits.readerPause);
}

TEST(ReaderPool, WhoseProgramIsGoneLeavesNobodyWaiting) {
    const TemporaryDirectory directory;
    const std::string program = directory.path("reader");
    std::filesystem::copy_file(VELMORA_SCRIPTED_READER, program);
    const LimitedServer server(withReaders(1), withPictureTime(1min), program);
    HttpClient first(server.port);
    first.send(httpRequest("POST", "/v1/recognize", "hang"));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    HttpClient second(server.port);
    second.send(httpRequest("POST", "/v1/recognize", "good"));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["requestsWaiting"] == 1; }));
    std::filesystem::remove(program);
    awaitReaders(1, "hangs");
    ::kill(readersOnceThereAre(1).at(0), SIGKILL);
    expectFailure(first.receive(), "the reader died of the picture");
    const HttpReply reply = second.receive();
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(json::parse(reply.body)["message"], "no reader is alive");
}

TEST(ReaderPool, ThatIsNeverReadyIsReplaced) {
    Limits limits;
    limits.readerStart = 200ms;
    limits.readerPause = 10ms;
    // It reads what is not sent before it says a word.
    const LimitedServer server(withReaders(1), limits, "/bin/cat");
    EXPECT_TRUE(
        waitUntil([&] { return httpExchange(server.port, "GET", "/healthz").status == 503; }));
    EXPECT_GE(server.counters()["readersReplaced"]["timeout"], 3);
    EXPECT_EQ(server.recognize("good").status, 503);
}

TEST(ReaderPool, CountsAsAliveWhileItWorks) {
    const ScriptedServer server(1, withPictureTime(1min));
    HttpClient client(server.port);
    client.send(httpRequest("POST", "/v1/recognize", "hold"));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 1; }));
    EXPECT_EQ(httpExchange(server.port, "GET", "/healthz").status, 200);
    letReadersGoOn();
    EXPECT_EQ(client.receive().status, 200);
}

TEST(ReaderPool, MustBeThere) {
    EXPECT_EQ(messageOfCreation("/nowhere/velmoralight-reader"),
              "cannot start /nowhere/velmoralight-reader: No such file or directory");
}

TEST(ReaderPool, MustBeExecutable) {
    EXPECT_EQ(messageOfCreation("/etc/passwd"), "cannot start /etc/passwd: Permission denied");
}

TEST(LargePictures, TakeTurns) {
    const ScriptedServer server(3);
    const auto before = std::chrono::steady_clock::now();
    std::vector<std::thread> clients;
    for (int i = 0; i < 3; ++i) {
        clients.emplace_back([&] { EXPECT_EQ(server.recognize("memory 300 200").status, 200); });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - before, 600ms);
}

TEST(LargePictures, AreReadBesideOneAnotherWhereThereIsRoom) {
    const ScriptedServer server(2, withPictureTime(1min));
    HttpClient one(server.port);
    HttpClient other(server.port);
    one.send(httpRequest("POST", "/v1/recognize", "keep 200"));
    other.send(httpRequest("POST", "/v1/recognize", "keep 200"));
    awaitReaders(2, "lent");
    letReadersGoOn();
    EXPECT_EQ(one.receive().status, 200);
    EXPECT_EQ(other.receive().status, 200);
}

TEST(LargePictures, DoNotSpendTheirTimeOnTheirTurn) {
    // All five take longer than one may, by the time that it waits as by that which it works.
    const ScriptedServer server(5, withPictureTime(4s));
    std::vector<std::thread> clients;
    for (int i = 0; i < 5; ++i) {
        clients.emplace_back([&] {
            const HttpReply reply = server.recognize("memory 300 1000");
            EXPECT_EQ(reply.status, 200);
            EXPECT_LT(json::parse(reply.body)["workedMs"].get<double>(), 4000);
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
}

TEST(LargePictures, HaveOneTimeForWhatIsBeforeTheirTurnAndAfterIt) {
    const ScriptedServer server(1, withPictureTime(3s));
    EXPECT_EQ(server.recognize("memory 10 100 100").status, 200);
    expectFailure(server.recognize("memory 10 1600 1600"), "reading the picture took too long");
}

TEST(LargePictures, GiveTheirMemoryBackWhenTheReaderDies) {
    const ScriptedServer server(1, withPictureTime(2s));
    for (int i = 0; i < 2; ++i) {
        expectFailure(server.recognize("memory 300 9999"), "reading the picture took too long");
    }
    EXPECT_EQ(server.recognize("memory 400 0").status, 200);
}

TEST(LargePictures, GetNoMemoryOfAReaderThatIsNotGoneYet) {
    const HostOfDyingReader host(withPictureTime(2s));
    if (!host.holdReader()) {
        GTEST_SKIP() << "nobody may be traced here";
    }
    expectFailure(httpExchange(host.port, "POST", "/v1/recognize", "memory 300 9999"),
                  "reading the picture took too long");
    host.awaitDeath();
    HttpClient client(host.port);
    client.send(httpRequest("POST", "/v1/recognize", "memory 300 0"));
    awaitReaders(1, "asked", host.host.id);
    std::this_thread::sleep_for(300ms);  // the time that the memory must not be had
    awaitReaders(1, "asked", host.host.id);
    host.letReaderGo();
    EXPECT_EQ(client.receive().status, 200);
}

// A server one reader of which has most of the memory until the test has seen enough.
class ServerWithoutMemory : public ScriptedServer {
public:
    explicit ServerWithoutMemory(int32_t queueTimeout = 0)
        : ScriptedServer(configWith(queueTimeout), withPictureTime(1min)), busy(port) {
        awaitReaders(2, "ready");
        busy.send(httpRequest("POST", "/v1/recognize", "keep 400"));
        awaitReaders(1, "lent");
    }

    void expectToFinish() {
        letReadersGoOn();
        EXPECT_EQ(busy.receive().status, 200);
    }

private:
    static VelmoraLightServerConfig configWith(int32_t queueTimeout) {
        VelmoraLightServerConfig config = withReaders(2);
        config.queueTimeout = queueTimeout;
        return config;
    }

    HttpClient busy;
};

TEST(LargePictures, GiveTheirTurnBackWhenTheClientLeaves) {
    ServerWithoutMemory server;
    {
        HttpClient leaving(server.port);
        leaving.send(httpRequest("POST", "/v1/recognize", "memory 400 0"));
        EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 2; }));
    }
    EXPECT_EQ(server.recognize("good").status, 200);
    EXPECT_EQ(server.counters()["workersBusy"], 1);  // the one that still has all the memory
    server.expectToFinish();
}

TEST(LargePictures, WaitForTheirTurnAsLongAsForAReaderAndNoLonger) {
    ServerWithoutMemory server(1000);
    const HttpReply reply = server.recognize("memory 400 0");
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(json::parse(reply.body)["message"], "the request waited longer than 1000 ms");
    EXPECT_EQ(server.recognize("good").status, 200);
    const json counters = server.counters();
    EXPECT_EQ(counters["queueTimeouts"], 1);
    EXPECT_EQ(counters["workersBusy"], 1);
    EXPECT_EQ(counters["recognitions"], json({{"VELMORA_LIGHT_SUCCESS", 1}}));
    server.expectToFinish();
    EXPECT_EQ(server.recognize("memory 400 0").status, 200);
}

TEST(LargePictures, AreRefusedInTheirWaitWhenTheServerIsDestroyed) {
    ServerWithoutMemory server;
    HttpClient waiting(server.port);
    waiting.send(httpRequest("POST", "/v1/recognize", "memory 400 0"));
    EXPECT_TRUE(waitUntil([&] { return server.counters()["workersBusy"] == 2; }));
    const auto stopped = std::async(std::launch::async, [&] { server.stop(); });
    const HttpReply reply = waiting.receive();
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(json::parse(reply.body)["message"], "the server is being stopped");
    server.expectToFinish();
}

TEST(LargePictures, GiveTheirTurnBackWhenTheReaderDies) {
    const ScriptedServer server(2, withPictureTime(1min));
    std::vector<std::thread> clients;
    for (int i = 0; i < 2; ++i) {
        clients.emplace_back(
            [&] { expectFailure(server.recognize("keep 400"), "the reader died of the picture"); });
    }
    awaitReaders(1, "lent");
    awaitReaders(1, "asked");
    for (const pid_t reader : readersOnceThereAre(2)) {
        ::kill(reader, SIGKILL);
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(server.recognize("memory 400 0").status, 200);
}

TEST(RequestOrigins, MayAskWhenTheyAreListed) {
    const LimitedServer server(withReaders(1), Limits(), VELMORA_SCRIPTED_READER,
                               "https://one.example, http://two.example:8080");
    for (const auto& [origin, status] :
         {std::pair("https://one.example", 200), std::pair("http://two.example:8080", 200),
          std::pair("http://one.example", 403), std::pair("null", 403)}) {
        HttpClient client(server.port);
        client.send(httpRequest("GET", "/healthz", "", "Origin: " + std::string(origin) + "\r\n"));
        EXPECT_EQ(client.receive().status, status) << origin;
    }
}
