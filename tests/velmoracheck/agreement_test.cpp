#include <gmock/gmock.h>

#include <functional>
#include <ostream>

#include "support/command_output.h"
#include "support/row_name.h"
#include "support/wait_until.h"
#include "velmoracheck/check_test.h"
#include "velmoraserver/app/velmoracheck/words.h"

using testing::HasSubstr;
using velmoracheck::joined;

namespace {

// The daemon and the checker meet the same thing, and must come to the same.
class Agreement : public CheckTest {
protected:
    Agreement() {
        writeFile(directory.path("velmora.ini"), goodIni);
        writeFile(directory.path("vlog.cfg"), goodLog);
    }

    // The daemon, with the checker's environment, until it ends or `isDone`. What it printed.
    std::string runDaemon(
        const Arguments& arguments, const std::function<bool()>& isDone = [] { return false; }) {
        const TemporaryDirectory streams;
        Process process({.command = commandOf("velmoraserviced", arguments),
                         .environment = variables(),
                         .directory = directory.path(),
                         .output = streams.path("output"),
                         .errors = streams.path("errors")});
        isRunning =
            waitUntil([&] { return process.hasEnded() || isDone(); }) && !process.hasEnded();
        return readFile(streams.path("output")) + readFile(streams.path("errors"));
    }

    // The five numbers that reach the engine of a daemon that was started so.
    std::string numbersOf(const Arguments& arguments) {
        environment["ENGINE_DOUBLE_FAIL"] = "1";
        runDaemon(arguments);
        const std::string all = calls();
        const std::size_t begin = all.rfind("create ");
        return begin == std::string::npos ? "" : all.substr(begin);
    }

    // The files of a daemon that has started, which a rotation may have made.
    void letDaemonLog(const std::string& log) {
        writeFile(directory.path("vlog.cfg"), log);
        environment["VL_LOGCFG"] = "vlog.cfg";
        environment["ENGINE_DOUBLE_FAIL"] = "1";
        runDaemon({"--ini", "velmora.ini"});
        environment.erase("VL_LOGCFG");
    }

    [[nodiscard]] bool exists(const std::string& name) const {
        return std::filesystem::exists(directory.path(name));
    }

    bool isRunning = false;  // the daemon, when it was last looked at
};

// --- Engines
// --------------------------------------------------------------------------------------

class AgreementOnAnEngine : public Agreement, public testing::WithParamInterface<const char*> {};

TEST_P(AgreementOnAnEngine, ThatOnlyTheStartOfAProgramCanLoad) {
    environment["LD_LIBRARY_PATH"] = SPECIAL_ENGINES + std::string("/") + GetParam();
    const CheckOutcome outcome =
        check({"--ini", "velmora.ini", "--logcfg", "vlog.cfg", "--strict"});
    EXPECT_EQ(outcome.ending, "exit 0") << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("\n  7.7.7  build special  "));
    const std::string said =
        runDaemon({"--ini", "velmora.ini"}, [&] { return calls() == "create 6000\n"; });
    EXPECT_TRUE(isRunning) << said;
}

