#include "vlib/vlog/vlog_default_config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "support/log_rules.h"
#include "vlib/vlog/vlog_config.h"

namespace {

using testing::ElementsAre;
using Sizes = std::vector<uint64_t>;

TEST(VLogDefaultConfig, IsThisText) {
    const std::string blanks71(71, ' ');
    EXPECT_EQ(vlogDefaultConfig(),
              // clang-format off
"# This is a comment line in a VLog configuration file                  \n"
"# Entry format:                                                        \n"
"#   TOPIC; LEVEL; TAG_FMT, FILES {comma separated}; SIZES  {comma separated}    \n"
"#                                                                      \n"
"# Especial Files                                                       \n"
"#   [STDOUT] - prints to the screen                                    \n"
              + blanks71 + "\n"
"STDERR    ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"MSGSERVER ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"MSGSERVER ; DEBUG         ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"MSGSERVER ; WARN          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"MSGSERVER ; NOTICE        ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"MSGSERVER ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"*         ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"*         ; DEBUG         ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"*         ; WARN          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"*         ; NOTICE        ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"*         ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"LOGGER    ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"LOGGER    ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"HARDWARE  ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"HARDWARE  ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"VLIB      ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"VLIB      ; CRITICAL      ; SIMPLE_TS    ; [STDOUT]    ; 0             \n"
"VLOOP     ; INFO          ; SIMPLE_TS    ; [STDOUT]    ; 0             \n");
    // clang-format on
}

TEST(VLogDefaultConfig, IsSeventyOneWideButForTheThirdLine) {
    std::istringstream text(vlogDefaultConfig());
    std::vector<size_t> widths;
    for (std::string line; std::getline(text, line);) {
        widths.push_back(line.size());
    }
    std::vector<size_t> expected(25, 71);
    expected[2] = 80;
    EXPECT_EQ(widths, expected);
}

TEST(VLogDefaultConfig, LoadsAsEighteenRules) {
    VLogConfig config;
    EXPECT_EQ(loadRules(config, vlogDefaultConfig()), 4);
    EXPECT_EQ(config.configTree.size(), 18U);
}

TEST(VLogDefaultConfig, HasNoTraceRule) {
    VLogConfig config;
    loadRules(config, vlogDefaultConfig());
    EXPECT_FALSE(config.hasEntry("*", VLogConfig::TRACE));
    for (const auto& [key, rule] : config.configTree) {
        EXPECT_NE(key.second, VLogConfig::TRACE) << key.first;
    }
}

TEST(VLogDefaultConfig, SendsEveryRuleToTheConsoleAlone) {
    VLogConfig config;
    loadRules(config, vlogDefaultConfig());
    for (const auto& [key, rule] : config.configTree) {
        EXPECT_EQ(rule.tagfmt, VLogConfig::SIMPLE_TS) << key.first;
        EXPECT_THAT(rule.files, ElementsAre("[STDOUT]")) << key.first;
        EXPECT_EQ(rule.sizes, Sizes{0}) << key.first;
    }
}

}  // namespace
