#include "velmoralight_standin/version.h"

namespace standin {

const char* buildIdentifier() noexcept {
    return "stand-in-" VELMORA_BUILD_ID;
}

}  // namespace standin
