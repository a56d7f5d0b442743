#include "velmoraserver/app/velmoracheck/setting_check.h"

#include <sys/resource.h>

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "velmoralight_standin/limits.h"

using CommandLineProcessing::ArgvParser;
using qor::Settings;

namespace velmoracheck {

namespace {

constexpr int noLimit = std::numeric_limits<int>::max();
constexpr const char* blanks = " \t\r\n\v\f";

// How the text begins: as a number, of this much text, which fits or not.
struct Beginning {
    long number = 0;
    std::size_t length = 0;
    bool fits = true;
};

Beginning numberAtBeginning(const std::string& text, int base) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, base);
    return {.number = number,
            .length = static_cast<std::size_t>(end - text.c_str()),
            .fits = errno != ERANGE && number >= std::numeric_limits<int>::min() &&
                    number <= std::numeric_limits<int>::max()};
}

Beginning numberAtBeginning(const std::string& text, NumberSyntax syntax) {
    return numberAtBeginning(text, syntax == NumberSyntax::Ini ? 0 : 10);
}

// "300: write 1 to 256"; empty when the number is in the range.
std::string outside(int number, int lowest, int highest) {
    if (number >= lowest && number <= highest) {
        return {};
    }
    return highest == noLimit ? joined(number, ": write at least ", lowest)
                              : joined(number, ": write ", lowest, " to ", highest);
}

// Whether a number has a zero before it, and is another one than it looks like.
bool isDeceptiveOctal(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t+-");
    return first != std::string::npos && text[first] == '0' &&
           numberAtBeginning(text, 0).number != numberAtBeginning(text, 10).number &&
           lowerCase(text.substr(first, 2)) != "0x";
}

// What stands after the number.
void checkRest(const std::string& value, std::string rest, NumberSyntax syntax,
               const std::string& takes, const Place& place, Findings& findings) {
    rest.erase(0, rest.find_first_not_of(blanks));
    if (rest.starts_with('#') || rest.starts_with("//") || rest.starts_with(';')) {
        findings.warning(
            place, value, " is taken without what looks like a comment", takes,
            syntax == NumberSyntax::Ini ? "; a comment begins with a blank and ';'" : "");
    } else if (!rest.empty()) {
        const bool isHexadecimal = syntax == NumberSyntax::CommandLine && lowerCase(rest)[0] == 'x';
        findings.error(
            place, value, " has trailing text", takes,
            isHexadecimal ? "; write a decimal number" : "; remove what follows the number");
    }
}

}  // namespace

const std::array<SettingMeaning, SettingCount>& settingMeanings() {
    static constexpr std::array<SettingMeaning, SettingCount> meanings{{
        {"connections", &Settings::connections, 1, noLimit},
        {"port", &Settings::port, 1, 65535},
        {"threads", &Settings::threads, 1, noLimit},
        {"threadQueuesize", &Settings::threadQueuesize, 0, noLimit},
        {"queueTimeout", &Settings::queueTimeout, 0, noLimit},
    }};
    return meanings;
}

std::vector<std::string_view> settingNames() {
    std::vector<std::string_view> names;
    for (const SettingMeaning& setting : settingMeanings()) {
        names.emplace_back(setting.name);
    }
    return names;
}

bool hasNumber(const std::string& text, NumberSyntax syntax) {
    return numberAtBeginning(text, syntax).length > 0;
}

void checkNumber(const SettingMeaning& setting, const std::string& text, NumberSyntax syntax,
                 int taken, const Place& place, Findings& findings) {
    const std::string value = joined("value ", inQuotes(text), " of '", setting.name, "'");
    const std::string takes = joined(": the daemon takes ", taken);
    const Beginning number = numberAtBeginning(text, syntax);
    if (number.length == 0) {
        findings.error(place, value, " is not a number: the daemon takes the default, ", taken);
        return;
    }
    if (!number.fits) {
        findings.error(place, value, " does not fit into 32 bits", takes);
        return;
    }
    if (syntax == NumberSyntax::Ini && isDeceptiveOctal(text)) {
        findings.error(place, value, " is octal", takes, "; write it without the zero before it");
    } else if (syntax == NumberSyntax::Ini && lowerCase(text).find("0x") < number.length) {
        findings.warning(place, value, " is hexadecimal", takes, "; write a decimal number");
    } else {
        checkRest(value, text.substr(number.length), syntax, takes, place, findings);
    }
    if (const std::string fault = outside(taken, setting.lowest, setting.highest); !fault.empty()) {
        findings.error(place, "'", setting.name, "' is ", fault);
    }
}

SettingsInForce checkOptions(const ArgvParser& parser, Findings& findings) {
    const Place place{commandLineFile, 1};
    SettingsInForce result{qor::settingsFromCommandLine(parser), {}};
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingMeaning& setting = settingMeanings()[i];
        result.sources[i] = {"default", place};
        if (parser.foundOption(setting.name)) {
            const std::string text = parser.optionValue(setting.name);
            checkNumber(setting, text, NumberSyntax::CommandLine, result.numbers.*setting.number,
                        place, findings);
            if (hasNumber(text, NumberSyntax::CommandLine)) {
                result.sources[i].text = joined("option --", setting.name);
            }
        }
    }
    return result;
}

void checkTogether(const SettingsInForce& settings, Findings& findings) {
    const auto& [numbers, sources] = settings;
    if (numbers.connections >= 1 && numbers.threads > numbers.connections) {
        findings.warning(sources[Threads].place, "more threads (", numbers.threads,
                         ") than connections (", numbers.connections,
                         "): some never have work; write no more threads than connections");
    }
    constexpr rlim_t standardStreams = 3;
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0 && numbers.connections >= 1 &&
        static_cast<rlim_t>(numbers.connections) + standardStreams > files.rlim_cur) {
        findings.warning(sources[Connections].place, "more connections (", numbers.connections,
                         ") than files that may be open here (", files.rlim_cur,
                         "): raise the limit (ulimit -n, LimitNOFILE=), or write fewer");
    }
}

void checkForStandIn(const SettingsInForce& settings, Findings& findings) {
    const standin::Limits limits;
    const std::array<int, SettingCount> highest{limits.maxConns, noLimit, limits.maxThreads,
                                                limits.maxThreadQueueSize, limits.maxQueueTimeout};
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingMeaning& setting = settingMeanings()[i];
        const int number = settings.numbers.*setting.number;
        // What has no meaning for any engine has been told of.
        if (number > highest[i]) {
            findings.error(settings.sources[i].place, "the stand-in engine does not start: '",
                           setting.name, "' is ", outside(number, setting.lowest, highest[i]));
        }
    }
}

}  // namespace velmoracheck
