#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "child_processes.h"
#include "engine.h"
#include "support/files.h"
#include "support/process_state.h"
#include "support/row_name.h"
#include "test_images.h"

namespace {

using nlohmann::json;

class Recognize : public testing::Test {
protected:
    json answerTo(const std::string& image, int status, const std::string& query = "") {
        const HttpReply reply = engine.recognize(image, query);
        EXPECT_EQ(reply.status, status) << reply.body;
        EXPECT_EQ(reply.fields.at("content-type"), "application/json");
        EXPECT_EQ(reply.fields.at("x-content-type-options"), "nosniff");
        return json::parse(reply.body);
    }

    // Format and text of each symbol in an image that is recognised.
    std::vector<std::string> symbolsIn(const std::string& image, const std::string& query = "") {
        std::vector<std::string> symbols;
        const json answer = answerTo(image, 200, query);
        for (const json& symbol : answer["symbols"]) {
            symbols.push_back(symbol["format"].get<std::string>() + " " +
                              symbol["text"].get<std::string>());
        }
        return symbols;
    }

    void expectRefusal(const std::string& image, int status, int code, const std::string& name,
                       const std::string& query = "") {
        const json answer = answerTo(image, status, query);
        EXPECT_EQ(answer["code"], code);
        EXPECT_EQ(answer["name"], name);
        EXPECT_FALSE(answer["message"].get<std::string>().empty());
    }

    // How many pictures a reader did not survive.
    [[nodiscard]] int64_t replacedReaders() const {
        const json status = json::parse(httpExchange(engine.port(), "GET", "/v1/status").body);
        int64_t all = 0;
        for (const auto& [reason, count] : status["counters"]["readersReplaced"].items()) {
            all += count.get<int64_t>();
        }
        return all;
    }

    void expectBadImage(const std::string& image) {
        expectRefusal(image, 422, 2, "VELMORA_LIGHT_ERROR_INVALID_IMAGE");
    }

    void expectBadRoi(const std::string& query) {
        expectRefusal(qrPng("roi"), 400, 7, "VELMORA_LIGHT_ERROR_INVALID_ROI", query);
    }

    Engine engine;
};

constexpr const char* kEan = "EAN-13 4006381333931";

GreyImage ean() {
    return decode(zintPng(13, "400638133393", 1));
}

// Two QR codes side by side, the second one from x = 400 on.
std::string twoCodes() {
    const GreyImage left = placed(plain(800, 400), decode(qrPng("left")), 50, 50);
    return encodePng(placed(left, decode(qrPng("right")), 450, 50));
}

}  // namespace

TEST_F(Recognize, FindsTheTextOfTheSampleImage) {
    EXPECT_THAT(symbolsIn(readFile(VELMORA_SAMPLE_IMAGE)),
                testing::ElementsAre("QRCode velmoraserviced says hello"));
}

TEST_F(Recognize, TellsCodeNameTypeAndSize) {
    const json answer = answerTo(encodePng(plain(300, 200)), 200);
    EXPECT_EQ(answer["code"], 0);
    EXPECT_EQ(answer["name"], "VELMORA_LIGHT_SUCCESS");
    EXPECT_EQ(answer["image"], json({{"type", "png"}, {"width", 300}, {"height", 200}}));
    EXPECT_FALSE(answer.contains("message"));
}

TEST_F(Recognize, TellsTheTypeOfAJpeg) {
    const json answer = answerTo(encodeJpeg(plain(300, 200)), 200);
    EXPECT_EQ(answer["image"], json({{"type", "jpeg"}, {"width", 300}, {"height", 200}}));
}

TEST_F(Recognize, TellsTheMillisecondsWaitedAndWorked) {
    const json answer = answerTo(qrPng("time"), 200);
    EXPECT_GE(answer["waitedMs"].get<double>(), 0.0);
    EXPECT_GT(answer["workedMs"].get<double>(), 0.0);
}

TEST_F(Recognize, CallsAnImageWithoutSymbolsASuccess) {
    EXPECT_EQ(answerTo(encodePng(plain(300, 200)), 200)["symbols"], json::array());
}

TEST_F(Recognize, TakesTheSmallestImage) {
    EXPECT_EQ(answerTo(encodePng(plain(1, 1)), 200)["symbols"], json::array());
}

