// How the engine writes JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace standin {

// One line of valid UTF-8, ended by a line feed. Bytes of strings that are no valid UTF-8 are
// replaced by U+FFFD: the text of a symbol may be anything.
[[nodiscard]] inline std::string jsonText(const nlohmann::ordered_json& value) {
    constexpr int kOneLine = -1;
    return value.dump(kOneLine, ' ', false, nlohmann::ordered_json::error_handler_t::replace) +
           '\n';
}

}  // namespace standin
