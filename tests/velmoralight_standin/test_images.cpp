#include "test_images.h"

#include <png.h>
#include <turbojpeg.h>
#include <webp/encode.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numbers>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "support/command_output.h"

namespace {

size_t at(const GreyImage& image, int x, int y) {
    return static_cast<size_t>(y) * static_cast<size_t>(image.width) + static_cast<size_t>(x);
}

bool holds(const GreyImage& image, int x, int y) {
    return x >= 0 && y >= 0 && x < image.width && y < image.height;
}

// Outside of the image everything is white.
uint8_t pixel(const GreyImage& image, int x, int y) {
    return holds(image, x, y) ? image.pixels[at(image, x, y)] : uint8_t{255};
}

std::string encode(const GreyImage& image, png_uint_32 format,
                   const std::vector<uint8_t>& samples) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = format;
    png.flags = PNG_IMAGE_FLAG_FAST;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(png);
    std::string file(size, '\0');
    if (png_image_write_to_memory(&png, file.data(), &size, 0, samples.data(), 0, nullptr) == 0) {
        throw std::runtime_error(png.message);
    }
    file.resize(size);
    return file;
}

std::string compress(const std::vector<uint8_t>& samples, int width, int height, int format,
                     int subsampling, int quality, int flags = 0) {
    tjhandle handle = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int failed = tjCompress2(handle, samples.data(), width, 0, height, format, &bytes, &size,
                                   subsampling, quality, flags);
    std::string file(reinterpret_cast<char*>(bytes), failed == 0 ? size : 0);
    tjFree(bytes);
    tjDestroy(handle);
    if (failed != 0) {
        throw std::runtime_error("cannot write a JPEG image");
    }
    return file;
}

// Some of the inks CMYK show the image, the others are `rest` everywhere.
std::string compressInks(const GreyImage& image, const std::string& inks, uint8_t rest) {
    std::vector<uint8_t> samples;
    for (const uint8_t grey : image.pixels) {
        for (const char ink : {'C', 'M', 'Y', 'K'}) {
            samples.push_back(inks.find(ink) == std::string::npos ? rest : grey);
        }
    }
    return compress(samples, image.width, image.height, TJPF_CMYK, TJSAMP_444, 90);
}

// Three samples a pixel.
std::vector<uint8_t> coloured(const GreyImage& image, Colour black, Colour white) {
    const auto mixed = [](uint8_t grey, uint8_t from, uint8_t to) {
        return static_cast<uint8_t>(from + grey * (to - from) / 255);
    };
    std::vector<uint8_t> samples;
    for (const uint8_t grey : image.pixels) {
        samples.insert(samples.end(),
                       {mixed(grey, black.red, white.red), mixed(grey, black.green, white.green),
                        mixed(grey, black.blue, white.blue)});
    }
    return samples;
}

std::vector<uint8_t> withAlpha(const GreyImage& image) {
    std::vector<uint8_t> samples;
    for (const uint8_t grey : image.pixels) {
        // Light is transparent here: it must count as white.
        samples.insert(samples.end(), {grey, grey, grey, static_cast<uint8_t>(255 - grey)});
    }
    return samples;
}

// What one of the functions of libwebp wrote.
std::string webpFrom(const std::function<size_t(uint8_t**)>& encoder) {
    uint8_t* bytes = nullptr;
    const size_t size = encoder(&bytes);
    std::string file(reinterpret_cast<char*>(bytes), size);
    WebPFree(bytes);
    if (size == 0) {
        throw std::runtime_error("cannot write a WebP image");
    }
    return file;
}

// For what the simple interface above does not write.
std::string writePng(const GreyImage& image, int depth, int colourType, int interlacing,
                     const std::vector<uint8_t>& samples) {
    std::string file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &file,
        [](png_structp self, png_bytep data, size_t size) {
            static_cast<std::string*>(png_get_io_ptr(self))
                ->append(reinterpret_cast<char*>(data), size);
        },
        nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width),
                 static_cast<png_uint_32>(image.height), depth, colourType, interlacing,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const png_color palette[] = {{255, 255, 255}, {0, 0, 0}};
    if (colourType == PNG_COLOR_TYPE_PALETTE) {
        png_set_PLTE(png, info, palette, 2);
    }
    png_write_info(png, info);
    const size_t rowSize = samples.size() / static_cast<size_t>(image.height);
    std::vector<png_const_bytep> rows;
    for (size_t y = 0; y < static_cast<size_t>(image.height); ++y) {
        rows.push_back(samples.data() + y * rowSize);
    }
    png_write_image(png, const_cast<png_bytepp>(rows.data()));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

