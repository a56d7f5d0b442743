#include "velmoralight_standin/reader/jpeg_reader.h"

#include <turbojpeg.h>

#include <memory>
#include <new>
#include <type_traits>

#include "velmoralight_standin/reader/exif.h"
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
    if (layout.componentCount == 4) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE, "CMYK images are not supported"};
    }
    if (!layout.hasData) {
        return damaged("the file ends before its pixels");
    }
    if (layout.scans > limits.maxJpegScans) {
        return damaged("it has more than " + std::to_string(limits.maxJpegScans) + " scans");
    }
    const uint64_t pixels = uint64_t{layout.width} * layout.height;
    return ImageInfo{ImageType::Jpeg, layout.width, layout.height, exifOrientation(layout.exif),
                     pixels + coefficientMemory(layout)};
}

OrRefusal<GreyPixels> decodeJpeg(Bytes file, const ImageInfo& info) {
    const Decoder decoder = makeDecoder();
    GreyPixels pixels(std::size_t{info.width} * info.height);
    // The brightness is in the file itself, weighted as greyOf weights colours.
    const int failed =
        tjDecompress2(decoder.get(), file.data(), static_cast<unsigned long>(file.size()),
                      pixels.data(), static_cast<int>(info.width), 0, static_cast<int>(info.height),
                      TJPF_GRAY, TJFLAG_LIMITSCANS);
    // After a mere warning the picture is there, with grey where data is missing.
    if (failed != 0 && tjGetErrorCode(decoder.get()) != TJERR_WARNING) {
        return damaged(tjGetErrorStr2(decoder.get()));
    }
    return pixels;
}

}  // namespace standin
