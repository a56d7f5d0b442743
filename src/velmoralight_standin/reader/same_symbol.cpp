// Whether two readings are of one symbol. The library asks that of itself while it goes over an
// image, and its own answer, in the releases before 2.2, asserts that a linear symbol was met on
// one line only; it was met on more wherever the library looked twice, at a large image and at its
// smaller copy, and the process ended. This definition stands in the program and so takes the place
// of the library's, for the library's own calls as well.

#include <ZXing/Result.h>
#include <ZXing/ZXVersion.h>

#include <algorithm>
#include <cstdlib>

static_assert(ZXING_VERSION_MAJOR < 2 || (ZXING_VERSION_MAJOR == 2 && ZXING_VERSION_MINOR < 2),
              "this library does not need it");

namespace ZXing {

namespace {

int distance(const PointI& a, const PointI& b) {
    return std::max(std::abs(a.x - b.x), std::abs(a.y - b.y));
}

// Whether a line over a symbol belongs to one that was met before: it starts nearer to one of the
// ends of that one's starting edge than half of its length.
bool goesOver(const Position& line, const Position& symbol) {
    const int gap = std::min(distance(symbol.topLeft(), line.topLeft()),
                             distance(symbol.bottomLeft(), line.topLeft()));
    return gap < distance(line.topLeft(), line.bottomRight()) / 2;
}

struct Box {
    explicit Box(const Position& corners) {
        const auto [left, right] = std::minmax_element(corners.begin(), corners.end(),
                                                       [](auto& a, auto& b) { return a.x < b.x; });
        const auto [top, bottom] = std::minmax_element(corners.begin(), corners.end(),
                                                       [](auto& a, auto& b) { return a.y < b.y; });
        min = {left->x, top->y};
        max = {right->x, bottom->y};
    }

    PointI min, max;
};

bool overlap(const Box& a, const Box& b) {
    return a.min.x <= b.max.x && b.min.x <= a.max.x && a.min.y <= b.max.y && b.min.y <= a.max.y;
}

}  // namespace

[[gnu::visibility("default")]] bool Result::operator==(const Result& other) const {
    const bool sayTheSame = bytes() == other.bytes() || error() || other.error();
    if (format() != other.format() || !sayTheSame) {
        return false;
    }
    if (BarcodeFormats(BarcodeFormat::MatrixCodes).testFlag(format())) {
        return IsInside(Center(other.position()), position());
    }
    if (lineCount() == 1) {
        return goesOver(position(), other.position());
    }
    if (other.lineCount() == 1) {
        return goesOver(other.position(), position());
    }
    return overlap(Box(position()), Box(other.position()));
}

}  // namespace ZXing
