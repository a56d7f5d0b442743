// The least engine that listens: one thread that accepts and closes, one that waits for work.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "velmora_light_api_server.h"

struct VelmoraLightServer {
    int listener;
    std::mutex mutex;
    std::condition_variable work;
};

extern "C" {

[[gnu::visibility("default")]] VelmoraLightServer* velmoraLightServer_create(
    VelmoraLightServerConfig* config) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(config->port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, SOMAXCONN) != 0) {
        ::close(listener);
        return nullptr;
    }
    auto* server = new VelmoraLightServer{.listener = listener, .mutex = {}, .work = {}};
    std::thread([server] {
        for (int client = 0; (client = ::accept(server->listener, nullptr, nullptr)) >= 0;) {
            ::close(client);
        }
    }).detach();
    std::thread([server] {
        std::unique_lock<std::mutex> lock(server->mutex);
        for (;;) {
            server->work.wait(lock);
        }
    }).detach();
    return server;
}

[[gnu::visibility("default")]] int velmoraLightServer_destroy(VelmoraLightServer* /*server*/) {
    return 0;  // the hosts of the comparison end by a signal
}

[[gnu::visibility("default")]] int velmoraLight_getVersion(int* major, int* minor, int* patch) {
    *major = 1;
    *minor = 0;
    *patch = 0;
    return 0;
}

[[gnu::visibility("default")]] const char* velmoraLight_getBuildSHA1(void) {
    return "0000000";
}

}  // extern "C"
