#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmoracheck {

// One line of an INI file, as the daemon's reader takes it.
struct IniLine {
    enum Kind {
        Section,
        Value,
        Continuation,  // begins with a blank, and is read as more of the value of the key above
        AfterSection,  // begins with a section; the reader makes nothing of the rest, the value
        SyntaxError,   // the reader makes nothing of it
        Overlong       // longer than the reader's buffer; its rest, the value, is a line of its own
    };
    Kind kind = Value;
    std::size_t number = 1;
    std::string section;  // as written; empty outside any
    std::string key;      // as written
    std::string value;
};

// Which line of the text each key, section and syntax error is on, in the order of the text. Blank
// lines and comments are not in it.
//
// The reader itself takes the text apart; this only watches which line it has been given when it
// reports a key.
[[nodiscard]] std::vector<IniLine> iniLayout(std::string_view text);

}  // namespace velmoracheck