TEST_F(Recognize, TellsTheCornersAsTheSymbolIsRead) {
    const GreyImage code = decode(qrPng("corners", 6));
    const json answer = answerTo(encodePng(placed(plain(600, 600), code, 100, 200)), 200);
    const json& corners = answer["symbols"][0]["corners"];
    ASSERT_EQ(corners.size(), 4U);
    // Four modules of six pixels are the quiet zone; a pixel more or less is the reader's affair.
    const int last = code.width - 24;
    const int expected[][2] = {
        {124, 224}, {100 + last, 224}, {100 + last, 200 + last}, {124, 200 + last}};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(corners[i]["x"].get<int>(), expected[i][0], 3);
        EXPECT_NEAR(corners[i]["y"].get<int>(), expected[i][1], 3);
    }
}

TEST_F(Recognize, PassesMarkupOnAsText) {
    EXPECT_THAT(symbolsIn(qrPng("<script>alert(\"1\")</script>")),
                testing::ElementsAre("QRCode <script>alert(\"1\")</script>"));
}

TEST_F(Recognize, PassesUtf8On) {
    EXPECT_THAT(symbolsIn(qrPng("Grüße, 日本")), testing::ElementsAre("QRCode Grüße, 日本"));
}

TEST_F(Recognize, AnswersValidJsonToBytesThatAreNoText) {
    const json answer = answerTo(qrPng("\xff\xfe\x80\xc3"), 200);
    EXPECT_EQ(answer["symbols"].size(), 1U);
    EXPECT_EQ(answer["symbols"][0]["bytes"], "//6Aww==");
}

struct Symbology {
    const char* name;
    int number;  // zint's
    const char* text;
    const char* found;
};

std::ostream& operator<<(std::ostream& out, const Symbology& row) {
    return out << row.name;
}

class RecognizeSymbology : public Recognize, public testing::WithParamInterface<Symbology> {};

TEST_P(RecognizeSymbology, ReadsWhatWasWritten) {
    EXPECT_THAT(symbolsIn(zintPng(GetParam().number, GetParam().text)),
                testing::ElementsAre(GetParam().found));
}

INSTANTIATE_TEST_SUITE_P(
    Symbologies, RecognizeSymbology,
    testing::Values(Symbology{"Ean13", 13, "400638133393", "EAN-13 4006381333931"},
                    Symbology{"Ean8", 10, "1234567", "EAN-8 12345670"},
                    Symbology{"Code39", 8, "CODE39", "Code39 CODE39"},
                    Symbology{"Code128", 20, "Hello-128", "Code128 Hello-128"},
                    Symbology{"Interleaved", 3, "12345678", "ITF 12345678"},
                    Symbology{"Pdf417", 55, "stacked rows", "PDF417 stacked rows"},
                    Symbology{"DataMatrix", 71, "data matrix", "DataMatrix data matrix"},
                    Symbology{"Aztec", 92, "aztec code", "Aztec aztec code"},
                    Symbology{"QrCode", 58, "qr by another maker", "QRCode qr by another maker"}),
    rowName);

struct Photograph {
    const char* name;
    std::string (*make)(const GreyImage& symbol);
};

std::ostream& operator<<(std::ostream& out, const Photograph& row) {
    return out << row.name;
}

class RecognizePhotograph : public Recognize, public testing::WithParamInterface<Photograph> {};

TEST_P(RecognizePhotograph, ReadsTheSymbolAllTheSame) {
    const GreyImage symbol = decode(qrPng("a photograph", 5));
    EXPECT_THAT(symbolsIn(GetParam().make(symbol)), testing::ElementsAre("QRCode a photograph"));
}

INSTANTIATE_TEST_SUITE_P(
    Photographs, RecognizePhotograph,
    testing::Values(
        Photograph{"UpsideDown", [](const GreyImage& s) { return encodePng(rotated(s, 180)); }},
        Photograph{"Tilted", [](const GreyImage& s) { return encodePng(rotated(s, 33)); }},
        Photograph{"Blurred", [](const GreyImage& s) { return encodePng(blurred(s, 1)); }},
        Photograph{"LowContrast",
                   [](const GreyImage& s) { return encodePng(withContrast(s, 110, 150)); }},
        Photograph{"Transparent", encodeColourPng},
        Photograph{"PoorJpeg", [](const GreyImage& s) { return encodeJpeg(s, 10); }},
        Photograph{"AllAtOnce",
                   [](const GreyImage& s) {
                       return encodeJpeg(withContrast(blurred(rotated(s, 12), 1), 60, 190), 40);
                   }}),
    rowName);

