#include "velmoralight_standin/reader/roi.h"

#include <charconv>

namespace standin {

namespace {

// Takes a number off the front of `text`.
bool takeNumber(std::string_view& text, uint32_t& number) {
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc()) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return true;
}

bool takeComma(std::string_view& text) {
    if (!text.starts_with(',')) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<Roi> parseRoi(std::string_view text) {
    Roi roi;
    const bool complete = takeNumber(text, roi.x) && takeComma(text) && takeNumber(text, roi.y) &&
                          takeComma(text) && takeNumber(text, roi.width) && takeComma(text) &&
                          takeNumber(text, roi.height);
    if (!complete || !text.empty()) {
        return std::nullopt;
    }
    return roi;
}

bool liesInside(const Roi& roi, const ImageInfo& image) noexcept {
    return roi.width > 0 && roi.height > 0 && uint64_t{roi.x} + roi.width <= image.width &&
           uint64_t{roi.y} + roi.height <= image.height;
}

}  // namespace standin
