#include "velmoralight_standin/reader/base64.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace standin {

std::string base64(Bytes bytes) {
    constexpr std::string_view kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8U | (i < count ? bytes[at + i] : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= count ? kDigits[group >> (18 - 6 * i) & 63U] : '=';
        }
    }
    return text;
}

}  // namespace standin