constexpr Colour kBlack = {0, 0, 0};
constexpr Colour kWhite = {255, 255, 255};

std::string bigEndian(size_t number, int bytes) {
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        text += static_cast<char>(number >> static_cast<unsigned>(shift));
    }
    return text;
}

std::string withExif(const std::string& jpeg, const std::string& block) {
    const std::string segment = std::string("Exif\0\0", 6) + block;
    return jpeg.substr(0, 2) + "\xff\xe1" + bigEndian(segment.size() + 2, 2) + segment +
           jpeg.substr(2);
}

}  // namespace

GreyImage plain(int width, int height, uint8_t grey) {
    const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
    return {width, height, std::vector<uint8_t>(count, grey)};
}

std::string qrPng(const std::string& text, int dot) {
    return outputOf("qrencode -o - -s " + std::to_string(dot) + " '" + text + "'");
}

std::string zintPng(int symbology, const std::string& text, int scale) {
    return outputOf("zint --direct --filetype=PNG --quietzones --scale=" + std::to_string(scale) +
                    " -b " + std::to_string(symbology) + " -d '" + text + "'");
}

GreyImage decode(const std::string& file) {
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png_image_begin_read_from_memory(&png, file.data(), file.size());
    png.format = PNG_FORMAT_GRAY;
    GreyImage image = plain(static_cast<int>(png.width), static_cast<int>(png.height));
    const png_color white = {255, 255, 255};
    if (png_image_finish_read(&png, &white, image.pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error(png.message);
    }
    return image;
}

std::string encodePng(const GreyImage& image) {
    return encode(image, PNG_FORMAT_GRAY, image.pixels);
}

std::string encodeColourPng(const GreyImage& image) {
    return encode(image, PNG_FORMAT_RGBA, withAlpha(image));
}

std::string encodeInterlacedPng(const GreyImage& image) {
    return writePng(image, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_ADAM7, image.pixels);
}

std::string encodePalettePng(const GreyImage& image) {
    // The darker half of the greys is entry 1, the other one entry 0.
    std::vector<uint8_t> entries;
    for (const uint8_t grey : image.pixels) {
        entries.push_back(grey < 128 ? 1 : 0);
    }
    return writePng(image, 8, PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, entries);
}

std::string encodeDeepPng(const GreyImage& image) {
    std::vector<uint8_t> samples;
    for (const uint8_t grey : image.pixels) {
        samples.insert(samples.end(), {grey, grey});
    }
    return writePng(image, 16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, samples);
}

std::string encodeInColours(const GreyImage& image, Colour black, Colour white) {
    return encode(image, PNG_FORMAT_RGB, coloured(image, black, white));
}

std::string encodeJpeg(const GreyImage& image, int quality) {
    return compress(image.pixels, image.width, image.height, TJPF_GRAY, TJSAMP_GRAY, quality);
}

std::string encodeColourJpeg(const GreyImage& image) {
    return compress(coloured(image, kBlack, kWhite), image.width, image.height, TJPF_RGB,
                    TJSAMP_420, 90);
}

std::string encodeProgressiveJpeg(const GreyImage& image) {
    return compress(coloured(image, kBlack, kWhite), image.width, image.height, TJPF_RGB,
                    TJSAMP_444, 90, TJFLAG_PROGRESSIVE);
}

std::string encodeInkJpeg(const GreyImage& image) {
    return compressInks(image, "K", 255);
}

std::string encodeColourInkJpeg(const GreyImage& image) {
    return compressInks(image, "CM", 255);
}

// TurboJPEG mixes the three colours as other files mix red, green and blue, and says so in a
// segment. Read without the mixing, what was none of them is all of the first and half of the
// others.
std::string encodeUnmixedInkJpeg(const GreyImage& image) {
    std::string file = compressInks(image, "K", 0);
    file[file.find("Adobe") + 11] = 0;
    return file;
}

std::string encodePlainInkJpeg(const GreyImage& image) {
    std::string file = compressInks(inverted(image), "K", 255);
    return file.erase(file.find("\xff\xee"), 16);
}

std::string encodeWebp(const GreyImage& image, float quality) {
    const std::vector<uint8_t> samples = coloured(image, kBlack, kWhite);
    return webpFrom([&](uint8_t** bytes) {
        return WebPEncodeRGB(samples.data(), image.width, image.height, 3 * image.width, quality,
                             bytes);
    });
}

std::string encodeLosslessWebp(const GreyImage& image) {
    const std::vector<uint8_t> samples = coloured(image, kBlack, kWhite);
    return webpFrom([&](uint8_t** bytes) {
        return WebPEncodeLosslessRGB(samples.data(), image.width, image.height, 3 * image.width,
                                     bytes);
    });
}

std::string encodeTransparentWebp(const GreyImage& image) {
    const std::vector<uint8_t> samples = withAlpha(image);
    return webpFrom([&](uint8_t** bytes) {
        return WebPEncodeRGBA(samples.data(), image.width, image.height, 4 * image.width, 80,
                              bytes);
    });
}

GreyImage rotated(const GreyImage& image, double degrees) {
    const double angle = degrees * std::numbers::pi / 180;
    const double sine = std::sin(angle);
    const double cosine = std::cos(angle);
    const int side = static_cast<int>(std::hypot(image.width, image.height)) + 1;
    GreyImage result = plain(side, side);
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const double dx = x - side / 2.0;
            const double dy = y - side / 2.0;
            const int fromX =
                static_cast<int>(std::lround(cosine * dx + sine * dy + image.width / 2.0));
            const int fromY =
                static_cast<int>(std::lround(cosine * dy - sine * dx + image.height / 2.0));
            result.pixels[at(result, x, y)] = pixel(image, fromX, fromY);
        }
    }
    return result;
}

