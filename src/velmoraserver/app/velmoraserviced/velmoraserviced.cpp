#include "velmoraserver/app/velmoraserviced/velmoraserviced.h"

#include <unistd.h>

#include <optional>

#include "velmoraserver/app/common/velmoraservice.h"
#include "velmoraserver/app/velmoraserviced/settings.h"
#include "vlib/vlog/vlog.h"

using CommandLineProcessing::ArgvParser;
using qor::Settings;
using qor::VelmoraServiceController;

namespace {

// What the log shows as the place of its lines; the numbers are part of the log format and stay
// what they are when this file changes.
constexpr const char* topic = "VELMORASRV";
constexpr const char* source = "velmoraserver/app/velmoraserviced/velmoraserviced";
constexpr int startLine = 102;
constexpr int openErrorLine = 106;

int serve(const Settings& settings) {
    const VelmoraServiceController* controller = VelmoraServiceController::create_instance(
        settings.port, settings.connections, settings.threads, settings.threadQueuesize,
        settings.queueTimeout);
    if (controller == nullptr) {
        return -1;
    }
    return VelmoraServiceController::instance()->create();
}

}  // namespace

int startService(std::string configarg) {
    const std::string path = configarg.empty() ? getIniFile() : configarg;
    VLog& log = *VLog::getGlobalLog();
    log.write(topic, 0, VLogConfig::INFO, source, startLine, "Start parser file : %s",
              path.c_str());

    const std::optional<Settings> settings = qor::settingsFromIni(path);
    if (!settings) {
        log.write(topic, 0, VLogConfig::CRITICAL, source, openErrorLine, "Error to open file %s",
                  path.c_str());
        return -1;
    }
    return serve(*settings);
}

int startService(ArgvParser* parser) {
    return serve(qor::settingsFromCommandLine(*parser));
}

void Loop() {
    for (;;) {
        ::usleep(1000000);
    }
}

int Stop() {
    return VelmoraServiceController::instance()->destroy();
}
