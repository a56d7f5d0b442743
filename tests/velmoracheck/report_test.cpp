#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "velmoracheck/check_test.h"

namespace {

class CheckerReport : public CheckTest {
protected:
    CheckerReport() {
        environment["ENGINE_DOUBLE_VERSION"] = "1 2 3";
        environment["ENGINE_DOUBLE_BUILD"] = "abc123";
        writeFile(directory.path("velmora.ini"), goodIni);
        writeFile(directory.path("vlog.cfg"), goodLog);
    }

    static constexpr char engineFile[] = ENGINE_DOUBLE_DIRECTORY "/libvelmoraLight.so";

    const Arguments goodFiles{"--logcfg", "vlog.cfg", "--ini", "velmora.ini"};
};

TEST_F(CheckerReport, HasSettingsEngineRulesAndOneLineWhenAllIsWell) {
    const CheckOutcome outcome = check(goodFiles);
    EXPECT_EQ(outcome.output,
              "Settings\n"
              "  connections      4     velmora.ini:3\n"
              "  port             6000  velmora.ini:2\n"
              "  threads          4     velmora.ini:4\n"
              "  threadQueuesize  10    default\n"
              "  queueTimeout     0     default\n"
              "\n"
              "Engine\n"
              "  1.2.3  build abc123  " +
                  std::string(engineFile) +
                  "\n"
                  "\n"
                  "Log rules (vlog.cfg), relative names in " +
                  directory.path() +
                  "\n"
                  "  VELMORASRV  INFO      SIMPLE_TS  [STDOUT]\n"
                  "                                   service.log  limit 10000000\n"
                  "  VELMORASRV  CRITICAL  FULL       [STDOUT]\n"
                  "\n"
                  "OK: the files are sound; whether the engine starts, --rehearse tells\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(CheckerReport, BeginsWithTheFindingsAndEndsWithTheirNumber) {
    const CheckOutcome outcome = check({"-p", "6000", "-t", "0", "x"});
    EXPECT_EQ(
        outcome.output,
        "<command-line>:1: warning: argument 'x' is ignored: an INI file is named with --ini\n"
        "<command-line>:1: error: 'threads' is 0: write at least 1\n"
        "<environment>:1: warning: VL_LOGCFG is not set: nothing is logged, not even why a "
        "start fails; set it to the path of a log configuration file, or say --logcfg \"\" if that "
        "is "
        "meant\n"
        "\n"
        "Settings\n"
        "  connections      1     default\n"
        "  port             6000  option --port\n"
        "  threads          0     option --threads\n"
        "  threadQueuesize  10    default\n"
        "  queueTimeout     0     default\n"
        "\n"
        "Engine\n"
        "  1.2.3  build abc123  " +
            std::string(engineFile) +
            "\n"
            "\n"
            "Log rules (none: nothing is logged)\n"
            "\n"
            "1 error, 2 warnings\n");
    EXPECT_EQ(outcome.ending, "exit 1");
}

TEST_F(CheckerReport, SaysThatSettingsAndEngineAreUnknown) {
    environment["LD_LIBRARY_PATH"] = INCOMPLETE_ENGINE_DIRECTORY;
    const std::string text = check({"--logcfg", "vlog.cfg", "-i", "missing"}).output;
    EXPECT_NE(text.find("\n\nSettings: unknown\n\nEngine: unknown\n\nLog rules (vlog.cfg), "),
              std::string::npos)
        << text;
}

TEST_F(CheckerReport, ShowsTheBuiltInRulesWhenTheDaemonUsesThem) {
    writeFile(directory.path("vlog.cfg"), goodLog + std::string("LOGGER;INFO;FULL;x.log\n"));
    const std::string text = check(goodFiles).output;
    EXPECT_NE(text.find("\nLog rules (built-in)\n  *          INFO      SIMPLE_TS  [STDOUT]\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckerReport, ShowsTheBuiltInRulesForADirectory) {
    const std::string text = check({"--logcfg", ".", "-p", "6000"}).output;
    EXPECT_NE(text.find("\nLog rules (built-in)\n  *          INFO      SIMPLE_TS  [STDOUT]\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckerReport, KnowsNoRulesForAFifo) {
    ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
    const std::string text = check({"--logcfg", "fifo", "-p", "6000"}).output;
    EXPECT_NE(text.find("\nLog rules (unknown)\n\n"), std::string::npos) << text;
}

TEST_F(CheckerReport, ShowsNoLimitForANegativeSize) {
    writeFile(directory.path("vlog.cfg"), goodLog + std::string("LOGGER;INFO;SIMPLE;x.log;-5\n"));
    const std::string text = check({"--logcfg", "vlog.cfg", "-p", "6000"}).output;
    EXPECT_NE(text.find("\n  LOGGER      INFO      SIMPLE     x.log        no limit\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckerReport, HasNoLimitForProgramsOfANegativeSize) {
    writeFile(directory.path("vlog.cfg"), "LOGGER;INFO;SIMPLE;x.log;-5\n");
    const nlohmann::json json = nlohmann::json::parse(
        check({"--json", "--logcfg", "vlog.cfg", "--ini", "velmora.ini"}).output);
    EXPECT_EQ(json["log"]["rules"][0]["destinations"],
              nlohmann::json::parse(R"([{"name": "x.log", "limit": 0}])"));
}

TEST_F(CheckerReport, ShowsARuleThatHasNoDestination) {
    writeFile(directory.path("vlog.cfg"), goodLog + std::string("LOGGER;INFO;SIMPLE;,;0\n"));
    const std::string text = check({"--logcfg", "vlog.cfg", "-p", "6000"}).output;
    EXPECT_NE(text.find("\n  LOGGER      INFO      SIMPLE\n"), std::string::npos) << text;
}

// What somebody is told who has broken one key and one rule of the sample files.
TEST_F(CheckerReport, TellsANewcomerBothPlacesAndWhatToWrite) {
    std::string ini = readFile(SAMPLE_DIRECTORY "/velmora.ini");
    std::string log = readFile(SAMPLE_DIRECTORY "/vlog.cfg");
    ini.replace(ini.find("\nthreads ="), 10, "\nthread =");
    log.replace(log.find("CRITICAL ; SIMPLE_TS"), 8, "CRITCAL ");
    writeFile(directory.path("velmora.ini"), ini);
    writeFile(directory.path("vlog.cfg"), log);
    const CheckOutcome outcome = check({"--quiet", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"});
    EXPECT_EQ(outcome.output,
              "velmora.ini:25: error: unknown key 'thread': did you mean 'threads'?\n"
              "vlog.cfg:1: warning: no rule for VELMORASRV CRITICAL: why a start fails is logged "
              "nowhere; write 'VELMORASRV ; CRITICAL ; SIMPLE_TS ; [STDOUT] ; 0'\n"
              "vlog.cfg:15: error: unknown level 'CRITCAL': did you mean 'CRITICAL'?\n");
    EXPECT_EQ(outcome.ending, "exit 1");
}

TEST_F(CheckerReport, FindsNothingInTheSampleFiles) {
    const CheckOutcome outcome =
        check({"--strict", "--quiet", "--ini", SAMPLE_DIRECTORY "/velmora.ini", "--logcfg",
               SAMPLE_DIRECTORY "/vlog.cfg"});
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

TEST_F(CheckerReport, IsTheSameForPrograms) {
    const nlohmann::json json = nlohmann::json::parse(
        check({"--json", "--logcfg", "vlog.cfg", "--ini", "velmora.ini", "-t", "2"}).output);
    EXPECT_EQ(json["errors"], 0);
    EXPECT_EQ(json["warnings"], 1);
    EXPECT_EQ(json["leftOut"], 0);
    EXPECT_EQ(json["findings"], nlohmann::json::parse(R"([{
        "file": "<command-line>", "line": 1, "severity": "warning",
        "text": "option 'threads' is ignored: with --ini the INI file alone decides"}])"));
    EXPECT_EQ(json["settings"], nlohmann::json::parse(R"([
        {"name": "connections", "value": 4, "source": "velmora.ini:3"},
        {"name": "port", "value": 6000, "source": "velmora.ini:2"},
        {"name": "threads", "value": 4, "source": "velmora.ini:4"},
        {"name": "threadQueuesize", "value": 10, "source": "default"},
        {"name": "queueTimeout", "value": 0, "source": "default"}])"));
    EXPECT_EQ(json["engine"],
              nlohmann::json({{"version", "1.2.3"}, {"build", "abc123"}, {"file", engineFile}}));
    EXPECT_EQ(json["log"]["source"], "vlog.cfg");
    EXPECT_EQ(json["log"]["directory"], directory.path());
    EXPECT_EQ(json["log"]["rules"], nlohmann::json::parse(R"([
        {"topic": "VELMORASRV", "level": "INFO", "format": "SIMPLE_TS", "destinations": [
            {"name": "[STDOUT]", "limit": 0}, {"name": "service.log", "limit": 10000000}]},
        {"topic": "VELMORASRV", "level": "CRITICAL", "format": "FULL", "destinations": [
            {"name": "[STDOUT]", "limit": 0}]}])"));
}

TEST_F(CheckerReport, HasNullsForProgramsWhereNothingIsKnown) {
    environment["LD_LIBRARY_PATH"] = INCOMPLETE_ENGINE_DIRECTORY;
    const nlohmann::json json = nlohmann::json::parse(check({"--json", "--ini", "missing"}).output);
    EXPECT_TRUE(json["settings"].is_null());
    EXPECT_TRUE(json["engine"].is_null());
    EXPECT_EQ(json["errors"], 2);
}

TEST_F(CheckerReport, HasFindingsAloneForQuietPrograms) {
    const std::string text =
        check({"--json", "--quiet", "--logcfg", "vlog.cfg", "--ini", "velmora.ini"}).output;
    EXPECT_EQ(
        text,
        "{\n  \"errors\": 0,\n  \"warnings\": 0,\n  \"leftOut\": 0,\n  \"findings\": []\n}\n");
}

TEST_F(CheckerReport, IsJsonWhateverBytesAreInAFile) {
    writeFile(directory.path("vlog.cfg"), std::string(goodLog) + "\xff\xfe;INFO;FULL;x\xff;0\n");
    const nlohmann::json json = nlohmann::json::parse(
        check({"--json", "--logcfg", "vlog.cfg", "--ini", "velmora.ini"}).output);
    EXPECT_EQ(json["log"]["rules"][2]["topic"], "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST_F(CheckerReport, ShowsNamesThatAreNotAsciiAlikeInTableAndFindings) {
    writeFile(directory.path("vlog.cfg"),
              goodLog + std::string("LOGGER;INFO;SIMPLE;gr\xc3\xb6\xc3\x9f"
                                    "e/x.log;5K\n"));
    const std::string text = check(goodFiles).output;
    EXPECT_NE(text.find("destination 'gr\xc3\xb6\xc3\x9f"
                        "e/x.log' cannot be written"),
              std::string::npos)
        << text;
    // As wide as "service.log" and two blanks: characters are counted.
    EXPECT_NE(text.find("\n  LOGGER      INFO      SIMPLE     gr\xc3\xb6\xc3\x9f"
                        "e/x.log  limit 5000\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckerReport, KeepsControlCharactersOfEitherRangeFromTheTerminal) {
    const std::string name =
        "x\x1b[31m\x9b"
        "31m\xc2\x9b"
        "31m";
    writeFile(directory.path("vlog.cfg"),
              goodLog + ("LOGGER;INFO;SIMPLE;no/" + name + ";5K\n" + name + ";INFO;FULL;y;0\n"));
    for (const char* option : {"--strict", "--quiet", "--json"}) {
        Arguments arguments = goodFiles;
        arguments.insert(arguments.begin(), option);
        const std::string text = check(arguments).output;
        EXPECT_EQ(text.find_first_of("\x1b\x9b"), std::string::npos) << text;
        EXPECT_NE(text.find("31m"), std::string::npos) << text;
    }
}

TEST_F(CheckerReport, ThatCannotBeWrittenIsStatusTwo) {
    output = "/dev/full";
    const CheckOutcome outcome = check(goodFiles);
    EXPECT_EQ(outcome.errors, "velmoracheck: the report cannot be written\n");
    EXPECT_EQ(outcome.ending, "exit 2");
}

TEST_F(CheckerReport, ThatGoesToAClosedStandardOutputIsStatusTwo) {
    prefix = {"/bin/sh", "-c", "exec \"$@\" >&-", "sh"};
    const CheckOutcome outcome = check(goodFiles);
    EXPECT_EQ(outcome.errors, "velmoracheck: the report cannot be written\n");
    EXPECT_EQ(outcome.ending, "exit 2");
}

// The other side of a terminal; without a path where the machine has none.
class Terminal {
public:
    Terminal() {
        char name[64] = "";
        if (::openpty(&controller, &terminal, name, nullptr, nullptr) == 0) {
            path = name;
        }
    }
    ~Terminal() {
        ::close(terminal);
        ::close(controller);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // What was written to it; it ends lines as terminals do.
    [[nodiscard]] std::string text() const {
        ::fcntl(controller, F_SETFL, O_NONBLOCK);
        std::string all(4096, '\0');
        const ssize_t n = ::read(controller, all.data(), all.size());
        all.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        return all;
    }

    std::string path;

private:
    int controller = -1;
    int terminal = -1;
};

class ReportColour : public CheckerReport {
protected:
    ReportColour() {
        environment["TERM"] = "xterm";
        output = terminal.path;
    }

    void SetUp() override {
        if (terminal.path.empty()) {
            GTEST_SKIP() << "no terminal to be had, as in a tree without /dev/pts";
        }
    }

    [[nodiscard]] std::string finding() {
        EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-t", "0"}).ending, "exit 1");
        return terminal.text();
    }

    static constexpr char plain[] = "<command-line>:1: error: 'threads' is 0: write at least 1\r\n";
    Terminal terminal;
};

TEST_F(ReportColour, MarksPlaceAndSeverityOnATerminal) {
    EXPECT_EQ(finding(),
              "\x1b[1m<command-line>:1:\x1b[0m \x1b[1;31merror:\x1b[0m 'threads' is 0: write at "
              "least 1\r\n");
}

TEST_F(ReportColour, IsNotUsedAgainstTheUsersWish) {
    environment["NO_COLOR"] = "1";
    EXPECT_EQ(finding(), plain);
}

TEST_F(ReportColour, IsUsedWhenTheWishIsEmpty) {
    environment["NO_COLOR"] = "";
    EXPECT_NE(finding(), plain);
}

TEST_F(ReportColour, IsNotUsedOnATerminalThatHasNone) {
    environment["TERM"] = "dumb";
    EXPECT_EQ(finding(), plain);
}

}  // namespace
