#include "velmoraserver/app/velmoracheck/setting_check.h"

#include <cerrno>
#include <cstdlib>
#include <limits>

#include "velmoraserver/app/velmoracheck/words.h"

using qor::Settings;

namespace velmoracheck {

namespace {

constexpr int noLimit = std::numeric_limits<int>::max();

// How the text begins: as a number, of this much text, which fits or not.
struct Beginning {
    std::size_t length = 0;
    bool fits = true;
};

Beginning numberAtBeginning(const std::string& text, NumberSyntax syntax) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, syntax == NumberSyntax::Ini ? 0 : 10);
    return {.length = static_cast<std::size_t>(end - text.c_str()),
            .fits = errno != ERANGE && number >= std::numeric_limits<int>::min() &&
                    number <= std::numeric_limits<int>::max()};
}

std::string daemonTakes(int taken) {
    return ": the daemon takes " + std::to_string(taken);
}

std::string rangeText(const SettingMeaning& setting) {
    return setting.highest == noLimit
               ? "at least " + std::to_string(setting.lowest)
               : std::to_string(setting.lowest) + " to " + std::to_string(setting.highest);
}

// "hexadecimal" or "octal" for a number that is not decimal; empty for a decimal one. A lone zero
// is decimal.
std::string otherBase(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t+-");
    if (first == std::string::npos || text[first] != '0' || first + 1 == text.size()) {
        return {};
    }
    const char next = text[first + 1];
    if (next == 'x' || next == 'X') {
        return "hexadecimal";
    }
    return next >= '0' && next <= '7' ? "octal" : "";
}

}  // namespace

const std::array<SettingMeaning, 5>& settingMeanings() {
    static constexpr std::array<SettingMeaning, 5> meanings{{
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
    const std::string name = std::string("'") + setting.name + "'";
    const Beginning number = numberAtBeginning(text, syntax);
    if (number.length == 0) {
        findings.error(place, "value " + inQuotes(text) + " of " + name +
                                  " is not a number: the daemon takes the default, " +
                                  std::to_string(taken));
        return;
    }
    if (!number.fits) {
        findings.error(place, "value " + inQuotes(text) + " of " + name + " is too large a number" +
                                  daemonTakes(taken));
        return;
    }
    const std::string rest = text.substr(number.length);
    if (rest.find_first_not_of(" \t\r\n\v\f") != std::string::npos) {
        const char* remedy = syntax == NumberSyntax::CommandLine && lowerCase(rest).starts_with('x')
                                 ? "; write a decimal number"
                                 : "; remove what follows the number";
        findings.error(place, "value " + inQuotes(text) + " of " + name + " has trailing text" +
                                  daemonTakes(taken) + remedy);
    } else if (syntax == NumberSyntax::Ini && !otherBase(text).empty()) {
        findings.warning(place, "value " + inQuotes(text) + " of " + name + " is read as " +
                                    otherBase(text) + daemonTakes(taken) +
                                    "; write decimal numbers without leading zeros");
    }
    if (taken < setting.lowest || taken > setting.highest) {
        findings.error(place,
                       name + " is " + std::to_string(taken) + ": write " + rangeText(setting));
    }
}

}  // namespace velmoracheck
