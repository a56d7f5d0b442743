// The small parts of the reader.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <variant>

#include "test_images.h"
#include "velmoralight_standin/reader/base64.h"
#include "velmoralight_standin/reader/exif.h"
#include "velmoralight_standin/reader/grey.h"
#include "velmoralight_standin/reader/jpeg_layout.h"
#include "velmoralight_standin/reader/jpeg_reader.h"
#include "velmoralight_standin/reader/utf8.h"

namespace {

standin::Bytes bytesOf(std::string_view text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

standin::JpegLayout layoutOf(std::string_view file) {
    return standin::jpegLayout(bytesOf(file));
}

// The first pixel of a JPEG file.
uint8_t greyIn(const std::string& file) {
    const auto info = standin::inspectJpeg(bytesOf(file), standin::Limits());
    const auto pixels = standin::decodeJpeg(bytesOf(file), std::get<standin::ImageInfo>(info));
    return std::get<standin::GreyPixels>(pixels).front();
}

}  // namespace

TEST(ReaderBase64, IsPadded) {
    EXPECT_EQ(standin::base64(bytesOf("")), "");
    EXPECT_EQ(standin::base64(bytesOf("f")), "Zg==");
    EXPECT_EQ(standin::base64(bytesOf("fo")), "Zm8=");
    EXPECT_EQ(standin::base64(bytesOf("foo")), "Zm9v");
    EXPECT_EQ(standin::base64(bytesOf("\xfb\xff\xbf")), "+/+/");
}

TEST(ReaderUtf8, KnowsText) {
    EXPECT_TRUE(standin::isUtf8(bytesOf("")));
    EXPECT_TRUE(standin::isUtf8(bytesOf("a\n\x7f")));
    EXPECT_TRUE(standin::isUtf8(bytesOf("Grüße, 日本 \xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf")));
}

TEST(ReaderUtf8, KnowsWhatIsNone) {
    for (const char* text : {"\x80", "\xc3", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80",
                             "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80", "a\xe6\x97"}) {
        EXPECT_FALSE(standin::isUtf8(bytesOf(text))) << text;
    }
}

TEST(ReaderGrey, IsTheLibrarysOwn) {
    EXPECT_EQ(standin::greyOf(0, 0, 0), 0);
    EXPECT_EQ(standin::greyOf(255, 255, 255), 255);
    EXPECT_EQ(standin::greyOf(255, 0, 0), 76);
    EXPECT_EQ(standin::greyOf(0, 255, 0), 150);
    EXPECT_EQ(standin::greyOf(0, 0, 255), 29);
}

TEST(ReaderGrey, ShowsWhiteWhereItIsTransparent) {
    EXPECT_EQ(standin::onWhite(7, 255), 7);
    EXPECT_EQ(standin::onWhite(7, 0), 255);
    EXPECT_EQ(standin::onWhite(0, 128), 127);
}

TEST(ReaderExif, IsReadInBothByteOrders) {
    EXPECT_EQ(standin::exifOrientation(bytesOf(exifBlock(6))), 6);
    constexpr std::string_view kLittle(
        "II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x08\0\0\0\0\0\0\0", 26);
    EXPECT_EQ(standin::exifOrientation(bytesOf(kLittle)), 8);
}

TEST(ReaderExif, IsNothingWhereverTheBlockIsCut) {
    const std::string block = exifBlock(6);
    for (size_t size = 0; size < 20; ++size) {
        EXPECT_EQ(standin::exifOrientation(bytesOf(block.substr(0, size))), 0) << size;
    }
}

TEST(ReaderExif, IsNothingWhenTheValueMakesNoSense) {
    EXPECT_EQ(standin::exifOrientation(bytesOf(exifBlock(9))), 0);
    EXPECT_EQ(standin::exifOrientation(bytesOf(exifBlock(0))), 0);
}

TEST(ReaderJpegLayout, KnowsSizeScansAndData) {
    const standin::JpegLayout layout = layoutOf(encodeColourJpeg(plain(33, 17)));
    EXPECT_EQ(layout.width, 33U);
    EXPECT_EQ(layout.height, 17U);
    EXPECT_EQ(layout.componentCount, 3U);
    EXPECT_EQ(layout.scans, 1U);
    EXPECT_TRUE(layout.hasData);
    EXPECT_EQ(standin::coefficientMemory(layout), 0U);
}

TEST(ReaderJpegLayout, CountsTheCoefficientsOfAProgressivePicture) {
    const standin::JpegLayout layout = layoutOf(encodeProgressiveJpeg(plain(33, 17)));
    EXPECT_GT(layout.scans, 3U);
    // Five by three blocks of 64 coefficients of two bytes, for each of three colours.
    EXPECT_EQ(standin::coefficientMemory(layout), 5U * 3 * 64 * 2 * 3);
}

TEST(ReaderJpegLayout, CountsTheCoefficientsWhereEachColourHasAScan) {
    // A frame of three components with its colours halved, and a scan of one of them.
    constexpr std::string_view kFile(
        "\xff\xd8\xff\xc0\0\x11\x08\0\x10\0\x10\x03\x01\x22\0\x02\x11\0\x03\x11\0"
        "\xff\xda\0\x08\x01\x01\0\0\x3f\0x",
        32);
    const standin::JpegLayout layout = layoutOf(kFile);
    EXPECT_TRUE(layout.scansAreParts);
    EXPECT_EQ(standin::coefficientMemory(layout), 6U * 64 * 2);
}

TEST(ReaderJpegLayout, FindsNoFrameWhereverTheHeaderIsCut) {
    const std::string file = encodeJpeg(plain(16, 16));
    const size_t frame = file.find("\xff\xc0");
    for (size_t size = 3; size < frame + 13; ++size) {
        EXPECT_EQ(layoutOf(file.substr(0, size)).componentCount, 0U) << size;
    }
}

TEST(ReaderJpegLayout, TellsWhichInksAreInverted) {
    EXPECT_TRUE(layoutOf(encodeInkJpeg(plain(8, 8))).inksAreInverted);
    EXPECT_FALSE(layoutOf(encodePlainInkJpeg(plain(8, 8))).inksAreInverted);
}

TEST(ReaderJpegLayout, TakesNoShortSegmentForTheOneThatInverts) {
    std::string file = encodeInkJpeg(plain(8, 8));
    const size_t name = file.find("Adobe");
    file[name - 1] = 13;  // the size of the segment, itself included
    file.erase(name + 11, 1);
    EXPECT_FALSE(layoutOf(file).inksAreInverted);
}

TEST(ReaderJpegInks, BecomeTheGreyOfTheirColoursOnWhitePaper) {
    EXPECT_NEAR(greyIn(encodeInkJpeg(plain(8, 8))), 255, 2);
    EXPECT_NEAR(greyIn(encodeInkJpeg(plain(8, 8, 100))), 100, 2);
    EXPECT_NEAR(greyIn(encodeInkJpeg(plain(8, 8, 0))), 0, 2);
    EXPECT_NEAR(greyIn(encodeColourInkJpeg(plain(8, 8, 0))), standin::greyOf(0, 0, 255), 2);
}

TEST(ReaderJpegInks, AreTakenAsTheFileHasThem) {
    const unsigned unmixed = standin::greyOf(255, 128, 128);
    EXPECT_NEAR(greyIn(encodeUnmixedInkJpeg(plain(8, 8))), unmixed, 2);
    EXPECT_NEAR(greyIn(encodeUnmixedInkJpeg(plain(8, 8, 0))), 0, 2);
    EXPECT_NEAR(greyIn(encodePlainInkJpeg(plain(8, 8))), unmixed, 2);
    EXPECT_NEAR(greyIn(encodePlainInkJpeg(plain(8, 8, 0))), 0, 2);
}

TEST(ReaderJpegInks, AreCountedInTheMemoryForDecoding) {
    const auto info =
        standin::inspectJpeg(bytesOf(encodeInkJpeg(plain(30, 20))), standin::Limits());
    EXPECT_EQ(std::get<standin::ImageInfo>(info).decodingMemory, 30U * 20 * (4 + 1));
}
