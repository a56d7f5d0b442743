// The five settings, as the daemon takes them from either source, and what is wrong with them.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "velmoraserver/app/velmoracheck/finding.h"
#include "velmoraserver/app/velmoraserviced/settings.h"
#include "velmoraserver/parseargs/argvparser.h"

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
enum SettingIndex { Connections, Port, Threads, ThreadQueueSize, QueueTimeout, SettingCount };
[[nodiscard]] const std::array<SettingMeaning, SettingCount>& settingMeanings();

// Their names, for remedies.
[[nodiscard]] std::vector<std::string_view> settingNames();

// Where a setting comes from.
struct SettingSource {
    std::string text;  // "velmora.ini:3", "option --port", "default"
    Place place;       // the same for a finding
};

// The settings as the daemon takes them.
struct SettingsInForce {
    qor::Settings numbers;
    std::array<SettingSource, SettingCount> sources;
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

// Looks at an INI file. Nothing comes back when it could not be read.
[[nodiscard]] std::optional<SettingsInForce> checkIni(const std::string& path, Findings& findings);

// Looks at the settings on a command line that was parsed.
[[nodiscard]] SettingsInForce checkOptions(const CommandLineProcessing::ArgvParser& parser,
                                           Findings& findings);

// Finds numbers that make no sense together, or with what this process is allowed.
void checkTogether(const SettingsInForce& settings, Findings& findings);

// Finds numbers that the stand-in engine does not take.
void checkForStandIn(const SettingsInForce& settings, Findings& findings);

}  // namespace velmoracheck
