#include <gmock/gmock.h>

#include "velmoraserver/app/velmoracheck/finding.h"

using velmoracheck::Finding;
using velmoracheck::Findings;

namespace {

std::vector<std::string> texts(const Findings& findings) {
    std::vector<std::string> result;
    for (const Finding& finding : findings.sorted()) {
        result.push_back(finding.text);
    }
    return result;
}

TEST(CheckerFindings, AreSortedByFileInTheOrderOfTheFirstAndByLine) {
    Findings findings;
    findings.error({"z", 9}, "first file, line 9");
    findings.warning({"a", 1}, "second file");
    findings.warning({"z", 10}, "first file, line 10");
    findings.error({"z", 2}, "first file, line 2");
    EXPECT_THAT(texts(findings), testing::ElementsAre("first file, line 2", "first file, line 9",
                                                      "first file, line 10", "second file"));
}

TEST(CheckerFindings, OfTheSameLineStayInTheirOrder) {
    Findings findings;
    findings.warning({"a", 1}, "b");
    findings.error({"a", 1}, "a");
    EXPECT_THAT(texts(findings), testing::ElementsAre("b", "a"));
}

TEST(CheckerFindings, AreCountedBeyondThoseThatAreKept) {
    Findings findings;
    for (std::size_t i = 0; i < 101; ++i) {
        findings.warning({"a", 1}, "again");
    }
    findings.warning({"b", 1}, "of another file");
    EXPECT_EQ(findings.warnings(), 102U);
    EXPECT_EQ(findings.leftOut(), 1U);
    EXPECT_EQ(texts(findings).back(), "of another file");
}

TEST(CheckerFindings, ThatAreErrorsAreKeptWhateverTheNumberOfWarnings) {
    Findings findings;
    for (std::size_t i = 0; i < 150; ++i) {
        findings.warning({"a", 1}, "noise");
    }
    findings.error({"a", 2}, "after them");
    EXPECT_EQ(findings.leftOut(), 50U);
    EXPECT_EQ(texts(findings).back(), "after them");
}

TEST(CheckerFindings, ThatAreErrorsAreKeptUpToAThousandOfAFile) {
    Findings findings;
    for (std::size_t i = 0; i < 1001; ++i) {
        findings.error({"a", 1}, "again");
    }
    EXPECT_EQ(findings.errors(), 1001U);
    EXPECT_EQ(findings.leftOut(), 1U);
}

}  // namespace
