// An engine without a library, for the settings' way from their source to the engine. It creates no
// server.

#include "fuzz/recording_engine.h"

#include "velmora_light_api_server.h"
#include "velmoraserver/app/common/velmoraservice.h"

static FiveNumbers numbers{};

extern "C" VelmoraLightServer* velmoraLightServer_create(VelmoraLightServerConfig* config) {
    numbers = {config->port, config->conns, config->threads, config->threadQueueSize,
               config->queueTimeout};
    return nullptr;
}

extern "C" int velmoraLightServer_destroy(VelmoraLightServer* /*server*/) {
    return VELMORA_LIGHT_ERROR_INVALID_HANDLE;
}

extern "C" int velmoraLight_getVersion(int* /*major*/, int* /*minor*/, int* /*patch*/) {
    return VELMORA_LIGHT_SUCCESS;
}

extern "C" const char* velmoraLight_getBuildSHA1(void) {
    return "fuzz";
}

const FiveNumbers& numbersOfLastStart() {
    return numbers;
}

void forgetLastStart() {
    delete qor::VelmoraServiceController::instance();
}
