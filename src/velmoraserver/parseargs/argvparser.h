#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <span>
#include <string>
#include <vector>

// A command-line parser of its own: options with alternative labels, grouped short options, texts
// for what went wrong and a word-wrapped usage text. It needs the standard library and nothing
// else.
namespace CommandLineProcessing {

// Declares options, parses an argument vector against them once, answers what was found.
//
//     ArgvParser parser;
//     parser.setHelpOption("h", "help", "Show this text.");
//     parser.defineOption("port", "Port to listen on", ArgvParser::OptionRequiresValue);
//     parser.defineOptionAlternative("port", "p");
//     const ArgvParser::ParserResults result = parser.parse(argc, argv);
//     if (result != ArgvParser::NoParserError)
//         std::cout << parser.parseErrorDescription(result);
//     else if (parser.foundOption("port"))
//         listen(parser.optionValue("port"));
//
// A label is a bare name without dashes, compared byte by byte. One of one character is written
// "-p" on the command line, a longer one "--port". All labels of an option stand for the same key;
// keys are handed out from 1 upwards in the order of declaration.
//
// Misuse of this interface is reported by one line on standard error and a neutral result (false or
// an empty string); a refused declaration changes nothing. Objects own all they hold, by value.
// They have no locks: one thread at a time.
class ArgvParser {
public:
    using String2KeyMap = std::map<std::string, unsigned int>;
    using Key2AttributeMap = std::map<unsigned int, int>;
    using Key2StringMap = std::map<unsigned int, std::string>;
    using ArgumentContainer = std::vector<std::string>;

    // Bits, combined with "|". The fixed type makes every combination a value of the enumeration.
    enum OptionAttributes : int {
        NoOptionAttribute = 0,    // a plain flag
        OptionRequiresValue = 1,  // takes a value
        OptionRequired = 2        // must be on the command line
    };

    // What parse() came to. Codes, never combined, although some of them look like bits.
    enum ParserResults : int {
        NoParserError = 0,
        ParserUnknownOption = 1,
        ParserMissingValue = 2,
        ParserOptionAfterArgument = 4,
        ParserMalformedMultipleShortOption = 8,
        ParserRequiredOptionMissing = 22,
        ParserHelpRequested = 50
    };

    // ----- Declaring -----

    // Declares an option under its first label. Refused (false): a label that is in use, a single
    // digit ("-5" is a number on the command line, not an option). No other character of a label
    // is checked.
    bool defineOption(const std::string& name, const std::string& description,
                      OptionAttributes attributes);

    // Gives the option that has the label `option` one more. Refused (false): an unknown `option`,
    // a single digit, an alternative that is in use.
    bool defineOptionAlternative(const std::string& option, const std::string& alternative);

    // Declares the option whose presence makes parse() return ParserHelpRequested. False when
    // either label is in use. Otherwise true, and the option declared last is the help option from
    // now on, even when one of the labels was itself refused (a single digit, or both alike):
    // callers may rely on it.
    bool setHelpOption(const std::string& shortname, const std::string& longname,
                       const std::string& description);

    // Describes a return code of the program for the usage text. The last text of a code counts.
    void addErrorCode(int code, const std::string& description);

    // Replaces the text at the top of the usage text.
    void setIntroductoryDescription(const std::string& text);

    // Back to the state after construction: forgets the declarations as well as the results.
    void reset() noexcept;

    // ----- Parsing -----

    // Walks argv[1] to argv[argc - 1], or to the first null pointer if one comes before. None of
    // these texts may be the parser's own, such as one of allArguments(). Stops at the first fault
    // or request for help; errorOption() then tells what the fault is about (see
    // parseErrorDescription), and what was found before it stays recorded.
    //
    //     --name=value  --name value   an option with its value
    //     -n=value  -n value           the same
    //     --name  -n                   a flag
    //     -xyz                         three options; none gets a value, even if it requires one
    //     anything else (-, --, -5)    a plain argument; no option may follow it
    //
    // Earlier results are kept: a second call adds to them, and to the text of errorOption() when a
    // required option is missing. Only reset() clears them.
    ParserResults parse(int argc, char** argv);

    // One line for the user about a result of parse(), without a line break at its end; the usage
    // text at width 80 for ParserHelpRequested. Empty for NoParserError, and for a number that is
    // no result, which is reported as misuse.
    [[nodiscard]] std::string parseErrorDescription(ParserResults code) const;

    // ----- Asking -----

    [[nodiscard]] bool isDefinedOption(const std::string& name) const;

    // Whether the option was on the command line, under any of its labels. False for an unknown
    // label.
    [[nodiscard]] bool foundOption(const std::string& name) const;

    // The value of an option; empty when it was not found. An unknown label is reported as misuse.
    [[nodiscard]] std::string optionValue(const std::string& name) const;

    // The plain arguments, in the order of the command line. An index past the end is reported as
    // misuse and gives an empty string.
    [[nodiscard]] unsigned int arguments() const;
    [[nodiscard]] std::string argument(unsigned int index) const;
    [[nodiscard]] const ArgumentContainer& allArguments() const;

