#include <algorithm>
#include <cstdlib>

#include "velmoraserver/app/velmoracheck/log_rule.h"
#include "velmoraserver/app/velmoracheck/own_line.h"
#include "velmoraserver/parseargs/argvparser.h"
#include "vlib/vlog/vlog_format.h"

using CommandLineProcessing::splitString;
using CommandLineProcessing::trimmedString;

namespace velmoracheck {

namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t longestSize = 9;  // a longer text of a size counts as 0

Texts split(const std::string& text, char delimiter) {
    Texts pieces;
    splitString(pieces, text, std::string(1, delimiter).c_str());
    return pieces;
}

std::string withoutBlanks(std::string text) {
    std::erase(text, ' ');
    std::erase(text, '\t');
    return text;
}

void checkBlanks(const std::string& written, const Place& place, Findings& findings) {
    const std::string text = trimmedString(written);
    if (text.find_first_of(" \t") != std::string::npos) {
        findings.error(place, "blanks do not count: ", inQuotes(text), " is taken as ",
                       inQuotes(withoutBlanks(text)));
    }
}

// The daemon takes the blanks out of names, too: of the topic and of the destinations.
void checkBlanksInNames(const LogRule& rule, const Place& place, Findings& findings) {
    Texts fields = split(rule.raw, VLogConfig::separator);
    std::erase_if(fields, [](const std::string& field) { return withoutBlanks(field).empty(); });
    checkBlanks(fields[0], place, findings);
    for (const std::string& destination : split(fields[3], VLogConfig::cat)) {
        checkBlanks(destination, place, findings);
    }
}

void checkTopic(const VLogConfig::Entry& rule, const Place& place, Findings& findings) {
    if (rule.topic == "*") {
        findings.warning(place, "topic '*' is no wildcard: no line of the daemon has it");
    } else if (!isOwnTopic(rule.topic)) {
        const std::vector<std::string_view> topics{ownTopic, loggerTopic};
        findings.warning(place, "no line of the daemon has the topic ", inQuotes(rule.topic),
                         remedy(rule.topic, topics));
    } else if (rule.level != VLogConfig::NONE && !isOwnLine(rule.topic, rule.level)) {
        findings.warning(place, "no line of the daemon has the topic ", rule.topic,
                         " and the level ", vlogformat::levelName(rule.level),
                         ": its levels are INFO and CRITICAL");
    }
}

void checkLevel(const std::string& level, const Place& place, Findings& findings) {
    if (parseLevel(level) == VLogConfig::NONE) {
        const bool isList = level.find_first_of(",|+/") != std::string::npos;
        findings.error(
            place, "unknown level ", inQuotes(level),
            isList ? ": write one level a line"
                   : remedy(level, {"INFO", "DEBUG", "WARN", "NOTICE", "CRITICAL", "TRACE"}));
    }
}

void checkFormat(const std::string& format, const Place& place, Findings& findings) {
    const std::vector<std::string_view> formats{"SIMPLE", "SIMPLE_TS", "FULL"};
    if (std::ranges::find(formats, format) == formats.end()) {
        findings.error(place, "unknown format ", inQuotes(format), remedy(format, formats),
                       " (the daemon takes SIMPLE_TS)");
    }
}

// "; write 1G" for a number of whole thousands that was too long.
std::string shorter(const std::string& size) {
    const std::size_t zeros = size.size() - 1 - size.find_last_not_of('0');
    const std::size_t thousands = std::min<std::size_t>(zeros / 3, 3);
    const bool isNumber = size.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber || thousands == 0 || zeros == size.size()) {
        return "; write it shorter, with K, M or G";
    }
    return "; write " + size.substr(0, size.size() - 3 * thousands) + "KMG"[thousands - 1];
}

// Lower-case units do not count; the remedy for "10m" is "10M".
std::string unitRemedy(const std::string& number, const std::string& unit) {
    for (const std::string_view known : {"K", "M", "G", "KB", "MB", "GB"}) {
        if (lowerCase(known) == lowerCase(unit)) {
            return "; did you mean '" + number + std::string(known) + "'?";
        }
    }
    return "; write a whole number with K, M, G or nothing after it";
}

void checkSize(const std::string& item, const Place& place, Findings& findings) {
    const std::string size = trimmedString(item);  // of the carriage return of CR-LF line ends
    const std::string name = "size " + inQuotes(size);
    char* end = nullptr;
    const long number = std::strtol(size.c_str(), &end, 10);
    if (item.size() > longestSize) {
        findings.error(place, name, " is too long and counts as 0, no limit", shorter(size));
    } else if (end == size.c_str()) {
        findings.error(place, name, " is not a number and counts as 0, no limit");
    } else if (number < 0) {
        findings.error(place, name, " is negative and counts as no limit; write 0 for none");
    } else if (const std::string unit = end; unit == "KiB" || unit == "MiB" || unit == "GiB") {
        findings.warning(place, name, " counts as ", parseSize({item}).front(),
                         " bytes: K, M and G stand for thousands");
    } else if (const Texts units{"", "K", "M", "G", "KB", "MB", "GB"};
               std::ranges::find(units, unit) == units.end()) {
        findings.error(place, name, " has an unknown unit and counts as ",
                       parseSize({item}).front(), " bytes",
                       unitRemedy(size.substr(0, size.size() - unit.size()), unit));
    }
}

void checkSizes(const LogRule& rule, const Place& place, Findings& findings) {
    const Texts sizes = split(rule.fields[4], VLogConfig::cat);
    const Texts& files = rule.entry.files;
    for (const std::string& size : sizes) {
        checkSize(size, place, findings);
    }
    if (sizes.empty()) {
        findings.warning(place, "no size is given, so no destination has a limit: write 0");
    } else if (sizes.size() > std::max<std::size_t>(files.size(), 1)) {
        findings.warning(place, "more sizes than destinations: those at the end do not count");
    } else if (sizes.size() > 1 && sizes.size() < files.size()) {
        findings.warning(place, "fewer sizes than destinations: the last one, ",
                         inQuotes(trimmedString(sizes.back())), ", is also that of ",
                         inQuotes(files[sizes.size()]),
                         "; write one for each, or a single one for all");
    }
}

}  // namespace

void checkRule(const LogRule& rule, const Place& place, Findings& findings) {
    if (rule.kind == LogRule::Short) {
        findings.warning(place, "line ", inQuotes(rule.raw),
                         " is too short to count: a comment begins with '#'");
        return;
    }
    if (rule.kind == LogRule::Malformed) {
        findings.error(place, rule.fields.size(),
                       " fields instead of 5, so the daemon ignores the whole file: write "
                       "'TOPIC ; LEVEL ; FORMAT ; FILES ; SIZES'");
        return;
    }
    checkBlanksInNames(rule, place, findings);
    checkTopic(rule.entry, place, findings);
    checkLevel(rule.fields[1], place, findings);
    checkFormat(rule.fields[2], place, findings);
    checkSizes(rule, place, findings);
    if (rule.replacedBy) {
        findings.warning(place, "this rule is replaced by that of line ", *rule.replacedBy,
                         ": a topic and level have one rule");
    }
}

}  // namespace velmoracheck
