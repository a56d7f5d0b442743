// Engines that the loader, and not the daemon, has to cope with, and one that listens. The build
// chooses by a definition:
//
//   WITH_TLS        has 4 KiB of thread-local storage, which only a program's start has room for
//   WITH_PLUGIN     loads a library at its start that uses its symbols
//   WITH_UNDEFINED  calls, where nobody gets to, a function that nobody has
//
// ENGINE_LOADS is "slowly" for 6 s that pass before the program begins.
// ENGINE_DOUBLE_RECORD is the file to which a line is appended for each server. ENGINE_SERVES says
// what velmoraLightServer_create does: "at once" (also without it) or "later" it listens, "never"
// it does not, "refuses" it says why and returns null, "crashes".
#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include "velmora_light_api_server.h"

struct VelmoraLightServer {};

namespace {

VelmoraLightServer theServer;

std::string variable(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

void record(int port) {
    if (std::FILE* file = std::fopen(variable("ENGINE_DOUBLE_RECORD", "/dev/null").c_str(), "a")) {
        std::fprintf(file, "create %d\n", port);
        std::fclose(file);
    }
}

bool listenOn(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    ::inet_pton(AF_INET, variable("VELMORA_LIGHT_BIND", "127.0.0.1").c_str(), &address.sin_addr);
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
           ::listen(fd, 1) == 0;
}

#ifdef WITH_TLS
[[gnu::tls_model("initial-exec")]] thread_local volatile char block[4096];
#endif

#ifdef WITH_UNDEFINED
extern "C" void nobodyHasThisFunction();
#endif

}  // namespace

extern "C" {

[[gnu::constructor]] void takeTime() {
    const char* how = std::getenv("ENGINE_LOADS");
    if (how != nullptr && std::string_view(how) == "slowly") {
        ::sleep(6);
    }
}

#ifdef WITH_PLUGIN
[[gnu::visibility("default")]] int valueOfTheEngine() {
    return 1;
}

[[gnu::constructor]] void loadPlugin() {
    if (::dlopen(PLUGIN, RTLD_NOW) == nullptr) {
        std::fprintf(stderr, "%s\n", ::dlerror());
        std::abort();
    }
}
#endif

[[gnu::visibility("default")]] VelmoraLightServer* velmoraLightServer_create(
    VelmoraLightServerConfig* config) {
#ifdef WITH_TLS
    block[0] = 1;
#endif
#ifdef WITH_UNDEFINED
    if (config->port == -1) {
        nobodyHasThisFunction();
    }
#endif
    record(config->port);
    const std::string how = variable("ENGINE_SERVES", "at once");
    const int port = config->port;
    if (how == "crashes") {
        std::abort();
    }
    if (how == "later") {
        std::thread([port] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            listenOn(port);
        }).detach();
        return &theServer;
    }
    if (how == "refuses" || (how == "at once" && !listenOn(port))) {
        std::fprintf(stderr, "no server\nport %d is not free\n", port);
        return nullptr;
    }
    return &theServer;
}

[[gnu::visibility("default")]] int velmoraLightServer_destroy(VelmoraLightServer*) {
    return 0;
}

[[gnu::visibility("default")]] int velmoraLight_getVersion(int* major, int* minor, int* patch) {
    *major = *minor = *patch = 7;
    return 0;
}

[[gnu::visibility("default")]] const char* velmoraLight_getBuildSHA1(void) {
    return "special";
}

}  // extern "C"
