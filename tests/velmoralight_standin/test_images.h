// Images for the tests of the engine, made when they are needed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

// One byte a pixel, 0 is black, rows from top to bottom.
struct GreyImage {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

GreyImage plain(int width, int height, uint8_t grey = 255);

// A PNG file with the QR code of the text, as qrencode writes it; `dot` is the size of a module.
std::string qrPng(const std::string& text, int dot = 6);

// A PNG file with a symbol as zint writes it; `symbology` is one of zint's numbers.
std::string zintPng(int symbology, const std::string& text, int scale = 2);

GreyImage decode(const std::string& png);
std::string encodePng(const GreyImage& image);
std::string encodeColourPng(const GreyImage& image);  // with an alpha channel
std::string encodeInterlacedPng(const GreyImage& image);
std::string encodePalettePng(const GreyImage& image);
std::string encodeDeepPng(const GreyImage& image);  // 16 bits a sample
std::string encodeJpeg(const GreyImage& image, int quality = 90);
std::string encodeColourJpeg(const GreyImage& image);       // one colour for two by two pixels
std::string encodeProgressiveJpeg(const GreyImage& image);  // colours of their own for each pixel

// JPEG files in the inks of a printing press. As picture editors write them, 255 is no ink:
std::string encodeInkJpeg(const GreyImage& image);         // black ink on white paper
std::string encodeColourInkJpeg(const GreyImage& image);   // blue: cyan and magenta
std::string encodeUnmixedInkJpeg(const GreyImage& image);  // black on paper of an orange tint
// The other way round, 255 is all ink: black on that paper.
std::string encodePlainInkJpeg(const GreyImage& image);

std::string encodeWebp(const GreyImage& image, float quality = 80);
std::string encodeLosslessWebp(const GreyImage& image);
std::string encodeTransparentWebp(const GreyImage& image);  // light is transparent

// A lossless WebP in which every 4 x 4 pixels have code tables of their own; its sides in such
// tiles.
std::string webpOfManyTables(unsigned columns, unsigned rows);

struct Colour {
    uint8_t red = 0;
    uint8_t green = 0;
    uint8_t blue = 0;
};
// Black and white of `image` become the two colours, what lies between them a mixture.
std::string encodeInColours(const GreyImage& image, Colour black, Colour white);

// What happens to a symbol on its way into a photograph.
GreyImage rotated(const GreyImage& image, double degrees);  // on a white ground
GreyImage blurred(const GreyImage& image, int radius);
GreyImage withContrast(const GreyImage& image, uint8_t black, uint8_t white);
GreyImage withNoise(const GreyImage& image, int strength);  // the same at each run
GreyImage enlarged(const GreyImage& image, int factor);
GreyImage inverted(const GreyImage& image);
// Places `image` at x, y of `ground`.
GreyImage placed(GreyImage ground, const GreyImage& image, int x, int y);

// A chunk of a PNG file.
std::string pngChunk(const std::string& type, const std::string& data);
// The file with something more before its pixels.
std::string withPngChunks(const std::string& png, const std::string& chunks);
// The file as a camera writes it that was held another way; 1 to 8, as EXIF has it.
std::string withOrientation(const std::string& jpeg, int orientation);
std::string exifBlock(int orientation);
// The file with a small picture of its own before the picture, as cameras write it.
std::string withThumbnail(const std::string& jpeg, const std::string& thumbnail);
// The file without the code tables, as a frame of a webcam's film is one.
std::string withoutHuffmanTables(const std::string& jpeg);
// A lossless WebP file in the extended form, with the block after its picture.
std::string withWebpExif(const std::string& webp, const std::string& block);

// A progressive JPEG file that has its first scan so many times.
std::string withFirstScanRepeated(const std::string& jpeg, int times);

// A PNG header that promises width x height pixels, and no more than that.
std::string pngHeader(uint32_t width, uint32_t height);

// A PNG file that a worker needs a second for, or more: fine stripes over many pixels.
const std::string& slowImage();

// So many zeros, packed as a PNG file packs what it has.
std::string packedZeros(size_t count);

// A PNG file of the marks at the corners of a QR code and nothing else, as many as there is room
// for. The search is cubic in their number.
std::string finderPatterns(int side);

// Two to four symbols in each.
std::vector<GreyImage> picturesWithSeveralSymbols();

// The image with some of its parts covered, moved, inverted, turned grey or strewn with noise.
GreyImage altered(GreyImage image, std::minstd_rand& random);
