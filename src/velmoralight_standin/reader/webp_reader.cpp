#include "velmoralight_standin/reader/webp_reader.h"

#include <webp/decode.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "velmoralight_standin/reader/exif.h"
#include "velmoralight_standin/reader/grey.h"

namespace standin {

namespace {

constexpr std::size_t kFileHead = 12;  // "RIFF", a size, "WEBP"
constexpr std::size_t kChunkHead = 8;  // four letters and a size

bool hasAt(Bytes file, std::size_t at, std::string_view text) {
    return file.size() >= at + text.size() &&
           std::equal(text.begin(), text.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
}

uint32_t littleEndian(Bytes file, std::size_t at) {
    return uint32_t{file[at]} | uint32_t{file[at + 1]} << 8U | uint32_t{file[at + 2]} << 16U |
           uint32_t{file[at + 3]} << 24U;
}

Refusal damaged(const char* what) {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE, std::string("not a valid WebP image: ") + what};
}

// The EXIF block comes after the picture.
int orientationIn(Bytes file) {
    std::size_t at = kFileHead;
    while (at + kChunkHead <= file.size()) {
        const std::size_t size = littleEndian(file, at + 4);
        const std::size_t data = at + kChunkHead;
        if (hasAt(file, at, "EXIF")) {
            // Some writers put the name in front that it has in a JPEG file.
            const std::size_t name = hasAt(file, data, {"Exif\0\0", 6}) ? 6 : 0;
            return exifOrientation(file.subspan(data + name));
        }
        at = data + size + size % 2;
    }
    return 0;
}

// A lossy picture with an alpha channel has that in the lossless form.
bool hasLossless(const WebPBitstreamFeatures& features) {
    constexpr int kLossy = 1;
    return features.format != kLossy || features.has_alpha != 0;
}

// The decoder keeps what is lossless as colours before it turns into brightness.
uint64_t pixelMemory(const WebPBitstreamFeatures& features) {
    const uint64_t pixels = uint64_t(features.width) * uint64_t(features.height);
    const uint64_t perPixel =
        2 + (hasLossless(features) ? 4 : 0) + (features.has_alpha != 0 ? 2 : 0);
    return perPixel * pixels;
}

// Each 4 x 4 pixels of a lossless picture may have code tables of their own, which take 20 bits of
// the file at least.
uint64_t tableMemory(const WebPBitstreamFeatures& features, std::size_t fileSize) {
    constexpr uint64_t kTables = 12'800;
    constexpr uint64_t kMostTables = 65'536;
    const uint64_t tiles =
        (uint64_t(features.width) + 3) / 4 * ((uint64_t(features.height) + 3) / 4);
    return hasLossless(features)
               ? kTables * std::min({kMostTables, tiles, uint64_t{fileSize} * 8 / 20})
               : 0;
}

// Brightness is stored as 16 (black) to 235 (white).
std::array<uint8_t, 256> fullRange() {
    std::array<uint8_t, 256> table;
    for (int i = 0; i < 256; ++i) {
        table[static_cast<std::size_t>(i)] =
            static_cast<uint8_t>((std::clamp(i - 16, 0, 219) * 255 + 109) / 219);
    }
    return table;
}

// The planes that the decoder fills. Those of the colours serve nobody, but it wants them.
struct Planes {
    explicit Planes(const ImageInfo& info, bool withAlpha)
        : brightness(std::size_t{info.width} * info.height),
          alpha(withAlpha ? brightness.size() : 0),
          colourWidth((info.width + 1) / 2),
          colours(2 * std::size_t{colourWidth} * ((info.height + 1) / 2)) {}

    [[nodiscard]] WebPYUVABuffer layout(const ImageInfo& info) {
        WebPYUVABuffer buffer = {};
        const std::size_t half = colours.size() / 2;
        buffer.y = brightness.data();
        buffer.u = colours.data();
        buffer.v = colours.data() + half;
        buffer.a = alpha.empty() ? nullptr : alpha.data();
        buffer.y_stride = buffer.a_stride = static_cast<int>(info.width);
        buffer.u_stride = buffer.v_stride = static_cast<int>(colourWidth);
        buffer.y_size = brightness.size();
        buffer.u_size = buffer.v_size = half;
        buffer.a_size = alpha.size();
        return buffer;
    }

    GreyPixels brightness;
    std::vector<uint8_t> alpha;
    uint32_t colourWidth;
    std::vector<uint8_t> colours;
};

GreyPixels greyFrom(Planes& planes) {
    const std::array<uint8_t, 256> table = fullRange();
    GreyPixels& pixels = planes.brightness;
    for (uint8_t& pixel : pixels) {
        pixel = table[pixel];
    }
    for (std::size_t i = 0; i < planes.alpha.size(); ++i) {
        pixels[i] = onWhite(pixels[i], planes.alpha[i]);
    }
    return std::move(pixels);
}

}  // namespace

bool looksLikeWebp(Bytes file) noexcept {
    return hasAt(file, 0, "RIFF") && hasAt(file, 8, "WEBP");
}

OrRefusal<ImageInfo> inspectWebp(Bytes file) {
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK) {
        return damaged("its header is damaged or cut off");
    }
    if (features.has_animation != 0) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE,
                       "animated WebP images are not supported"};
    }
    return ImageInfo{ImageType::Webp,
                     static_cast<uint32_t>(features.width),
                     static_cast<uint32_t>(features.height),
                     orientationIn(file),
                     pixelMemory(features),
                     tableMemory(features, file.size())};
}

OrRefusal<GreyPixels> decodeWebp(Bytes file, const ImageInfo& info) {
    WebPDecoderConfig config;
    if (WebPInitDecoderConfig(&config) == 0 ||
        WebPGetFeatures(file.data(), file.size(), &config.input) != VP8_STATUS_OK) {
        throw std::logic_error("the image was not inspected");
    }
    const bool withAlpha = config.input.has_alpha != 0;
    Planes planes(info, withAlpha);
    config.output.colorspace = withAlpha ? MODE_YUVA : MODE_YUV;
    config.output.is_external_memory = 1;
    config.output.u.YUVA = planes.layout(info);
    switch (WebPDecode(file.data(), file.size(), &config)) {
        case VP8_STATUS_OK:
            return greyFrom(planes);
        case VP8_STATUS_OUT_OF_MEMORY:
            throw std::bad_alloc();
        default:
            return damaged("its pixels are damaged or cut off");
    }
}

}  // namespace standin