TEST_F(Recognize, FindsSeveralSymbolsInOneImage) {
    EXPECT_THAT(symbolsIn(twoCodes()),
                testing::UnorderedElementsAre("QRCode left", "QRCode right"));
}

TEST_F(Recognize, ReadsABarCodeInAPictureOfMoreThan500PixelsASide) {
    const GreyImage photograph = rotated(enlarged(ean(), 3), 5);
    EXPECT_THAT(symbolsIn(encodeJpeg(placed(plain(2000, 1500, 230), photograph, 300, 300))),
                testing::ElementsAre(kEan));
    EXPECT_EQ(replacedReaders(), 0);
}

TEST_F(Recognize, ReadsTwoEqualBarCodes) {
    const GreyImage image = placed(placed(plain(660, 180), ean(), 20, 30), ean(), 380, 30);
    EXPECT_THAT(symbolsIn(encodePng(image)), testing::ElementsAre(kEan, kEan));
    EXPECT_EQ(replacedReaders(), 0);
}

TEST_F(Recognize, ReadsAJpegInTheInksOfAPrintingPress) {
    EXPECT_THAT(symbolsIn(encodeInkJpeg(ean())), testing::ElementsAre(kEan));
}

TEST_F(Recognize, DoesNotUnpackChunksThatNoPixelComesFrom) {
    const std::string text =
        pngChunk("zTXt", "key" + std::string(2, '\0') + packedZeros(16 * 1024 * 1024));
    std::string chunks;
    for (int i = 0; i < 900; ++i) {
        chunks += text;
    }
    const json answer = answerTo(withPngChunks(qrPng("beside them"), chunks), 200);
    EXPECT_EQ(answer["symbols"][0]["text"], "beside them");
    long ticks = 0;  // of the processor: others may have it first
    for (const pid_t reader : childrenOf(::getpid())) {
        ticks += processorTicks(reader);
    }
    EXPECT_LT(ticks, 3 * ::sysconf(_SC_CLK_TCK));
}

TEST_F(Recognize, RefusesAJpegOfHundredsOfScans) {
    const GreyImage image = plain(2000, 2000);
    const json answer = answerTo(withFirstScanRepeated(encodeProgressiveJpeg(image), 499), 422);
    EXPECT_EQ(answer["code"], 2);
    EXPECT_EQ(answer["message"], "not a valid JPEG image: it has more than 64 scans");
    EXPECT_EQ(replacedReaders(), 0);
}

TEST_F(Recognize, RefusesAnEmptyBody) {
    expectBadImage("");
}

TEST_F(Recognize, RefusesWhatIsNoImage) {
    expectRefusal("GIF89a and so on", 415, 3, "VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE");
}

TEST_F(Recognize, RefusesAPngWithoutPixels) {
    expectBadImage(pngHeader(0, 100));
}

TEST_F(Recognize, RefusesAPngThatHasOnlyItsHeader) {
    expectBadImage(pngHeader(100, 100));
}

TEST_F(Recognize, RefusesAPngThatDoesNotStartWithItsHeader) {
    std::string image = qrPng("chunk");
    image.replace(image.find("IHDR"), 4, "IDAT");
    expectBadImage(image);
}

TEST_F(Recognize, RefusesAPngWithDamagedPixels) {
    std::string image = qrPng("damaged");
    const size_t data = image.find("IDAT");
    image.replace(data + 8, 8, 8, '\xff');
    expectBadImage(image);
}

TEST_F(Recognize, RefusesAPngWhereverItIsCut) {
    const std::string image = qrPng("cut");
    for (size_t size = 8; size < image.size(); size += 1 + size / 16) {
        SCOPED_TRACE(size);
        expectBadImage(image.substr(0, size));
    }
    expectBadImage(image.substr(0, image.size() - 1));
}

TEST_F(Recognize, RefusesAJpegThatIsCutBeforeItsPixels) {
    const std::string image = encodeJpeg(decode(qrPng("cut")));
    const size_t scan = image.find("\xff\xda");
    for (size_t size = 3; size < scan + 10; size += 1 + size / 16) {
        SCOPED_TRACE(size);
        expectBadImage(image.substr(0, size));
    }
}

TEST_F(Recognize, TakesAJpegThatLostItsLastBytes) {
    const std::string image = encodeJpeg(decode(qrPng("cut")));
    EXPECT_THAT(symbolsIn(image.substr(0, image.size() - 2)), testing::ElementsAre("QRCode cut"));
}

