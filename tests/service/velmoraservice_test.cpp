#include "velmoraserver/app/common/velmoraservice.h"

#include <ostream>

#include "service/service_test.h"
#include "support/row_name.h"

namespace {

class VelmoraService : public ServiceTest {};

TEST_F(VelmoraService, HasDefaultsForAllFiveSettings) {
    Controller controller;

    EXPECT_EQ(controller.create(), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n");
}

struct Numbers {
    const char* name;
    int port;
    int connections;
    int threads;
    int threadQueueSize;
    int queueTimeout;
    const char* create;  // the call of the engine
};

std::ostream& operator<<(std::ostream& out, const Numbers& numbers) {
    return out << numbers.create;
}

class VelmoraServiceNumbers : public ServiceTest, public testing::WithParamInterface<Numbers> {};

TEST_P(VelmoraServiceNumbers, ReachTheEngineUnchanged) {
    const Numbers& numbers = GetParam();
    Controller controller(numbers.port, numbers.connections, numbers.threads,
                          numbers.threadQueueSize, numbers.queueTimeout);

    EXPECT_EQ(controller.create(), 0);

    EXPECT_EQ(calls(), std::string("getVersion\ngetBuildSHA1\n") + numbers.create);
}

constexpr Numbers numberRows[] = {
    {"InTheOrderOfTheMembers", 1, 2, 3, 4, 5,
     "create port=1 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n"},
    {"Negative", -1, -2, -3, -4, -2147483647 - 1,
     "create port=-1 conns=-2 threads=-3 threadQueueSize=-4 queueTimeout=-2147483648\n"},
    {"Zero", 0, 0, 0, 0, 0, "create port=0 conns=0 threads=0 threadQueueSize=0 queueTimeout=0\n"},
    {"Large", 2147483647, 65536, 2147483646, 1000000000, 2147483645,
     "create port=2147483647 conns=65536 threads=2147483646 threadQueueSize=1000000000 "
     "queueTimeout=2147483645\n"},
};
INSTANTIATE_TEST_SUITE_P(Unchecked, VelmoraServiceNumbers, testing::ValuesIn(numberRows), rowName);

TEST_F(VelmoraService, TouchesTheEngineOnlyWhenAsked) {
    { const Controller controller; }
    Controller::create_instance(1, 2, 3, 4, 5);

    EXPECT_EQ(calls(), "");
}

TEST_F(VelmoraService, FailsWhenTheEngineCreatesNoServer) {
    const EnvironmentVariable fail("ENGINE_DOUBLE_FAIL", "1");
    Controller controller;

    EXPECT_EQ(controller.create(), -1);
}

TEST_F(VelmoraService, LogsTheEngineBeforeTheSettings) {
    const EnvironmentVariable version("ENGINE_DOUBLE_VERSION", "7 12 345");
    const EnvironmentVariable build("ENGINE_DOUBLE_BUILD", "cafe123");
    Controller controller(6000, 2, 3, 4, 5);
    controller.printVelmoraInfo();
    controller.printConfigs();
    const std::string blocks = log();

    EXPECT_EQ(controller.create(), 0);

    EXPECT_EQ(log(), blocks + blocks);
}

TEST_F(VelmoraService, LogsTheSameWhenTheEngineFails) {
    Controller controller(6000, 2, 3, 4, 5);
    EXPECT_EQ(controller.create(), 0);
    const std::string blocks = log();
    const EnvironmentVariable fail("ENGINE_DOUBLE_FAIL", "1");

    EXPECT_EQ(controller.create(), -1);

    EXPECT_EQ(log(), blocks + blocks);
}

// ----- The two blocks -----

TEST_F(VelmoraService, LogsVersionAndBuildOfTheEngine) {
    const EnvironmentVariable version("ENGINE_DOUBLE_VERSION", "7 12 345");
    const EnvironmentVariable build("ENGINE_DOUBLE_BUILD", "cafe123");
    Controller controller;

    EXPECT_EQ(controller.printVelmoraInfo(), 0);

    EXPECT_EQ(log(),
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 74] -> "
              "----------------------------------------\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 75] -> Velmora Light Info\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 77] -> \tVelmora Version: 7.12.345\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 78] -> \tVelmora BuildInfo: cafe123\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 79] -> "
              "----------------------------------------\r\n");
    EXPECT_EQ(calls(), "getVersion\ngetBuildSHA1\n");
}

TEST_F(VelmoraService, LogsItsSettings) {
    Controller controller(6000, 2, 3, 4, -5);

    controller.printConfigs();

    EXPECT_EQ(log(),
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 60] -> "
              "----------------------------------------\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 61] -> Velmora Service\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 62] -> \tBUILD           :<build>\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 63] -> \tconnections     : 2\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 64] -> \tport            : 6000\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 65] -> \tthreads         : 3\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 66] -> \tthreadQueuesize : 4\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 67] -> \tqueueTimeout    : -5\r\n"
              "[<time> : <thread> : VELMORASRV : 0x0000 : INFO : "
              "velmoraserver/app/common/velmoraservice : 68] -> "
              "----------------------------------------\r\n");
    EXPECT_EQ(calls(), "");
}

