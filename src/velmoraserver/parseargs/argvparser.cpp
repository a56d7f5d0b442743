#include "velmoraserver/parseargs/argvparser.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

namespace CommandLineProcessing {

namespace {

// What misuse of the interface is answered with, on standard error. These texts, and those for the
// user further down, are fixed letter by letter ("allowd", "documentParserErrors"): others look for
// them.
constexpr std::string_view labelInUse =
    "ArgvParser::defineOption(): The option label equals an already defined option.";
constexpr std::string_view labelIsDigit =
    "ArgvParser::defineOption(): Digits as short option labels are not allowd.";
constexpr std::string_view originalUnknown =
    "ArgvParser::defineOptionAlternative(): Original option label is not a defined option.";
constexpr std::string_view alternativeIsDigit =
    "ArgvParser::defineOptionAlternative(): Digits as short option labels are not allowd.";
constexpr std::string_view alternativeInUse =
    "ArgvParser::defineOptionAlternative(): The alternative option label equals an already defined "
    "option.";
constexpr std::string_view helpLabelInUse =
    "ArgvParser::setHelpOption(): Short or long help option label equals an already defined "
    "option.";
constexpr std::string_view valueOfUnknown =
    "ArgvParser::optionValue(): Requested value of an option the parser did not find or does not "
    "know.";
constexpr std::string_view noSuchArgument =
    "ArgvParser::argument(): Request for non-existing argument.";
constexpr std::string_view unknownErrorCode =
    "ArgvParser::documentParserErrors(): Unknown error code";

// What stands before and after the option in the descriptions of faults.
constexpr std::string_view unknownOption = "Unknown option: '";
constexpr std::string_view missingValue = "Missing required value for option: '";
constexpr std::string_view misplacedOption = "Misplaced option '";
constexpr std::string_view malformedGroup = "Malformed short-options: '";
constexpr std::string_view requiredMissing = "Required option missing: '";
constexpr std::string_view closingQuote = "'";
constexpr std::string_view beforeFirstArgument =
    "' detected. All option have to be BEFORE the first argument";

constexpr char optionsHeader[] = "Available options\n-----------------";
constexpr char returnCodesHeader[] = "Return codes\n-----------------";
constexpr char noDescription[] = "(no description)";
constexpr std::string_view valueMarker = " <value>";
constexpr std::string_view requiredMarker = " [required]";
constexpr std::string_view labelSeparator = ", ";

constexpr unsigned int helpWidth = 80;
constexpr unsigned int descriptionIndent = 4;
constexpr unsigned int returnCodeIndent = 4;
constexpr unsigned int returnCodeDescriptionIndent = 10;

// What is trimmed, and where lines may break.
constexpr std::string_view whitespace = " \a\b\f\n\r\t\v";

// As far as a 32-bit position can go and still pass the end of the text, which ends the wrapping.
constexpr std::size_t longestWrappedText = std::numeric_limits<std::uint32_t>::max() - 1U;

void complain(std::string_view message) {
    std::cerr << message << std::endl;
}

std::string concatenated(std::string_view first, std::string_view second, std::string_view third) {
    std::string text;
    text.reserve(first.length() + second.length() + third.length());
    return text.append(first).append(second).append(third);
}

bool isSingleDigit(const std::string& label) {
    return label.length() == 1 && isDigit(label.front());
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(whitespace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

}  // namespace

// ----- How an element of the command line is read -----

bool isDigit(const char& c) {
    return c >= '0' && c <= '9';
}

namespace {

bool isOption(std::string_view element) {
    return element.length() >= 2 && element[0] == '-' && element != "--" && !isDigit(element[1]);
}

bool isLongOption(std::string_view element) {
    return element.length() >= 4 && element.starts_with("--");
}

// A name, and behind it the "=" and what stands joined to it. Both empty where there are no two
// pieces.
struct NameAndRest {
    std::string_view name;
    std::string_view rest;
};

NameAndRest cutAtEquals(std::string_view text) {
    constexpr char equals = '=';
    const std::size_t begin = text.find_first_not_of(equals);
    const std::size_t end = text.find(equals, begin);
    if (end == std::string_view::npos ||
        text.find_first_not_of(equals, end) == std::string_view::npos) {
        return {};
    }
    return {text.substr(begin, end - begin), text.substr(end)};
}

std::string withoutEquals(std::string_view text) {
    std::string value(text);
    std::erase(value, '=');
    return value;
}

}  // namespace

bool isValidOptionString(const std::string& s) {
    return isOption(s);
}

bool isValidLongOptionString(const std::string& s) {
    return isLongOption(s);
}

bool splitOptionAndValue(const std::string& text, std::string& option, std::string& value) {
    const auto [name, rest] = cutAtEquals(text);
    if (name.empty()) {
        option = text;
        return false;
    }
    // Both are made before either is handed over: `text` may be one of the objects.
    std::string first(name);
    const std::string joined = withoutEquals(rest);
    option = std::move(first);
    value += joined;
    return true;
}

// ----- Text helpers -----

std::string trimmedString(const std::string& text) {
    return std::string(trimmed(text));
}

template <typename Container>
void splitString(Container& out, const std::string& text, const char* delimiters) {
    const std::string_view separators(delimiters != nullptr ? delimiters : "");
    // Collected first: `text` may be an element of `out`, which growing would move.
    Container pieces;
    std::size_t begin = text.find_first_not_of(separators);
    while (begin != std::string::npos) {
        const std::size_t end = text.find_first_of(separators, begin);
        pieces.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(separators, end);
    }
    out.insert(out.end(), std::make_move_iterator(pieces.begin()),
               std::make_move_iterator(pieces.end()));
}

template void splitString(std::list<std::string>& out, const std::string& text,
                          const char* delimiters);
template void splitString(std::vector<std::string>& out, const std::string& text,
                          const char* delimiters);

namespace {

long toNumber(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

// Compares before it steps, so that a range may end at the largest number there is.
void appendRange(long first, long last, std::vector<unsigned int>& out) {
    const long step = last < first ? -1 : 1;
    long number = first;
    out.push_back(static_cast<unsigned int>(number));
    while (number != last) {
        number += step;
        out.push_back(static_cast<unsigned int>(number));
    }
}

}  // namespace

bool expandRangeStringToUInt(const std::string& text, std::vector<unsigned int>& out) {
    std::vector<std::string> pieces;
    splitString(pieces, text, ",");
    for (const std::string& piece : pieces) {
        if (piece.find('-') == std::string::npos) {
            out.push_back(static_cast<unsigned int>(toNumber(piece)));
            continue;
        }
        std::vector<std::string> ends;
        splitString(ends, piece, "-");
        if (ends.size() != 2) {
            return false;
        }
        appendRange(toNumber(ends[0]), toNumber(ends[1]), out);
    }
    return true;
}

namespace {

struct WrappedLine {
    std::string_view text;
    std::uint32_t advance;  // from the beginning of this line to that of the next
};

// The first line of `rest`, which is what follows in the text, cut to the length of a line. The
// advance counts from the trimmed text, not from the window it was taken of.
WrappedLine firstLine(std::string_view rest, std::uint32_t line_length) {
    const std::string_view piece = rest.substr(0, rest.find('\n'));
    const std::string_view line = trimmed(piece);
    if (piece.length() < line_length) {
        return {line, static_cast<std::uint32_t>(line.length() + 1)};
    }
    const std::size_t gap = line.find_last_of(whitespace);
    if (gap == std::string_view::npos) {
        return {line, line_length};
    }
    return {line.substr(0, gap), static_cast<std::uint32_t>(gap + 1)};
}

}  // namespace

std::string formatString(const std::string& text, unsigned int width, unsigned int indent) {
    if (indent >= width) {
        return text;
    }
    const std::string_view readable = std::string_view(text).substr(0, longestWrappedText);
    const std::uint32_t line_length = width - indent;
    std::string lines;
    std::uint32_t position = 0;
    while (position < readable.length()) {
        const WrappedLine line = firstLine(readable.substr(position, line_length), line_length);
        position += line.advance;
        if (!line.text.empty()) {
            lines += lines.empty() ? "" : "\n";
            lines.append(indent, ' ').append(line.text);
        }
    }
    return lines;
}

// ----- Declaring -----

bool ArgvParser::defineOption(const std::string& name, const std::string& description,
                              OptionAttributes attributes) {
    if (isDefinedOption(name)) {
        complain(labelInUse);
        return false;
    }
    if (isSingleDigit(name)) {
        complain(labelIsDigit);
        return false;
    }
    option2key[name] = max_key;
    option2attribute[max_key] = attributes;
    if (!description.empty()) {
        option2descr[max_key] = description;
    }
    ++max_key;
    return true;
}

bool ArgvParser::defineOptionAlternative(const std::string& option,
                                         const std::string& alternative) {
    const auto original = option2key.find(option);
    if (original == option2key.end()) {
        complain(originalUnknown);
        return false;
    }
    if (isSingleDigit(alternative)) {
        complain(alternativeIsDigit);
        return false;
    }
    if (isDefinedOption(alternative)) {
        complain(alternativeInUse);
        return false;
    }
    option2key[alternative] = original->second;
    return true;
}

bool ArgvParser::setHelpOption(const std::string& shortname, const std::string& longname,
                               const std::string& description) {
    if (isDefinedOption(shortname) || isDefinedOption(longname)) {
        complain(helpLabelInUse);
        return false;
    }
    // Neither result counts: whichever option was declared last becomes the help option.
    defineOption(shortname, description, NoOptionAttribute);
    defineOptionAlternative(shortname, longname);
    help_option = max_key - 1;
    return true;
}

void ArgvParser::addErrorCode(int code, const std::string& description) {
    errorcode2descr[code] = description;
}

void ArgvParser::setIntroductoryDescription(const std::string& text) {
    intro_description = text;
}

void ArgvParser::reset() noexcept {
    *this = ArgvParser();
}

// ----- Asking -----

bool ArgvParser::isDefinedOption(const std::string& name) const {
    return option2key.contains(name);
}

int ArgvParser::optionKey(const std::string& name) const {
    const auto label = option2key.find(name);
    return label != option2key.end() ? static_cast<int>(label->second) : -1;
}

bool ArgvParser::foundOption(const std::string& name) const {
    const auto label = option2key.find(name);
    return label != option2key.end() && option2value.contains(label->second);
}

std::string ArgvParser::optionValue(const std::string& name) const {
    const auto label = option2key.find(name);
    if (label == option2key.end()) {
        complain(valueOfUnknown);
        return {};
    }
    const auto value = option2value.find(label->second);
    return value != option2value.end() ? value->second : std::string();
}

std::list<std::string> ArgvParser::getAllOptionAlternatives(unsigned int key) const {
    std::list<std::string> labels;
    for (const auto& [label, key_of_label] : option2key) {
        if (key_of_label == key) {
            labels.push_back(label);
        }
    }
    return labels;
}

unsigned int ArgvParser::arguments() const {
    return static_cast<unsigned int>(argument_container.size());
}

std::string ArgvParser::argument(unsigned int index) const {
    if (index >= argument_container.size()) {
        complain(noSuchArgument);
        return {};
    }
    return argument_container[index];
}

const ArgvParser::ArgumentContainer& ArgvParser::allArguments() const {
    return argument_container;
}

const std::string& ArgvParser::errorOption() const {
    return error_option;
}

// ----- Parsing -----

namespace {

// Copies, since the texts may be the parser's own, which parsing moves.
ArgvParser::ArgumentContainer elementsOf(int argc, char** argv) {
    ArgvParser::ArgumentContainer elements;
    for (int i = 1; argv != nullptr && i < argc && argv[i] != nullptr; ++i) {
        elements.emplace_back(argv[i]);
    }
    return elements;
}

std::string_view dashesOf(std::string_view label) {
    return label.length() > 1 ? "--" : "-";
}

// Labels as a user types them, `marker` after each of them: "-p <value>, --port <value>".
template <typename Labels>
std::string joinLabels(const Labels& labels, std::string_view marker) {
    std::string line;
    for (const auto& label : labels) {
        line += line.empty() ? std::string_view() : labelSeparator;
        line += concatenated(dashesOf(label), label, marker);
    }
    return line;
}

}  // namespace

ArgvParser::ParserResults ArgvParser::parse(int argc, char** argv) {
    const ArgumentContainer elements = elementsOf(argc, argv);
    bool argument_seen = false;
    for (std::size_t index = 0; index < elements.size(); ++index) {
        const std::string& element = elements[index];
        if (!isOption(element)) {
            argument_container.push_back(element);
            argument_seen = true;
            continue;
        }
        if (argument_seen) {
            return fail(ParserOptionAfterArgument, element);
        }
        const ParserResults result = isLongOption(element) ? parseLongOption(elements, index)
                                                           : parseShortForm(elements, index);
        if (result != NoParserError) {
            return result;
        }
    }
    return checkRequiredOptions();
}

ArgvParser::ParserResults ArgvParser::parseLongOption(const ArgumentContainer& elements,
                                                      std::size_t& index) {
    const std::string_view text = std::string_view(elements[index]).substr(2);
    const auto [name, rest] = cutAtEquals(text);
    return takeOption(name.empty() ? text : name, withoutEquals(rest), elements, index);
}

ArgvParser::ParserResults ArgvParser::parseShortForm(const ArgumentContainer& elements,
                                                     std::size_t& index) {
    const std::string_view text = std::string_view(elements[index]).substr(1);
    const auto [name, rest] = cutAtEquals(text);
    if (name.length() > 1) {
        return fail(ParserMalformedMultipleShortOption, name);
    }
    if (name.length() == 1) {
        return takeOption(name, withoutEquals(rest), elements, index);
    }
    return text.length() == 1 ? takeOption(text, {}, elements, index) : parseGroup(text);
}

// Members of a group get no value, not even those that require one.
ArgvParser::ParserResults ArgvParser::parseGroup(std::string_view labels) {
    for (std::size_t i = 0; i < labels.length(); ++i) {
        unsigned int key = 0;
        const ParserResults result = identify(labels.substr(i, 1), key);
        if (result != NoParserError) {
            return result;
        }
        option2value[key].clear();
    }
    return NoParserError;
}

// Records one option. A value that is required and not joined to the name is the next element, on
// which `index` then stands.
ArgvParser::ParserResults ArgvParser::takeOption(std::string_view name, std::string value,
                                                 const ArgumentContainer& elements,
                                                 std::size_t& index) {
    unsigned int key = 0;
    const ParserResults result = identify(name, key);
    if (result != NoParserError) {
        return result;
    }
    if ((option2attribute[key] & OptionRequiresValue) != 0 && value.empty()) {
        ++index;
        if (index >= elements.size() || isOption(elements[index])) {
            return fail(ParserMissingValue, name);
        }
        value = elements[index];
    }
    option2value[key] = std::move(value);
    return NoParserError;
}

ArgvParser::ParserResults ArgvParser::identify(std::string_view name, unsigned int& key) {
    const auto label = option2key.find(std::string(name));
    if (label == option2key.end()) {
        return fail(ParserUnknownOption, name);
    }
    key = label->second;
    return key == help_option ? ParserHelpRequested : NoParserError;
}

ArgvParser::ParserResults ArgvParser::checkRequiredOptions() {
    for (const auto& [key, attributes] : option2attribute) {
        if ((attributes & OptionRequired) != 0 && !option2value.contains(key)) {
            error_option += joinLabels(getAllOptionAlternatives(key), {});
            return ParserRequiredOptionMissing;
        }
    }
    return NoParserError;
}

ArgvParser::ParserResults ArgvParser::fail(ParserResults result, std::string_view option) {
    error_option = option;
    return result;
}

std::string ArgvParser::parseErrorDescription(ParserResults code) const {
    switch (code) {
        case NoParserError:
            return {};
        case ParserUnknownOption:
            return concatenated(unknownOption, error_option, closingQuote);
        case ParserMissingValue:
            return concatenated(missingValue, error_option, closingQuote);
        case ParserOptionAfterArgument:
            return concatenated(misplacedOption, error_option, beforeFirstArgument);
        case ParserMalformedMultipleShortOption:
            return concatenated(malformedGroup, error_option, closingQuote);
        case ParserRequiredOptionMissing:
            return concatenated(requiredMissing, error_option, closingQuote);
        case ParserHelpRequested:
            return usageDescription(helpWidth);
    }
    complain(unknownErrorCode);
    return {};
}

// ----- Rendering -----

std::string ArgvParser::usageDescription(unsigned int width) const {
    return introductionText(width) + optionsText(width) + returnCodesText(width);
}

std::string ArgvParser::introductionText(unsigned int width) const {
    return intro_description.empty() ? "" : formatString(intro_description, width, 0) + "\n\n";
}

std::string ArgvParser::optionsText(unsigned int width) const {
    if (max_key == 1) {
        return {};
    }
    // Inverted once, in the order of the labels; asking for the labels of each key would be
    // quadratic.
    std::map<unsigned int, std::vector<std::string_view>> key2labels;
    for (const auto& [label, key] : option2key) {
        key2labels[key].push_back(label);
    }

    std::string text = formatString(optionsHeader, width, 0) + "\n";
    for (const auto& [key, attributes] : option2attribute) {
        const bool takes_value = (attributes & OptionRequiresValue) != 0;
        std::string labels = joinLabels(key2labels[key], takes_value ? valueMarker : "");
        if ((attributes & OptionRequired) != 0) {
            labels += requiredMarker;
        }
        const auto description = option2descr.find(key);
        text += formatString(labels, width, 0) + "\n";
        text +=
            formatString(description != option2descr.end() ? description->second : noDescription,
                         width, descriptionIndent);
        text += "\n\n";
    }
    return text;
}

std::string ArgvParser::returnCodesText(unsigned int width) const {
    if (errorcode2descr.empty()) {
        return {};
    }
    std::string text = formatString(returnCodesHeader, width, 0) + "\n";
    for (const auto& [code, description] : errorcode2descr) {
        const std::string left = formatString(std::to_string(code), width, returnCodeIndent);
        const std::string right = formatString(description, width, returnCodeDescriptionIndent);
        text += left + right.substr(left.length()) + "\n";
    }
    return text;
}

}  // namespace CommandLineProcessing
