#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "velmoracheck/check_test.h"

namespace {

class LogDestinationFinding : public CheckTest {
protected:
    // The findings for one more rule, in line 3.
    [[nodiscard]] std::string findings(const std::string& files, const std::string& sizes) {
        return checkLog(goodLog + ("LOGGER;INFO;FULL;" + files + ";" + sizes + "\n")).output;
    }
    // For x.log, of which its permissions are what is wrong.
    void expectDenied() {
        becomeUnprivileged();
        EXPECT_THAT(findings("x.log", "0"),
                    testing::HasSubstr("vlog.cfg:3: error: destination 'x.log' cannot be written: "
                                       "Permission denied\n"));
    }
};

TEST_F(LogDestinationFinding, IsLeftAsItIs) {
    writeFile(directory.path("old.log"), "a line\n");
    EXPECT_EQ(findings("old.log,new.log", "1M"), "");
    EXPECT_EQ(readFile(directory.path("old.log")), "a line\n");
    EXPECT_FALSE(std::filesystem::exists(directory.path("new.log")));
    EXPECT_FALSE(std::filesystem::exists(directory.path("new.log.bkp")));
}

TEST_F(LogDestinationFinding, NeedsItsDirectory) {
    EXPECT_EQ(findings("missing/x.log", "0"),
              "vlog.cfg:3: error: destination 'missing/x.log' cannot be written: No such file or "
              "directory\n");
}

TEST_F(LogDestinationFinding, IsNoDirectory) {
    std::filesystem::create_directory(directory.path("x.log"));
    EXPECT_EQ(findings("x.log", "0"),
              "vlog.cfg:3: error: destination 'x.log' cannot be written: Is a directory\n");
}

TEST_F(LogDestinationFinding, IsAFifoWithAWarning) {
    ASSERT_EQ(::mkfifo(directory.path("x.log").c_str(), 0600), 0);
    std::filesystem::create_directory(directory.path("x.log.bkp"));  // which it never gets
    for (const char* size : {"0", "1M", "5"}) {
        EXPECT_EQ(findings("x.log", size),
                  "vlog.cfg:3: warning: destination 'x.log' is a FIFO: while nobody reads it, no "
                  "file gets a line\n");
    }
}

TEST_F(LogDestinationFinding, IsAFifoWhoseReaderStays) {
    const std::string path = directory.path("x.log");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_NE(findings("x.log", "1M"), "");
    pollfd state{.fd = reader, .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&state, 1, 0), 0) << "somebody has opened and closed it";
    ::close(reader);
}

TEST_F(LogDestinationFinding, IsNoFifoThatTheUserMayNotWrite) {
    ASSERT_EQ(::mkfifo(directory.path("x.log").c_str(), 0444), 0);
    expectDenied();
}

