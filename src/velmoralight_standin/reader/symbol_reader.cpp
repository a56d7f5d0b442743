#include "velmoralight_standin/reader/symbol_reader.h"

#include <ZXing/ReadBarcode.h>

namespace standin {

namespace {

Corner cornerAt(const ZXing::PointI& point, const Roi& roi) {
    return {int64_t{point.x} + roi.x, int64_t{point.y} + roi.y};
}

Symbol describe(const ZXing::Result& result, const Roi& roi) {
    const ZXing::Position& position = result.position();
    return {ZXing::ToString(result.format()),
            result.text(),
            {cornerAt(position.topLeft(), roi), cornerAt(position.topRight(), roi),
             cornerAt(position.bottomRight(), roi), cornerAt(position.bottomLeft(), roi)}};
}

ZXing::Results readAll(const ZXing::ImageView& view) {
    ZXing::Results results = ZXing::ReadBarcodes(view);
    if (results.empty()) {
        // Local thresholds lose a faint symbol on an even ground; one threshold for all of the
        // image finds it. Linear symbols were looked for in that way already.
        results = ZXing::ReadBarcodes(view, ZXing::DecodeHints()
                                                .setFormats(ZXing::BarcodeFormat::MatrixCodes)
                                                .setBinarizer(ZXing::Binarizer::GlobalHistogram));
    }
    return results;
}

}  // namespace

std::vector<Symbol> readSymbols(const GreyPixels& pixels, uint32_t width, const Roi& roi) {
    const uint8_t* first = pixels.data() + std::size_t{roi.y} * width + roi.x;
    const ZXing::ImageView view(first, static_cast<int>(roi.width), static_cast<int>(roi.height),
                                ZXing::ImageFormat::Lum, static_cast<int>(width));
    std::vector<Symbol> symbols;
    for (const ZXing::Result& result : readAll(view)) {
        symbols.push_back(describe(result, roi));
    }
    return symbols;
}

}  // namespace standin
