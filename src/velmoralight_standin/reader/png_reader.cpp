#include "velmoralight_standin/reader/png_reader.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

#include "velmoralight_standin/reader/exif.h"
#include "velmoralight_standin/reader/grey.h"

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

struct Chunks {
    bool complete = false;  // they follow one another up to the last one
    int orientation = 0;
};

Chunks walkChunks(Bytes file) {
    Chunks chunks;
    std::size_t at = kSignature.size();
    while (file.size() - at >= kChunkFrame && !chunks.complete) {
        const std::size_t size = kChunkFrame + bigEndian(file, at);
        if (size > file.size() - at) {
            break;
        }
        if (isChunk(file, at, "eXIf")) {
            chunks.orientation = exifOrientation(file.subspan(at + kChunkHead, size - kChunkFrame));
        }
        chunks.complete = isChunk(file, at, "IEND");
        at += size;
    }
    return chunks;
}

void readFile(png_structp png, png_bytep target, std::size_t size) {
    auto& rest = *static_cast<Bytes*>(png_get_io_ptr(png));
    if (size > rest.size()) {
        png_error(png, "the file is cut off");
    }
    std::copy_n(rest.begin(), size, target);
    rest = rest.subspan(size);
}

using Message = std::array<char, 160>;

[[noreturn]] void keepMessage(png_structp png, png_const_charp message) {
    auto& kept = *static_cast<Message*>(png_get_error_ptr(png));
    std::snprintf(kept.data(), kept.size(), "%s", message);
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp /*png*/, png_const_charp /*message*/) {}

// The library's decoder for one file. It reports an error by a jump, over which no object with a
// destructor may lie.
class Decoder {
public:
    explicit Decoder(Bytes file)
        : rest_(file),
          png_(
              png_create_read_struct(PNG_LIBPNG_VER_STRING, &message_, keepMessage, ignoreWarning)),
          info_(png_ != nullptr ? png_create_info_struct(png_) : nullptr) {
        if (info_ == nullptr) {
            png_destroy_read_struct(&png_, nullptr, nullptr);
            throw std::bad_alloc();
        }
        png_set_read_fn(png_, &rest_, readFile);
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { png_destroy_read_struct(&png_, &info_, nullptr); }

    [[nodiscard]] const char* message() const { return message_.data(); }

    // The next two are false when the file is damaged.

    // Reads up to the pixels, of which each has 8 bits a channel from here on.
    bool start() {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            return false;
        }
        // But for the palette and the transparent colour, everything that is no pixel.
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_read_info(png_, info_);
        png_set_scale_16(png_);
        png_set_expand(png_);
        png_read_update_info(png_, info_);
        return true;
    }

    [[nodiscard]] std::size_t rowSize() const { return png_get_rowbytes(png_, info_); }

    // Decodes all rows into `pixels`, each by way of `row`.
    bool readPixels(GreyPixels& pixels, std::vector<uint8_t>& row) {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            return false;
        }
        if (png_get_interlace_type(png_, info_) == PNG_INTERLACE_NONE) {
            readPass({0, 0, 1, 1}, pixels, row);
            return true;
        }
        for (unsigned pass = 0; pass < PNG_INTERLACE_ADAM7_PASSES; ++pass) {
            readPass({PNG_PASS_START_COL(pass), PNG_PASS_START_ROW(pass),
                      static_cast<uint32_t>(PNG_PASS_COL_OFFSET(pass)),
                      static_cast<uint32_t>(PNG_PASS_ROW_OFFSET(pass))},
                     pixels, row);
        }
        return true;
    }

private:
    // Where the pixels of one pass over an interlaced picture lie in it.
    struct Grid {
        uint32_t x, y, xStep, yStep;
    };

    void readPass(const Grid& grid, GreyPixels& pixels, std::vector<uint8_t>& row) {
        const uint32_t width = png_get_image_width(png_, info_);
        const uint32_t height = png_get_image_height(png_, info_);
        const unsigned channels = png_get_channels(png_, info_);
        if (grid.x >= width) {
            return;  // the pass has no rows either
        }
        for (uint32_t y = grid.y; y < height; y += grid.yStep) {
            png_read_row(png_, row.data(), nullptr);
            const uint8_t* sample = row.data();
            uint8_t* const target = pixels.data() + std::size_t{y} * width;
            for (uint32_t x = grid.x; x < width; x += grid.xStep, sample += channels) {
                target[x] = greyAt(sample, channels);
            }
        }
    }

    static uint8_t greyAt(const uint8_t* sample, unsigned channels) {
        switch (channels) {
            case 1:
                return sample[0];
            case 2:
                return onWhite(sample[0], sample[1]);
            case 3:
                return greyOf(sample[0], sample[1], sample[2]);
            default:
                return onWhite(greyOf(sample[0], sample[1], sample[2]), sample[3]);
        }
    }

    Message message_ = {};
    Bytes rest_;
    png_structp png_;
    png_infop info_;
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
    ImageInfo info{ImageType::Png, bigEndian(file, size), bigEndian(file, size + 4)};
    if (info.width == 0 || info.height == 0) {
        return damaged("it has no pixels");
    }
    info.orientation = walkChunks(file).orientation;
    // The library has two rows of the widest kind of pixel, and we have one.
    constexpr uint64_t kRowBytesPerPixel = 3 * 8;
    info.decodingMemory = uint64_t{info.width} * info.height + kRowBytesPerPixel * info.width;
    return info;
}

OrRefusal<GreyPixels> decodePng(Bytes file, const ImageInfo& info) {
    // The decoder stops at the last row and would take a file that lost its end for a whole one.
    if (!walkChunks(file).complete) {
        return damaged("the file is cut off");
    }
    Decoder decoder(file);
    if (!decoder.start()) {
        return damaged(decoder.message());
    }
    GreyPixels pixels(std::size_t{info.width} * info.height);
    std::vector<uint8_t> row(decoder.rowSize());
    if (!decoder.readPixels(pixels, row)) {
        return damaged(decoder.message());
    }
    return pixels;
}

}  // namespace standin
