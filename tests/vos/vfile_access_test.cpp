// Whether a file could be opened for appending, without touching it; and where it would be made.

#include "vlib/vos/vfile_access.h"

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "support/bound_by_permissions.h"
#include "support/files.h"
#include "support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

class CanAppendTo : public testing::Test {
protected:
    TemporaryDirectory directory;
    const std::string path = directory.path("file");
};

TEST_F(CanAppendTo, IsTrueForAFileThatExists) {
    writeFile(path, "abc");
    EXPECT_TRUE(vos::canAppendTo(path));
}

TEST_F(CanAppendTo, ChangesNeitherContentNorTimeOfAFile) {
    writeFile(path, "abc");
    const auto past = fs::last_write_time(path) - std::chrono::hours(1);
    fs::last_write_time(path, past);
    EXPECT_TRUE(vos::canAppendTo(path));
    EXPECT_EQ(readFile(path), "abc");
    EXPECT_EQ(fs::last_write_time(path), past);
}

TEST_F(CanAppendTo, IsTrueForAFileThatCouldBeMade) {
    EXPECT_TRUE(vos::canAppendTo(path));
}

TEST_F(CanAppendTo, LeavesNoNewFileBehind) {
    ASSERT_TRUE(vos::canAppendTo(path));
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(CanAppendTo, IsFalseInAMissingDirectory) {
    EXPECT_FALSE(vos::canAppendTo(directory.path("missing/file")));
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(CanAppendTo, IsFalseForASocket) {
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof name.sun_path);
    path.copy(name.sun_path, path.size());
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
    EXPECT_FALSE(vos::canAppendTo(path));
    ::close(listener);
}

TEST_F(CanAppendTo, IsFalseBelowAFile) {
    writeFile(path, "abc");
    EXPECT_FALSE(vos::canAppendTo(path + "/file"));
}

TEST_F(CanAppendTo, IsFalseForADirectory) {
    EXPECT_FALSE(vos::canAppendTo(directory.path()));
}

TEST_F(CanAppendTo, IsFalseForAnEmptyName) {
    EXPECT_FALSE(vos::canAppendTo(""));
}

TEST_F(CanAppendTo, IsFalseForANewNameThatEndsInASlash) {
    EXPECT_FALSE(vos::canAppendTo(path + "/"));
    EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(CanAppendTo, IsFalseForANameThatIsTooLong) {
    EXPECT_FALSE(vos::canAppendTo(directory.path(std::string(300, 'n'))));
}

TEST_F(CanAppendTo, IsFalseForAFileThatMayNotBeWritten) {
    writeFile(path, "abc");
    fs::permissions(path, fs::perms::owner_read);
    const BoundByPermissions bound;
    EXPECT_FALSE(vos::canAppendTo(path));
}

TEST_F(CanAppendTo, FollowsALinkToAFile) {
    writeFile(path, "abc");
    fs::create_symlink(path, directory.path("link"));
    EXPECT_TRUE(vos::canAppendTo(directory.path("link")));
}

TEST_F(CanAppendTo, IsTrueForALinkWhoseMissingTargetCouldBeMade) {
    fs::create_symlink(path, directory.path("link"));
    EXPECT_TRUE(vos::canAppendTo(directory.path("link")));
}

TEST_F(CanAppendTo, LeavesALinkWithoutTargetAsItWas) {
    fs::create_symlink("file", directory.path("link"));
    ASSERT_TRUE(vos::canAppendTo(directory.path("link")));
    EXPECT_TRUE(fs::is_symlink(directory.path("link")));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(CanAppendTo, FollowsAChainOfLinksWithoutTarget) {
    fs::create_directory(directory.path("sub"));
    fs::create_symlink("sub/second", directory.path("first"));
    fs::create_symlink("third", directory.path("sub/second"));
    EXPECT_TRUE(vos::canAppendTo(directory.path("first")));
    EXPECT_FALSE(fs::exists(directory.path("sub/third")));
}

TEST_F(CanAppendTo, IsFalseForALinkIntoAMissingDirectory) {
    fs::create_symlink(directory.path("missing/file"), directory.path("link"));
    EXPECT_FALSE(vos::canAppendTo(directory.path("link")));
}

TEST_F(CanAppendTo, IsFalseForALinkToItself) {
    fs::create_symlink("loop", directory.path("loop"));
    EXPECT_FALSE(vos::canAppendTo(directory.path("loop")));
}

TEST_F(CanAppendTo, IsTrueForAFifoAndDoesNotWaitForAReader) {
    ASSERT_EQ(::mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_TRUE(vos::canAppendTo(path));
}

TEST_F(CanAppendTo, IsTrueForADevice) {
    EXPECT_TRUE(vos::canAppendTo("/dev/null"));
}

TEST_F(CanAppendTo, IsFalseForANewFileInADirectoryThatMayNotBeWritten) {
    const fs::path sub = directory.path("sub");
    fs::create_directory(sub);
    fs::permissions(sub, fs::perms::owner_read | fs::perms::owner_exec);
    {
        const BoundByPermissions bound;
        EXPECT_FALSE(vos::canAppendTo(sub / "new"));
    }
    fs::permissions(sub, fs::perms::owner_all);
}

TEST_F(CanAppendTo, IsTrueForANewFileInTheCurrentDirectory) {
    const fs::path before = fs::current_path();
    fs::current_path(directory.path());
    EXPECT_TRUE(vos::canAppendTo("new"));
    fs::current_path(before);
}

// What a writer appends between the making and the removing of a file would be lost.
TEST_F(CanAppendTo, NeitherOpensNorMakesNorRemovesAFile) {
    writeFile(path, "abc");
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, directory.path().c_str(), IN_ALL_EVENTS), 0);
    EXPECT_TRUE(vos::canAppendTo(path));
    EXPECT_TRUE(vos::canAppendTo(directory.path("new")));
    char events[4096];
    EXPECT_EQ(::read(watch, events, sizeof events), -1) << "something happened";
    ::close(watch);
}

class CreationPath : public CanAppendTo {
protected:
    // The path of the last of so many links, each to the one before, the first to a missing file.
    [[nodiscard]] std::string chainOf(int links) const {
        std::string last = path;
        for (int i = 1; i <= links; ++i) {
            const std::string link = directory.path("link" + std::to_string(i));
            std::filesystem::create_symlink(last, link);
            last = link;
        }
        return last;
    }
};

TEST_F(CreationPath, FollowsFortyLinks) {
    EXPECT_EQ(vos::creationPath(chainOf(40)), path);
}

TEST_F(CreationPath, FollowsNoMoreThanTheKernelDoes) {
    EXPECT_EQ(vos::creationPath(chainOf(41)), directory.path("link1"));
}

TEST_F(CreationPath, IsThePathItselfWithoutALink) {
    EXPECT_EQ(vos::creationPath(path), path);
    EXPECT_EQ(vos::creationPath(""), "");
}

TEST_F(CreationPath, IsTheMissingTargetOfALink) {
    fs::create_symlink(path, directory.path("link"));
    EXPECT_EQ(vos::creationPath(directory.path("link")), path);
}

TEST_F(CreationPath, TakesARelativeTargetFromTheDirectoryOfTheLink) {
    fs::create_symlink("sub/file", directory.path("link"));
    EXPECT_EQ(vos::creationPath(directory.path("link")), directory.path("sub/file"));
}

TEST_F(CreationPath, EndsOnALinkToItself) {
    fs::create_symlink("loop", directory.path("loop"));
    EXPECT_EQ(vos::creationPath(directory.path("loop")), directory.path("loop"));
}

}  // namespace
