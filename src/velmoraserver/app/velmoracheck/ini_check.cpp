#include "velmoraserver/app/velmoracheck/ini_check.h"

#include <algorithm>
#include <cstddef>

#include "velmoraserver/app/velmoracheck/ini_layout.h"
#include "velmoraserver/app/velmoracheck/input_file.h"
#include "velmoraserver/app/velmoracheck/words.h"

using qor::iniSection;
using qor::Settings;

namespace velmoracheck {

namespace {

bool isOurs(const IniLine& line) {
    return lowerCase(line.section) == iniSection;
}

bool isOurs(const IniLine& line, const SettingMeaning& setting) {
    return isOurs(line) && lowerCase(line.key) == lowerCase(setting.name);
}

bool isValue(const IniLine& line) {
    return line.kind == IniLine::Value || line.kind == IniLine::Continuation;
}

std::string lineNumber(const IniLine& line) {
    return "line " + std::to_string(line.number);
}

void checkKey(const IniLine& line, const Place& place, Findings& findings) {
    const std::vector<std::string_view> names = settingNames();
    const auto isKey = [&](std::string_view name) {
        return lowerCase(name) == lowerCase(line.key);
    };
    if (line.section.empty()) {
        findings.error(place, "key " + inQuotes(line.key) +
                                  " stands outside any section: write [default] above it");
    } else if (isOurs(line) && std::ranges::none_of(names, isKey)) {
        findings.error(place, "unknown key " + inQuotes(line.key) + remedy(line.key, names));
    }
}

void checkLine(const IniLine& line, const Place& place, Findings& findings) {
    switch (line.kind) {
        case IniLine::Section:
            if (!isOurs(line)) {
                findings.warning(place, "unknown section " + inQuotes(line.section) +
                                            ": the daemon reads [default] alone" +
                                            (closest(line.section, {iniSection}).empty()
                                                 ? ""
                                                 : ": did you mean 'default'?"));
            }
            return;
        case IniLine::Value:
            checkKey(line, place, findings);
            return;
        case IniLine::Continuation:
            findings.error(place, inQuotes(line.value) +
                                      " begins with a blank and is read as more of '" +
                                      printable(line.key) + "' above: remove the blank");
            return;
        case IniLine::AfterSection:
            findings.error(place, inQuotes(line.value) +
                                      " stands after a section and is ignored: write it in a line "
                                      "of its own");
            return;
        case IniLine::SyntaxError:
            findings.error(place,
                           "syntax error, the line is ignored: write 'key = value', "
                           "'[section]' or '; comment'");
            return;
        case IniLine::Overlong:
            findings.error(place, "line too long for the daemon: the rest of it, " +
                                      inQuotes(line.value) + ", is read as a line of its own");
            return;
    }
}

// Of several values of a key the daemon takes the first that is not empty: the reader joins them,
// and a number ends where the next begins.
SettingInForce checkSetting(const SettingMeaning& setting, const std::string& path,
                            const std::vector<IniLine>& lines, int taken, Findings& findings) {
    std::vector<const IniLine*> values;
    for (const IniLine& line : lines) {
        if (isValue(line) && isOurs(line, setting)) {
            values.push_back(&line);
        }
    }
    if (values.empty()) {
        return {setting.name, taken, "default", {path, 1}};
    }
    const auto filled =
        std::ranges::find_if(values, [](auto* line) { return !line->value.empty(); });
    const IniLine& used = filled != values.end() ? **filled : *values.front();
    const Place place{path, used.number};
    checkNumber(setting, used.value, NumberSyntax::Ini, taken, place, findings);
    for (const IniLine* line : values) {
        if (line != &used && line->kind == IniLine::Value) {
            findings.warning({path, line->number}, "duplicate key " + inQuotes(line->key) + ": " +
                                                       lineNumber(used) + " counts, not this one");
        }
    }
    const bool isDefault = !hasNumber(used.value, NumberSyntax::Ini);
    return {setting.name, taken,
            isDefault ? "default" : printable(path) + ":" + std::to_string(used.number), place};
}

// The settings first: if something is not kept of a file full of faults, it is not their errors.
std::vector<SettingInForce> checkSettings(const std::string& path,
                                          const std::vector<IniLine>& lines,
                                          const Settings& settings, Findings& findings) {
    std::vector<SettingInForce> result;
    for (const SettingMeaning& setting : settingMeanings()) {
        result.push_back(checkSetting(setting, path, lines, settings.*setting.number, findings));
    }
    return result;
}

}  // namespace

std::optional<std::vector<SettingInForce>> checkIni(const std::string& path, Findings& findings) {
    const InputFile file = readInput(path);
    if (file.isDirectory) {
        findings.error({path, 1}, file.problem +
                                      ": the daemon takes it for an empty file; name an INI file "
                                      "with --ini");
        return checkSettings(path, {}, {}, findings);
    }
    if (!file.content) {
        findings.error({path, 1}, file.problem + (file.unopened ? ": the daemon does not start"
                                                                : ": name an INI file with --ini"));
        return std::nullopt;
    }
    if (!checkIsText(path, *file.content, findings)) {
        return std::nullopt;
    }
    const std::optional<Settings> settings = qor::settingsFromIni(path);
    if (!settings) {  // it was there a moment ago
        findings.error({path, 1}, "cannot be opened: the daemon does not start");
        return std::nullopt;
    }
    const std::vector<IniLine> lines = iniLayout(*file.content);
    std::vector<SettingInForce> result = checkSettings(path, lines, *settings, findings);
    for (const IniLine& line : lines) {
        checkLine(line, {path, line.number}, findings);
    }
    if (std::ranges::none_of(lines, [](auto& line) { return isValue(line) && isOurs(line); })) {
        findings.warning({path, 1},
                         "sets no key in a section [default]: every setting has its default");
    }
    return result;
}

}  // namespace velmoracheck
