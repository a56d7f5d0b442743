#include "velmoraserver/app/velmoraserviced/velmoraserviced.h"

#include <INIReader.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "velmoraserver/app/common/velmoraservice.h"
#include "vlib/vlog/vlog.h"
#include "vlib/vutils/vutils_strings.h"

using CommandLineProcessing::ArgvParser;
using qor::VelmoraServiceController;

namespace {

// What the log shows as the place of its lines; the numbers are part of the log format and stay
// what they are when this file changes.
constexpr const char* topic = "VELMORASRV";
constexpr const char* source = "velmoraserver/app/velmoraserviced/velmoraserviced";
constexpr int startLine = 102;
constexpr int openErrorLine = 106;

constexpr const char* iniSection = "default";
constexpr unsigned int usageWidth = 80;

// The five settings, with their defaults.
struct Settings {
    int connections = VelmoraServiceController::defaultConnections;
    int port = VelmoraServiceController::defaultPort;
    int threads = VelmoraServiceController::defaultThreads;
    int threadQueuesize = VelmoraServiceController::defaultThreadQueueSize;
    int queueTimeout = VelmoraServiceController::defaultQueueTimeout;
};

int readInt(const INIReader& reader, const char* key, int otherwise) {
    return static_cast<int>(reader.GetInteger(iniSection, key, otherwise));
}

Settings readSettings(const INIReader& reader) {
    Settings settings;
    settings.connections = readInt(reader, "connections", settings.connections);
    settings.port = readInt(reader, "port", settings.port);
    settings.threads = readInt(reader, "threads", settings.threads);
    settings.threadQueuesize = readInt(reader, "threadQueuesize", settings.threadQueuesize);
    settings.queueTimeout = readInt(reader, "queueTimeout", settings.queueTimeout);
    return settings;
}

// The text of an option; the default's text when the option is absent.
std::string optionText(const ArgvParser& parser, const char* name, int otherwise) {
    const std::string text = vutils::toStringFormat("%d", otherwise);
    return parser.foundOption(name) ? parser.optionValue(name) : text;
}

// The decimal number at the beginning of the text; otherwise where there is none.
int toInt(const std::string& text, int otherwise) {
    int value = otherwise;
    // NOLINTNEXTLINE(cert-err34-c): trailing text is ignored, and text without a number means the
    // default
    std::sscanf(text.c_str(), "%d", &value);
    return value;
}

Settings readSettings(const ArgvParser& parser) {
    const Settings defaults;
    const std::string connections = optionText(parser, "connections", defaults.connections);
    const std::string port = optionText(parser, "port", defaults.port);
    const std::string threads = optionText(parser, "threads", defaults.threads);
    const std::string threadQueuesize =
        optionText(parser, "threadQueuesize", defaults.threadQueuesize);
    const std::string queueTimeout = optionText(parser, "queueTimeout", defaults.queueTimeout);

    Settings settings;
    settings.queueTimeout = toInt(queueTimeout, defaults.queueTimeout);
    settings.threadQueuesize = toInt(threadQueuesize, defaults.threadQueuesize);
    settings.threads = toInt(threads, defaults.threads);
    settings.connections = toInt(connections, defaults.connections);
    settings.port = toInt(port, defaults.port);
    return settings;
}

int serve(const Settings& settings) {
    const VelmoraServiceController* controller = VelmoraServiceController::create_instance(
        settings.port, settings.connections, settings.threads, settings.threadQueuesize,
        settings.queueTimeout);
    if (controller == nullptr) {
        return -1;
    }
    return VelmoraServiceController::instance()->create();
}

void declareOption(ArgvParser& parser, const char* name, const char* alternative,
                   const char* description) {
    parser.defineOption(name, description, ArgvParser::OptionRequiresValue);
    parser.defineOptionAlternative(name, alternative);
}

}  // namespace

std::string getIniFile() {
    return "/opt/velmoraserver/velmora.ini";
}

ArgvParser* initArgParser() {
    auto parser = std::make_unique<ArgvParser>();
    parser->setIntroductoryDescription("Velmora Service");
    parser->setHelpOption("h", "help", "Velmora Service Help.");
    declareOption(*parser, "connections", "c", "Number of connections");
    declareOption(*parser, "ini", "i", "Ini file path");
    declareOption(*parser, "port", "p", "Port for Server");
    declareOption(*parser, "threads", "t", "Number of threads");
    declareOption(*parser, "threadQueuesize", "q", "Queue Size");
    declareOption(*parser, "queueTimeout", "o", "Queue Timeout (ms)");
    return parser.release();
}

void printUsage(ArgvParser* parser) {
    std::printf("[LOG]\t%s\r\n", parser->usageDescription(usageWidth).c_str());
    std::fflush(stdout);
}

int startService(std::string configarg) {
    const std::string path = configarg.empty() ? getIniFile() : configarg;
    VLog& log = *VLog::getGlobalLog();
    log.write(topic, 0, VLogConfig::INFO, source, startLine, "Start parser file : %s",
              path.c_str());

    auto reader = std::make_unique<INIReader>(path);
    if (reader->ParseError() == -1) {
        log.write(topic, 0, VLogConfig::CRITICAL, source, openErrorLine, "Error to open file %s",
                  path.c_str());
        return -1;
    }
    const Settings settings = readSettings(*reader);
    reader.reset();
    return serve(settings);
}

int startService(ArgvParser* parser) {
    return serve(readSettings(*parser));
}

void Loop() {
    for (;;) {
        ::usleep(1000000);
    }
}

int Stop() {
    return VelmoraServiceController::instance()->destroy();
}
