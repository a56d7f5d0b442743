#include "velmoralight_standin/reader/utf8.h"

#include <cstddef>

namespace standin {

namespace {

// How a character begins: its first byte lies in a range, the second one in another; the bytes
// after that, up to `size`, may be any that continue.
struct Form {
    uint8_t first, last, secondFirst, secondLast;
    std::size_t size;
};

constexpr Form kForms[] = {
    {0x00, 0x7f, 0, 0, 1},       {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

bool lies(uint8_t byte, uint8_t first, uint8_t last) {
    return byte >= first && byte <= last;
}

bool beginsWith(Bytes bytes, const Form& form) {
    if (!lies(bytes[0], form.first, form.last) || bytes.size() < form.size) {
        return false;
    }
    if (form.size > 1 && !lies(bytes[1], form.secondFirst, form.secondLast)) {
        return false;
    }
    for (std::size_t i = 2; i < form.size; ++i) {
        if (!lies(bytes[i], 0x80, 0xbf)) {
            return false;
        }
    }
    return true;
}

// Bytes of the character at the beginning; 0 when there is none.
std::size_t characterSize(Bytes bytes) {
    for (const Form& form : kForms) {
        if (beginsWith(bytes, form)) {
            return form.size;
        }
    }
    return 0;
}

}  // namespace

bool isUtf8(Bytes bytes) noexcept {
    while (!bytes.empty()) {
        const std::size_t size = characterSize(bytes);
        if (size == 0) {
            return false;
        }
        bytes = bytes.subspan(size);
    }
    return true;
}

}  // namespace standin
