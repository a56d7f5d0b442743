// An engine that lacks one of the functions that the daemon calls. The build leaves it out.

#include "velmora_light_api_server.h"

extern "C" {

#ifndef WITHOUT_velmoraLightServer_create
[[gnu::visibility("default")]] VelmoraLightServer* velmoraLightServer_create(
    VelmoraLightServerConfig*) {
    return nullptr;
}
#endif

#ifndef WITHOUT_velmoraLightServer_destroy
[[gnu::visibility("default")]] int velmoraLightServer_destroy(VelmoraLightServer*) {
    return 0;
}
#endif

#ifndef WITHOUT_velmoraLight_getVersion
[[gnu::visibility("default")]] int velmoraLight_getVersion(int*, int*, int*) {
    return 0;
}
#endif

#ifndef WITHOUT_velmoraLight_getBuildSHA1
[[gnu::visibility("default")]] const char* velmoraLight_getBuildSHA1(void) {
    return "incomplete";
}
#endif

}  // extern "C"
