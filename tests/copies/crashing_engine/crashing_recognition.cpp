// Stands before the stand-in's recognition, and ends the process for one body.

#include <cstdlib>

#include "velmoralight_standin/reader/recognition.h"

namespace standin {

// The recognition of the stand-in, which is compiled under this name.
Recognition recognizeSoundly(std::string_view query, Bytes file, const Limits& limits,
                             const MemoryNotice& notice) noexcept;

Recognition recognize(std::string_view query, Bytes file, const Limits& limits,
                      const MemoryNotice& notice) noexcept {
    static constexpr std::string_view kDeadly = "this ends the process";
    if (std::string_view(reinterpret_cast<const char*>(file.data()), file.size()) == kDeadly) {
        std::abort();
    }
    return recognizeSoundly(query, file, limits, notice);
}

}  // namespace standin
