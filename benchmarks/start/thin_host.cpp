// The least program of the daemon's shape, for the comparison of start and idle costs: an INI file,
// sixteen flushed lines, an engine found through $ORIGIN, a thread that wakes twice each 500 ms and
// a main thread that sleeps in steps of a second.
//
// usage: thin_host INI_FILE
#include <INIReader.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "velmora_light_api_server.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    const INIReader reader(argv[1]);
    const auto read = [&reader](const char* key, int otherwise) {
        return static_cast<int>(reader.GetInteger("default", key, otherwise));
    };
    VelmoraLightServerConfig config{.port = read("port", 51000),
                                    .conns = read("connections", 1),
                                    .threads = read("threads", 1),
                                    .threadQueueSize = read("threadQueuesize", 10),
                                    .queueTimeout = read("queueTimeout", 0)};
    std::thread writer([] {
        for (;;) {
            ::usleep(1000);
            ::usleep(499000);
        }
    });
    for (int i = 0; i < 16; ++i) {
        std::printf("line %d of the start: port %d\r\n", i, config.port);
        std::fflush(stdout);
    }
    if (velmoraLightServer_create(&config) == nullptr) {
        std::_Exit(1);
    }
    for (;;) {
        ::usleep(1000000);
    }
}
