#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoraserviced/settings.h"

namespace velmoracheck {

// One of the five settings: where the daemon keeps it, and the smallest and largest number that has
// a meaning. The engine may have narrower limits.
struct SettingMeaning {
    const char* name;
    int qor::Settings::*number;
    int lowest;
    int highest;
};

// The five, in the order in which the daemon logs them.
[[nodiscard]] const std::array<SettingMeaning, 5>& settingMeanings();

// Their names, for remedies.
[[nodiscard]] std::vector<std::string_view> settingNames();

// A setting as the daemon takes it.
struct SettingInForce {
    std::string name;
    int number = 0;
    std::string source;  // "velmora.ini:3", "option --port", "default"
    Place place;         // the same for a finding
};

// How the text of a number is read.
enum class NumberSyntax {
    Ini,         // decimal, hexadecimal or octal
    CommandLine  // decimal
};

// Whether a text begins with a number: without one, the setting has its default.
[[nodiscard]] bool hasNumber(const std::string& text, NumberSyntax syntax);

// Finds what is wrong with the text of a setting, of which the daemon makes `taken`.
void checkNumber(const SettingMeaning& setting, const std::string& text, NumberSyntax syntax,
                 int taken, const Place& place, Findings& findings);

}  // namespace velmoracheck
