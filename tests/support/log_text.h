#pragma once

#include <algorithm>
#include <string>
#include <string_view>

// How much of the beginning of `text` has this shape; 0 when it has not. In a shape "#" is a
// decimal digit, "~" a lower-case hexadecimal one and "+" any number of decimal digits.
inline size_t shapeLength(std::string_view text, std::string_view shape) {
    constexpr std::string_view decimal = "0123456789";
    constexpr std::string_view hexadecimal = "0123456789abcdef";
    size_t length = 0;
    for (const char wanted : shape) {
        if (wanted == '+') {
            length = std::min(text.find_first_not_of(decimal, length), text.size());
            continue;
        }
        const std::string_view allowed = wanted == '#'   ? decimal
                                         : wanted == '~' ? hexadecimal
                                                         : std::string_view(&wanted, 1);
        if (length == text.size() || allowed.find(text[length]) == allowed.npos) {
            return 0;
        }
        ++length;
    }
    return length;
}

// The text with everything of a shape replaced.
inline std::string replaceShape(std::string_view text, std::string_view shape,
                                std::string_view replacement) {
    std::string result;
    while (!text.empty()) {
        const size_t length = shapeLength(text, shape);
        result += length > 0 ? replacement : text.substr(0, 1);
        text.remove_prefix(length > 0 ? length : 1);
    }
    return result;
}

// Log text with what differs from run to run replaced: time stamps by "<time>", the thread of a
// FULL line by "<thread>", the service's build identifier, seven hexadecimal digits, by "<build>",
// and the source line of the logger's console warning by "<line>". A value of another form stays.
inline std::string normalised(const std::string& text) {
    std::string result = replaceShape(text, "[####:##:## ##:##:##.###### : ", "[<time> : ");
    result = replaceShape(result, "[<time> : ########+ : ", "[<time> : <thread> : ");
    result =
        replaceShape(result, "\tBUILD           :~~~~~~~\r\n", "\tBUILD           :<build>\r\n");
    return replaceShape(result, "\tvlog:init():#+ - ", "\tvlog:init():<line> - ");
}

// A log text with every timestamp replaced by "TIME".
inline std::string withoutTimes(const std::string& text) {
    return replaceShape(text, "####:##:## ##:##:##.######", "TIME");
}
