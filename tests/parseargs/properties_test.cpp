// What holds for every input, tried on a few thousand random ones. The seeds are fixed: a failure
// comes again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "parseargs/parse_command_line.h"
#include "velmoraserver/parseargs/argvparser.h"

namespace {

using namespace CommandLineProcessing;

class Random {
public:
    explicit Random(unsigned int seed) : engine(seed) {}

    unsigned int upTo(unsigned int largest) {
        return std::uniform_int_distribution<unsigned int>(0, largest)(engine);
    }

    std::string text(std::string_view alphabet, unsigned int longest) {
        std::string result(upTo(longest), '\0');
        std::generate(result.begin(), result.end(), [&] {
            return alphabet[upTo(static_cast<unsigned int>(alphabet.size()) - 1)];
        });
        return result;
    }

    std::vector<std::string> texts(std::string_view alphabet, unsigned int longest,
                                   unsigned int most) {
        std::vector<std::string> result(upTo(most));
        std::generate(result.begin(), result.end(), [&] { return text(alphabet, longest); });
        return result;
    }

private:
    std::mt19937 engine;
};

std::size_t longestLine(const std::string& text) {
    std::vector<std::string> lines;
    splitString(lines, text, "\n");
    std::size_t longest = 0;
    for (const std::string& line : lines) {
        longest = std::max(longest, line.length());
    }
    return longest;
}

TEST(FormatStringProperty, NoLineIsLongerThanTheWidth) {
    Random random(1);
    for (int i = 0; i < 5000; ++i) {
        const std::string text = random.text("abc  \n\t\r\v,-", 120);
        const unsigned int indent = random.upTo(12);
        const unsigned int width = indent + 1 + random.upTo(40);
        const std::string lines = formatString(text, width, indent);
        ASSERT_LE(longestLine(lines), width) << testing::PrintToString(text);
    }
}

TEST(FormatStringProperty, EveryLineBeginsWithTheIndentAndSomethingVisible) {
    Random random(2);
    for (int i = 0; i < 5000; ++i) {
        const std::string text = random.text("abc  \n\t\r\v,-", 120);
        const unsigned int indent = random.upTo(12);
        std::vector<std::string> lines;
        splitString(lines, formatString(text, indent + 1 + random.upTo(40), indent), "\n");
        ASSERT_TRUE(std::all_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find_first_not_of(" \a\b\f\r\t\v") == indent;
        })) << testing::PrintToString(text);
    }
}

TEST(FormatStringProperty, NothingOfAWordIsLost) {
    Random random(3);
    for (int i = 0; i < 5000; ++i) {
        const std::string word = random.text("abcdefgh", 120);
        std::string lines = formatString(word, 1 + random.upTo(40), 0);
        lines.erase(std::remove(lines.begin(), lines.end(), '\n'), lines.end());
        ASSERT_EQ(lines, word);
    }
}

TEST(FormatStringProperty, TextIsUntouchedWhenTheIndentIsNotLessThanTheWidth) {
    Random random(4);
    for (int i = 0; i < 1000; ++i) {
        const std::string text = random.text("ab \n", 40);
        const unsigned int width = random.upTo(20);
        ASSERT_EQ(formatString(text, width, width + random.upTo(5)), text);
    }
}

// A parser with random options. Misuse is avoided, since its message is not the subject.
ArgvParser randomParser(Random& random) {
    constexpr int all = ArgvParser::OptionRequiresValue | ArgvParser::OptionRequired;
    ArgvParser parser;
    for (const std::string& label : random.texts("ab-=", 3, 6)) {
        if (!parser.isDefinedOption(label)) {
            const auto attributes = static_cast<ArgvParser::OptionAttributes>(random.upTo(all));
            parser.defineOption(label, "", attributes);
        }
    }
    if (!parser.isDefinedOption("h") && !parser.isDefinedOption("help")) {
        parser.setHelpOption("h", "help", "");
    }
    return parser;
}

