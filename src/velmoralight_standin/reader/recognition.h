// One recognition from the bytes of a request to its answer. Knows no sockets and no processes.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/reader/image.h"
#include "velmoralight_standin/reader/symbol_reader.h"

namespace standin {

struct Recognition {
    VelmoraLightReturnCode code = VELMORA_LIGHT_SUCCESS;
    std::string message;             // empty on success
    std::optional<ImageInfo> image;  // once its header was read
    std::vector<Symbol> symbols;
};

// Called with the bytes that a picture needs at most, before it is decoded.
using MemoryNotice = std::function<void(uint64_t bytes)>;

// Reads the symbols of the image in `file`. `query` may name a region of interest,
// "roi=x,y,width,height", and the formats to look for, "formats=QRCode,EAN-13", and nothing else.
// An image without symbols is a success. Throws nothing: whatever goes wrong is a return code.
[[nodiscard]] Recognition recognize(std::string_view query, Bytes file, const Limits& limits,
                                    const MemoryNotice& notice = {}) noexcept;

// The answer to the client as a JSON object in one line, without its times, which the server adds.
[[nodiscard]] std::string answerText(const Recognition& recognition);

}  // namespace standin
