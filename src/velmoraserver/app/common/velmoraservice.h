#pragma once

#include "velmora_light_api_server.h"

namespace qor {

// Holds the five settings of the recognition server, creates the server and keeps its handle. The
// only caller of the engine. All operations belong to the main thread; there is no lock.
class VelmoraServiceController {
public:
    // The one controller; null before create_instance().
    [[nodiscard]] static VelmoraServiceController* instance();

    // Makes the one controller. It lives until the process ends. A second call replaces the
    // pointer; the earlier controller is neither looked at nor released. Null when there is no
    // memory for it.
    static VelmoraServiceController* create_instance(int port, int conns, int threads,
                                                     int threadQueueSize, int queueTimeout);

    // With the defaults of velmora_defaults.h.
    VelmoraServiceController();

    // Stores the values as they are: the engine judges them.
    VelmoraServiceController(int thePort, int theConnections, int theThreads,
                             int theThreadQueueSize, int theQueueTimeout);

    // Does not touch the server.
    ~VelmoraServiceController() = default;

    // Logs the engine's version and the settings, then creates the server. 0 when it exists, -1
    // otherwise.
    int create();

    // Stops the server. 0 when the engine says so, -1 otherwise. The handle is kept.
    int destroy();

    // The two blocks that create() logs. printVelmoraInfo() returns 0.
    void printConfigs();
    int printVelmoraInfo();

private:
    int port;
    int connections;
    int threads;
    int threadQueueSize;
    int queueTimeout;              // in the engine's unit
    VelmoraLightServer* g_Server;  // the engine's; null until create() succeeds

    static VelmoraServiceController* _instance;
};

}  // namespace qor