INSTANTIATE_TEST_SUITE_P(Kinds, AgreementOnAnEngine,
                         testing::Values("listening", "tls", "plugin", "undefined"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(Agreement, OnTheProgramsThatAskTheEngine) {
    const auto needed = [](const std::string& name) {
        return outputOf("readelf -d " BUILD_DIRECTORY "/" + name +
                        " | sed -n 's/.*(NEEDED).*\\[\\(.*\\)\\]/\\1/p' | grep -v ^ld-linux");
    };
    EXPECT_EQ(needed("lib/velmora/velmoraengine-probe"), needed("bin/velmoraserviced"));
}

// --- Numbers
// --------------------------------------------------------------------------------------

struct Value {
    const char* name;
    const char* text;      // of "port"
    const char* number;    // that the engine gets
    const char* severity;  // of the finding; empty for none
};

std::ostream& operator<<(std::ostream& out, const Value& value) {
    return out << value.text;
}

class AgreementOnAValue : public Agreement, public testing::WithParamInterface<Value> {};

TEST_P(AgreementOnAValue, OfAnIniFile) {
    const CheckOutcome outcome = checkIni("[default]\nport = " + std::string(GetParam().text));
    EXPECT_THAT(numbersOf({"--ini", "velmora.ini"}),
                testing::StartsWith("create port=" + std::string(GetParam().number) + " "));
    if (*GetParam().severity == '\0') {
        EXPECT_EQ(outcome.output, "");
    } else {
        EXPECT_THAT(
            outcome.output,
            testing::StartsWith("velmora.ini:2: " + std::string(GetParam().severity) + ": "));
        EXPECT_THAT(outcome.output,
                    HasSubstr(": the daemon takes " + std::string(GetParam().number)));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, AgreementOnAValue,
    testing::Values(Value{"Comment", "42011 # main port", "42011", "warning"},
                    Value{"CommentWithoutABlank", "42011;main", "42011", "warning"},
                    Value{"CommentOfAnotherLanguage", "42011 // main", "42011", "warning"},
                    Value{"Octal", "042011", "17417", "error"},
                    Value{"OctalThatIsTheSame", "07", "7", ""},
                    Value{"TooSmall", "-99999999999", "-1215752191", "error"},
                    Value{"TooLarge", "99999999999", "1215752191", "error"},
                    Value{"Hexadecimal", "0x1F90", "8080", "warning"},
                    Value{"Unit", "42011th", "42011", "error"}),
    rowName);

TEST_F(Agreement, OnAnIniOptionThatIsEmpty) {
    EXPECT_THAT(check({"--quiet", "--logcfg", "vlog.cfg", "--ini", ""}).output,
                HasSubstr("<command-line>:1: warning: option 'ini' has no value: the daemon reads "
                          "/opt/velmoraserver/velmora.ini\n"));
    environment["VL_LOGCFG"] = "vlog.cfg";
    environment["ENGINE_DOUBLE_FAIL"] = "1";
    EXPECT_THAT(runDaemon({"--ini", ""}),
                HasSubstr("Start parser file : /opt/velmoraserver/velmora.ini"));
}

TEST_F(Agreement, OnTheNullDeviceAsAnIniFile) {
    const CheckOutcome outcome = check({"--ini", "/dev/null", "--logcfg", "vlog.cfg"});
    EXPECT_EQ(outcome.ending, "exit 0") << outcome.output;
    EXPECT_THAT(outcome.output, HasSubstr("\n  port             51000  "));
    EXPECT_THAT(numbersOf({"--ini", "/dev/null"}), testing::StartsWith("create port=51000 "));
}

TEST_F(Agreement, OnMoreThreadsThanConnections) {
    EXPECT_EQ(checkIni("[default]\nconnections = 2\nthreads = 3\n").output,
              "velmora.ini:3: warning: more threads (3) than connections (2): some never have "
              "work; write no more threads than connections\n");
}

TEST_F(Agreement, OnMoreConnectionsThanFiles) {
    prefix = {"/bin/sh", "-c", "ulimit -n 64; exec \"$@\"", "sh"};
    EXPECT_EQ(checkIni("[default]\nconnections = 62\nport = 6000\n").output,
              "velmora.ini:2: warning: more connections (62) than files that may be open here "
              "(64): raise the limit (ulimit -n, LimitNOFILE=), or write fewer\n");
    EXPECT_EQ(checkIni("[default]\nconnections = 61\nport = 6000\n").output, "");
}

// --- The log
// --------------------------------------------------------------------------------------

struct Limit {
    const char* name;
    const char* rule;  // with a log file
    int limit;
    bool rotates;
};

std::ostream& operator<<(std::ostream& out, const Limit& row) {
    return out << row.rule << row.limit;
}

class AgreementOnALimit : public Agreement, public testing::WithParamInterface<Limit> {};

TEST_P(AgreementOnALimit, OfALine) {
    const std::string log = joined(GetParam().rule, GetParam().limit, "\n");
    const std::string finding = joined(" never rotates; write 0 for no limit, or a larger one\n");
    const std::string found = checkLog(log).output;
    EXPECT_EQ(found.find(finding) == std::string::npos, GetParam().rotates) << found;
    letDaemonLog(log);
    letDaemonLog(log);
    EXPECT_EQ(exists("s.log.bkp"), GetParam().rotates);
    EXPECT_TRUE(exists("s.log"));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, AgreementOnALimit,
    testing::Values(Limit{"SimpleOfHundred", "VELMORASRV;INFO;SIMPLE;s.log;", 100, true},
                    Limit{"SimpleOfTheShortestLine", "VELMORASRV;INFO;SIMPLE;s.log;", 49, true},
                    Limit{"SimpleOfLess", "VELMORASRV;INFO;SIMPLE;s.log;", 48, false},
                    Limit{"WithTimeOfTheShortestLine", "VELMORASRV;INFO;SIMPLE_TS;s.log;", 78,
                          true},
                    Limit{"WithTimeOfLess", "VELMORASRV;INFO;SIMPLE_TS;s.log;", 77, false},
                    Limit{"FullOf128", "VELMORASRV;INFO;FULL;s.log;", 128, false},
                    Limit{"FullOf131", "VELMORASRV;INFO;FULL;s.log;", 131, false},
                    Limit{"FullOf142", "VELMORASRV;INFO;FULL;s.log;", 142, false},
                    Limit{"FullOfTheShortestLine", "VELMORASRV;INFO;FULL;s.log;", 143, true},
                    Limit{"LoggerOfLess", "LOGGER;INFO;SIMPLE;s.log;", 55, false},
                    Limit{"LoggerOfTheShortestLine", "LOGGER;INFO;SIMPLE;s.log;", 56, true},
                    Limit{"LoggerFullOfLess", "LOGGER;INFO;FULL;s.log;", 114, false},
                    Limit{"LoggerFullOfTheShortestLine", "LOGGER;INFO;FULL;s.log;", 115, true}),
    rowName);

TEST_F(Agreement, OnAPipeAsStandardOutputAndError) {
    const std::string log =
        "VELMORASRV;INFO;SIMPLE;/dev/stdout,/dev/stderr;0\n"
        "VELMORASRV;CRITICAL;SIMPLE;/dev/stderr;0\n";
    writeFile(directory.path("vlog.cfg"), log);
    prefix = {"/bin/sh", "-c", "{ \"$@\"; } 2>&1 | cat >piped", "sh"};
    EXPECT_EQ(check({"--quiet", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"}).ending, "exit 0");
    EXPECT_EQ(readFile(directory.path("piped")),
              "vlog.cfg:1: warning: '/dev/stderr' is the file '/dev/stdout' again: it gets each "
              "line twice\n");
    environment["VL_LOGCFG"] = "vlog.cfg";
    environment["ENGINE_DOUBLE_FAIL"] = "1";
    runDaemon({"--ini", "velmora.ini"});
    const std::string lines = readFile(directory.path("piped"));
    const std::string line = "[VELMORASRV : 0x0000 : INFO] -> Velmora Service\r\n";
    EXPECT_THAT(lines, HasSubstr(line + line));
}

TEST_F(Agreement, OnItsLogConfigurationAsALogFile) {
    const std::string log =
        "VELMORASRV;INFO;FULL;./vlog.cfg;200\nVELMORASRV;CRITICAL;FULL;[STDOUT];0\n";
    EXPECT_EQ(checkLog(log).output,
              "vlog.cfg:1: error: destination './vlog.cfg' is the log configuration itself, which "
              "the log would destroy\n");
    letDaemonLog(log);
    EXPECT_NE(readFile(directory.path("vlog.cfg")), log);
}

TEST_F(Agreement, OnItsIniFileAsABackup) {
    std::filesystem::rename(directory.path("velmora.ini"), directory.path("s.log.bkp"));
    writeFile(directory.path("vlog.cfg"),
              "VELMORASRV;INFO;FULL;s.log;200\n"
              "VELMORASRV;CRITICAL;FULL;[STDOUT];0\n");
    EXPECT_EQ(check({"--quiet", "--ini", "s.log.bkp", "--logcfg", "vlog.cfg"}).output,
              "vlog.cfg:1: error: backup 's.log.bkp' is the INI file, which the log would "
              "destroy\n");
}

TEST_F(Agreement, OnALimitedFileThatCannotBeRead) {
    const std::string rule = "VELMORASRV;INFO;SIMPLE;s.log;100\n";
    writeFile(directory.path("s.log"), "");
    std::filesystem::permissions(directory.path("s.log"), std::filesystem::perms(0222));
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0777));
    becomeUnprivileged();
    EXPECT_THAT(checkLog(rule).output,
                HasSubstr("vlog.cfg:1: error: destination 's.log' cannot be read, so it never "
                          "rotates: Permission denied\n"));
    std::filesystem::permissions(directory.path("vlog.cfg"), std::filesystem::perms(0644));
    std::filesystem::permissions(directory.path("velmora.ini"), std::filesystem::perms(0644));
    letDaemonLog(rule);
    EXPECT_GT(std::filesystem::file_size(directory.path("s.log")), 500U);
    EXPECT_FALSE(exists("s.log.bkp"));
}

TEST_F(Agreement, OnOneFileUnderTwoNames) {
    const std::string log =
        "VELMORASRV;INFO;SIMPLE;dd.log,./dd.log;0\n"
        "VELMORASRV;CRITICAL;FULL;[STDOUT];0\n";
    const std::string finding =
        "vlog.cfg:1: warning: './dd.log' is the file 'dd.log' again: it gets each line twice\n";
    EXPECT_EQ(checkLog(log).output, finding);
    letDaemonLog(log);
    const std::string line = "[VELMORASRV : 0x0000 : INFO] -> Velmora Service\r\n";
    EXPECT_THAT(readFile(directory.path("dd.log")), HasSubstr(line + line));
    EXPECT_EQ(checkLog(log).output, finding);  // now that there is a file
}

TEST_F(Agreement, OnALogAndItsBackupAsTwoDestinations) {
    const std::string log =
        "VELMORASRV;INFO;SIMPLE;b.log,b.log.bkp;200,0\n"
        "VELMORASRV;CRITICAL;FULL;[STDOUT];0\n";
    EXPECT_EQ(checkLog(log).output,
              "vlog.cfg:1: error: 'b.log.bkp' is also the backup of 'b.log', which overwrites it: "
              "choose another name\n");
    letDaemonLog(log);
    EXPECT_THAT(readFile(directory.path("b.log.bkp")), testing::Not(HasSubstr("Start parser")));
    EXPECT_EQ(checkLog("VELMORASRV;INFO;SIMPLE;b.log,b.log.bkp;0\n"
                       "VELMORASRV;CRITICAL;FULL;[STDOUT];0\n")
                  .output,
              "");
}

TEST_F(Agreement, OnTopicsAndLevelsOfNoLine) {
    EXPECT_EQ(checkLog(goodLog + std::string("LOGER;INFO;FULL;l.log;0\nSERVICE;INFO;FULL;l.log;0\n"
                                             "VELMORASRV;WARN;FULL;l.log;0\n"))
                  .output,
              "vlog.cfg:3: warning: no line of the daemon has the topic 'LOGER': did you mean "
              "'LOGGER'?\n"
              "vlog.cfg:4: warning: no line of the daemon has the topic 'SERVICE': write one of "
              "VELMORASRV, LOGGER\n"
              "vlog.cfg:5: warning: no line of the daemon has the topic VELMORASRV and the level "
              "WARN: its levels are INFO and CRITICAL\n");
    letDaemonLog(
        "LOGER;INFO;FULL;l.log;0\nSERVICE;INFO;FULL;l.log;0\nVELMORASRV;WARN;FULL;l.log;0\n");
    EXPECT_FALSE(exists("l.log"));
}

TEST_F(Agreement, OnWhereRelativeNamesBegin) {
    std::filesystem::create_directory(directory.path("work"));
    writeFile(directory.path("work/velmora.ini"), goodIni);
    writeFile(directory.path("work/vlog.cfg"), goodLog);
    const CheckOutcome outcome =
        check({"--strict", "--cwd", "work", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"});
    EXPECT_THAT(outcome.output, HasSubstr("\nLog rules (vlog.cfg), relative names in " +
                                          directory.path("work") + "\n"));
    EXPECT_EQ(outcome.ending, "exit 0");
    const CheckOutcome nowhere = check({"--cwd", "missing"});
    EXPECT_EQ(nowhere.errors, "velmoracheck: cannot enter 'missing': No such file or directory\n");
    EXPECT_EQ(nowhere.ending, "exit 2");
}

TEST_F(Agreement, OnASilentDaemonThatIsMeant) {
    const CheckOutcome outcome =
        check({"--strict", "--quiet", "--logcfg", "", "--ini", "velmora.ini"});
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.ending, "exit 0");
}

// --- Users
// ----------------------------------------------------------------------------------------

TEST_F(Agreement, OnAnotherUsersRights) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "root alone can judge as another user";
    }
    std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
    copyProgram();
    environment["LD_LIBRARY_PATH"] = directory.path("lib");
    for (const char* name : {"velmora.ini", "vlog.cfg"}) {
        std::filesystem::permissions(directory.path(name), std::filesystem::perms(0644));
    }
    const Arguments arguments{"--quiet", "--ini", "velmora.ini", "--logcfg", "vlog.cfg"};
    EXPECT_EQ(check(arguments).output, "");
    Arguments asNobody = arguments;
    asNobody.insert(asNobody.begin(), {"--user", "nobody"});
    EXPECT_EQ(check(asNobody).output,
              "vlog.cfg:1: error: destination 'service.log' cannot be written: Permission denied\n"
              "vlog.cfg:1: error: backup 'service.log.bkp' cannot be written: Permission denied\n");
}

TEST_F(Agreement, OnAUserThatIsNone) {
    const CheckOutcome outcome = check({"--user", "no-such-user"});
    EXPECT_EQ(outcome.errors, "velmoracheck: there is no user 'no-such-user'\n");
    EXPECT_EQ(outcome.ending, "exit 2");
}

TEST_F(Agreement, SuggestsTheUserOfTheInstalledUnitToRoot) {
    copyProgram();
    std::filesystem::create_directories(directory.path("lib/systemd/system"));
    writeFile(directory.path("lib/systemd/system/velmoraserviced.service"),
              "[Service]\nUser=recognizer\n");
    const std::string text = check({"--ini", "velmora.ini", "--logcfg", "vlog.cfg"}).output;
    EXPECT_EQ(text.find("\nNote: files are judged as root; --user recognizer judges as the "
                        "installed unit's user\n") != std::string::npos,
              ::geteuid() == 0)
        << text;
}

}  // namespace
