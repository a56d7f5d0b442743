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

TEST(Findings, AreSortedByFileInTheOrderOfTheFirstAndByLine) {
    Findings findings;
    findings.error({"z", 9}, "first file, line 9");
    findings.warning({"a", 1}, "second file");
    findings.warning({"z", 10}, "first file, line 10");
    findings.error({"z", 2}, "first file, line 2");
    EXPECT_THAT(texts(findings), testing::ElementsAre("first file, line 2", "first file, line 9",
                                                      "first file, line 10", "second file"));
}

TEST(Findings, OfTheSameLineStayInTheirOrder) {
    Findings findings;
    findings.warning({"a", 1}, "b");
    findings.error({"a", 1}, "a");
    EXPECT_THAT(texts(findings), testing::ElementsAre("b", "a"));
}

TEST(Findings, AreCountedBeyondThoseThatAreKept) {
    Findings findings;
    for (std::size_t i = 0; i <= Findings::keptPerFile; ++i) {
        findings.warning({"a", 1}, "again");
    }
    findings.error({"a", 1}, "left out");
    findings.error({"b", 1}, "of another file");
    EXPECT_EQ(findings.warnings(), 101U);
    EXPECT_EQ(findings.errors(), 2U);
    EXPECT_EQ(findings.leftOut(), 2U);
    EXPECT_EQ(texts(findings).back(), "of another file");
}

}  // namespace
