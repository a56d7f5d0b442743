// Tells what engine the daemon would have: a program that is linked with it exactly as the daemon
// is, so that the loader treats it alike.
//
// usage: velmoraengine-probe DESCRIPTOR [PORT CONNECTIONS THREADS QUEUESIZE TIMEOUT]
//
// Writes to the descriptor texts that end in zero bytes: the engine's file, version and build. With
// numbers it then has the engine create a server, writes "created" or "null", and keeps the server
// until a signal ends it, as it ends the daemon. velmoracheck runs it, and sees to its time and its
// output.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "velmora_light_api_server.h"

namespace {

constexpr std::size_t longestText = 1000;

void say(int descriptor, const std::string& text) {
    const std::string message = text.substr(0, longestText) + '\0';
    if (::write(descriptor, message.data(), message.size()) < 0) {
        ::_exit(1);
    }
}

int numberOf(const char* text) {
    return static_cast<int>(std::strtol(text, nullptr, 10));
}

std::string engineFile() {
    Dl_info info{};
    const void* function = ::dlsym(RTLD_DEFAULT, "velmoraLight_getVersion");
    return ::dladdr(function, &info) != 0 ? info.dli_fname : "unknown";
}

void describe(int descriptor) {
    int major = 0;
    int minor = 0;
    int patch = 0;
    velmoraLight_getVersion(&major, &minor, &patch);  // the daemon does not look at the result
    const char* build = velmoraLight_getBuildSHA1();
    say(descriptor, engineFile());
    say(descriptor,
        std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch));
    say(descriptor, build != nullptr ? build : "(null)");
}

void serve(int descriptor, char** numbers) {
    VelmoraLightServerConfig config{.port = numberOf(numbers[0]),
                                    .conns = numberOf(numbers[1]),
                                    .threads = numberOf(numbers[2]),
                                    .threadQueueSize = numberOf(numbers[3]),
                                    .queueTimeout = numberOf(numbers[4])};
    VelmoraLightServer* server = velmoraLightServer_create(&config);
    say(descriptor, server != nullptr ? "created" : "null");
    while (server != nullptr) {
        ::pause();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 7) {
        return 2;
    }
    const int descriptor = numberOf(argv[1]);
    describe(descriptor);
    if (argc == 7) {
        serve(descriptor, argv + 2);
    }
    ::_exit(0);  // without the engine's own clean-up: the daemon never gets there either
}
