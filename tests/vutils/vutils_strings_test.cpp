// Formatting into a string of bounded length.

#include "vlib/vutils/vutils_strings.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <vector>

#include "support/on_threads.h"
#include "support/output_capture.h"

namespace {

constexpr const char* failure = "[ERR]\tvutils_strings:toStringFormat():265 - Failed to format\r\n";

// What toStringFormat("%s", text) prints.
std::string printedFor(const std::string& text) {
    OutputCapture output;
    vutils::toStringFormat("%s", text.c_str());
    return output.text();
}

// What it returns, without the diagnostic on the test's own output.
std::string returnedFor(const std::string& text) {
    const OutputCapture output;
    return vutils::toStringFormat("%s", text.c_str());
}

bool formatsItsOwnNumber(int number) {
    for (int i = 0; i < 2000; ++i) {
        if (vutils::toStringFormat("%d", number) != std::to_string(number)) {
            return false;
        }
    }
    return true;
}

TEST(ToStringFormat, FormatsLikePrintf) {
    EXPECT_EQ(vutils::toStringFormat("%s-%05d-%.2f-0x%04X", "a", 42, 1.5, 0xBEU),
              "a-00042-1.50-0x00BE");
}

TEST(ToStringFormat, ReturnsATextWithoutArguments) {
    EXPECT_EQ(vutils::toStringFormat("plain 100%%"), "plain 100%");
}

TEST(ToStringFormat, ReturnsOneCharacter) {
    EXPECT_EQ(returnedFor("a"), "a");
    EXPECT_EQ(printedFor("a"), "");
}

TEST(ToStringFormat, Returns511CharactersWhole) {
    EXPECT_EQ(returnedFor(std::string(511, 'a')), std::string(511, 'a'));
    EXPECT_EQ(printedFor(std::string(511, 'a')), "");
}

TEST(ToStringFormat, ReturnsNothingOf512Characters) {
    EXPECT_EQ(returnedFor(std::string(512, 'a')), "");
}

TEST(ToStringFormat, Reports512Characters) {
    EXPECT_EQ(printedFor(std::string(512, 'a')), failure);
}

TEST(ToStringFormat, ReturnsNothingOfAMuchLongerText) {
    EXPECT_EQ(returnedFor(std::string(100000, 'a')), "");
    EXPECT_EQ(printedFor(std::string(100000, 'a')), failure);
}

TEST(ToStringFormat, ReturnsNothingOfAnEmptyText) {
    EXPECT_EQ(returnedFor(""), "");
}

TEST(ToStringFormat, ReportsAnEmptyText) {
    EXPECT_EQ(printedFor(""), failure);
}

TEST(ToStringFormat, ReportsEveryFailureOnce) {
    OutputCapture output;
    vutils::toStringFormat("%s", "");
    vutils::toStringFormat("%s", "");
    EXPECT_EQ(output.text(), std::string(failure) + failure);
}

// In the C locale no wide character beyond ASCII has bytes.
TEST(ToStringFormat, ReportsATextThatCannotBeConverted) {
    std::setlocale(LC_ALL, "C");
    OutputCapture output;
    const std::string text = vutils::toStringFormat("%ls", L"\u20AC");
    EXPECT_EQ(output.text(), failure);
    EXPECT_EQ(text, "");
}

TEST(ToStringFormat, ReportsAMissingFormat) {
    const char* volatile none = nullptr;  // kept from the compiler, which would warn
    const char* format = none;
    OutputCapture output;
    // NOLINTNEXTLINE(clang-diagnostic-format-security): that the format is none is the point
    const std::string text = vutils::toStringFormat(format, 0);
    EXPECT_EQ(output.text(), failure);
    EXPECT_EQ(text, "");
}

TEST(ToStringFormat, EndsAtANulCharacterAmongTheFormatted) {
    EXPECT_EQ(vutils::toStringFormat("a%cb", '\0'), "a");
}

TEST(ToStringFormat, IsReentrant) {
    std::vector<char> results(4);
    onThreads(4, [&](int i) {
        results[static_cast<size_t>(i)] = static_cast<char>(formatsItsOwnNumber(i * 1111));
    });
    EXPECT_EQ(results, std::vector<char>(4, 1));
}

}  // namespace