    // What the last fault is about: the element as typed for ParserOptionAfterArgument, bare labels
    // for the others, dashed ones joined by ", " for ParserRequiredOptionMissing.
    [[nodiscard]] const std::string& errorOption() const;

    // The usage text, wrapped to lines of `width` characters: the introduction, each option with
    // its labels and its description, the return codes. A line of a return code is its number, laid
    // over the description's indent of ten, so that a long number hides the beginning of the
    // description. Throws std::out_of_range when a description is so short that it ends before its
    // number does.
    [[nodiscard]] std::string usageDescription(unsigned int width) const;

private:
    ParserResults parseLongOption(std::span<char*> elements, std::size_t& index);
    ParserResults parseShortForm(std::span<char*> elements, std::size_t& index);
    ParserResults parseGroup(const std::string& labels);
    ParserResults takeOption(const std::string& name, std::string value, std::span<char*> elements,
                             std::size_t& index);
    ParserResults identify(const std::string& name, unsigned int& key);
    ParserResults checkRequiredOptions();
    ParserResults fail(ParserResults result, const std::string& option);

    // The key of a label, -1 when it is not defined.
    [[nodiscard]] int optionKey(const std::string& name) const;
    // The labels of a key in ascending order; none for an unknown key.
    [[nodiscard]] std::list<std::string> getAllOptionAlternatives(unsigned int key) const;
    [[nodiscard]] std::map<unsigned int, std::list<std::string>> labelsOfAllKeys() const;

    [[nodiscard]] std::string introductionText(unsigned int width) const;
    [[nodiscard]] std::string optionsText(unsigned int width) const;
    [[nodiscard]] std::string returnCodesText(unsigned int width) const;

    unsigned int max_key = 1;                    // what the next option gets; 0 is no option's key
    String2KeyMap option2key;                    // every label, first ones and alternatives
    Key2AttributeMap option2attribute;           // an entry for every option
    Key2StringMap option2descr;                  // no entry for an empty description
    Key2StringMap option2value;                  // an entry for every option found
    std::map<int, std::string> errorcode2descr;  // return codes of the program
    ArgumentContainer argument_container;
    std::string intro_description;
    unsigned int help_option = 0;  // 0: no help option
    std::string error_option;
};

constexpr ArgvParser::OptionAttributes operator|(ArgvParser::OptionAttributes left,
                                                 ArgvParser::OptionAttributes right) {
    return static_cast<ArgvParser::OptionAttributes>(static_cast<int>(left) |
                                                     static_cast<int>(right));
}

// ----- How an element of the command line is read -----

// '0' to '9', whatever the locale.
[[nodiscard]] bool isDigit(const char& c);

// Whether an element is an option rather than an argument or a value:
//     -x  --x  --port  --5   -> true
//     x  -  --  -5  -12      -> false (a negative number is no option)
[[nodiscard]] bool isValidOptionString(const std::string& s);

// Two dashes and at least two characters more:
//     --ab -> true    --a -> false
[[nodiscard]] bool isValidLongOptionString(const std::string& s);

// Parts the name from the value that is joined to it; `value` is appended to, so pass an empty one.
//     port=80  -> true,  port   80
//     a==b     -> true,  a      b
//     a=b=c    -> true,  a      bc   (the inner "=" is dropped; callers may rely on it)
//     port=    -> false, port=
//     =80      -> false, =80
bool splitOptionAndValue(const std::string& text, std::string& option, std::string& value);

// ----- Text helpers -----

// Without leading and trailing blanks, bells, backspaces, form feeds, line feeds, carriage returns
// and tabs of both kinds.
[[nodiscard]] std::string trimmedString(const std::string& text);

// Appends to `out` the pieces of `text` between any of the characters in `delimiters`; never an
// empty piece. A null pointer stands for no delimiter at all. `text` is no element of `out`.
//     ,,a,,b,  at ","  -> a  b
template <typename Container>
void splitString(Container& out, const std::string& text, const char* delimiters);

extern template void splitString(std::list<std::string>& out, const std::string& text,
                                 const char* delimiters);
extern template void splitString(std::vector<std::string>& out, const std::string& text,
                                 const char* delimiters);

// Appends to `out` the numbers of a list of numbers and ranges:
//     1-3,7   -> 1 2 3 7
//     5-3     -> 5 4 3
//     2,x     -> 2 0         (text without digits counts as 0)
// False at the first range that has not exactly two ends, such as "-5", "3-" or "1-2-3"; what came
// before it stays appended. Numbers are read as long and appended modulo 2^32. A range may be of
// any size: bound it before you pass on what a stranger wrote.
bool expandRangeStringToUInt(const std::string& text, std::vector<unsigned int>& out);

// Wraps `text` into lines of at most `width` characters, `indent` blanks at the beginning of each
// of them included, joined by "\n". Breaks at line feeds and at the last white space before the
// limit; cuts longer words. Empty lines vanish. White space at the beginning of a line makes the
// end of that line appear again on the next one ("  ab" gives "ab" and "b"); callers may rely on
// it. Returns `text` as it is when `indent` is not less than `width`.
[[nodiscard]] std::string formatString(const std::string& text, unsigned int width,
                                       unsigned int indent);

}  // namespace CommandLineProcessing
