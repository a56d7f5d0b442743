// What is read in pictures, in this process: what the reader program wraps.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/row_name.h"
#include "test_images.h"
#include "velmoralight_standin/reader/recognition.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

standin::Recognition recognize(const std::string& file, const std::string& query = "") {
    const standin::Bytes bytes(reinterpret_cast<const uint8_t*>(file.data()), file.size());
    return standin::recognize(query, bytes, standin::Limits());
}

// Format and text of each symbol in an image that is recognised.
std::vector<std::string> symbolsIn(const std::string& file, const std::string& query = "") {
    const standin::Recognition result = recognize(file, query);
    EXPECT_EQ(result.code, VELMORA_LIGHT_SUCCESS) << result.message;
    std::vector<std::string> symbols;
    for (const standin::Symbol& symbol : result.symbols) {
        symbols.push_back(symbol.format + " " + symbol.text);
    }
    return symbols;
}

json answerFor(const std::string& file) {
    return json::parse(standin::answerText(recognize(file)));
}

constexpr int kEan13 = 13;
constexpr const char* kEanText = "EAN-13 4006381333931";

const GreyImage& ean() {
    static const GreyImage image = decode(zintPng(kEan13, "400638133393", 1));
    return image;
}

const GreyImage& code() {
    static const GreyImage image = decode(qrPng("a picture", 4));
    return image;
}

constexpr const char* kCodeText = "QRCode a picture";

// The symbol as a poor camera sees it on a grey table. It lies in the middle: some kinds are looked
// for there only.
GreyImage photograph(const GreyImage& symbol, int width, int height) {
    const GreyImage seen = withContrast(blurred(symbol, 1), 30, 220);
    return withNoise(placed(plain(width, height, 220), seen, (width - seen.width) / 2,
                            (height - seen.height) / 2),
                     8);
}

}  // namespace

TEST(ReaderPictures, BarCodeInAnImageWithAShorterSideOver500PixelsIsRead) {
    EXPECT_THAT(symbolsIn(encodePng(placed(plain(900, 700), enlarged(ean(), 3), 60, 60))),
                ElementsAre(kEanText));
}

TEST(ReaderPictures, TwoEqualBarCodesInOneImageAreBothRead) {
    const GreyImage image = placed(placed(plain(660, 180), ean(), 20, 30), ean(), 380, 30);
    EXPECT_THAT(symbolsIn(encodePng(image)), ElementsAre(kEanText, kEanText));
}

TEST(ReaderPictures, TwoEqualBarCodesInALargeImageAreBothRead) {
    const GreyImage large = enlarged(ean(), 3);
    const GreyImage image = placed(placed(plain(1600, 1200), large, 50, 50), large, 800, 700);
    EXPECT_THAT(symbolsIn(encodePng(image)), ElementsAre(kEanText, kEanText));
}

TEST(ReaderPictures, BarCodeStandingUprightInALargeImageIsRead) {
    EXPECT_THAT(symbolsIn(encodePng(rotated(enlarged(ean(), 4), 90))), ElementsAre(kEanText));
}

struct Held {
    const char* name;
    double degrees;
};

std::ostream& operator<<(std::ostream& out, const Held& row) {
    return out << row.name;
}

class PhoneSizedPictures : public testing::TestWithParam<Held> {};

TEST_P(PhoneSizedPictures, AreRead) {
    const GreyImage bars = rotated(enlarged(ean(), 4), GetParam().degrees);
    const GreyImage dots = rotated(enlarged(code(), 4), GetParam().degrees);
    const GreyImage picture = placed(photograph(bars, 4000, 3000), dots, 3200, 2200);
    EXPECT_THAT(symbolsIn(encodeColourJpeg(picture)),
                testing::UnorderedElementsAre(kEanText, kCodeText));
}

INSTANTIATE_TEST_SUITE_P(Held, PhoneSizedPictures,
                         testing::Values(Held{"Straight", 0}, Held{"ALittleTurned", 7},
                                         Held{"LyingOnItsSide", 90}, Held{"UpsideDown", 180}),
                         rowName);

