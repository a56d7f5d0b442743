#include "velmoraserver/parseargs/argvparser.h"

#include <cstdlib>
#include <iostream>
#include <span>
#include <string_view>
#include <utility>

namespace CommandLineProcessing {

namespace {

// What misuse of the interface is answered with, on standard error. These texts, and those for the
// user further down, are fixed letter by letter ("allowd", "All option have"): others look for
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

constexpr unsigned int helpWidth = 80;
constexpr unsigned int descriptionIndent = 4;
constexpr unsigned int returnCodeIndent = 4;
constexpr unsigned int returnCodeDescriptionIndent = 10;

// What is trimmed, and where lines may break.
constexpr std::string_view whitespace = " \a\b\f\n\r\t\v";

void complain(std::string_view message) {
    std::cerr << message << std::endl;
}

bool isSingleDigit(const std::string& label) {
    return label.length() == 1 && isDigit(label.front());
}

long toNumber(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

// Compares before it steps, so that a range may end at the largest number there is.
void appendRange(long first, long last, std::vector<unsigned int>& out) {
    const long step = last < first ? -1 : 1;
    for (long number = first; number != last; number += step) {
        out.push_back(static_cast<unsigned int>(number));
    }
    out.push_back(static_cast<unsigned int>(last));
}

// Labels as a user types them, `marker` after each of them: "-p <value>, --port <value>".
std::string joinLabels(const std::list<std::string>& labels, const char* marker) {
    std::string line;
    for (const std::string& label : labels) {
        line += line.empty() ? "" : ", ";
        line += label.length() > 1 ? "--" : "-";
        line += label + marker;
    }
    return line;
}

// The command line up to the first null pointer behind the program's name.
std::span<char*> elementsOf(int argc, char** argv) {
    if (argv == nullptr || argc < 1) {
        return {};
    }
    int count = 1;
    while (count < argc && argv[count] != nullptr) {
        ++count;
    }
    return {argv, static_cast<std::size_t>(count)};
}

}  // namespace

// ----- How an element of the command line is read -----

bool isDigit(const char& c) {
    return c >= '0' && c <= '9';
}

bool isValidOptionString(const std::string& s) {
    return s.length() >= 2 && s[0] == '-' && s != "--" && !isDigit(s[1]);
}

bool isValidLongOptionString(const std::string& s) {
    return s.length() >= 4 && s.starts_with("--");
}

bool splitOptionAndValue(const std::string& text, std::string& option, std::string& value) {
    std::vector<std::string> pieces;
    pieces.reserve(2);
    splitString(pieces, text, "=");
    if (pieces.size() < 2) {
        option = text;
        return false;
    }
    option = pieces.front();
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        value += pieces[i];
    }
    return true;
}

// ----- Text helpers -----

std::string trimmedString(const std::string& text) {
    const std::size_t first = text.find_first_not_of(whitespace);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

template <typename Container>
void splitString(Container& out, const std::string& text, const char* delimiters) {
    const std::string_view separators(delimiters != nullptr ? delimiters : "");
    std::size_t begin = text.find_first_not_of(separators);
    while (begin != std::string::npos) {
        const std::size_t end = text.find_first_of(separators, begin);
        out.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(separators, end);
    }
}

template void splitString(std::list<std::string>& out, const std::string& text,
                          const char* delimiters);
template void splitString(std::vector<std::string>& out, const std::string& text,
                          const char* delimiters);

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

std::string formatString(const std::string& text, unsigned int width, unsigned int indent) {
    if (indent >= width) {
        return text;
    }
    const std::size_t line_length = width - indent;
    std::string lines;
    std::size_t position = 0;
    while (position < text.length()) {
        std::string_view piece = std::string_view(text).substr(position, line_length);
        piece = piece.substr(0, piece.find('\n'));
        std::string line = trimmedString(std::string(piece));
        const std::size_t gap = line.find_last_of(whitespace);
        // Counted from the trimmed text, not from the piece that it was taken of.
        if (piece.length() < line_length) {
            // Blanks alone give nothing: they are passed over at once.
            position += (line.empty() ? piece.length() : line.length()) + 1;
        } else if (gap == std::string::npos) {
            position += line_length;
        } else {
            line.erase(gap);
            position += gap + 1;
        }
        if (!line.empty()) {
            lines.append(lines.empty() ? "" : "\n").append(indent, ' ').append(line);
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
    if (!isDefinedOption(option)) {
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
    option2key[alternative] = option2key[option];
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

std::map<unsigned int, std::list<std::string>> ArgvParser::labelsOfAllKeys() const {
    std::map<unsigned int, std::list<std::string>> labels;
    for (const auto& [label, key] : option2key) {
        labels[key].push_back(label);
    }
    return labels;
}

std::list<std::string> ArgvParser::getAllOptionAlternatives(unsigned int key) const {
    return labelsOfAllKeys()[key];
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

ArgvParser::ParserResults ArgvParser::parse(int argc, char** argv) {
    const std::span<char*> elements = elementsOf(argc, argv);
    bool argument_seen = false;
    for (std::size_t index = 1; index < elements.size(); ++index) {
        const std::string element = elements[index];
        if (!isValidOptionString(element)) {
            argument_container.push_back(element);
            argument_seen = true;
            continue;
        }
        if (argument_seen) {
            return fail(ParserOptionAfterArgument, element);
        }
        const ParserResults result = isValidLongOptionString(element)
                                         ? parseLongOption(elements, index)
                                         : parseShortForm(elements, index);
        if (result != NoParserError) {
            return result;
        }
    }
    return checkRequiredOptions();
}

ArgvParser::ParserResults ArgvParser::parseLongOption(std::span<char*> elements,
                                                      std::size_t& index) {
    std::string name;
    std::string value;
    splitOptionAndValue(elements[index] + 2, name, value);
    return takeOption(name, std::move(value), elements, index);
}

ArgvParser::ParserResults ArgvParser::parseShortForm(std::span<char*> elements,
                                                     std::size_t& index) {
    std::string name;
    std::string value;
    const bool has_value = splitOptionAndValue(elements[index] + 1, name, value);
    if (name.length() == 1) {
        return takeOption(name, std::move(value), elements, index);
    }
    return has_value ? fail(ParserMalformedMultipleShortOption, name) : parseGroup(name);
}

// Members of a group get no value, not even those that require one.
ArgvParser::ParserResults ArgvParser::parseGroup(const std::string& labels) {
    for (const char label : labels) {
        unsigned int key = 0;
        const ParserResults result = identify(std::string(1, label), key);
        if (result != NoParserError) {
            return result;
        }
        option2value[key].clear();
    }
    return NoParserError;
}

// Records one option. A value that is required and not joined to the name is the next element, on
// which `index` then stands.
ArgvParser::ParserResults ArgvParser::takeOption(const std::string& name, std::string value,
                                                 std::span<char*> elements, std::size_t& index) {
    unsigned int key = 0;
    const ParserResults result = identify(name, key);
    if (result != NoParserError) {
        return result;
    }
    if ((option2attribute[key] & OptionRequiresValue) != 0 && value.empty()) {
        ++index;
        if (index >= elements.size() || isValidOptionString(elements[index])) {
            return fail(ParserMissingValue, name);
        }
        value = elements[index];
    }
    option2value[key] = std::move(value);
    return NoParserError;
}

ArgvParser::ParserResults ArgvParser::identify(const std::string& name, unsigned int& key) {
    const int found = optionKey(name);
    if (found == -1) {
        return fail(ParserUnknownOption, name);
    }
    key = static_cast<unsigned int>(found);
    return key == help_option ? ParserHelpRequested : NoParserError;
}

ArgvParser::ParserResults ArgvParser::checkRequiredOptions() {
    for (const auto& [key, attributes] : option2attribute) {
        if ((attributes & OptionRequired) != 0 && !option2value.contains(key)) {
            error_option += joinLabels(getAllOptionAlternatives(key), "");
            return ParserRequiredOptionMissing;
        }
    }
    return NoParserError;
}

ArgvParser::ParserResults ArgvParser::fail(ParserResults result, const std::string& option) {
    error_option = option;
    return result;
}

std::string ArgvParser::parseErrorDescription(ParserResults code) const {
    switch (code) {
        case NoParserError:
            return {};
        case ParserUnknownOption:
            return "Unknown option: '" + error_option + "'";
        case ParserMissingValue:
            return "Missing required value for option: '" + error_option + "'";
        case ParserOptionAfterArgument:
            return "Misplaced option '" + error_option +
                   "' detected. All option have to be BEFORE the first argument";
        case ParserMalformedMultipleShortOption:
            return "Malformed short-options: '" + error_option + "'";
        case ParserRequiredOptionMissing:
            return "Required option missing: '" + error_option + "'";
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
    std::string text = formatString("Available options\n-----------------", width, 0) + "\n";
    for (const auto& [key, labels] : labelsOfAllKeys()) {
        const int attributes = option2attribute.at(key);
        std::string line =
            joinLabels(labels, (attributes & OptionRequiresValue) != 0 ? " <value>" : "");
        line += (attributes & OptionRequired) != 0 ? " [required]" : "";
        const auto description = option2descr.find(key);
        text += formatString(line, width, 0) + "\n";
        text += formatString(
            description != option2descr.end() ? description->second : "(no description)", width,
            descriptionIndent);
        text += "\n\n";
    }
    return text;
}

std::string ArgvParser::returnCodesText(unsigned int width) const {
    if (errorcode2descr.empty()) {
        return {};
    }
    std::string text = formatString("Return codes\n-----------------", width, 0) + "\n";
    for (const auto& [code, description] : errorcode2descr) {
        const std::string left = formatString(std::to_string(code), width, returnCodeIndent);
        const std::string right = formatString(description, width, returnCodeDescriptionIndent);
        text += left + right.substr(left.length()) + "\n";
    }
    return text;
}

}  // namespace CommandLineProcessing