TEST_F(Recognize, TellsTheTypeOfAWebp) {
    const json answer = answerTo(encodeWebp(plain(300, 200)), 200);
    EXPECT_EQ(answer["image"], json({{"type", "webp"}, {"width", 300}, {"height", 200}}));
}

TEST_F(Recognize, TellsHowTheCameraWasHeld) {
    const json answer = answerTo(withOrientation(encodeJpeg(plain(300, 200)), 6), 200);
    EXPECT_EQ(answer["image"]["orientation"], 6);
}

TEST_F(Recognize, LooksForTheNamedFormatsOnly) {
    EXPECT_THAT(symbolsIn(qrPng("named"), "?formats=QRCode,EAN-13"),
                testing::ElementsAre("QRCode named"));
    EXPECT_THAT(symbolsIn(qrPng("named"), "?formats=EAN-13"), testing::ElementsAre());
}

TEST_F(Recognize, RefusesAFormatThatNobodyKnows) {
    const json answer = answerTo(qrPng("named"), 400, "?formats=QRCode,Morse");
    EXPECT_EQ(answer["code"], 4);
    EXPECT_THAT(answer["message"].get<std::string>(), testing::HasSubstr("'Morse'"));
    EXPECT_THAT(answer["message"].get<std::string>(), testing::HasSubstr("QRCode"));
}

TEST_F(Recognize, RefusesAHundredMegapixelsBeforeDecoding) {
    expectRefusal(pngHeader(10000, 10000), 413, 10, "VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE");
}

TEST_F(Recognize, RefusesMorePixelsThanANumberOf32BitsHolds) {
    expectRefusal(pngHeader(0x7fffffff, 0x7fffffff), 413, 10,
                  "VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE");
}

TEST_F(Recognize, TakesABodyOfTheLargestSize) {
    const std::string body(16 * 1024 * 1024, 'x');
    expectRefusal(body, 415, 3, "VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE");
}

TEST_F(Recognize, RefusesABodyThatIsOneByteTooLarge) {
    const std::string body(16 * 1024 * 1024 + 1, 'x');
    expectRefusal(body, 413, 10, "VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE");
}

TEST_F(Recognize, LooksInsideTheRegionOnly) {
    EXPECT_THAT(symbolsIn(twoCodes(), "?roi=0,0,400,400"), testing::ElementsAre("QRCode left"));
    EXPECT_THAT(symbolsIn(twoCodes(), "?roi=400,0,400,400"), testing::ElementsAre("QRCode right"));
}

TEST_F(Recognize, CountsCornersFromTheImageAndNotFromTheRegion) {
    const json answer = answerTo(twoCodes(), 200, "?roi=400,0,400,400");
    EXPECT_NEAR(answer["symbols"][0]["corners"][0]["x"].get<int>(), 450 + 24, 3);
}

TEST_F(Recognize, TakesARegionWithEscapedCommas) {
    EXPECT_THAT(symbolsIn(twoCodes(), "?roi=0%2C0%2c400%2C400"),
                testing::ElementsAre("QRCode left"));
}

TEST_F(Recognize, TakesTheWholeImageAsARegion) {
    EXPECT_EQ(symbolsIn(twoCodes(), "?roi=0,0,800,400").size(), 2U);
}

TEST_F(Recognize, RefusesARegionThatReachesOneColumnOut) {
    expectBadRoi("?roi=1,0," + std::to_string(decode(qrPng("roi")).width) + ",1");
}

TEST_F(Recognize, RefusesARegionFarOutside) {
    expectBadRoi("?roi=4294967295,4294967295,4294967295,4294967295");
}

TEST_F(Recognize, RefusesAnEmptyRegion) {
    expectBadRoi("?roi=0,0,0,10");
}

TEST_F(Recognize, RefusesANegativeRegion) {
    expectBadRoi("?roi=-1,0,10,10");
}

TEST_F(Recognize, RefusesAMalformedRegion) {
    expectBadRoi("?roi=everything");
}

TEST_F(Recognize, RefusesTwoRegions) {
    expectBadRoi("?roi=0,0,1,1&roi=0,0,2,2");
}

TEST_F(Recognize, RefusesAnUnknownParameter) {
    expectRefusal(qrPng("x"), 400, 4, "VELMORA_LIGHT_ERROR_INVALID_PROPERTY", "?roy=0,0,1,1");
}

TEST_F(Recognize, RefusesAMalformedEscape) {
    expectRefusal(qrPng("x"), 400, 4, "VELMORA_LIGHT_ERROR_INVALID_PROPERTY", "?roi=0%2");
}
