// The items of a rule line: levels, tag formats, sizes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "vlib/vlog/vlog_config.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Sizes = std::vector<uint64_t>;

struct NameRow {
    const char* name;
    std::string text;
    uint32_t value;
};
std::ostream& operator<<(std::ostream& out, const NameRow& row) {
    return out << '"' << row.text << "\" is " << row.value;
}

template <typename Row>
std::string rowName(const testing::TestParamInfo<Row>& row) {
    return row.param.name;
}

class ParseLevel : public testing::TestWithParam<NameRow> {};

TEST_P(ParseLevel, GivesTheLevelOfAnExactName) {
    EXPECT_EQ(parseLevel(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ParseLevel,
    testing::Values(NameRow{"Info", "INFO", 1}, NameRow{"Debug", "DEBUG", 2},
                    NameRow{"Warn", "WARN", 4}, NameRow{"Notice", "NOTICE", 8},
                    NameRow{"Critical", "CRITICAL", 16}, NameRow{"Trace", "TRACE", 32},
                    NameRow{"None", "NONE", 0}, NameRow{"LowerCase", "info", 0},
                    NameRow{"MixedCase", "Info", 0}, NameRow{"Beginning", "INF", 0},
                    NameRow{"Longer", "INFORMATION", 0}, NameRow{"Number", "1", 0},
                    NameRow{"List", "INFO,DEBUG", 0}, NameRow{"TrailingBlank", "INFO ", 0},
                    NameRow{"TrailingNul", std::string("INFO\0", 5), 0}, NameRow{"Empty", "", 0}),
    rowName<NameRow>);

class ParseTagFmt : public testing::TestWithParam<NameRow> {};

TEST_P(ParseTagFmt, GivesSimpleWithTimestampForWhatItDoesNotKnow) {
    EXPECT_EQ(parseTagFmt(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Names, ParseTagFmt,
                         testing::Values(NameRow{"Simple", "SIMPLE", 1},
                                         NameRow{"SimpleTs", "SIMPLE_TS", 2},
                                         NameRow{"Full", "FULL", 3}, NameRow{"Unknown", "FANCY", 2},
                                         NameRow{"LowerCaseSimple", "simple", 2},
                                         NameRow{"LowerCaseFull", "full", 2},
                                         NameRow{"Beginning", "FUL", 2}, NameRow{"Number", "3", 2},
                                         NameRow{"Empty", "", 2}),
                         rowName<NameRow>);

struct SizeRow {
    const char* name;
    std::string text;
    uint64_t bytes;
};
std::ostream& operator<<(std::ostream& out, const SizeRow& row) {
    return out << '"' << row.text << "\" is " << row.bytes << " bytes";
}

class ParseSize : public testing::TestWithParam<SizeRow> {};

TEST_P(ParseSize, GivesTheNumberOfBytes) {
    EXPECT_EQ(parseSize({GetParam().text}), Sizes{GetParam().bytes});
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ParseSize,
    testing::Values(
        SizeRow{"Zero", "0", 0}, SizeRow{"Plain", "4711", 4711},
        SizeRow{"TenMega", "10M", 10000000}, SizeRow{"KiloIsAThousand", "512K", 512000},
        SizeRow{"TwoGigaIsAboveThirtyOneBits", "2G", 2000000000},
        SizeRow{"NineGigaIsAboveThirtyTwoBits", "9G", 9000000000},
        SizeRow{"LowerCaseUnitIsNone", "10m", 10}, SizeRow{"LowerCaseKiloIsNone", "7k", 7},
        SizeRow{"LowerCaseGigaIsNone", "7g", 7}, SizeRow{"KB", "5KB", 5000},
        SizeRow{"MB", "5MB", 5000000}, SizeRow{"GB", "5GB", 5000000000},
        SizeRow{"KiB", "5KiB", 5000}, SizeRow{"MiB", "5MiB", 5000000},
        SizeRow{"KiloIsLookedForFirst", "5MK", 5000}, SizeRow{"MegaBeforeGiga", "5GM", 5000000},
        SizeRow{"LetterAnywhereInTheUnit", "5xyzK", 5000}, SizeRow{"UnknownUnit", "5T", 5},
        SizeRow{"CarriageReturn", "0\r", 0}, SizeRow{"UnitAndCarriageReturn", "3K\r", 3000},
        SizeRow{"NumberSign", "0#x", 0}, SizeRow{"NineCharacters", "123456789", 123456789},
        SizeRow{"NineCharactersWithUnit", "12345678G", 12345678000000000},
        SizeRow{"TenCharactersAreTooLong", "1234567890", 0},
        SizeRow{"TenCharactersWithUnitAreTooLong", "1KKKKKKKKK", 0},
        SizeRow{"NineCharactersOfUnit", "1KKKKKKKK", 1000},
        SizeRow{"ThirteenDigitsAreTooLong", "1234567890123", 0},
        SizeRow{"LeadingZerosCountForTheLength", "0000000001", 0},
        SizeRow{"LeadingZerosAreNotOctal", "010", 10}, SizeRow{"HexIsNotRead", "0x10", 0},
        SizeRow{"PlusSign", "+5K", 5000}, SizeRow{"MinusOneWraps", "-1", 18446744073709551615U},
        SizeRow{"MinusOneKiloWraps", "-1K", 18446744073709550616U}, SizeRow{"UnitAlone", "K", 0},
        SizeRow{"UnitBeforeTheNumber", "K5", 0}, SizeRow{"Word", "unlimited", 0},
        SizeRow{"MinusAlone", "-", 0}, SizeRow{"Fraction", "1.5K", 1000}, SizeRow{"Empty", "", 0},
        SizeRow{"NulEndsTheText", std::string("5\0K", 3), 5}),
    rowName<SizeRow>);

TEST(ParseSizeList, GivesOneSizeAStringInTheSameOrder) {
    EXPECT_THAT(parseSize({"3K", "bad", "1", "1M"}), ElementsAre(3000U, 0U, 1U, 1000000U));
}

TEST(ParseSizeList, GivesNoSizeForNoString) {
    EXPECT_THAT(parseSize({}), IsEmpty());
}

}  // namespace
