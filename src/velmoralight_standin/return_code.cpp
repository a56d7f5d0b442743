#include "velmoralight_standin/return_code.h"

namespace standin {

const char* nameOf(VelmoraLightReturnCode code) noexcept {
    switch (code) {
        case VELMORA_LIGHT_SUCCESS:
            return "VELMORA_LIGHT_SUCCESS";
        case VELMORA_LIGHT_ERROR_FILE_NOT_FOUND:
            return "VELMORA_LIGHT_ERROR_FILE_NOT_FOUND";
        case VELMORA_LIGHT_ERROR_INVALID_IMAGE:
            return "VELMORA_LIGHT_ERROR_INVALID_IMAGE";
        case VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE:
            return "VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE";
        case VELMORA_LIGHT_ERROR_INVALID_PROPERTY:
            return "VELMORA_LIGHT_ERROR_INVALID_PROPERTY";
        case VELMORA_LIGHT_ERROR_COUNTRY_NOT_SUPPORTED:
            return "VELMORA_LIGHT_ERROR_COUNTRY_NOT_SUPPORTED";
        case VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED:
            return "VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED";
        case VELMORA_LIGHT_ERROR_INVALID_ROI:
            return "VELMORA_LIGHT_ERROR_INVALID_ROI";
        case VELMORA_LIGHT_ERROR_INVALID_HANDLE:
            return "VELMORA_LIGHT_ERROR_INVALID_HANDLE";
        case VELMORA_LIGHT_ERROR_API_CALL_HAS_NO_EFFECT:
            return "VELMORA_LIGHT_ERROR_API_CALL_HAS_NO_EFFECT";
        case VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE:
            return "VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE";
        case VELMORA_LIGHT_ERROR_OTHER:
            break;
    }
    return "VELMORA_LIGHT_ERROR_OTHER";
}

bool isReturnCode(int code) noexcept {
    return (code >= VELMORA_LIGHT_SUCCESS && code <= VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE) ||
           code == VELMORA_LIGHT_ERROR_OTHER;
}

// Never 5xx: a balancer would carry the picture to the next server.
int httpStatusOf(VelmoraLightReturnCode code) noexcept {
    switch (code) {
        case VELMORA_LIGHT_SUCCESS:
            return 200;
        case VELMORA_LIGHT_ERROR_INVALID_PROPERTY:
        case VELMORA_LIGHT_ERROR_INVALID_ROI:
            return 400;
        case VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE:
            return 413;
        case VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE:
            return 415;
        default:
            return 422;
    }
}

}  // namespace standin
