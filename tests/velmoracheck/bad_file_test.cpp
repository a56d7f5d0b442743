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

class BadFile : public CheckTest, public testing::WithParamInterface<Row> {};

TEST_P(BadFile, IsAFindingAsIniFile) {
    GetParam().make(directory.path("bad"));
    writeFile(directory.path("vlog.cfg"), goodLog);
    EXPECT_EQ(check({"--quiet", "--logcfg", "vlog.cfg", "-i", "bad"}).output, GetParam().ini);
}

TEST_P(BadFile, IsAFindingAsLogConfiguration) {
    GetParam().make(directory.path("bad"));
    EXPECT_EQ(check({"--quiet", "--logcfg", "bad", "-p", "6000"}).output, GetParam().log);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BadFile,
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
            "bad:1: error: is a directory: name an INI file with --ini\n",
            "bad:1: error: is a directory: name a log configuration file\n"},
        Row{"Fifo", [](const std::string& path) { ::mkfifo(path.c_str(), 0600); },
            "bad:1: error: is a FIFO, for which the daemon would wait: name an INI file with "
            "--ini\n",
            "bad:1: error: is a FIFO, for which the daemon would wait: name a log configuration "
            "file\n"},
        Row{"EndlessDevice",
            [](const std::string& path) { std::filesystem::create_symlink("/dev/zero", path); },
            "bad:1: error: is not a regular file: name an INI file with --ini\n",
            "bad:1: error: is not a regular file: name a log configuration file\n"},
        Row{"Empty", [](const std::string& path) { writeFile(path, ""); },
            "bad:1: warning: sets no key in a section [default]: every setting has its default\n",
            "bad:1: error: has no rule: the daemon uses its built-in rules, which log nothing of "
            "the service\n"},
        Row{"Binary", makeBinary, "bad:2: error: has a zero byte: this is not a text file\n",
            "bad:2: error: has a zero byte: this is not a text file\n"},
        Row{"Gigabyte", makeGigabyte,
            "bad:1: error: is 1073741824 bytes long, too long for a configuration file: no more "
            "than 4194304 are read here: name an INI file with --ini\n",
            "bad:1: error: is 1073741824 bytes long, too long for a configuration file: no more "
            "than 4194304 are read here: name a log configuration file\n"},
        Row{"LineOfAMegabyte",
            [](const std::string& path) { writeFile(path, "#" + std::string(1000000, 'x')); },
            "bad:1: warning: is a line of 1000001 bytes: is this a configuration file?\n"
            "bad:1: error: line too long for the daemon: the rest of it, "
            "'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...', is read as a line "
            "of its own\n"
            "bad:1: warning: sets no key in a section [default]: every setting has its default\n",
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

TEST_F(CheckTest, KeepsAHundredFindingsOfAFileAndCountsTheRest) {
    std::string noise = "[default]\nthreads=1\n";
    for (int i = 0; i < 150; ++i) {
        noise += "noise\n";
    }
    writeFile(directory.path("velmora.ini"), noise);
    writeFile(directory.path("vlog.cfg"), goodLog);
    const std::string text = check({"-i", "velmora.ini", "--logcfg", "vlog.cfg"}).output;
    EXPECT_NE(text.find("\nvelmora.ini:102: error: "), std::string::npos);
    EXPECT_EQ(text.find("\nvelmora.ini:103: error: "), std::string::npos);
    EXPECT_TRUE(text.ends_with("\n150 errors, 0 warnings, 50 of them not shown\n")) << text;
}

}  // namespace