GreyImage blurred(const GreyImage& image, int radius) {
    GreyImage result = image;
    const int count = (2 * radius + 1) * (2 * radius + 1);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            int sum = 0;
            for (int dy = -radius; dy <= radius; ++dy) {
                for (int dx = -radius; dx <= radius; ++dx) {
                    sum += pixel(image, x + dx, y + dy);
                }
            }
            result.pixels[at(result, x, y)] = static_cast<uint8_t>(sum / count);
        }
    }
    return result;
}

GreyImage withContrast(const GreyImage& image, uint8_t black, uint8_t white) {
    GreyImage result = image;
    std::transform(image.pixels.begin(), image.pixels.end(), result.pixels.begin(),
                   [black, white](uint8_t grey) {
                       return static_cast<uint8_t>(black + grey * (white - black) / 255);
                   });
    return result;
}

GreyImage withNoise(const GreyImage& image, int strength) {
    GreyImage result = image;
    std::minstd_rand random(1);
    for (uint8_t& pixel : result.pixels) {
        const int noise = static_cast<int>(random() % static_cast<unsigned>(2 * strength + 1));
        pixel = static_cast<uint8_t>(std::clamp(pixel + noise - strength, 0, 255));
    }
    return result;
}

GreyImage enlarged(const GreyImage& image, int factor) {
    GreyImage result = plain(image.width * factor, image.height * factor);
    for (int y = 0; y < result.height; ++y) {
        for (int x = 0; x < result.width; ++x) {
            result.pixels[at(result, x, y)] = image.pixels[at(image, x / factor, y / factor)];
        }
    }
    return result;
}

GreyImage inverted(const GreyImage& image) {
    return withContrast(image, 255, 0);
}

GreyImage placed(GreyImage ground, const GreyImage& image, int x, int y) {
    for (int row = 0; row < image.height; ++row) {
        const auto from = image.pixels.begin() + static_cast<std::ptrdiff_t>(at(image, 0, row));
        const auto to = ground.pixels.begin() + static_cast<std::ptrdiff_t>(at(ground, x, y + row));
        std::copy_n(from, image.width, to);
    }
    return ground;
}

std::string pngChunk(const std::string& type, const std::string& data) {
    const std::string checked = type + data;
    const auto checksum =
        crc32(0, reinterpret_cast<const Bytef*>(checked.data()), static_cast<uInt>(checked.size()));
    return bigEndian(data.size(), 4) + checked + bigEndian(checksum, 4);
}

std::string withPngChunks(const std::string& png, const std::string& chunks) {
    constexpr size_t kHeaderEnd = 33;
    return png.substr(0, kHeaderEnd) + chunks + png.substr(kHeaderEnd);
}

std::string exifBlock(int orientation) {
    return std::string("MM\0*", 4) + bigEndian(8, 4) + bigEndian(1, 2) + bigEndian(0x0112, 2) +
           bigEndian(3, 2) + bigEndian(1, 4) + bigEndian(static_cast<size_t>(orientation), 2) +
           bigEndian(0, 6);
}