struct Kind {
    const char* name;
    int number;  // zint's
    const char* text;
    const char* found;
};

std::ostream& operator<<(std::ostream& out, const Kind& row) {
    return out << row.name;
}

class LargePictures : public testing::TestWithParam<Kind> {};

TEST_P(LargePictures, AreReadEnlargedBlurredAndWithNoise) {
    const GreyImage symbol = decode(zintPng(GetParam().number, GetParam().text, 1));
    EXPECT_THAT(symbolsIn(encodeJpeg(photograph(enlarged(symbol, 3), 1600, 1200))),
                ElementsAre(GetParam().found));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, LargePictures,
    testing::Values(Kind{"Ean13", kEan13, "400638133393", kEanText},
                    Kind{"Ean8", 10, "1234567", "EAN-8 12345670"},
                    Kind{"UpcE", 37, "123456", "UPC-E 01234565"},
                    Kind{"Code39", 8, "CODE39", "Code39 CODE39"},
                    Kind{"Code128", 20, "Hello-128", "Code128 Hello-128"},
                    Kind{"Interleaved", 3, "12345678", "ITF 12345678"},
                    Kind{"DataBar", 29, "0950110153001", "DataBar 09501101530010"},
                    Kind{"Pdf417", 55, "stacked rows", "PDF417 stacked rows"},
                    Kind{"DataMatrix", 71, "data matrix", "DataMatrix data matrix"},
                    Kind{"Aztec", 92, "aztec code", "Aztec aztec code"},
                    Kind{"QrCode", 58, "another maker", "QRCode another maker"}),
    rowName);

struct Encoding {
    const char* name;
    const char* type;
    std::string (*encode)(const GreyImage& image);
};

std::ostream& operator<<(std::ostream& out, const Encoding& row) {
    return out << row.name;
}

class PictureFormats : public testing::TestWithParam<Encoding> {};