TEST_F(LogDestinationFinding, IsNoSocket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    directory.path("x.log").copy(address.sun_path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(findings("x.log", "0"),
              "vlog.cfg:3: error: destination 'x.log' cannot be written: It is no regular file\n");
    ::close(socket);
}

TEST_F(LogDestinationFinding, NeedsABackupThatIsNoFifo) {
    ASSERT_EQ(::mkfifo(directory.path("x.log.bkp").c_str(), 0600), 0);
    EXPECT_EQ(findings("x.log", "1M"),
              "vlog.cfg:3: error: backup 'x.log.bkp' cannot be written: It is no regular file\n");
}

TEST_F(LogDestinationFinding, MayBeADevice) {
    EXPECT_EQ(findings("/dev/null", "0"), "");
}

TEST_F(LogDestinationFinding, MayBeBehindALinkWithoutATarget) {
    std::filesystem::create_symlink("missing/x.log", directory.path("link.log"));
    EXPECT_EQ(findings("link.log", "0"),
              "vlog.cfg:3: error: destination 'link.log' cannot be written: No such file or "
              "directory\n");
}

TEST_F(LogDestinationFinding, IsAFileOfItsOwnBehindALinkLoop) {
    std::filesystem::create_symlink("loop", directory.path("loop"));
    EXPECT_EQ(findings("loop/a.log,loop/b.log", "1M,0"),
              "vlog.cfg:3: error: destination 'loop/a.log' cannot be written: Too many levels of "
              "symbolic links\n"
              "vlog.cfg:3: error: backup 'loop/a.log.bkp' cannot be written: Too many levels of "
              "symbolic links\n"
              "vlog.cfg:3: error: destination 'loop/a.log' cannot be read, so it never rotates: "
              "Too many levels of symbolic links\n"
              "vlog.cfg:3: error: destination 'loop/b.log' cannot be written: Too many levels of "
              "symbolic links\n");
}

TEST_F(LogDestinationFinding, IsTheSameUnderTwoNamesBehindALinkLoop) {
    std::filesystem::create_symlink("loop", directory.path("loop"));
    EXPECT_NE(findings("loop/a.log,./loop/a.log", "0")
                  .find("warning: './loop/a.log' is the file 'loop/a.log' again: it gets each line "
                        "twice\n"),
              std::string::npos);
}

TEST_F(LogDestinationFinding, MustBeWritableByTheUser) {
    writeFile(directory.path("x.log"), "");
    std::filesystem::permissions(directory.path("x.log"), std::filesystem::perms(0444));
    expectDenied();
}

TEST_F(LogDestinationFinding, NeedsABackupThatCanBeWrittenWhenItIsLimited) {
    std::filesystem::create_directory(directory.path("x.log.bkp"));
    EXPECT_EQ(findings("x.log", "1M"),
              "vlog.cfg:3: error: backup 'x.log.bkp' cannot be written: Is a directory\n");
}

TEST_F(LogDestinationFinding, NeedsNoBackupWhenItIsNotLimited) {
    std::filesystem::create_directory(directory.path("x.log.bkp"));
    EXPECT_EQ(findings("x.log", "0"), "");
}

TEST_F(LogDestinationFinding, NeverRotatesWhenItsLimitIsSmallerThanALine) {
    // [2026:11:22 02:36:29.123456 : 140737348003648 : LOGGER   : 0x0001 : INFO : vlog : 77] ->
    // VLib...
    EXPECT_EQ(findings("x.log", "114"),
              "vlog.cfg:3: warning: limit of 114 bytes is smaller than any line of this rule (115 "
              "bytes at least): 'x.log' never rotates; write 0 for no limit, or a larger one\n");
    EXPECT_EQ(findings("x.log", "115"), "");
}

TEST_F(LogDestinationFinding, HasOneLimitInAllRules) {
    EXPECT_EQ(findings("./service.log", "5M"),
              "vlog.cfg:3: warning: './service.log' has the limit 5000000 here and 10000000 in "
              "line 1: give it one limit\n");
}

TEST_F(LogDestinationFinding, HasNoOtherLimitWhereANegativeSizeMeetsNone) {
    EXPECT_EQ(
        checkLog("VELMORASRV;INFO;FULL;x.log;0\nVELMORASRV;CRITICAL;FULL;x.log;-5\n").output,
        "vlog.cfg:2: error: size '-5' is negative and counts as no limit; write 0 for none\n");
}

TEST_F(LogDestinationFinding, IsToldOfOnceWhenSeveralRulesNameIt) {
    const CheckOutcome outcome =
        checkLog(goodLog + std::string("LOGGER;INFO;FULL;missing/x;0\n"
                                       "LOGGER;CRITICAL;FULL;missing/x;0\n"));
    EXPECT_EQ(outcome.output,
              "vlog.cfg:3: error: destination 'missing/x' cannot be written: No such file or "
              "directory\n");
}

TEST_F(LogDestinationFinding, IsAFileWhenTheConsoleIsMisspelt) {
    EXPECT_EQ(findings("[stdout]", "0"),
              "vlog.cfg:3: warning: '[stdout]' is a file of this name: did you mean '[STDOUT]'?\n");
}

}  // namespace
