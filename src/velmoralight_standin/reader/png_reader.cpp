#include "velmoralight_standin/reader/png_reader.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace standin {

namespace {

constexpr std::array<uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
// A chunk is its length, its type, that many bytes of data and a checksum.
constexpr std::size_t kChunkHead = 8;
constexpr std::size_t kChunkFrame = 12;
constexpr std::size_t kHeaderDataSize = 13;

Refusal damaged(const char* what) {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE, std::string("not a valid PNG image: ") + what};
}

uint32_t bigEndian(Bytes file, std::size_t at) {
    return (uint32_t{file[at]} << 24U) | (uint32_t{file[at + 1]} << 16U) |
           (uint32_t{file[at + 2]} << 8U) | uint32_t{file[at + 3]};
}

bool isChunk(Bytes file, std::size_t at, const char* type) {
    return std::memcmp(file.data() + at + 4, type, 4) == 0;
}

// Whether the chunks follow one another up to the last one. The decoder stops at the last row and
// would take a file that lost its end for a whole one.
bool isComplete(Bytes file) {
    std::size_t at = kSignature.size();
    while (file.size() - at >= kChunkFrame) {
        const std::size_t size = kChunkFrame + bigEndian(file, at);
        if (size > file.size() - at) {
            return false;
        }
        if (isChunk(file, at, "IEND")) {
            return true;
        }
        at += size;
    }
    return false;
}

// Frees what the decoder holds, on every way out.
struct Decoder {
    png_image image = {};

    Decoder() noexcept { image.version = PNG_IMAGE_VERSION; }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { png_image_free(&image); }
};

}  // namespace

bool looksLikePng(Bytes file) noexcept {
    return file.size() >= kSignature.size() &&
           std::equal(kSignature.begin(), kSignature.end(), file.begin());
}

OrRefusal<ImageInfo> inspectPng(Bytes file) {
    const std::size_t header = kSignature.size();
    if (file.size() < header + kChunkFrame + kHeaderDataSize) {
        return damaged("the file ends inside its header");
    }
    if (bigEndian(file, header) != kHeaderDataSize || !isChunk(file, header, "IHDR")) {
        return damaged("it does not start with its header");
    }
    const std::size_t size = header + kChunkHead;
    const ImageInfo info{ImageType::Png, bigEndian(file, size), bigEndian(file, size + 4)};
    if (info.width == 0 || info.height == 0) {
        return damaged("it has no pixels");
    }
    return info;
}

OrRefusal<GreyPixels> decodePng(Bytes file, const ImageInfo& info) {
    if (!isComplete(file)) {
        return damaged("the file is cut off");
    }
    Decoder decoder;
    if (png_image_begin_read_from_memory(&decoder.image, file.data(), file.size()) == 0) {
        return damaged(decoder.image.message);
    }
    if (decoder.image.width != info.width || decoder.image.height != info.height) {
        return damaged("it has two sizes");
    }
    decoder.image.format = PNG_FORMAT_GRAY;
    GreyPixels pixels(PNG_IMAGE_SIZE(decoder.image));
    const png_color white = {255, 255, 255};
    if (png_image_finish_read(&decoder.image, &white, pixels.data(), 0, nullptr) == 0) {
        return damaged(decoder.image.message);
    }
    return pixels;
}

}  // namespace standin
