#include "velmoraserver/app/velmoracheck/option_check.h"

#include <string>

#include "velmoraserver/app/velmoracheck/words.h"

using CommandLineProcessing::ArgvParser;

namespace velmoracheck {

std::vector<SettingInForce> checkOptions(const ArgvParser& parser, Findings& findings) {
    const Place place{commandLineFile, 1};
    const qor::Settings settings = qor::settingsFromCommandLine(parser);
    std::vector<SettingInForce> result;
    for (const SettingMeaning& setting : settingMeanings()) {
        const int taken = settings.*setting.number;
        std::string source = "default";
        if (parser.foundOption(setting.name)) {
            const std::string text = parser.optionValue(setting.name);
            checkNumber(setting, text, NumberSyntax::CommandLine, taken, place, findings);
            if (hasNumber(text, NumberSyntax::CommandLine)) {
                source = std::string("option --") + setting.name;
            }
        }
        result.push_back({setting.name, taken, source, place});
    }
    return result;
}

void checkIgnored(const ArgvParser& parser, Findings& findings) {
    const Place place{commandLineFile, 1};
    for (const std::string_view name : settingNames()) {
        if (parser.foundOption("ini") && parser.foundOption(std::string(name))) {
            findings.warning(place, "option '" + std::string(name) +
                                        "' is ignored: with --ini the INI file alone decides");
        }
    }
    for (const std::string& argument : parser.allArguments()) {
        findings.warning(place, "argument " + inQuotes(argument) +
                                    " is ignored: an INI file is named with --ini");
    }
}

}  // namespace velmoracheck