TEST_F(VelmoraService, LogsVersionZeroWhenTheEngineLeavesTheNumbersUntouched) {
    Controller controller;

    EXPECT_EQ(controller.printVelmoraInfo(), 0);

    EXPECT_NE(log().find(" : 77] -> \tVelmora Version: 0.0.0\r\n"), std::string::npos) << log();
}

TEST_F(VelmoraService, LogsWhatTheEngineFillsIn) {
    const EnvironmentVariable version("ENGINE_DOUBLE_VERSION", "7");
    Controller controller;

    EXPECT_EQ(controller.printVelmoraInfo(), 0);

    EXPECT_NE(log().find(" : 77] -> \tVelmora Version: 7.0.0\r\n"), std::string::npos) << log();
}

TEST_F(VelmoraService, SurvivesAnEngineWithoutABuildText) {
    const EnvironmentVariable none("ENGINE_DOUBLE_NO_BUILD", "1");
    Controller controller;

    EXPECT_EQ(controller.printVelmoraInfo(), 0);

    EXPECT_NE(log().find(" : 78] -> \tVelmora BuildInfo: (null)\r\n"), std::string::npos) << log();
}

TEST_F(VelmoraService, TakesNothingOfTheBuildTextForAFormat) {
    const EnvironmentVariable build("ENGINE_DOUBLE_BUILD", "%s%n%d");
    Controller controller;

    EXPECT_EQ(controller.printVelmoraInfo(), 0);

    EXPECT_NE(log().find(" : 78] -> \tVelmora BuildInfo: %s%n%d\r\n"), std::string::npos) << log();
}

// ----- The end of the server -----

struct EngineResult {
    const char* name;
    const char* engine;  // what the engine returns
    int expected;
};

std::ostream& operator<<(std::ostream& out, const EngineResult& result) {
    return out << result.engine;
}

class VelmoraServiceDestroy : public ServiceTest,
                              public testing::WithParamInterface<EngineResult> {};

TEST_P(VelmoraServiceDestroy, IsZeroForAnEngineThatSaysSo) {
    const EnvironmentVariable result("ENGINE_DOUBLE_DESTROY", GetParam().engine);
    Controller controller;
    ASSERT_EQ(controller.create(), 0);

    EXPECT_EQ(controller.destroy(), GetParam().expected);
}

constexpr EngineResult results[] = {{"Success", "0", 0},
                                    {"InvalidHandle", "8", -1},
                                    {"OtherError", "999", -1},
                                    {"One", "1", -1},
                                    {"Negative", "-1", -1}};
INSTANTIATE_TEST_SUITE_P(Results, VelmoraServiceDestroy, testing::ValuesIn(results), rowName);

TEST_F(VelmoraService, KeepsTheHandleOfADestroyedServer) {
    Controller controller;
    ASSERT_EQ(controller.create(), 0);

    EXPECT_EQ(controller.destroy(), 0);
    EXPECT_EQ(controller.destroy(), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0\n"
              "destroy server\n"
              "destroy server\n");
}

TEST_F(VelmoraService, DestroysANullHandleBeforeThereIsAServer) {
    const EnvironmentVariable result("ENGINE_DOUBLE_DESTROY", "8");
    Controller controller;

    EXPECT_EQ(controller.destroy(), -1);

    EXPECT_EQ(calls(), "destroy null\n");
}

TEST_F(VelmoraService, DestroysANullHandleAfterTheEngineFailed) {
    const EnvironmentVariable fail("ENGINE_DOUBLE_FAIL", "1");
    Controller controller;
    ASSERT_EQ(controller.create(), -1);

    EXPECT_EQ(controller.destroy(), 0);

    EXPECT_NE(calls().find("destroy null\n"), std::string::npos) << calls();
}

TEST_F(VelmoraService, LeavesTheServerRunningWhenItGoes) {
    {
        Controller controller;
        ASSERT_EQ(controller.create(), 0);
    }

    EXPECT_EQ(calls().find("destroy"), std::string::npos) << calls();
}

// ----- The one controller -----

TEST_F(VelmoraService, IsWhatCreateInstanceReturned) {
    Controller* made = Controller::create_instance(1, 2, 3, 4, 5);

    ASSERT_NE(made, nullptr);
    EXPECT_EQ(Controller::instance(), made);
}

TEST_F(VelmoraService, HandsTheArgumentsOfCreateInstanceOn) {
    Controller::create_instance(1, 2, 3, 4, 5);

    EXPECT_EQ(Controller::instance()->create(), 0);

    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=1 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n");
}

TEST_F(VelmoraService, IsReplacedByASecondCreateInstance) {
    Controller* first = Controller::create_instance(1, 2, 3, 4, 5);
    Controller* second = Controller::create_instance(6, 7, 8, 9, 10);

    EXPECT_NE(first, second);
    EXPECT_EQ(Controller::instance(), second);
    EXPECT_EQ(calls(), "");
    // The first one is still there for those who have it.
    EXPECT_EQ(first->create(), 0);
    EXPECT_EQ(calls(),
              "getVersion\n"
              "getBuildSHA1\n"
              "create port=1 conns=2 threads=3 threadQueueSize=4 queueTimeout=5\n");
    delete first;
}

}  // namespace
