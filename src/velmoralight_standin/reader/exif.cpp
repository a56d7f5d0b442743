#include "velmoralight_standin/reader/exif.h"

#include <cstddef>

namespace standin {

namespace {

constexpr uint32_t kOrientationTag = 0x0112;
constexpr uint32_t kShort = 3;
constexpr std::size_t kEntrySize = 12;

// Numbers in the block's byte order; what lies outside of it is 0.
struct Reader {
    Bytes block;
    bool bigEndian;

    [[nodiscard]] uint32_t number(std::size_t at, std::size_t size) const {
        uint32_t value = 0;
        for (std::size_t i = 0; i < size && at < block.size() && size <= block.size() - at; ++i) {
            const std::size_t byte = bigEndian ? i : size - 1 - i;
            value = value << 8U | block[at + byte];
        }
        return value;
    }
};

}  // namespace

int exifOrientation(Bytes block) noexcept {
    const bool bigEndian = block.size() >= 2 && block[0] == 'M' && block[1] == 'M';
    const Reader reader{block, bigEndian};
    const std::size_t directory = reader.number(4, 4);
    const uint32_t entries = reader.number(directory, 2);
    for (uint32_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * kEntrySize;
        if (reader.number(entry, 2) == kOrientationTag && reader.number(entry + 2, 2) == kShort) {
            const auto value = static_cast<int>(reader.number(entry + 8, 2));
            return value <= 8 ? value : 0;
        }
    }
    return 0;
}

}  // namespace standin