std::string withOrientation(const std::string& jpeg, int orientation) {
    return withExif(jpeg, exifBlock(orientation));
}

std::string withThumbnail(const std::string& jpeg, const std::string& thumbnail) {
    return withExif(jpeg, exifBlock(1) + thumbnail);
}

std::string withoutHuffmanTables(const std::string& jpeg) {
    std::string file = jpeg;
    for (size_t at = 0; (at = file.find("\xff\xc4", at)) < file.find("\xff\xda");) {
        const auto size = static_cast<unsigned char>(file[at + 3]);  // below 256
        file.erase(at, size_t{2} + size);
    }
    return file;
}

namespace {

// Writes the lowest bits of numbers, the lowest first.
class BitWriter {
public:
    void put(uint32_t number, unsigned bits) {
        for (unsigned i = 0; i < bits; ++i, ++count) {
            if (count % 8 == 0) {
                bytes.push_back('\0');
            }
            const auto before = static_cast<unsigned char>(bytes.back());
            bytes.back() = static_cast<char>(before | (number >> i & 1U) << count % 8);
        }
    }
    std::string bytes;

private:
    unsigned count = 0;
};

// A code table for one symbol, 0.
void putLeastTable(BitWriter& bits) {
    bits.put(0b0001, 4);
}

// A code table for 256 symbols of eight bits each.
void putFlatTable(BitWriter& bits) {
    bits.put(0, 1);
    bits.put(8, 4);  // 12 lengths of lengths, of which the last one, for the length 8, is used
    bits.put(0, 33);
    bits.put(1, 3);
    bits.put(1, 1);  // for 256 symbols, in 8 bits
    bits.put(3, 3);
    bits.put(254, 8);
}

void putFlatSymbol(BitWriter& bits, unsigned symbol) {
    for (unsigned i = 8; i-- > 0;) {
        bits.put(symbol >> i, 1);
    }
}

std::string littleEndian(size_t number) {
    BitWriter bits;
    bits.put(static_cast<uint32_t>(number), 32);
    return bits.bytes;
}

}  // namespace

std::string webpOfManyTables(unsigned columns, unsigned rows) {
    BitWriter bits;
    bits.put(0x2f, 8);
    bits.put(columns * 4 - 1, 14);
    bits.put(rows * 4 - 1, 14);
    bits.put(0, 4);  // no alpha channel, version 0
    bits.put(0, 2);  // no transformation, no colour cache
    bits.put(1, 1);  // tables by tile,
    bits.put(0, 3);  // of 4 x 4 pixels; which are whose is a picture of its own:
    bits.put(0, 1);  // no colour cache
    putFlatTable(bits);
    putFlatTable(bits);
    for (int i = 0; i < 3; ++i) {
        putLeastTable(bits);
    }
    for (unsigned tile = 0; tile < columns * rows; ++tile) {
        putFlatSymbol(bits, tile & 255U);
        putFlatSymbol(bits, tile >> 8U);
    }
    for (unsigned table = 0; table < 5 * columns * rows; ++table) {
        putLeastTable(bits);
    }
    bits.bytes.resize(bits.bytes.size() + bits.bytes.size() % 2);
    const std::string chunk = "VP8L" + littleEndian(bits.bytes.size()) + bits.bytes;
    return "RIFF" + littleEndian(chunk.size() + 4) + "WEBP" + chunk;
}

std::string withWebpExif(const std::string& webp, const std::string& block) {
    constexpr size_t kFileHead = 12;
    constexpr size_t kPicture = kFileHead + 8;  // after the head of its chunk
    const auto chunk = [&](const std::string& name, const std::string& data) {
        return name + littleEndian(data.size()) + data + std::string(data.size() % 2, '\0');
    };
    // The flags (an EXIF block) and the size of the picture less one, 24 bits each, of which the
    // picture's own header has 14.
    const auto* size = reinterpret_cast<const uint8_t*>(webp.data() + kPicture + 1);
    const uint32_t bits = uint32_t{size[0]} | uint32_t{size[1]} << 8U | uint32_t{size[2]} << 16U;
    const uint32_t height = (bits >> 14U | static_cast<uint32_t>(size[3]) << 10U) & 0x3fffU;
    const std::string extended = littleEndian(8) + littleEndian(bits & 0x3fffU).substr(0, 3) +
                                 littleEndian(height).substr(0, 3);
    const std::string body =
        "WEBP" + chunk("VP8X", extended) + webp.substr(kFileHead) + chunk("EXIF", block);
    return "RIFF" + littleEndian(body.size()) + body;
}