TEST_P(PictureFormats, AreReadAndNamed) {
    const std::string file = GetParam().encode(code());
    EXPECT_THAT(symbolsIn(file), ElementsAre(kCodeText));
    EXPECT_EQ(answerFor(file)["image"]["type"], GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, PictureFormats,
    testing::Values(Encoding{"Png", "png", encodePng},
                    Encoding{"TransparentPng", "png", encodeColourPng},
                    Encoding{"InterlacedPng", "png", encodeInterlacedPng},
                    Encoding{"PalettePng", "png", encodePalettePng},
                    Encoding{"DeepPng", "png", encodeDeepPng},
                    Encoding{"GreyJpeg", "jpeg", [](const GreyImage& i) { return encodeJpeg(i); }},
                    Encoding{"ColourJpeg", "jpeg", encodeColourJpeg},
                    Encoding{"ProgressiveJpeg", "jpeg", encodeProgressiveJpeg},
                    Encoding{"InkJpeg", "jpeg", encodeInkJpeg},
                    Encoding{"ColourInkJpeg", "jpeg", encodeColourInkJpeg},
                    Encoding{"UnmixedInkJpeg", "jpeg", encodeUnmixedInkJpeg},
                    Encoding{"PlainInkJpeg", "jpeg", encodePlainInkJpeg},
                    Encoding{"LossyWebp", "webp", [](const GreyImage& i) { return encodeWebp(i); }},
                    Encoding{"LosslessWebp", "webp", encodeLosslessWebp},
                    Encoding{"TransparentWebp", "webp", encodeTransparentWebp}),
    rowName);

TEST(ReaderPictures, AnimatedWebpIsRefusedByName) {
    // The extended header with the mark of an animation, and no more than that.
    std::string file("RIFF\x16\0\0\0WEBPVP8X\x0a\0\0\0\x02\0\0\0\x0f\0\0\x0f\0\0", 30);
    const standin::Recognition result = recognize(file);
    EXPECT_EQ(result.code, VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE);
    EXPECT_EQ(result.message, "animated WebP images are not supported");
}

TEST(ReaderPictures, WebpIsRefusedWhereverItIsCut) {
    const std::string file = encodeWebp(code());
    for (size_t size = 12; size < file.size(); size += 1 + size / 8) {
        EXPECT_EQ(recognize(file.substr(0, size)).code, VELMORA_LIGHT_ERROR_INVALID_IMAGE) << size;
    }
}

TEST(ReaderPictures, JpegWithoutItsLastTwoBytesIsRead) {
    const std::string file = encodeJpeg(code());
    EXPECT_THAT(symbolsIn(file.substr(0, file.size() - 2)), ElementsAre(kCodeText));
}

TEST(ReaderPictures, JpegWithTwoOddBytesBeforeAMarkerIsRead) {
    std::string file = encodeJpeg(code());
    file.insert(file.find("\xff\xdb"), "ab");
    EXPECT_THAT(symbolsIn(file), ElementsAre(kCodeText));
    file.insert(file.size() - 2, "cd");
    EXPECT_THAT(symbolsIn(file), ElementsAre(kCodeText));
}

TEST(ReaderPictures, JpegThatEndsInItsDataShowsWhatIsThere) {
    const GreyImage image = placed(plain(600, 900), enlarged(code(), 2), 20, 20);
    const std::string file = encodeJpeg(image);
    EXPECT_THAT(symbolsIn(file.substr(0, file.size() - file.size() / 20)), ElementsAre(kCodeText));
}

TEST(ReaderPictures, JpegThatEndsBeforeItsDataIsRefused) {
    const std::string file = encodeJpeg(code());
    const size_t scan = file.find("\xff\xda");
    for (size_t size = 3; size <= scan + 10; ++size) {
        EXPECT_EQ(recognize(file.substr(0, size)).code, VELMORA_LIGHT_ERROR_INVALID_IMAGE) << size;
    }
}

TEST(ReaderPictures, JpegWithAThumbnailIsTakenForThePicture) {
    const std::string file = withThumbnail(encodeJpeg(code()), encodeJpeg(plain(160, 120)));
    EXPECT_THAT(symbolsIn(file), ElementsAre(kCodeText));
    EXPECT_EQ(answerFor(file)["image"]["width"], code().width);
}

TEST(ReaderPictures, JpegIsReadWhateverFollowsIt) {
    const std::string file = encodeJpeg(code());
    // A film of the moment before, or the picture's brighter half.
    EXPECT_THAT(symbolsIn(file +
                          std::string("\0\0\0\x18"
                                      "ftypmp42",
                                      12) +
                          std::string(5000, 'm')),
                ElementsAre(kCodeText));
    EXPECT_THAT(symbolsIn(file + encodeProgressiveJpeg(plain(900, 900))), ElementsAre(kCodeText));
}

TEST(ReaderPictures, FrameOfAWebcamIsRead) {
    const std::string file = withoutHuffmanTables(encodeColourJpeg(code()));
    ASSERT_EQ(file.find("\xff\xc4"), std::string::npos);
    EXPECT_THAT(symbolsIn(file), ElementsAre(kCodeText));
}

TEST(ReaderPictures, DarkColoursStayDark) {
    // As light, the two differ little; as bytes, they do.
    constexpr Colour kDarkRed = {110, 10, 20};
    constexpr Colour kOrange = {250, 130, 60};
    EXPECT_THAT(symbolsIn(encodeInColours(code(), kDarkRed, kOrange)), ElementsAre(kCodeText));
    EXPECT_THAT(symbolsIn(encodeInColours(enlarged(ean(), 2), {20, 60, 20}, {190, 170, 60})),
                ElementsAre(kEanText));
}

TEST(ReaderPictures, LightOnDarkIsReadWhenNothingElseWasFound) {
    EXPECT_THAT(symbolsIn(encodePng(inverted(code()))), ElementsAre(kCodeText));
    EXPECT_THAT(symbolsIn(encodePng(inverted(enlarged(ean(), 2)))), ElementsAre(kEanText));
}

TEST(ReaderPictures, DarkOnLightIsPreferred) {
    const GreyImage image =
        placed(placed(plain(900, 300), code(), 10, 10), inverted(ean()), 300, 9);
    EXPECT_THAT(symbolsIn(encodePng(image)), ElementsAre(kCodeText));
}

TEST(ReaderPictures, OrientationIsTold) {
    EXPECT_EQ(answerFor(withOrientation(encodeJpeg(code()), 6))["image"]["orientation"], 6);
    const std::string png = withPngChunks(encodePng(code()), pngChunk("eXIf", exifBlock(3)));
    EXPECT_EQ(answerFor(png)["image"]["orientation"], 3);
    EXPECT_EQ(
        answerFor(withWebpExif(encodeLosslessWebp(code()), exifBlock(8)))["image"]["orientation"],
        8);
}

TEST(ReaderPictures, OrientationIsAbsentWhereTheFileTellsNone) {
    EXPECT_FALSE(answerFor(encodeJpeg(code()))["image"].contains("orientation"));
    EXPECT_FALSE(
        answerFor(withOrientation(encodeJpeg(code()), 9))["image"].contains("orientation"));
}

TEST(ReaderPictures, CornersLieInThePictureAsItIsStored) {
    const GreyImage image = placed(plain(600, 300), code(), 400, 20);
    const json stored = answerFor(encodeJpeg(image));
    const json turned = answerFor(withOrientation(encodeJpeg(image), 6));
    EXPECT_EQ(turned["image"]["width"], 600);
    EXPECT_EQ(turned["symbols"], stored["symbols"]);
}

TEST(ReaderPictures, FormatsLimitWhatIsLookedFor) {
    const std::string file =
        encodePng(placed(placed(plain(900, 400), code(), 10, 10), enlarged(ean(), 2), 300, 50));
    EXPECT_THAT(symbolsIn(file, "formats=QRCode"), ElementsAre(kCodeText));
    EXPECT_THAT(symbolsIn(file, "formats=EAN-13"), ElementsAre(kEanText));
    EXPECT_THAT(symbolsIn(file, "formats=EAN-13%2CQRCode"),
                testing::UnorderedElementsAre(kCodeText, kEanText));
    EXPECT_THAT(symbolsIn(file, "formats=Aztec"), ElementsAre());
}

TEST(ReaderPictures, FormatsKeepOutWhatIsMetOnTheWay) {
    EXPECT_THAT(symbolsIn(encodePng(ean()), "formats=UPC-A"), ElementsAre());
    constexpr int kUpcA = 34;
    const std::string upc = zintPng(kUpcA, "72527270270", 1);
    EXPECT_THAT(symbolsIn(upc, "formats=UPC-A"), ElementsAre("UPC-A 725272702703"));
    EXPECT_THAT(symbolsIn(upc, "formats=EAN-13"), ElementsAre("EAN-13 0725272702703"));
}

TEST(ReaderPictures, FormatsAndRegionGoTogether) {
    const std::string file =
        encodePng(placed(placed(plain(900, 400), code(), 10, 10), enlarged(ean(), 2), 300, 50));
    EXPECT_THAT(symbolsIn(file, "roi=0,0,300,400&formats=EAN-13"), ElementsAre());
}

TEST(ReaderPictures, UnknownFormatIsRefusedWithTheKnownOnes) {
    const standin::Recognition result = recognize(encodePng(code()), "formats=QRCode,Qr");
    EXPECT_EQ(result.code, VELMORA_LIGHT_ERROR_INVALID_PROPERTY);
    EXPECT_EQ(result.message,
              "formats names 'Qr', which is none of: Aztec, Codabar, Code39, Code93, Code128, "
              "DataBar, DataBarExpanded, DataMatrix, EAN-8, EAN-13, ITF, MaxiCode, PDF417, QRCode, "
              "UPC-A, UPC-E, MicroQRCode");
}

TEST(ReaderPictures, MalformedFormatsAreRefused) {
    for (const char* query : {"formats=", "formats=QRCode,", "formats=,", "formats=qrcode",
                              "formats=QRCode&formats=Aztec"}) {
        EXPECT_EQ(recognize(encodePng(code()), query).code, VELMORA_LIGHT_ERROR_INVALID_PROPERTY)
            << query;
    }
}

TEST(ReaderPictures, BytesAreToldWhereTheyAreNoText) {
    const json symbol = answerFor(qrPng("\xff\xfe\x80\xc3"))["symbols"][0];
    EXPECT_EQ(symbol["bytes"], "//6Aww==");
}

TEST(ReaderPictures, BytesAreAbsentWhereTheyAreText) {
    EXPECT_FALSE(answerFor(qrPng("Grüße, 日本"))["symbols"][0].contains("bytes"));
    EXPECT_FALSE(answerFor(encodePng(ean()))["symbols"][0].contains("bytes"));
}

TEST(ReaderPictures, TinyOnesHaveNoSymbols) {
    std::minstd_rand random(1);
    for (int i = 0; i < 2000; ++i) {
        GreyImage image = plain(30, 4 + i % 3);
        for (uint8_t& pixel : image.pixels) {
            pixel = random() > std::minstd_rand::max() / 2 ? 255 : 0;
        }
        ASSERT_THAT(symbolsIn(encodePng(image)), ElementsAre()) << i;
    }
}

TEST(ReaderPictures, DamagedSymbolKeepsNoOtherFromBeingRead) {
    constexpr int kMicroQr = 97;
    const GreyImage micro = decode(zintPng(kMicroQr, "12345"));
    constexpr int kModules = 15;  // two on each side are paper
    const int dot = micro.width / kModules;
    const GreyImage damaged = placed(micro, plain(dot, dot), 11 * dot, 12 * dot);
    const auto beside = [](const GreyImage& image) {
        return encodePng(placed(placed(plain(500, 200), image, 30, 30), ean(), 200, 30));
    };
    EXPECT_THAT(symbolsIn(beside(micro)),
                testing::UnorderedElementsAre("MicroQRCode 12345", kEanText));
    EXPECT_THAT(symbolsIn(beside(damaged)), ElementsAre(kEanText));
    EXPECT_THAT(symbolsIn(beside(damaged), "formats=MicroQRCode"), ElementsAre());
}

TEST(ReaderPictures, SixtyFourMegapixelsAreReadAndNotOnePixelMore) {
    // As the cameras of telephones have them that are sold with this number.
    const GreyImage picture = placed(plain(9248, 6936), enlarged(code(), 4), 100, 100);
    EXPECT_THAT(symbolsIn(encodeColourJpeg(picture)), ElementsAre(kCodeText));
    const standin::Recognition result = recognize(pngHeader(67108865, 1));
    EXPECT_EQ(result.code, VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE);
    EXPECT_EQ(result.message, "the image has 67108865 x 1 pixels, more than 67108864");
    EXPECT_EQ(recognize(pngHeader(8192, 8192)).code, VELMORA_LIGHT_ERROR_INVALID_IMAGE);
}

TEST(ReaderPictures, PictureThatNeedsMoreThanAllMemoryIsRefused) {
    standin::Limits limits;
    limits.pictureMemory = 1;
    const std::string file = encodeProgressiveJpeg(plain(600, 600));
    const standin::Recognition result = standin::recognize(
        "", standin::Bytes(reinterpret_cast<const uint8_t*>(file.data()), file.size()), limits);
    EXPECT_EQ(result.code, VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE);
    EXPECT_THAT(result.message, HasSubstr("memory"));
}

TEST(ReaderPictures, JpegOfTooManyScansIsRefused) {
    const standin::Recognition result =
        recognize(withFirstScanRepeated(encodeProgressiveJpeg(code()), 499));
    EXPECT_EQ(result.code, VELMORA_LIGHT_ERROR_INVALID_IMAGE);
    EXPECT_THAT(result.message, HasSubstr("it has more than 64 scans"));
}
