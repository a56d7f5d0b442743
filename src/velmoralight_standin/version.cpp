#include "velmoralight_standin/version.h"

namespace standin {

const int kVersionMajor = VELMORA_VERSION_MAJOR;
const int kVersionMinor = VELMORA_VERSION_MINOR;
const int kVersionPatch = VELMORA_VERSION_PATCH;
const char* const kVersionText = VELMORA_VERSION;

const char* buildIdentifier() noexcept {
    return "stand-in-" VELMORA_BUILD_ID;
}

}  // namespace standin
