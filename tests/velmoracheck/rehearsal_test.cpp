#include <gmock/gmock.h>

#include "support/wait_until.h"
#include "velmoracheck/check_test.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

class Rehearsal : public CheckTest {
protected:
    Rehearsal() {
        environment["LD_LIBRARY_PATH"] = SPECIAL_ENGINES "/listening";
        writeFile(directory.path("velmora.ini"), goodIni);
        writeFile(directory.path("vlog.cfg"), goodLog);
    }

    [[nodiscard]] CheckOutcome rehearse(const std::string& option = "--strict") {
        return check({option, "--rehearse", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"});
    }
};

TEST_F(Rehearsal, TellsWhenTheEngineServes) {
    const CheckOutcome outcome = rehearse();
    EXPECT_THAT(outcome.output,
                MatchesRegex("(.|\n)*\n\nNote: the engine serves on 6000 after [0-9]+ ms\n"
                             "OK: velmoraserviced starts as its files say\n"));
    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(calls(), "create 6000\n");
}

TEST_F(Rehearsal, IsNotHeldWithoutItsOption) {
    EXPECT_EQ(check({"--ini", "velmora.ini", "--logcfg", "vlog.cfg"}).ending, "exit 0");
    EXPECT_EQ(calls(), "");
}

TEST_F(Rehearsal, WaitsForAnEngineThatListensLater) {
    environment["ENGINE_SERVES"] = "later";
    EXPECT_THAT(rehearse().output,
                MatchesRegex(
                    "(.|\n)*\nNote: the engine serves on 6000 after ([3-9][0-9][0-9]|[0-9]{4}) ms\n"
                    "(.|\n)*"));
}

TEST_F(Rehearsal, TellsWhatTheEngineSaidWhenItRefuses) {
    environment["ENGINE_SERVES"] = "refuses";
    const CheckOutcome outcome = rehearse("--quiet");
    EXPECT_EQ(outcome.output,
              "libvelmoraLight.so:1: error: the engine does not start: it creates no server; it "
              "says: port 6000 is not free\n");
    EXPECT_EQ(outcome.ending, "exit 1");
}

TEST_F(Rehearsal, TellsOfACrash) {
    environment["ENGINE_SERVES"] = "crashes";
    EXPECT_EQ(rehearse("--quiet").output,
              "libvelmoraLight.so:1: error: the engine does not start: it crashes with SIGABRT "
              "when it is to create its server\n");
}

TEST_F(Rehearsal, EndsAfterTenSecondsWithoutASocket) {
    environment["ENGINE_SERVES"] = "never";
    EXPECT_EQ(rehearse("--quiet").output,
              "libvelmoraLight.so:1: error: the engine does not start: it does not listen on port "
              "6000 within 10000 ms\n");
}

// Too late for its version to be asked for.
TEST_F(Rehearsal, DecidesOnAnEngineThatTakesSixSecondsToLoad) {
    environment["ENGINE_LOADS"] = "slowly";
    const CheckOutcome outcome = rehearse();
    EXPECT_THAT(outcome.output,
                MatchesRegex("(.|\n)*\nEngine: unknown\n(.|\n)*\n\n"
                             "Note: the engine serves on 6000 after [6-9][0-9][0-9][0-9] ms\n"
                             "OK: velmoraserviced starts as its files say\n"));
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(Rehearsal, DecidesOnAnEngineThatNeverAnswers) {
    environment["LD_LIBRARY_PATH"] = ENGINE_DOUBLE_DIRECTORY;
    environment["ENGINE_DOUBLE_MISBEHAVE"] = "hang";
    EXPECT_EQ(rehearse("--quiet").output,
              "libvelmoraLight.so:1: error: the engine does not start: it does not listen on port "
              "6000 within 10000 ms\n");
}

TEST_F(Rehearsal, TakesAnotherPortWhileTheDaemonHasItsOwn) {
    Process daemon({.command = commandOf("velmoraserviced", {"--ini", "velmora.ini"}),
                    .environment = variables(),
                    .directory = directory.path(),
                    .output = directory.path("output"),
                    .errors = directory.path("errors")});
    ASSERT_TRUE(waitUntil([this] { return isListenedOn(6000); }));
    EXPECT_THAT(
        rehearse().output,
        MatchesRegex("(.|\n)*\nNote: port 6000 of '[0-9.]+' is held by the daemon that is to "
                     "be restarted \\(process [0-9]+\\)\n"
                     "Note: the engine serves on [0-9]+ after [0-9]+ ms, in place of 6000\n"
                     "OK: velmoraserviced starts as its files say\n"));
    EXPECT_FALSE(daemon.hasEnded());
}

// The engine that is built here, of which the checker knows the limits.
class RehearsalOfTheStandIn : public Rehearsal {
protected:
    RehearsalOfTheStandIn() { environment.erase("LD_LIBRARY_PATH"); }

    void SetUp() override {
        const std::string version = check({"--ini", "velmora.ini", "--logcfg", "vlog.cfg"}).output;
        if (version.find("  build stand-in-") == std::string::npos) {
            GTEST_SKIP() << "built with another engine";
        }
    }
};

TEST_F(RehearsalOfTheStandIn, AgreesOnTheNumbersThatItTakes) {
    const std::string text = rehearse().output;
    EXPECT_THAT(text, HasSubstr("\nNote: the engine serves on 6000 after "));
}

struct Refusal {
    const char* key;
    int number;
    const char* range;
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
    return out << refusal.key;
}

class RefusedByTheStandIn : public RehearsalOfTheStandIn,
                            public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedByTheStandIn, IsAnErrorWithoutAndWithARehearsal) {
    const Refusal& refusal = GetParam();
    writeFile(directory.path("velmora.ini"), "[default]\nport = 6000\nconnections = 1000\n" +
                                                 std::string(refusal.key) + " = " +
                                                 std::to_string(refusal.number) + "\n");
    const std::string finding = "velmora.ini:4: error: the stand-in engine does not start: '" +
                                std::string(refusal.key) + "' is " +
                                std::to_string(refusal.number) + ": write " + refusal.range + "\n";
    EXPECT_EQ(check({"--quiet", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"}).output, finding);
    EXPECT_THAT(rehearse("--quiet").output,
                HasSubstr("error: the engine does not start: it creates no server; it says: "
                          "velmoraLight: no server created: "));
}

INSTANTIATE_TEST_SUITE_P(Numbers, RefusedByTheStandIn,
                         testing::Values(Refusal{"threads", 300, "1 to 256"},
                                         Refusal{"threadQueuesize", 10001, "0 to 10000"},
                                         Refusal{"queueTimeout", 86400001, "0 to 86400000"}),
                         [](const auto& row) { return std::string(row.param.key); });

TEST_F(RehearsalOfTheStandIn, AgreesOnAnAddressThatIsNone) {
    environment["VELMORA_LIGHT_BIND"] = "localhost";
    EXPECT_THAT(
        rehearse("--quiet").output,
        MatchesRegex("<environment>:1: error: VELMORA_LIGHT_BIND is 'localhost', which is no "
                     "IP address: the stand-in engine does not start\n"
                     "libvelmoraLight.so:1: error: the engine does not start: it creates no "
                     "server; it says: velmoraLight: no server created: .*\n"));
}

TEST_F(RehearsalOfTheStandIn, AgreesOnAnAddressWithAnInterface) {
    environment["VELMORA_LIGHT_BIND"] = "::1%lo";
    writeFile(directory.path("velmora.ini"), "[default]\nport = 6061\n");
    EXPECT_THAT(rehearse().output, HasSubstr("\nNote: the engine serves on 6061 after "));
}

TEST_F(RehearsalOfTheStandIn, AgreesOnAnAddressOfAnotherMachine) {
    environment["VELMORA_LIGHT_BIND"] = "192.0.2.1";
    EXPECT_THAT(
        rehearse("--quiet").output,
        HasSubstr("<environment>:1: error: VELMORA_LIGHT_BIND is '192.0.2.1', where nobody can "
                  "listen: Cannot assign requested address: the stand-in engine does not "
                  "start\n"));
}

}  // namespace
