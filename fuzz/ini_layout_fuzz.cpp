// Fed: the text of an INI file. Must hold: the lines are numbered in order and within the text; the
// keys, sections and values are those that the reader reports for the text as a whole, in its
// order; there is a syntax error, or the rest of a line that is too long, whenever the reader says
// so.

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const std::vector<IniLine> lines = velmoracheck::iniLayout(text);
    Keys found;
    std::size_t last = 1;
    bool hasFault = false;
    for (const IniLine& line : lines) {
        require(line.number >= last);
        last = line.number;
        hasFault |= line.kind == IniLine::SyntaxError || line.kind == IniLine::Overlong;
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
    }
    return 0;
}
