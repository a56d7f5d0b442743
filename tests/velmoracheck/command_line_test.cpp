#include <gmock/gmock.h>

#include <ostream>

#include "support/row_name.h"
#include "velmoracheck/check_test.h"

namespace {

struct Row {
    const char* name;
    std::vector<std::string> arguments;  // after a good log configuration
    const char* output;
    const char* errors;
    const char* ending;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << row.name;
}

class CheckerCommandLine : public CheckTest, public testing::WithParamInterface<Row> {
protected:
    CheckerCommandLine() {
        writeFile(directory.path("good.ini"), goodIni);
        writeFile(directory.path("vlog.cfg"), goodLog);
        environment["VL_LOGCFG"] = "vlog.cfg";
    }
};

TEST_P(CheckerCommandLine, IsCheckedAsTheDaemonReadsIt) {
    const CheckOutcome outcome = check(GetParam().arguments);
    EXPECT_EQ(outcome.output, GetParam().output);
    EXPECT_EQ(outcome.errors, GetParam().errors);
    EXPECT_EQ(outcome.ending, GetParam().ending);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, CheckerCommandLine,
    testing::Values(
        Row{"Good", {"--quiet", "-p", "6000", "-c=2", "--threads=2"}, "", "", "exit 0"},
        Row{"GoodIniFile", {"--quiet", "-i", "good.ini"}, "", "", "exit 0"},
        Row{"NoNumber",
            {"--quiet", "-t", "abc"},
            "<command-line>:1: error: value 'abc' of 'threads' is not a number: the daemon takes "
            "the default, 1\n",
            "",
            "exit 1"},
        Row{"GroupWithoutValues",
            {"--quiet", "-tp"},
            "<command-line>:1: error: value '' of 'port' is not a number: the daemon takes the "
            "default, 51000\n"
            "<command-line>:1: error: value '' of 'threads' is not a number: the daemon takes the "
            "default, 1\n",
            "",
            "exit 1"},
        Row{"HexadecimalIsNoNumberHere",
            {"--quiet", "-t", "0x10"},
            "<command-line>:1: error: value '0x10' of 'threads' has trailing text: the daemon "
            "takes 0; write a decimal number\n"
            "<command-line>:1: error: 'threads' is 0: write at least 1\n",
            "",
            "exit 1"},
        Row{"LeadingZerosAreDecimalHere", {"--quiet", "-c", "10", "-t", "010"}, "", "", "exit 0"},
        Row{"OutOfRange",
            {"--quiet", "-p", "65536"},
            "<command-line>:1: error: 'port' is 65536: write 1 to 65535\n",
            "",
            "exit 1"},
        Row{"OptionBesideAnIniFile",
            {"--quiet", "-p", "0", "-i", "good.ini"},
            "<command-line>:1: warning: option 'port' is ignored: with --ini the INI file alone "
            "decides\n",
            "",
            "exit 0"},
        Row{"ArgumentThatIsNoOption",
            {"--quiet", "good.ini"},
            "<command-line>:1: warning: argument 'good.ini' is ignored: an INI file is named with "
            "--ini\n",
            "",
            "exit 0"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Strict, CheckerCommandLine,
    testing::Values(
        Row{"Nothing", {"--quiet", "--strict", "-i", "good.ini"}, "", "", "exit 0"},
        Row{"Warning",
            {"--quiet", "--strict", "good.ini"},
            "<command-line>:1: warning: argument 'good.ini' is ignored: an INI file is named with "
            "--ini\n",
            "",
            "exit 1"}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    CalledWrongly, CheckerCommandLine,
    testing::Values(
        Row{"UnknownOption",
            {"--prot", "6000"},
            "",
            "velmoracheck: Unknown option: 'prot': did you mean '--port'? (--help tells more)\n",
            "exit 2"},
        Row{"UnknownOptionLikeNone",
            {"--verbose"},
            "",
            "velmoracheck: Unknown option: 'verbose' (--help tells more)\n",
            "exit 2"},
        Row{"UnknownOptionOfSeveralLines",
            {"--a\nb"},
            "",
            "velmoracheck: Unknown option: 'a\\x0ab' (--help tells more)\n",
            "exit 2"},
        Row{"MissingValue",
            {"--logcfg"},
            "",
            "velmoracheck: Missing required value for option: 'logcfg' (--help tells more)\n",
            "exit 2"},
        Row{"FlagWithAValue",
            {"--strict=no"},
            "",
            "velmoracheck: Option 'strict' takes no value (--help tells more)\n",
            "exit 2"},
        Row{"OptionAfterAnArgument",
            {"x", "--strict"},
            "",
            "velmoracheck: Misplaced option '--strict' detected. All option have to be BEFORE the "
            "first argument (--help tells more)\n",
            "exit 2"}),
    rowName);

TEST_F(CheckTest, ReadsTheDefaultIniFileWithoutOptions) {
    const std::string settings = check({"--logcfg", "default", "--quiet"}).output;
    EXPECT_TRUE(settings.find("/opt/velmoraserver/velmora.ini:") == 0) << settings;
}

TEST_F(CheckTest, ReadsTheDefaultIniFileForAnIniOptionWithoutAName) {
    const std::string settings = check({"--logcfg", "default", "--quiet", "-ic"}).output;
    EXPECT_NE(settings.find("/opt/velmoraserver/velmora.ini:"), std::string::npos) << settings;
}

TEST_F(CheckTest, HelpsWithStatusZero) {
    const CheckOutcome outcome = check({"--help"});
    EXPECT_EQ(outcome.ending, "exit 0");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_TRUE(outcome.output.starts_with("usage: velmoracheck [options] [daemon options]\n"))
        << outcome.output;
}

TEST_F(CheckTest, TellsItsVersionAndBuild) {
    const CheckOutcome outcome = check({"--version"});
    EXPECT_THAT(outcome.output,
                testing::MatchesRegex("velmoracheck " PROJECT_VERSION " build [0-9a-f]{7}\n"));
    EXPECT_EQ(outcome.ending, "exit 0");
}

class CheckerHelp : public CheckTest, public testing::WithParamInterface<const char*> {};

TEST_P(CheckerHelp, TellsOf) {
    EXPECT_NE(check({"-h"}).output.find(GetParam()), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Options, CheckerHelp,
    testing::Values("  --strict ", "  --quiet ", "  --json ", "  --logcfg FILE ", "  --rehearse ",
                    "  --cwd DIR ", "  --user NAME ", "  --version ", "  -h, --help ",
                    "  -i, --ini FILE ", "  -c, --connections N ", "  -p, --port N ",
                    "  -t, --threads N ", "  -q, --threadQueuesize N\n", "  -o, --queueTimeout N ",
                    "VL_LOGCFG", "VELMORA_LIGHT_BIND", "NO_COLOR", "Exit status: 0"));

}  // namespace
