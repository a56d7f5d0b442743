// The rules once they are there: the table, and whether a destination can be written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/bound_by_permissions.h"
#include "support/files.h"
#include "support/log_rules.h"
#include "support/temporary_directory.h"
#include "vlib/vlog/vlog_config.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VLogConfig::Entry makeRule(std::string topic, uint32_t level, std::vector<std::string> files) {
    VLogConfig::Entry rule{std::move(topic), level, VLogConfig::FULL, std::move(files), {}};
    VLogConfig::pairSizes(rule);
    return rule;
}

TEST(VLogConfigTable, AddEntryStoresUnderTopicAndLevel) {
    VLogConfig config;
    VLogConfig::Entry rule = makeRule("A", VLogConfig::WARN, {"f"});
    config.addEntry(rule);
    EXPECT_TRUE(config.hasEntry("A", VLogConfig::WARN));
    EXPECT_FALSE(config.hasEntry("A", VLogConfig::INFO));
    EXPECT_FALSE(config.hasEntry("B", VLogConfig::WARN));
}

TEST(VLogConfigTable, AddEntryReplaces) {
    VLogConfig config;
    VLogConfig::Entry first = makeRule("A", VLogConfig::WARN, {"f"});
    VLogConfig::Entry second = makeRule("A", VLogConfig::WARN, {"g"});
    config.addEntry(first);
    config.addEntry(second);
    EXPECT_EQ(config.configTree.size(), 1U);
    EXPECT_THAT(config.getEntry("A", VLogConfig::WARN).files, ElementsAre("g"));
}

TEST(VLogConfigTable, RemoveEntryErasesOneKey) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0\nA;DEBUG;SIMPLE;f;0\n");
    config.removeEntry("A", VLogConfig::INFO);
    EXPECT_FALSE(config.hasEntry("A", VLogConfig::INFO));
    EXPECT_TRUE(config.hasEntry("A", VLogConfig::DEBUG));
}

TEST(VLogConfigTable, RemoveEntryOfAMissingKeyChangesNothing) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0");
    config.removeEntry("A", VLogConfig::DEBUG);
    config.removeEntry("B", VLogConfig::INFO);
    EXPECT_EQ(config.configTree.size(), 1U);
}

TEST(VLogConfigTable, RemoveAllEmptiesTheTable) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0\nB;INFO;SIMPLE;f;0\n");
    config.removeAll();
    EXPECT_TRUE(config.configTree.empty());
    EXPECT_EQ(loadRules(config, ""), VLogConfig::EMPTY);
}

TEST(VLogConfigTable, HasFileLooksForTheWholeName) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;first.log,[STDOUT];0");
    EXPECT_TRUE(config.hasFile("A", VLogConfig::INFO, "first.log"));
    EXPECT_TRUE(config.hasFile("A", VLogConfig::INFO, "[STDOUT]"));
    EXPECT_FALSE(config.hasFile("A", VLogConfig::INFO, "first"));
}

TEST(VLogConfigTable, HasFileOfAMissingKeyIsFalse) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0");
    EXPECT_FALSE(config.hasFile("A", VLogConfig::DEBUG, "f"));
    EXPECT_FALSE(config.hasFile("B", VLogConfig::INFO, "f"));
}

TEST(VLogConfigTable, GetEntryIsTheTablesOwnRule) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0");
    config.getEntry("A", VLogConfig::INFO).tagfmt = VLogConfig::FULL;
    EXPECT_EQ(config.configTree.begin()->second.tagfmt, 3U);
}

TEST(VLogConfigTable, GetEntryOfAMissingKeyIsBlankAndNotInTheTable) {
    VLogConfig config;
    const VLogConfig::Entry& blank = config.getEntry("A", VLogConfig::INFO);
    EXPECT_EQ(blank.topic, "");
    EXPECT_EQ(blank.level, 0U);
    EXPECT_EQ(blank.tagfmt, 0U);
    EXPECT_THAT(blank.files, IsEmpty());
    EXPECT_THAT(blank.sizes, IsEmpty());
    EXPECT_TRUE(config.configTree.empty());
}

