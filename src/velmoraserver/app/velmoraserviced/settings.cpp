#include "velmoraserver/app/velmoraserviced/settings.h"

#include <INIReader.h>

#include <cstdio>
#include <memory>

#include "vlib/vutils/vutils_strings.h"

using CommandLineProcessing::ArgvParser;

namespace qor {

namespace {

int readInt(const INIReader& reader, const char* key, int otherwise) {
    return static_cast<int>(reader.GetInteger(iniSection, key, otherwise));
}

// The text of an option; the default's text when the option is absent.
std::string optionText(const ArgvParser& parser, const char* name, int otherwise) {
    const std::string text = vutils::toStringFormat("%d", otherwise);
    return parser.foundOption(name) ? parser.optionValue(name) : text;
}

// The decimal number at the beginning of the text; otherwise where there is none.
int toInt(const std::string& text, int otherwise) {
    int value = otherwise;
    // Trailing text is ignored, and a text without a number means the default.
    // NOLINTNEXTLINE(cert-err33-c, cert-err34-c): for these reasons the result does not count
    std::sscanf(text.c_str(), "%d", &value);
    return value;
}

}  // namespace

std::optional<Settings> settingsFromIni(const std::string& path) {
    const auto reader = std::make_unique<INIReader>(path);
    if (reader->ParseError() == -1) {
        return std::nullopt;
    }
    Settings settings;
    settings.connections = readInt(*reader, "connections", settings.connections);
    settings.port = readInt(*reader, "port", settings.port);
    settings.threads = readInt(*reader, "threads", settings.threads);
    settings.threadQueuesize = readInt(*reader, "threadQueuesize", settings.threadQueuesize);
    settings.queueTimeout = readInt(*reader, "queueTimeout", settings.queueTimeout);
    return settings;
}

Settings settingsFromCommandLine(const ArgvParser& parser) {
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

}  // namespace qor