TEST(ArgvParserProperty, ResultIsOneOfSeven) {
    const std::set<int> results{0, 1, 2, 4, 8, 22, 50};
    std::set<int> seen;
    Random random(5);
    for (int i = 0; i < 5000; ++i) {
        ArgvParser parser = randomParser(random);
        const auto arguments = random.texts("aabb--=5h", 6, 5);
        const int result = parseCommandLine(parser, arguments);
        ASSERT_TRUE(results.contains(result)) << testing::PrintToString(arguments);
        seen.insert(result);
    }
    EXPECT_EQ(seen, results) << "the inputs do not reach every result";
}

TEST(ArgvParserProperty, EveryFaultNamesAnOption) {
    const std::set<int> without_option{ArgvParser::NoParserError, ArgvParser::ParserHelpRequested};
    Random random(6);
    for (int i = 0; i < 5000; ++i) {
        ArgvParser parser = randomParser(random);
        const auto arguments = random.texts("aabb--=5h", 6, 5);
        const int result = parseCommandLine(parser, arguments);
        ASSERT_EQ(parser.errorOption().empty(), without_option.contains(result))
            << testing::PrintToString(arguments);
    }
}

std::string recorded(const std::string& value) {
    return std::string("value ").append(value);
}

// What becomes of the option "name"/"n": recorded(its value), or the description of the fault.
std::string parsedValue(const std::vector<std::string>& arguments) {
    ArgvParser parser;
    parser.defineOption("name", "", ArgvParser::OptionRequiresValue);
    parser.defineOptionAlternative("name", "n");
    const auto result = parseCommandLine(parser, arguments);
    return result == ArgvParser::NoParserError ? recorded(parser.optionValue("n"))
                                               : parser.parseErrorDescription(result);
}

TEST(ArgvParserProperty, AValueIsTheSameInAllItsSpellings) {
    Random random(7);
    for (int i = 0; i < 3000; ++i) {
        // Neither empty nor an option, thanks to its first character.
        const std::string value = std::string("v").append(random.text("ab5-, \n\xc3", 12));
        ASSERT_EQ(parsedValue({"--name=" + value}), recorded(value));
        ASSERT_EQ(parsedValue({"--name", value}), recorded(value));
        ASSERT_EQ(parsedValue({"-n", value}), recorded(value));
        ASSERT_EQ(parsedValue({"-n=" + value}), recorded(value));
    }
}

TEST(ArgvParserProperty, AValueThatLooksLikeAnOptionMustBeJoined) {
    Random random(8);
    for (int i = 0; i < 1000; ++i) {
        const std::string value = std::string("-a").append(random.text("ab5-, ", 12));
        ASSERT_EQ(parsedValue({"--name=" + value}), recorded(value));
        ASSERT_EQ(parsedValue({"-n=" + value}), recorded(value));
        ASSERT_EQ(parsedValue({"--name", value}), "Missing required value for option: 'name'");
        ASSERT_EQ(parsedValue({"-n", value}), "Missing required value for option: 'n'");
    }
}

TEST(ArgvParserProperty, ANegativeNumberIsAValueInAllItsSpellings) {
    Random random(9);
    for (int i = 0; i < 1000; ++i) {
        const std::string value = std::to_string(-1 - static_cast<int>(random.upTo(99999)));
        ASSERT_EQ(parsedValue({"--name=" + value}), recorded(value));
        ASSERT_EQ(parsedValue({"--name", value}), recorded(value));
        ASSERT_EQ(parsedValue({"-n", value}), recorded(value));
        ASSERT_EQ(parsedValue({"-n=" + value}), recorded(value));
    }
}

TEST(SplitStringProperty, PiecesAndDelimitersMakeUpTheText) {
    Random random(10);
    for (int i = 0; i < 5000; ++i) {
        std::string text = random.text("ab,;", 30);
        std::vector<std::string> pieces;
        splitString(pieces, text, ",;");
        std::string joined;
        for (const std::string& piece : pieces) {
            ASSERT_FALSE(piece.empty());
            joined += piece;
        }
        text.erase(
            std::remove_if(text.begin(), text.end(), [](char c) { return c == ',' || c == ';'; }),
            text.end());
        ASSERT_EQ(joined, text);
    }
}

}  // namespace