TEST(VLogConfigTable, GetEntryOfAMissingKeyIsBlankAgainAfterACallerFilledIt) {
    VLogConfig config;
    config.getEntry("A", VLogConfig::INFO) = makeRule("A", VLogConfig::INFO, {"f"});
    EXPECT_EQ(config.getEntry("B", VLogConfig::INFO).topic, "");
    EXPECT_FALSE(config.hasEntry("A", VLogConfig::INFO));
}

TEST(VLogConfigTable, FindEntryIsNullForAMissingKey) {
    VLogConfig config;
    loadRules(config, "A;INFO;SIMPLE;f;0");
    EXPECT_EQ(config.findEntry("A", VLogConfig::INFO), &config.configTree.begin()->second);
    EXPECT_EQ(config.findEntry("A", VLogConfig::DEBUG), nullptr);
}

TEST(VLogConfigTable, OwnsItsRulesByValue) {
    VLogConfig config;
    VLogConfig::Entry rule = makeRule("A", VLogConfig::INFO, {"f"});
    config.addEntry(rule);
    rule.files = {"g"};
    EXPECT_THAT(config.getEntry("A", VLogConfig::INFO).files, ElementsAre("f"));
}

class IsWritableFile : public testing::Test {
protected:
    [[nodiscard]] static bool isWritable(std::string name) {
        return VLogConfig().isWritableFile(name);
    }

    TemporaryDirectory directory;
};

TEST_F(IsWritableFile, TheConsoleIs) {
    EXPECT_TRUE(isWritable("[STDOUT]"));
    EXPECT_FALSE(std::filesystem::exists("[STDOUT]"));
}

TEST_F(IsWritableFile, AFileThatIsThereIsAndKeepsItsContent) {
    writeFile(directory.path("f"), "content");
    EXPECT_TRUE(isWritable(directory.path("f")));
    EXPECT_EQ(readFile(directory.path("f")), "content");
}

TEST_F(IsWritableFile, ANewFileIsAndNothingIsLeftBehind) {
    EXPECT_TRUE(isWritable(directory.path("new")));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(IsWritableFile, ANewFileBehindALinkIsAndOnlyTheLinkStays) {
    std::filesystem::create_symlink("target", directory.path("link"));
    EXPECT_TRUE(isWritable(directory.path("link")));
    EXPECT_TRUE(std::filesystem::is_symlink(directory.path("link")));
    EXPECT_FALSE(std::filesystem::exists(directory.path("target")));
}

TEST_F(IsWritableFile, AFileInAMissingDirectoryIsNot) {
    EXPECT_FALSE(isWritable(directory.path("missing/f")));
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST_F(IsWritableFile, ADirectoryIsNot) {
    EXPECT_FALSE(isWritable(directory.path()));
}

TEST_F(IsWritableFile, AnEmptyNameIsNot) {
    EXPECT_FALSE(isWritable(""));
}

TEST_F(IsWritableFile, ANameThatIsTooLongIsNot) {
    EXPECT_FALSE(isWritable(directory.path(std::string(300, 'n'))));
}

TEST_F(IsWritableFile, AFifoWithoutAReaderIsAndTheCallReturns) {
    ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
    EXPECT_TRUE(isWritable(directory.path("fifo")));
}

// A writer's line must not go with a file that is made for the question.
TEST_F(IsWritableFile, ANewFileIsNotMadeToFindOut) {
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(::inotify_add_watch(watch, directory.path().c_str(), IN_CREATE | IN_DELETE), 0);
    EXPECT_TRUE(isWritable(directory.path("new")));
    char events[4096];
    EXPECT_EQ(::read(watch, events, sizeof events), -1) << "a file was made or removed";
    ::close(watch);
}

TEST_F(IsWritableFile, AFileWithoutWritePermissionIsNot) {
    writeFile(directory.path("f"), "");
    std::filesystem::permissions(directory.path("f"), std::filesystem::perms::owner_read);
    const BoundByPermissions bound;
    EXPECT_FALSE(isWritable(directory.path("f")));
}

}  // namespace
