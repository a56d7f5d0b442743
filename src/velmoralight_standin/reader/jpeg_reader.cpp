#include "velmoralight_standin/reader/jpeg_reader.h"

#include <turbojpeg.h>

#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "velmoralight_standin/reader/exif.h"
#include "velmoralight_standin/reader/grey.h"
#include "velmoralight_standin/reader/jpeg_layout.h"

namespace standin {

namespace {

struct DestroyDecoder {
    void operator()(tjhandle handle) const noexcept { tjDestroy(handle); }
};
using Decoder = std::unique_ptr<std::remove_pointer_t<tjhandle>, DestroyDecoder>;

Decoder makeDecoder() {
    Decoder decoder(tjInitDecompress());
    if (!decoder) {
        throw std::bad_alloc();
    }
    return decoder;
}

Refusal damaged(const std::string& what) {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE, "not a valid JPEG image: " + what};
}

// Cyan, magenta, yellow and black.
constexpr std::size_t kInks = 4;

bool hasInks(const JpegLayout& layout) {
    return layout.componentCount == kInks;
}

using Samples = std::vector<uint8_t>;

OrRefusal<Samples> decodeTo(TJPF format, std::size_t samplesPerPixel, Bytes file,
                            const ImageInfo& info) {
    const Decoder decoder = makeDecoder();
    Samples samples(samplesPerPixel * info.width * info.height);
    const int failed = tjDecompress2(
        decoder.get(), file.data(), static_cast<unsigned long>(file.size()), samples.data(),
        static_cast<int>(info.width), 0, static_cast<int>(info.height), format, TJFLAG_LIMITSCANS);
    // After a mere warning the picture is there, with grey where data is missing.
    if (failed != 0 && tjGetErrorCode(decoder.get()) != TJERR_WARNING) {
        return damaged(tjGetErrorStr2(decoder.get()));
    }
    return samples;
}

// The paper is white: each of the first three inks takes one of the colours away, black all. The
// light that is left is how far a sample is from that of all ink.
GreyPixels greyOfInks(const Samples& inks, bool inverted) {
    const unsigned allInk = inverted ? 0 : 255;
    GreyPixels pixels(inks.size() / kInks);
    const uint8_t* ink = inks.data();
    for (uint8_t& pixel : pixels) {
        const unsigned colours = greyOf(ink[0] ^ allInk, ink[1] ^ allInk, ink[2] ^ allInk);
        pixel = static_cast<uint8_t>(colours * (ink[3] ^ allInk) / 255);
        ink += kInks;
    }
    return pixels;
}

}  // namespace

bool looksLikeJpeg(Bytes file) noexcept {
    return file.size() >= 3 && file[0] == 0xff && file[1] == 0xd8 && file[2] == 0xff;
}

OrRefusal<ImageInfo> inspectJpeg(Bytes file, const Limits& limits) {
    const JpegLayout layout = jpegLayout(file);
    if (layout.componentCount == 0) {
        return damaged("it has no frame");
    }
    if (layout.width == 0 || layout.height == 0) {
        return damaged("it has no pixels");
    }
    if (!layout.hasData) {
        return damaged("the file ends before its pixels");
    }
    if (layout.scans > limits.maxJpegScans) {
        return damaged("it has more than " + std::to_string(limits.maxJpegScans) + " scans");
    }
    const uint64_t pixels = uint64_t{layout.width} * layout.height;
    const uint64_t perPixel = hasInks(layout) ? 1 + kInks : 1;
    return ImageInfo{ImageType::Jpeg, layout.width, layout.height, exifOrientation(layout.exif),
                     perPixel * pixels + coefficientMemory(layout)};
}

OrRefusal<GreyPixels> decodeJpeg(Bytes file, const ImageInfo& info) {
    const JpegLayout layout = jpegLayout(file);
    if (!hasInks(layout)) {
        // The brightness is in the file itself, weighted as greyOf weights colours.
        return decodeTo(TJPF_GRAY, 1, file, info);
    }
    const auto inks = decodeTo(TJPF_CMYK, kInks, file, info);
    if (const Refusal* refusal = std::get_if<Refusal>(&inks)) {
        return *refusal;
    }
    return greyOfInks(std::get<Samples>(inks), layout.inksAreInverted);
}

}  // namespace standin
