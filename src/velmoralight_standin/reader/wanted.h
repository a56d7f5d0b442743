// What a request's query asks for.
#pragma once

#include <optional>
#include <string_view>

#include "velmoralight_standin/reader/image.h"
#include "velmoralight_standin/reader/roi.h"
#include "velmoralight_standin/reader/symbol_reader.h"

namespace standin {

struct Wanted {
    std::optional<Roi> roi;          // the whole image unless given
    std::optional<Formats> formats;  // all unless given
};

// Reads "roi=x,y,width,height" and "formats=QRCode,EAN-13", each at most once. The region may yet
// lie outside of the image.
[[nodiscard]] OrRefusal<Wanted> parseWanted(std::string_view query);

}  // namespace standin
