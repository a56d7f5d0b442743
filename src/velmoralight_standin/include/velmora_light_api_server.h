/* The interface of the recognition engine: its server, its version and its return codes. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* NOLINTBEGIN(modernize-use-using): C reads this header too */

typedef enum VelmoraLightReturnCode {
    VELMORA_LIGHT_SUCCESS = 0,
    VELMORA_LIGHT_ERROR_FILE_NOT_FOUND = 1,
    VELMORA_LIGHT_ERROR_INVALID_IMAGE = 2,
    VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE = 3,
    VELMORA_LIGHT_ERROR_INVALID_PROPERTY = 4,
    VELMORA_LIGHT_ERROR_COUNTRY_NOT_SUPPORTED = 5,
    VELMORA_LIGHT_ERROR_API_CALL_NOT_SUPPORTED = 6,
    VELMORA_LIGHT_ERROR_INVALID_ROI = 7,
    VELMORA_LIGHT_ERROR_INVALID_HANDLE = 8,
    VELMORA_LIGHT_ERROR_API_CALL_HAS_NO_EFFECT = 9,
    VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE = 10,
    VELMORA_LIGHT_ERROR_OTHER = 999
} VelmoraLightReturnCode;

/* What the server is to be. The record is read during velmoraLightServer_create only. */
typedef struct VelmoraLightServerConfig {
    int32_t port;            /* TCP port to listen on */
    int32_t conns;           /* client connections at once */
    int32_t threads;         /* recognition worker threads */
    int32_t threadQueueSize; /* waiting requests per worker */
    int32_t queueTimeout;    /* how long a request may wait; the unit is the engine's */
} VelmoraLightServerConfig;

/* A running server. Opaque; owned by the engine, released by velmoraLightServer_destroy. */
typedef struct VelmoraLightServer VelmoraLightServer;

/* Creates a server and starts it; the record is not written to. Null on failure. */
VelmoraLightServer* velmoraLightServer_create(VelmoraLightServerConfig* config);

/* Stops a server and frees it. 0 on success, otherwise a VelmoraLightReturnCode. */
int velmoraLightServer_destroy(VelmoraLightServer* server);

/* Fills the three numbers of the engine's version. */
int velmoraLight_getVersion(int* major, int* minor, int* patch);

/* The engine's build identifier; the text is the engine's and lives as long as it is loaded. */
const char* velmoraLight_getBuildSHA1(void);

/* NOLINTEND(modernize-use-using) */

#ifdef __cplusplus
}
#endif
