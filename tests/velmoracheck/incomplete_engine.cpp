// An engine that lacks one of the functions that the daemon calls: velmoraLight_getBuildSHA1.

#include "velmora_light_api_server.h"

extern "C" {

[[gnu::visibility("default")]] VelmoraLightServer* velmoraLightServer_create(
    VelmoraLightServerConfig*) {
    return nullptr;
}

[[gnu::visibility("default")]] int velmoraLightServer_destroy(VelmoraLightServer*) {
    return 0;
}

[[gnu::visibility("default")]] int velmoraLight_getVersion(int*, int*, int*) {
    return 0;
}

}  // extern "C"
