#include "velmoralight_standin/reader/recognition.h"

#include <algorithm>
#include <exception>
#include <new>

#include <nlohmann/json.hpp>

#include "velmoralight_standin/json_text.h"
#include "velmoralight_standin/reader/base64.h"
#include "velmoralight_standin/reader/image_decoder.h"
#include "velmoralight_standin/reader/wanted.h"
#include "velmoralight_standin/return_code.h"

namespace standin {

namespace {

constexpr uint64_t kMebibyte = uint64_t{1024} * 1024;

// The pixels, smaller copies of them, and up to four copies in black and white that the search
// makes, all of them with a byte a pixel.
constexpr uint64_t kSearchQuarterBytesPerPixel = 21;

Recognition& refuse(Recognition& recognition, const Refusal& refusal) {
    recognition.code = refusal.code;
    recognition.message = refusal.message;
    return recognition;
}

Refusal tooMuchMemory() {
    return {VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE,
            "the image needs more memory than one image may have"};
}

// What decoding and reading take at most, bytes. They come one after the other. Tables that a file
// seldom has are no reason to refuse it: at worst it has all of `most`, and not enough.
uint64_t memoryFor(const ImageInfo& image, uint64_t most) {
    const uint64_t pixels = uint64_t{image.width} * image.height;
    const uint64_t search = kSearchQuarterBytesPerPixel * pixels / 4;
    const uint64_t decoding =
        std::max(image.decodingMemory, std::min(image.decodingMemory + image.decodingTables, most));
    return std::max(decoding, search);
}

// The region to look at, or why not.
OrRefusal<Roi> regionOf(const Wanted& wanted, const ImageInfo& image) {
    const Roi roi = wanted.roi.value_or(Roi{0, 0, image.width, image.height});
    if (!liesInside(roi, image)) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_ROI, "roi does not lie inside the image"};
    }
    return roi;
}

Recognition recognizeOrThrow(std::string_view query, Bytes file, const Limits& limits,
                             const MemoryNotice& notice) {
    Recognition result;
    const auto wanted = parseWanted(query);
    if (const Refusal* refusal = std::get_if<Refusal>(&wanted)) {
        return refuse(result, *refusal);
    }
    const auto info = inspectImage(file, limits);
    if (const Refusal* refusal = std::get_if<Refusal>(&info)) {
        return refuse(result, *refusal);
    }
    const ImageInfo& image = result.image.emplace(std::get<ImageInfo>(info));
    const auto roi = regionOf(std::get<Wanted>(wanted), image);
    if (const Refusal* refusal = std::get_if<Refusal>(&roi)) {
        return refuse(result, *refusal);
    }
    const uint64_t most = limits.pictureMemory * kMebibyte;
    const uint64_t memory = memoryFor(image, most);
    if (memory > most) {
        return refuse(result, tooMuchMemory());
    }
    if (notice) {
        notice(memory);
    }
    auto pixels = decodeImage(file, image);
    if (const Refusal* refusal = std::get_if<Refusal>(&pixels)) {
        return refuse(result, *refusal);
    }
    result.symbols = readSymbols(std::get<GreyPixels>(pixels), image.width, std::get<Roi>(roi),
                                 std::get<Wanted>(wanted).formats.value_or(Formats::All));
    return result;
}

Recognition failed(VelmoraLightReturnCode code, const std::string& why) {
    Recognition result;
    result.code = code;
    result.message = why;
    return result;
}

nlohmann::ordered_json jsonOf(const ImageInfo& image) {
    nlohmann::ordered_json json = {
        {"type", nameOf(image.type)}, {"width", image.width}, {"height", image.height}};
    if (image.orientation != 0) {
        json["orientation"] = image.orientation;
    }
    return json;
}

nlohmann::ordered_json jsonOf(const Symbol& symbol) {
    nlohmann::ordered_json json = {{"format", symbol.format}, {"text", symbol.text}};
    if (!symbol.bytes.empty()) {
        json["bytes"] = base64(symbol.bytes);
    }
    json["corners"] = nlohmann::ordered_json::array();
    for (const Corner& corner : symbol.corners) {
        json["corners"].push_back({{"x", corner.x}, {"y", corner.y}});
    }
    return json;
}

}  // namespace

Recognition recognize(std::string_view query, Bytes file, const Limits& limits,
                      const MemoryNotice& notice) noexcept {
    try {
        return recognizeOrThrow(query, file, limits, notice);
    } catch (const std::bad_alloc&) {
        return failed(VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE, tooMuchMemory().message);
    } catch (const std::exception&) {
        return failed(VELMORA_LIGHT_ERROR_OTHER, "the recognition failed");
    }
}

std::string answerText(const Recognition& recognition) {
    nlohmann::ordered_json answer = {{"code", static_cast<int>(recognition.code)},
                                     {"name", nameOf(recognition.code)}};
    if (!recognition.message.empty()) {
        answer["message"] = recognition.message;
    }
    if (recognition.image) {
        answer["image"] = jsonOf(*recognition.image);
    }
    if (recognition.code == VELMORA_LIGHT_SUCCESS) {
        answer["symbols"] = nlohmann::ordered_json::array();
        for (const Symbol& symbol : recognition.symbols) {
            answer["symbols"].push_back(jsonOf(symbol));
        }
    }
    std::string text = jsonText(answer);
    text.pop_back();  // the line feed
    return text;
}

}  // namespace standin
