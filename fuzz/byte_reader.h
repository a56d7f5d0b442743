#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Hands out the bytes of a fuzz input one by one; zeros when there are none left.
class ByteReader {
public:
    ByteReader(const uint8_t* data, size_t size) : at(data), end(data + size) {}

    [[nodiscard]] bool empty() const { return at == end; }

    uint8_t next() { return empty() ? uint8_t{0} : *at++; }

    // A number below limit, which is at most 256.
    size_t below(size_t limit) { return next() % limit; }

    // The bytes up to the delimiter, which is taken too, or to the end.
    std::string upTo(uint8_t delimiter) {
        std::string text;
        while (!empty()) {
            const uint8_t byte = next();
            if (byte == delimiter) {
                break;
            }
            text += static_cast<char>(byte);
        }
        return text;
    }

    // All bytes that are left.
    std::vector<uint8_t> rest() {
        const uint8_t* begin = at;
        at = end;
        return {begin, end};
    }

private:
    const uint8_t* at;
    const uint8_t* end;
};
