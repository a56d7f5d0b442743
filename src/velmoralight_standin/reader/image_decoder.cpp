#include "velmoralight_standin/reader/image_decoder.h"

#include "velmoralight_standin/reader/jpeg_reader.h"
#include "velmoralight_standin/reader/png_reader.h"

namespace standin {

namespace {

OrRefusal<ImageInfo> readHeader(Bytes file) {
    if (file.empty()) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE, "there is no image in the request"};
    }
    if (looksLikePng(file)) {
        return inspectPng(file);
    }
    if (looksLikeJpeg(file)) {
        return inspectJpeg(file);
    }
    return Refusal{VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE, "the image is neither PNG nor JPEG"};
}

Refusal tooManyPixels(const ImageInfo& info, const Limits& limits) {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE,
            "the image has " + std::to_string(info.width) + " x " + std::to_string(info.height) +
                " pixels, more than " + std::to_string(limits.maxPixels)};
}

}  // namespace

OrRefusal<ImageInfo> inspectImage(Bytes file, const Limits& limits) {
    OrRefusal<ImageInfo> result = readHeader(file);
    if (const ImageInfo* info = std::get_if<ImageInfo>(&result)) {
        if (uint64_t{info->width} * info->height > limits.maxPixels) {
            return tooManyPixels(*info, limits);
        }
    }
    return result;
}

OrRefusal<GreyPixels> decodeImage(Bytes file, const ImageInfo& info) {
    return info.type == ImageType::Png ? decodePng(file, info) : decodeJpeg(file, info);
}

}  // namespace standin
