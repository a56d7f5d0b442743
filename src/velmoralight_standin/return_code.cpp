#include "velmoralight_standin/return_code.h"

#include <algorithm>
#include <iterator>

namespace standin {

namespace {

struct Entry {
    VelmoraLightReturnCode code;
    int status;  // never 5xx: a balancer would carry the picture to the next server
    const char* name;
};

constexpr Entry kEntries[] = {
    {VELMORA_LIGHT_SUCCESS, 200, "VELMORA_LIGHT_SUCCESS"},
    {VELMORA_LIGHT_ERROR_FILE_NOT_FOUND, 422, "VELMORA_LIGHT_ERROR_FILE_NOT_FOUND"},
    {VELMORA_LIGHT_ERROR_INVALID_IMAGE, 422, "VELMORA_LIGHT_ERROR_INVALID_IMAGE"},
    {VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE, 415, "VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE"},
    {VELMORA_LIGHT_ERROR_INVALID_PROPERTY, 400, "VELMORA_LIGHT_ERROR_INVALID_PROPERTY"},
    {VELMORA_LIGHT_ERROR_COUNTRY_NOT_SUPPORTED, 422, "VELMORA_LIGHT_ERROR_COUNTRY_NOT_SUPPORTED"},
    {VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED, 422, "VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED"},
    {VELMORA_LIGHT_ERROR_INVALID_ROI, 400, "VELMORA_LIGHT_ERROR_INVALID_ROI"},
    {VELMORA_LIGHT_ERROR_INVALID_HANDLE, 422, "VELMORA_LIGHT_ERROR_INVALID_HANDLE"},
    {VELMORA_LIGHT_ERROR_API_CALL_HAS_NO_EFFECT, 422, "VELMORA_LIGHT_ERROR_API_CALL_HAS_NO_EFFECT"},
    {VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE, 413, "VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE"},
    {VELMORA_LIGHT_ERROR_OTHER, 422, "VELMORA_LIGHT_ERROR_OTHER"},
};

// The last one stands for whatever is none of the others.
const Entry& entryOf(int code) noexcept {
    return *std::find_if(std::begin(kEntries), std::prev(std::end(kEntries)),
                         [code](const Entry& entry) { return entry.code == code; });
}

}  // namespace

bool isReturnCode(int code) noexcept {
    return entryOf(code).code == code;
}

const char* nameOf(VelmoraLightReturnCode code) noexcept {
    return entryOf(code).name;
}

int httpStatusOf(VelmoraLightReturnCode code) noexcept {
    return entryOf(code).status;
}

}  // namespace standin
