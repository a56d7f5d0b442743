// Images for the tests of the engine, made when they are needed.
#pragma once

#include <cstdint>
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
std::string encodeJpeg(const GreyImage& image, int quality = 90);
std::string encodeCmykJpeg(int width, int height);

// What happens to a symbol on its way into a photograph.
GreyImage rotated(const GreyImage& image, double degrees);  // on a white ground
GreyImage blurred(const GreyImage& image, int radius);
GreyImage withContrast(const GreyImage& image, uint8_t black, uint8_t white);
// Places `image` at x, y of `ground`.
GreyImage placed(GreyImage ground, const GreyImage& image, int x, int y);

// A PNG header that promises width x height pixels, and no more than that.
std::string pngHeader(uint32_t width, uint32_t height);

// A PNG file that a worker needs a second for, or more: fine stripes over many pixels.
const std::string& slowImage();
