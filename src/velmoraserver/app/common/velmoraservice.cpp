#include "velmoraserver/app/common/velmoraservice.h"

#include <new>

#include "velmora_build_id.h"
#include "velmoraserver/app/common/velmora_defaults.h"
#include "vlib/vlog/vlog.h"

namespace qor {

namespace {

constexpr const char* topic = "VELMORASRV";
constexpr const char* source = "velmoraserver/app/common/velmoraservice";
constexpr uint16_t id = 0;
constexpr uint32_t level = VLogConfig::INFO;
constexpr char ruler[] = "----------------------------------------";

}  // namespace

VelmoraServiceController* VelmoraServiceController::_instance = nullptr;

VelmoraServiceController* VelmoraServiceController::instance() {
    return _instance;
}

VelmoraServiceController* VelmoraServiceController::create_instance(int port, int conns,
                                                                    int threads,
                                                                    int threadQueueSize,
                                                                    int queueTimeout) {
    _instance = new (std::nothrow)
        VelmoraServiceController(port, conns, threads, threadQueueSize, queueTimeout);
    return _instance;
}

VelmoraServiceController::VelmoraServiceController()
    : VelmoraServiceController(defaults::port, defaults::connections, defaults::threads,
                               defaults::threadQueueSize, defaults::queueTimeout) {}

VelmoraServiceController::VelmoraServiceController(int thePort, int theConnections, int theThreads,
                                                   int theThreadQueueSize, int theQueueTimeout)
    : port(thePort),
      connections(theConnections),
      threads(theThreads),
      threadQueueSize(theThreadQueueSize),
      queueTimeout(theQueueTimeout),
      g_Server(nullptr) {}

int VelmoraServiceController::create() {
    printVelmoraInfo();
    printConfigs();
    VelmoraLightServerConfig config{.port = port,
                                    .conns = connections,
                                    .threads = threads,
                                    .threadQueueSize = threadQueueSize,
                                    .queueTimeout = queueTimeout};
    g_Server = velmoraLightServer_create(&config);
    return g_Server != nullptr ? 0 : -1;
}

int VelmoraServiceController::destroy() {
    return velmoraLightServer_destroy(g_Server) == 0 ? 0 : -1;
}

// The line numbers of the two blocks are part of the log format, like the texts: they stay what
// they are when this file changes.

void VelmoraServiceController::printConfigs() {
    VLog& log = *VLog::getGlobalLog();
    log.write(topic, id, level, source, 60, ruler);
    log.write(topic, id, level, source, 61, "Velmora Service");
    log.write(topic, id, level, source, 62, "\tBUILD           :%s", VELMORA_BUILD_ID);
    log.write(topic, id, level, source, 63, "\tconnections     : %d", connections);
    log.write(topic, id, level, source, 64, "\tport            : %d", port);
    log.write(topic, id, level, source, 65, "\tthreads         : %d", threads);
    log.write(topic, id, level, source, 66, "\tthreadQueuesize : %d", threadQueueSize);
    log.write(topic, id, level, source, 67, "\tqueueTimeout    : %d", queueTimeout);
    log.write(topic, id, level, source, 68, ruler);
}

int VelmoraServiceController::printVelmoraInfo() {
    VLog& log = *VLog::getGlobalLog();
    log.write(topic, id, level, source, 74, ruler);
    log.write(topic, id, level, source, 75, "Velmora Light Info");
    int major = 0;
    int minor = 0;
    int patch = 0;
    velmoraLight_getVersion(&major, &minor, &patch);  // the result changes nothing
    log.write(topic, id, level, source, 77, "\tVelmora Version: %d.%d.%d", major, minor, patch);
    const char* build = velmoraLight_getBuildSHA1();
    log.write(topic, id, level, source, 78, "\tVelmora BuildInfo: %s",
              build != nullptr ? build : "(null)");
    log.write(topic, id, level, source, 79, ruler);
    return 0;
}

}  // namespace qor
