#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <ostream>

#include "support/row_name.h"
#include "velmoracheck/check_test.h"

namespace {

constexpr std::uintmax_t gigabyte = std::uintmax_t{1} << 30U;

void makeBinary(const std::string& path) {
    writeFile(path, std::string("[default]\n\0\x7f\xff;\n", 16));
}

void makeGigabyte(const std::string& path) {
    writeFile(path, "");
    std::filesystem::resize_file(path, gigabyte);
}

struct Row {
    const char* name;
    std::function<void(const std::string&)> make;
    const char* ini;  // the finding when it is the INI file
    const char* log;  // when it is the log configuration
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
    return out << row.name;
}

class UnreadableFileFinding : public CheckTest, public testing::WithParamInterface<Row> {};

TEST_P(UnreadableFileFinding, IsAFindingAsIniFile) {
    GetParam().make(directory.path("bad"));
    writeFile(directory.path("vlog.cfg"), goodLog);
    EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-i", "bad"}).output, GetParam().ini);
}

TEST_P(UnreadableFileFinding, IsAFindingAsLogConfiguration) {
    GetParam().make(directory.path("bad"));
    EXPECT_EQ(check({"--quiet", "--logcfg", "bad", "-p", "6000"}).output, GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, UnreadableFileFinding,
    testing::Values(
        Row{"Missing", [](const std::string&) {},
            "bad:1: error: cannot be opened: No such file or directory: the daemon does not "
            "start\n",
            "bad:1: error: cannot be opened: No such file or directory: the daemon uses its "
            "built-in log rules, which log nothing of the service\n"},
        Row{"LinkToItself",
            [](const std::string& path) { std::filesystem::create_symlink("bad", path); },
            "bad:1: error: cannot be opened: Too many levels of symbolic links: the daemon does "
            "not start\n",
            "bad:1: error: cannot be opened: Too many levels of symbolic links: the daemon uses "
            "its built-in log rules, which log nothing of the service\n"},
        Row{"Directory", [](const std::string& path) { std::filesystem::create_directory(path); },
            "bad:1: error: is a directory: the daemon takes it for an empty file; name an INI file "
            "with --ini\n",
            "bad:1: error: is a directory: the daemon uses its built-in log rules, which log "
            "nothing of the service\n"},
        Row{"Fifo", [](const std::string& path) { ::mkfifo(path.c_str(), 0600); },
            "bad:1: error: is a pipe, which is not read here: name an INI file with --ini\n",
            "bad:1: error: is a pipe, which is not read here: name a log configuration file\n"},
        Row{"NullDevice",
            [](const std::string& path) { std::filesystem::create_symlink("/dev/null", path); },
            "bad:1: warning: sets no key in [default]: every setting has its default\n",
            "bad:1: error: has no rule: the daemon uses its built-in rules, which log nothing of "
            "the service\n"},
        Row{"EndlessDevice",
            [](const std::string& path) { std::filesystem::create_symlink("/dev/zero", path); },
            "bad:1: error: is not a regular file: name an INI file with --ini\n",
            "bad:1: error: is not a regular file: name a log configuration file\n"},
        Row{"Empty", [](const std::string& path) { writeFile(path, ""); },
            "bad:1: warning: sets no key in [default]: every setting has its default\n",
            "bad:1: error: has no rule: the daemon uses its built-in rules, which log nothing of "
            "the service\n"},
        Row{"Binary", makeBinary, "bad:2: error: has a zero byte: this is not a text file\n",
            "bad:2: error: has a zero byte: this is not a text file\n"},
        Row{"Gigabyte", makeGigabyte,
            "bad:1: error: has 1073741824 bytes, too many for a configuration file (4194304 at "
            "most): name an INI file with --ini\n",
            "bad:1: error: has 1073741824 bytes, too many for a configuration file (4194304 at "
            "most): name a log configuration file\n"},
        Row{"LineOfAMegabyte",
            [](const std::string& path) { writeFile(path, "#" + std::string(1000000, 'x')); },
            "bad:1: warning: is a line of 1000001 bytes: is this a configuration file?\n"
            "bad:1: error: line too long for the daemon: the rest of it, "
            "'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...', is read as a line "
            "of its own\n"
            "bad:1: warning: sets no key in [default]: every setting has its default\n",
            "bad:1: warning: is a line of 1000001 bytes: is this a configuration file?\n"
            "bad:1: error: has no rule: the daemon uses its built-in rules, which log nothing of "
            "the service\n"}),
    rowName);

TEST_F(CheckTest, TellsOfAFileThatTheUserMayNotRead) {
    writeFile(directory.path("velmora.ini"), goodIni);
    std::filesystem::permissions(directory.path("velmora.ini"), std::filesystem::perms::none);
    becomeUnprivileged();
    EXPECT_EQ(
        check({"--quiet", "-i", "velmora.ini", "--logcfg", "default"}).output.substr(0, 88),
        "velmora.ini:1: error: cannot be opened: Permission denied: the daemon does not start\n"
        "<co");
}

// So many times the same line.
std::string repeated(int times, const std::string& line) {
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += line;
    }
    return text;
}

TEST_F(CheckTest, KeepsAHundredWarningsOfAFileAndCountsTheRest) {
    writeFile(directory.path("velmora.ini"), repeated(150, "[noise]\n") + goodIni);
    writeFile(directory.path("vlog.cfg"), goodLog);
    const std::string text = check({"-i", "velmora.ini", "--logcfg", "vlog.cfg"}).output;
    EXPECT_NE(text.find("\nvelmora.ini:100: warning: "), std::string::npos) << text;
    EXPECT_EQ(text.find("\nvelmora.ini:101: warning: "), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("\n0 errors, 150 warnings, 50 of them not shown\n")) << text;
}

TEST_F(CheckTest, ShowsTheErrorOfASettingBehindAnyNumberOfWarnings) {
    const CheckOutcome outcome = checkIni(repeated(120, "[noise]\n") + "[default]\nport=99999\n");
    EXPECT_TRUE(
        outcome.output.ends_with("\nvelmora.ini:122: error: 'port' is 99999: write 1 to 65535\n"
                                 "1 error, 120 warnings, 20 of them not shown\n"))
        << outcome.output;
    EXPECT_EQ(outcome.ending, "exit 1");
}

TEST_F(CheckTest, ShowsTheErrorOfASettingBehindAnyNumberOfErrors) {
    const CheckOutcome outcome = checkIni(repeated(1200, "noise\n") + "[default]\nport=99999\n");
    EXPECT_TRUE(
        outcome.output.ends_with("\nvelmora.ini:1202: error: 'port' is 99999: write 1 to 65535\n"
                                 "1201 errors, 0 warnings, 201 of them not shown\n"))
        << outcome.output;
}

TEST_F(CheckTest, ShowsTheErrorOfADestinationBehindAnyNumberOfErrors) {
    const CheckOutcome outcome =
        checkLog(repeated(1200, "X;INFOS;FULL;[STDOUT];0\n") + "A;INFO;FULL;/;0\n" + goodLog);
    EXPECT_NE(outcome.output.find(
                  "\nvlog.cfg:1201: error: destination '/' cannot be written: Is a directory\n"),
              std::string::npos)
        << outcome.output;
}

}  // namespace
