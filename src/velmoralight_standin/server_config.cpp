#include "velmoralight_standin/server_config.h"

#include <cstdint>
#include <stdexcept>

namespace standin {

namespace {

struct NamedNumber {
    const char* name;
    int32_t value;
    int32_t least;
    int32_t most;
};

constexpr int32_t kLastPort = 65535;

}  // namespace

void check(const VelmoraLightServerConfig& config, const Limits& limits) {
    const NamedNumber numbers[] = {
        {"port", config.port, 1, kLastPort},
        {"conns", config.conns, 1, limits.maxConns},
        {"threads", config.threads, 1, limits.maxThreads},
        {"threadQueueSize", config.threadQueueSize, 0, limits.maxThreadQueueSize},
        {"queueTimeout", config.queueTimeout, 0, limits.maxQueueTimeout},
    };
    for (const NamedNumber& number : numbers) {
        if (number.value < number.least || number.value > number.most) {
            throw std::invalid_argument(
                std::string(number.name) + " " + std::to_string(number.value) + " is not in " +
                std::to_string(number.least) + ".." + std::to_string(number.most));
        }
    }
}

}  // namespace standin
