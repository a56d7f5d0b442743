#include "velmoralight_standin/reader/symbol_reader.h"

#include <ZXing/ReadBarcode.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

#include "velmoralight_standin/reader/utf8.h"

namespace standin {

namespace {

using ZXing::BarcodeFormat;
using ZXing::BarcodeFormats;

// Calls `visit` with each format, in the library's order, until it returns false.
template <typename Visitor>
void forEachFormat(Visitor visit) {
    const auto last = static_cast<uint32_t>(BarcodeFormat::_max);
    for (uint32_t bit = 1; bit <= last && visit(static_cast<BarcodeFormat>(bit)); bit <<= 1U) {
    }
}

// Whether the bytes cannot be had from the text again: they are called something other than text,
// or the character set is not told and is not the usual one either.
bool isGuess(const ZXing::Result& result) {
    switch (result.contentType()) {
        case ZXing::ContentType::Binary:
        case ZXing::ContentType::Mixed:
        case ZXing::ContentType::UnknownECI:
            return true;
        default:
            return !result.hasECI() && !isUtf8(result.bytes());
    }
}

Corner cornerAt(const ZXing::PointI& point, const Roi& roi) {
    return {int64_t{point.x} + roi.x, int64_t{point.y} + roi.y};
}

Symbol describe(const ZXing::Result& result, const Roi& roi) {
    const ZXing::Position& position = result.position();
    return {ZXing::ToString(result.format()),
            result.text(),
            isGuess(result) ? result.bytes() : ZXing::ByteArray(),
            {cornerAt(position.topLeft(), roi), cornerAt(position.topRight(), roi),
             cornerAt(position.bottomRight(), roi), cornerAt(position.bottomLeft(), roi)}};
}

// What is looked for together where the library fails over the whole.
constexpr std::array kKinds = {BarcodeFormat::LinearCodes, BarcodeFormat::Aztec,
                               BarcodeFormat::DataMatrix,  BarcodeFormat::MaxiCode,
                               BarcodeFormat::PDF417,      BarcodeFormat::QRCode,
                               BarcodeFormat::MicroQRCode};

// Over a damaged symbol of some kinds, and over what only looks like one, the library throws and
// all that it has found is lost. Then each kind is looked for alone, and no more is missed than
// the symbols of one kind.
ZXing::Results search(const ZXing::ImageView& view, BarcodeFormats formats,
                      ZXing::Binarizer binarizer) {
    const auto hints = ZXing::DecodeHints().setFormats(formats).setBinarizer(binarizer);
    try {
        return ZXing::ReadBarcodes(view, hints);
    } catch (const std::logic_error&) {
        ZXing::Results results;
        for (const BarcodeFormat kind : kKinds) {
            BarcodeFormats part = formats;
            part &= kind;
            if (!part.empty() && !(part == formats)) {
                std::ranges::move(search(view, part, binarizer), std::back_inserter(results));
            }
        }
        return results;
    }
}

// Looks for `formats`, of which there is one at least.
ZXing::Results read(const ZXing::ImageView& view, BarcodeFormats formats,
                    ZXing::Binarizer binarizer) {
    ZXing::Results results = search(view, formats, binarizer);
    // The library takes any EAN-13 where it looks for UPC-A.
    std::erase_if(results,
                  [&](const ZXing::Result& result) { return !formats.testFlag(result.format()); });
    return results;
}

ZXing::Results readDarkOnLight(const ZXing::ImageView& view, BarcodeFormats wanted) {
    ZXing::Results results = read(view, wanted, ZXing::Binarizer::LocalAverage);
    BarcodeFormats matrixCodes = wanted;
    matrixCodes &= BarcodeFormat::MatrixCodes;
    if (results.empty() && !matrixCodes.empty()) {
        // Local thresholds lose a faint symbol on an even ground; one threshold for all of the
        // image finds it. Linear symbols were looked for in that way already.
        results = read(view, matrixCodes, ZXing::Binarizer::GlobalHistogram);
    }
    return results;
}

void invert(GreyPixels& pixels) {
    for (uint8_t& pixel : pixels) {
        pixel = static_cast<uint8_t>(~pixel);
    }
}

}  // namespace

std::optional<Formats> formatNamed(std::string_view name) {
    std::optional<Formats> found;
    forEachFormat([&](BarcodeFormat format) {
        if (name == ZXing::ToString(format)) {
            found = static_cast<Formats>(format);
        }
        return !found;
    });
    return found;
}

std::string formatNames() {
    std::string names;
    forEachFormat([&](BarcodeFormat format) {
        names.append(names.empty() ? "" : ", ").append(ZXing::ToString(format));
        return true;
    });
    return names;
}

std::vector<Symbol> readSymbols(GreyPixels& pixels, uint32_t width, const Roi& roi,
                                Formats formats) {
    const uint8_t* first = pixels.data() + std::size_t{roi.y} * width + roi.x;
    const ZXing::ImageView view(first, static_cast<int>(roi.width), static_cast<int>(roi.height),
                                ZXing::ImageFormat::Lum, static_cast<int>(width));
    const BarcodeFormats wanted(formats == Formats::All ? BarcodeFormat::Any
                                                        : static_cast<BarcodeFormat>(formats));
    ZXing::Results results = readDarkOnLight(view, wanted);
    if (results.empty()) {
        invert(pixels);
        results = readDarkOnLight(view, wanted);
    }
    std::vector<Symbol> symbols;
    for (const ZXing::Result& result : results) {
        symbols.push_back(describe(result, roi));
    }
    return symbols;
}

}  // namespace standin
