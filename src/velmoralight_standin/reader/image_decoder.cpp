#include "velmoralight_standin/reader/image_decoder.h"

#include <stdexcept>

#include "velmoralight_standin/reader/jpeg_reader.h"
#include "velmoralight_standin/reader/png_reader.h"
#include "velmoralight_standin/reader/webp_reader.h"

namespace standin {

namespace {

OrRefusal<ImageInfo> readHeader(Bytes file, const Limits& limits) {
    if (file.empty()) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE, "there is no image in the request"};
    }
    if (looksLikePng(file)) {
        return inspectPng(file);
    }
    if (looksLikeJpeg(file)) {
        return inspectJpeg(file, limits);
    }
    if (looksLikeWebp(file)) {
        return inspectWebp(file);
    }
    return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE,
                   "the image is neither PNG nor JPEG nor WebP"};
}

Refusal tooManyPixels(const ImageInfo& info, const Limits& limits) {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE,
            "the image has " + std::to_string(info.width) + " x " + std::to_string(info.height) +
                " pixels, more than " + std::to_string(limits.maxPixels)};
}

}  // namespace

const char* nameOf(ImageType type) noexcept {
    switch (type) {
        case ImageType::Png:
            return "png";
        case ImageType::Jpeg:
            return "jpeg";
        case ImageType::Webp:
            break;
    }
    return "webp";
}

OrRefusal<ImageInfo> inspectImage(Bytes file, const Limits& limits) {
    OrRefusal<ImageInfo> result = readHeader(file, limits);
    if (const ImageInfo* info = std::get_if<ImageInfo>(&result)) {
        if (uint64_t{info->width} * info->height > limits.maxPixels) {
            return tooManyPixels(*info, limits);
        }
    }
    return result;
}

OrRefusal<GreyPixels> decodeImage(Bytes file, const ImageInfo& info) {
    switch (info.type) {
        case ImageType::Png:
            return decodePng(file, info);
        case ImageType::Jpeg:
            return decodeJpeg(file, info);
        case ImageType::Webp:
            return decodeWebp(file, info);
    }
    throw std::logic_error("an image of no type");
}

}  // namespace standin