std::string pngHeader(uint32_t width, uint32_t height) {
    // One grey byte a pixel; the checksum is not looked at before the size is.
    return std::string("\x89PNG\r\n\x1a\n") + bigEndian(13, 4) + "IHDR" + bigEndian(width, 4) +
           bigEndian(height, 4) + std::string("\x08\0\0\0\0", 5) + bigEndian(0, 4);
}

const std::string& slowImage() {
    static const std::string image = [] {
        constexpr int kSide = 4500;
        GreyImage stripes = plain(kSide, kSide);
        for (size_t i = 0; i < stripes.pixels.size(); ++i) {
            stripes.pixels[i] = i % kSide / 3 % 2 == 0 ? 0 : 255;
        }
        return encodePng(stripes);
    }();
    return image;
}

std::string packedZeros(size_t count) {
    const std::vector<Bytef> zeros(count);
    uLongf size = compressBound(static_cast<uLong>(count));
    std::string packed(size, '\0');
    compress(reinterpret_cast<Bytef*>(packed.data()), &size, zeros.data(),
             static_cast<uLong>(count));
    packed.resize(size);
    return packed;
}

std::string withFirstScanRepeated(const std::string& jpeg, int times) {
    const size_t scan = jpeg.find("\xff\xda");
    const size_t next = jpeg.find("\xff\xc4", scan);
    std::string file = jpeg.substr(0, scan);
    for (int i = 0; i < times; ++i) {
        file += jpeg.substr(scan, next - scan);
    }
    return file + jpeg.substr(next);
}

std::string finderPatterns(int side) {
    GreyImage mark = plain(9, 9);
    for (const auto& [from, to, grey] : {std::tuple{0, 7, 0}, {1, 6, 255}, {2, 5, 0}}) {
        mark = placed(std::move(mark), plain(to - from, to - from, static_cast<uint8_t>(grey)),
                      from, from);
    }
    GreyImage image = plain(side, side);
    for (int y = 0; y + mark.height <= side; y += mark.height) {
        for (int x = 0; x + mark.width <= side; x += mark.width) {
            image = placed(std::move(image), mark, x, y);
        }
    }
    return encodePng(image);
}

std::vector<GreyImage> picturesWithSeveralSymbols() {
    const auto symbol = [](int number, const char* text) {
        return decode(zintPng(number, text, 1));
    };
    const GreyImage ean = symbol(13, "400638133393");
    const GreyImage code = decode(qrPng("several symbols", 3));
    const GreyImage ground = plain(500, 260);
    return {
        placed(placed(ground, ean, 5, 5), ean, 255, 130),
        placed(placed(placed(ground, code, 5, 5), code, 130, 100), code, 260, 20),
        placed(placed(ground, symbol(71, "data matrix"), 10, 10), symbol(92, "aztec"), 200, 100),
        placed(placed(ground, symbol(55, "stacked"), 5, 5), symbol(20, "Code-128"), 5, 130),
        placed(placed(ground, symbol(29, "0950110153001"), 5, 5), symbol(8, "CODE39"), 5, 130),
        placed(placed(placed(ground, ean, 5, 5), code, 300, 100), symbol(3, "12345678"), 5, 130),
    };
}

GreyImage altered(GreyImage image, std::minstd_rand& random) {
    const auto upTo = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    const int changes = 1 + upTo(6);
    for (int i = 0; i < changes; ++i) {
        const int width = 1 + upTo(image.width / 3);
        const int height = 1 + upTo(image.height / 3);
        const int x = upTo(image.width - width);
        const int y = upTo(image.height - height);
        const int fromX = upTo(image.width - width);
        const int fromY = upTo(image.height - height);
        const int kind = upTo(5);
        const int grey = upTo(256);
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column) {
                uint8_t& here = image.pixels[at(image, x + column, y + row)];
                const uint8_t there = image.pixels[at(image, fromX + column, fromY + row)];
                const int results[] = {grey, there, 255 - here, (here + grey) / 2,
                                       upTo(4) == 0 ? upTo(256) : here};
                here = static_cast<uint8_t>(results[kind]);
            }
        }
    }
    return image;
}
