#include "velmoralight_standin/reader/jpeg_layout.h"

#include <algorithm>
#include <string_view>

namespace standin {

namespace {

constexpr uint8_t kPrefix = 0xff;
constexpr uint8_t kStartOfFrame = 0xc0;
constexpr uint8_t kProgressiveFrame = 0xc2;
constexpr uint8_t kHuffmanTables = 0xc4;
constexpr uint8_t kExtension = 0xc8;
constexpr uint8_t kArithmeticTables = 0xcc;
constexpr uint8_t kProgressiveArithmeticFrame = 0xca;
constexpr uint8_t kLastFrame = 0xcf;
constexpr uint8_t kFirstRestart = 0xd0;
constexpr uint8_t kLastRestart = 0xd7;
constexpr uint8_t kEndOfImage = 0xd9;
constexpr uint8_t kStartOfScan = 0xda;
constexpr uint8_t kExifSegment = 0xe1;
constexpr uint8_t kAdobeSegment = 0xee;

uint32_t shortAt(Bytes bytes, std::size_t at) {
    return static_cast<uint32_t>(bytes[at] << 8U | bytes[at + 1]);
}

// A byte that may follow 0xff without making a marker of the two: data, fill, or a restart inside
// of data.
bool isNoMarker(uint8_t byte) {
    return byte == 0 || byte == 1 || byte == kPrefix ||
           (byte >= kFirstRestart && byte <= kLastRestart);
}

// Takes everything up to and with the next marker off the front. 0 when there is none.
uint8_t takeMarker(Bytes& rest) {
    for (;;) {
        const auto prefix = std::find(rest.begin(), rest.end(), kPrefix);
        rest = rest.subspan(static_cast<std::size_t>(prefix - rest.begin()));
        if (rest.size() < 2) {
            return 0;
        }
        const uint8_t code = rest[1];
        rest = rest.subspan(code == kPrefix ? 1 : 2);
        if (!isNoMarker(code)) {
            return code;
        }
    }
}

// The data of the segment whose marker was taken; empty when the file ends before it does.
Bytes takeSegment(Bytes& rest) {
    const std::size_t size = rest.size() < 2 ? 0 : shortAt(rest, 0);
    if (size < 2 || size > rest.size()) {
        return {};
    }
    const Bytes data = rest.subspan(2, size - 2);
    rest = rest.subspan(size);
    return data;
}

bool isFrame(uint8_t marker) {
    return marker >= kStartOfFrame && marker <= kLastFrame && marker != kHuffmanTables &&
           marker != kExtension && marker != kArithmeticTables;
}

void noteFrame(uint8_t marker, Bytes data, JpegLayout& layout) {
    constexpr std::size_t kHead = 6;  // precision, height, width, number of components
    constexpr std::size_t kComponentSize = 3;
    if (data.size() < kHead || layout.componentCount > 0) {
        return;
    }
    const std::size_t count = data[5];
    if (count > layout.components.size() || data.size() < kHead + count * kComponentSize) {
        return;
    }
    layout.height = shortAt(data, 1);
    layout.width = shortAt(data, 3);
    layout.componentCount = count;
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned factors = data[kHead + i * kComponentSize + 1];
        layout.components[i] = {static_cast<uint8_t>(factors >> 4U),
                                static_cast<uint8_t>(factors & 15U)};
    }
    layout.scansAreParts = marker == kProgressiveFrame || marker == kProgressiveArithmeticFrame;
}

void noteScan(Bytes data, Bytes rest, JpegLayout& layout) {
    ++layout.scans;
    layout.scansAreParts |= data.empty() || data[0] < layout.componentCount;
    const bool byteFollows = !rest.empty() && rest[0] != kPrefix;
    const bool escapeFollows = rest.size() >= 2 && isNoMarker(rest[1]);
    layout.hasData |= !data.empty() && (byteFollows || escapeFollows);
}

bool startsWith(Bytes data, std::string_view name) {
    return data.size() >= name.size() && std::equal(name.begin(), name.end(), data.begin());
}

void noteExif(Bytes data, JpegLayout& layout) {
    constexpr std::string_view kName("Exif\0\0", 6);
    if (layout.exif.empty() && startsWith(data, kName)) {
        layout.exif = data.subspan(kName.size());
    }
}

void noteAdobe(Bytes data, JpegLayout& layout) {
    constexpr std::size_t kSize = 12;  // what is shorter, the decoder does not take for it either
    layout.inksAreInverted |= data.size() >= kSize && startsWith(data, "Adobe");
}

uint64_t roundedUp(uint64_t number, uint64_t step) {
    return (number + step - 1) / step;
}

}  // namespace

JpegLayout jpegLayout(Bytes file) {
    JpegLayout layout;
    Bytes rest = file.subspan(2);
    for (uint8_t marker = takeMarker(rest); marker != 0 && marker != kEndOfImage;
         marker = takeMarker(rest)) {
        const Bytes data = takeSegment(rest);
        if (isFrame(marker)) {
            noteFrame(marker, data, layout);
        } else if (marker == kStartOfScan) {
            noteScan(data, rest, layout);
        } else if (marker == kExifSegment) {
            noteExif(data, layout);
        } else if (marker == kAdobeSegment) {
            noteAdobe(data, layout);
        }
    }
    return layout;
}

uint64_t coefficientMemory(const JpegLayout& layout) noexcept {
    if (!layout.scansAreParts) {
        return 0;
    }
    unsigned across = 1;
    unsigned down = 1;
    unsigned blocks = 0;
    for (const JpegLayout::Component& each : layout.components) {
        across = std::max<unsigned>(across, each.across);
        down = std::max<unsigned>(down, each.down);
        blocks += each.across * each.down;
    }
    constexpr uint64_t kBlockSide = 8;
    constexpr uint64_t kBlockBytes = kBlockSide * kBlockSide * 2;
    return roundedUp(layout.width, kBlockSide * across) *
           roundedUp(layout.height, kBlockSide * down) * blocks * kBlockBytes;
}

}  // namespace standin
