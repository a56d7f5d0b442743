// Fed: the text of an INI file. Must hold: the lines are numbered in order and within the text; the
// keys, sections and values are those that the reader reports for the text as a whole, in its
// order; there is a syntax error, or the rest of a line that is too long, whenever the reader says
// so; without what is said to be ignored after a section, the reader reports the same.

#include <ini.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/ini_layout.h"

using velmoracheck::IniLine;

namespace {

using Keys = std::vector<std::vector<std::string>>;

int takeKey(void* user, const char* section, const char* key, const char* value) {
    static_cast<Keys*>(user)->push_back({section, key, value});
    return 1;
}

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Blanks in place of what stands after the sections, so that the lines are as long as they were.
std::string withoutIgnored(std::string text, const std::vector<IniLine>& lines) {
    std::size_t begin = 0;
    std::size_t number = 1;
    for (const IniLine& line : lines) {
        for (; number < line.number; ++number) {
            begin = text.find('\n', begin) + 1;
        }
        if (line.kind == IniLine::AfterSection) {
            const std::size_t place = text.find(line.value, text.find(']', begin) + 1);
            require(place < text.find('\n', begin));
            text.replace(place, line.value.size(), line.value.size(), ' ');
        }
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const std::vector<IniLine> lines = velmoracheck::iniLayout(text);
    Keys found;
    std::size_t last = 1;
    bool hasFault = false;
    bool hasOverlong = false;
    for (const IniLine& line : lines) {
        require(line.number >= last);
        last = line.number;
        hasOverlong |= line.kind == IniLine::Overlong;
        hasFault |= line.kind == IniLine::SyntaxError || hasOverlong;
        if (line.kind == IniLine::Value || line.kind == IniLine::Continuation) {
            found.push_back({line.section, line.key, line.value});
        }
    }
    require(last <= 1 + static_cast<std::size_t>(std::ranges::count(text, '\n')));

    // A zero byte ends a text in memory, but not a file.
    if (text.find('\0') == std::string::npos) {
        Keys reported;
        const bool isError = ::ini_parse_string(text.c_str(), takeKey, &reported) != 0;
        require(found == reported);
        require(hasFault || !isError);
        if (!hasOverlong) {  // the rest of such a line may have a section of its own
            Keys same;
            ::ini_parse_string(withoutIgnored(text, lines).c_str(), takeKey, &same);
            require(same == reported);
        }
    }
    return 0;
}
