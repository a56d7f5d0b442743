#include "velmoralight_standin/reader/jpeg_reader.h"

#include <turbojpeg.h>

#include <memory>
#include <new>
#include <type_traits>

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

Refusal damaged(const Decoder& decoder) {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE,
            std::string("not a valid JPEG image: ") + tjGetErrorStr2(decoder.get())};
}

unsigned long sizeOf(Bytes file) {
    return static_cast<unsigned long>(file.size());
}

}  // namespace

bool looksLikeJpeg(Bytes file) noexcept {
    return file.size() >= 3 && file[0] == 0xff && file[1] == 0xd8 && file[2] == 0xff;
}

OrRefusal<ImageInfo> inspectJpeg(Bytes file) {
    const Decoder decoder = makeDecoder();
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colours = 0;
    if (tjDecompressHeader3(decoder.get(), file.data(), sizeOf(file), &width, &height, &subsampling,
                            &colours) != 0) {
        return damaged(decoder);
    }
    if (width <= 0 || height <= 0) {
        // Without the frame's header the library fails only if it finds something wrong instead.
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE,
                       "not a valid JPEG image: it has no pixels"};
    }
    if (colours == TJCS_CMYK || colours == TJCS_YCCK) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE, "CMYK images are not supported"};
    }
    return ImageInfo{ImageType::Jpeg, static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
}

OrRefusal<GreyPixels> decodeJpeg(Bytes file, const ImageInfo& info) {
    const Decoder decoder = makeDecoder();
    GreyPixels pixels(std::size_t{info.width} * info.height);
    // Without a limit a small file may hold scans without end.
    constexpr int kFlags = TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS;
    if (tjDecompress2(decoder.get(), file.data(), sizeOf(file), pixels.data(),
                      static_cast<int>(info.width), 0, static_cast<int>(info.height), TJPF_GRAY,
                      kFlags) != 0) {
        return damaged(decoder);
    }
    return pixels;
}

}  // namespace standin
