#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>

#include "engine.h"
#include "test_images.h"

namespace {

using nlohmann::json;

json statusOf(const Engine& engine) {
    return json::parse(httpExchange(engine.port(), "GET", "/v1/status").body);
}

std::string metricsOf(const Engine& engine) {
    return httpExchange(engine.port(), "GET", "/metrics").body;
}

// A word of a line, counted from zero.
std::string wordOf(const std::string& line, int number) {
    std::istringstream words(line);
    std::string word;
    for (int i = 0; i <= number; ++i) {
        words >> word;
    }
    return word;
}

bool isNumber(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && value >= 0;
}

}  // namespace

TEST(StatusReport, TellsVersionAndBuild) {
    const Engine engine;
    const json status = statusOf(engine);
    EXPECT_EQ(status["code"], 0);
    EXPECT_EQ(status["version"], "1.0.0");
    EXPECT_EQ(status["build"], velmoraLight_getBuildSHA1());
    EXPECT_EQ(status["description"], "stand-in engine for development");
}

TEST(StatusReport, TellsTheFiveNumbers) {
    VelmoraLightServerConfig config = sensibleConfig();
    config.conns = 3;
    config.threads = 4;
    config.threadQueueSize = 5;
    config.queueTimeout = 6;
    const Engine engine(config);
    EXPECT_EQ(statusOf(engine)["config"], json({{"port", engine.port()},
                                                {"conns", 3},
                                                {"threads", 4},
                                                {"threadQueueSize", 5},
                                                {"queueTimeout", 6}}));
}

TEST(StatusReport, TellsWhenTheServerWasCreated) {
    using std::chrono::system_clock;
    const std::chrono::duration<double> before = system_clock::now().time_since_epoch();
    const Engine engine;
    const std::chrono::duration<double> after = system_clock::now().time_since_epoch();
    const json start = statusOf(engine)["startTimeSeconds"];
    EXPECT_GE(start.get<double>(), before.count());
    EXPECT_LE(start.get<double>(), after.count());
    EXPECT_EQ(statusOf(engine)["startTimeSeconds"], start);
}

TEST(StatusReport, TellsServersApart) {
    const Engine one;
    const Engine other;
    EXPECT_NE(statusOf(one)["startTimeSeconds"], statusOf(other)["startTimeSeconds"]);
}

TEST(StatusReport, CountsWhatHappened) {
    const Engine engine;
    EXPECT_EQ(engine.recognize(qrPng("counted")).status, 200);
    EXPECT_EQ(engine.recognize("no image").status, 415);
    const json counters = statusOf(engine)["counters"];
    EXPECT_EQ(counters["recognitions"],
              json({{"VELMORA_LIGHT_SUCCESS", 1}, {"VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE", 1}}));
    EXPECT_EQ(counters["responses"], json({{"200", 1}, {"415", 1}}));
    EXPECT_EQ(counters["symbols"], 1);
    EXPECT_EQ(counters["connectionsAdmitted"], 3);
    EXPECT_GT(counters["workedSeconds"].get<double>(), 0.0);
}

TEST(StatusReport, TellsOfTheReaders) {
    const Engine engine;
    const json counters = statusOf(engine)["counters"];
    EXPECT_EQ(counters["readersAlive"], 2);
    EXPECT_EQ(counters["workersBusy"], 0);
    EXPECT_EQ(counters["readersReplaced"],
              json({{"died", 0}, {"timeout", 0}, {"memory", 0}, {"protocol", 0}}));
    EXPECT_EQ(counters["requestsWaiting"], 0);
}

TEST(StatusReport, CountsEachRecognitionByItsTimes) {
    const Engine engine;
    EXPECT_EQ(engine.recognize(qrPng("counted")).status, 200);
    EXPECT_EQ(engine.recognize("no image").status, 415);
    const json counters = statusOf(engine)["counters"];
    for (const char* const name : {"waited", "worked"}) {
        const json& histogram = counters[name];
        EXPECT_EQ(histogram.size(), 13U);
        EXPECT_EQ(histogram["5.0"], 2) << name;
        EXPECT_EQ(histogram["+Inf"], 2) << name;
        EXPECT_LE(histogram["0.001"], histogram["0.0025"]) << name;
    }
    EXPECT_LT(counters["workedSeconds"].get<double>(), 2 * 5.0);
}

TEST(HealthReport, IsWellWhileTheServerRuns) {
    const Engine engine;
    const HttpReply reply = httpExchange(engine.port(), "GET", "/healthz");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "{\"code\":0,\"name\":\"VELMORA_LIGHT_SUCCESS\",\"status\":\"ok\"}\n");
}

TEST(MetricsReport, AreOfTheTextFormat) {
    const Engine engine;
    const HttpReply reply = httpExchange(engine.port(), "GET", "/metrics");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.fields.at("content-type"), "text/plain; version=0.0.4; charset=utf-8");
}

TEST(MetricsReport, IntroduceEachSampleByHelpAndType) {
    const Engine engine;
    static_cast<void>(engine.recognize(qrPng("metrics")));
    std::string introduced;
    std::istringstream lines(metricsOf(engine));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# HELP ")) {
            introduced = wordOf(line, 2);
            std::string type;
            std::getline(lines, type);
            EXPECT_THAT(type, testing::AnyOf("# TYPE " + introduced + " counter",
                                             "# TYPE " + introduced + " gauge",
                                             "# TYPE " + introduced + " histogram"));
        } else {
            EXPECT_THAT(line.substr(0, line.find_first_of(" {")), testing::StartsWith(introduced));
            EXPECT_TRUE(isNumber(wordOf(line, 1))) << line;
        }
    }
    EXPECT_EQ(introduced, "velmora_light_worked_seconds");
}

TEST(MetricsReport, CountAnswersAndRecognitions) {
    const Engine engine;
    HttpClient client(engine.port());
    client.send(httpRequest("POST", "/v1/recognize", qrPng("metrics")));
    EXPECT_EQ(client.receive().status, 200);
    client.send(httpRequest("GET", "/metrics"));
    EXPECT_THAT(client.receive().body,
                testing::AllOf(
                    testing::HasSubstr("\nvelmora_light_responses_total{status=\"200\"} 1\n"),
                    testing::HasSubstr(
                        "\nvelmora_light_recognitions_total{code=\"VELMORA_LIGHT_SUCCESS\"} 1\n"),
                    testing::HasSubstr("\nvelmora_light_symbols_total 1\n"),
                    testing::HasSubstr("\nvelmora_light_connections 1\n")));
}

TEST(MetricsReport, TellOfReadersAndTimes) {
    const Engine engine;
    static_cast<void>(engine.recognize(qrPng("metrics")));
    const std::string metrics = metricsOf(engine);
    for (const std::string line :
         {"workers 2", "workers_busy 0", "readers_alive 2", "requests_waiting 0",
          "readers_replaced_total{reason=\"died\"} 0",
          "readers_replaced_total{reason=\"memory\"} 0",
          "readers_replaced_total{reason=\"protocol\"} 0",
          "readers_replaced_total{reason=\"timeout\"} 0", "waited_seconds_bucket{le=\"5.0\"} 1",
          "waited_seconds_bucket{le=\"+Inf\"} 1", "waited_seconds_count 1",
          "worked_seconds_bucket{le=\"5.0\"} 1", "worked_seconds_bucket{le=\"+Inf\"} 1",
          "worked_seconds_count 1"}) {
        EXPECT_THAT(metrics, testing::HasSubstr("\nvelmora_light_" + line + "\n"));
    }
}
