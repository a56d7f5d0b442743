#include <algorithm>
#include <cstddef>

#include "velmoraserver/app/velmoracheck/ini_layout.h"
#include "velmoraserver/app/velmoracheck/input_file.h"
#include "velmoraserver/app/velmoracheck/setting_check.h"

using qor::iniSection;

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

void checkSection(const IniLine& line, const Place& place, Findings& findings) {
    if (!isOurs(line)) {
        findings.warning(place, "unknown section ", inQuotes(line.section),
                         ": the daemon reads [default] alone",
                         closest(line.section, {iniSection}).empty() ? "" : ": did you mean that?");
    }
}

void checkKey(const IniLine& line, const Place& place, Findings& findings) {
    const std::vector<std::string_view> names = settingNames();
    const auto isKey = [&](std::string_view name) {
        return lowerCase(name) == lowerCase(line.key);
    };
    if (line.section.empty()) {
        findings.error(place, "key ", inQuotes(line.key),
                       " stands outside any section: write [default] above it");
    } else if (isOurs(line) && std::ranges::none_of(names, isKey)) {
        findings.error(place, "unknown key ", inQuotes(line.key), remedy(line.key, names));
    }
}

void checkLine(const IniLine& line, const Place& place, Findings& findings) {
    switch (line.kind) {
        case IniLine::Section:
            return checkSection(line, place, findings);
        case IniLine::Value:
            return checkKey(line, place, findings);
        case IniLine::Continuation:
            return findings.error(place, inQuotes(line.value),
                                  " begins with a blank, so it continues the value of ",
                                  inQuotes(line.key), " above: remove the blank");
        case IniLine::AfterSection:
            return findings.error(place, inQuotes(line.value),
                                  " stands after a section and is ignored: write it on a line of "
                                  "its own");
        case IniLine::SyntaxError:
            return findings.error(place,
                                  "syntax error, the line is ignored: write 'key = value', "
                                  "'[section]' or '; comment'");
        case IniLine::Overlong:
            return findings.error(place, "line too long for the daemon: the rest of it, ",
                                  inQuotes(line.value), ", is read as a line of its own");
    }
}

// Of several values of a key the daemon takes the first that is not empty: the reader joins them,
// and a number ends where the next begins.
SettingSource checkSetting(const SettingMeaning& setting, const std::string& path,
                           const std::vector<IniLine>& lines, int taken, Findings& findings) {
    std::vector<const IniLine*> values;
    for (const IniLine& line : lines) {
        if (isValue(line) && isOurs(line, setting)) {
            values.push_back(&line);
        }
    }
    if (values.empty()) {
        return {"default", {path, 1}};
    }
    const auto filled =
        std::ranges::find_if(values, [](auto* line) { return !line->value.empty(); });
    const IniLine& used = filled != values.end() ? **filled : *values.front();
    const Place place{path, used.number};
    checkNumber(setting, used.value, NumberSyntax::Ini, taken, place, findings);
    for (const IniLine* line : values) {
        if (line != &used && line->kind == IniLine::Value) {
            findings.warning({path, line->number}, "duplicate key ", inQuotes(line->key), ": line ",
                             used.number, " counts, not this one");
        }
    }
    const bool isDefault = !hasNumber(used.value, NumberSyntax::Ini);
    return {isDefault ? "default" : joined(path, ":", used.number), place};
}

// The settings first: if something is not kept of a file full of faults, it is not their errors.
SettingsInForce checkLines(const std::string& path, const std::vector<IniLine>& lines,
                           const qor::Settings& numbers, Findings& findings) {
    SettingsInForce result{numbers, {}};
    for (std::size_t i = 0; i < SettingCount; ++i) {
        const SettingMeaning& setting = settingMeanings()[i];
        result.sources[i] = checkSetting(setting, path, lines, numbers.*setting.number, findings);
    }
    for (const IniLine& line : lines) {
        checkLine(line, {path, line.number}, findings);
    }
    return result;
}

}  // namespace

std::optional<SettingsInForce> checkIni(const std::string& path, Findings& findings) {
    const InputFile file = readInput(path);
    if (file.state == InputFile::Directory) {
        findings.error({path, 1}, file.text,
                       ": the daemon takes it for an empty file; name an INI file with --ini");
        return checkLines(path, {}, {}, findings);
    }
    if (file.state != InputFile::Read) {
        findings.error({path, 1}, file.text,
                       file.state == InputFile::Unopened ? ": the daemon does not start"
                                                         : ": name an INI file with --ini");
        return std::nullopt;
    }
    if (!checkIsText(path, file.text, findings)) {
        return std::nullopt;
    }
    const std::optional<qor::Settings> numbers = qor::settingsFromIni(path);
    if (!numbers) {  // it was there a moment ago
        findings.error({path, 1}, "cannot be opened: the daemon does not start");
        return std::nullopt;
    }
    const std::vector<IniLine> lines = iniLayout(file.text);
    const SettingsInForce result = checkLines(path, lines, *numbers, findings);
    if (std::ranges::none_of(lines, [](auto& line) { return isValue(line) && isOurs(line); })) {
        findings.warning({path, 1}, "sets no key in [default]: every setting has its default");
    }
    return result;
}

}  // namespace velmoracheck
