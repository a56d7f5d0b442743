// The C boundary of the engine. No exception gets through.

#include "velmora_light_api_server.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "velmoralight_standin/http_server.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/server_config.h"
#include "velmoralight_standin/version.h"

// What the opaque handle of the interface points to.
struct VelmoraLightServer : standin::HttpServer {
    using HttpServer::HttpServer;
};

namespace {

void complain(const char* reason) {
    std::fprintf(stderr, "velmoraLight: no server created: %s\n", reason);
}

std::string environment(const char* name, const char* fallback) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == '\0' ? fallback : value;
}

// The folder of the file that this library was loaded from: the one that has this function, which
// unlike the public ones cannot be another's.
std::filesystem::path ownFolder() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&ownFolder), &info) == 0) {
        throw std::runtime_error("the engine's own file is not known");
    }
    return std::filesystem::canonical(info.dli_fname).parent_path();
}

// Nobody but this machine is served unless the host's environment asks for it.
standin::Surroundings surroundings() {
    return {environment("VELMORA_LIGHT_BIND", "127.0.0.1"),
            environment("VELMORA_LIGHT_ORIGINS", ""),
            ownFolder() / "velmora" / "velmoralight-reader"};
}

// The servers that are there, so that a handle that has been destroyed does no harm.
class Handles {
public:
    VelmoraLightServer* add(std::unique_ptr<VelmoraLightServer> server) {
        const std::lock_guard guard(mutex);
        VelmoraLightServer* const handle = server.get();
        servers.emplace(handle, std::move(server));
        return handle;
    }
    // Null for a handle that is none.
    std::unique_ptr<VelmoraLightServer> take(VelmoraLightServer* handle) {
        const std::lock_guard guard(mutex);
        const auto found = servers.extract(handle);
        return found ? std::move(found.mapped()) : nullptr;
    }

private:
    std::mutex mutex;
    std::map<VelmoraLightServer*, std::unique_ptr<VelmoraLightServer>> servers;
};

// Never destroyed: a host that ends without a word leaves its server running to the very end.
Handles& handles() {
    static Handles& all = *new Handles;
    return all;
}

void set(int* target, int value) {
    if (target != nullptr) {
        *target = value;
    }
}

}  // namespace

VelmoraLightServer* velmoraLightServer_create(VelmoraLightServerConfig* config) {
    try {
        if (config == nullptr) {
            throw std::invalid_argument("there is no configuration");
        }
        const standin::Limits limits;
        standin::check(*config, limits);
        return handles().add(std::make_unique<VelmoraLightServer>(*config, surroundings(), limits));
    } catch (const std::exception& failure) {
        complain(failure.what());
    } catch (...) {
        complain("unknown failure");
    }
    return nullptr;
}

int velmoraLightServer_destroy(VelmoraLightServer* server) {
    const std::unique_ptr<VelmoraLightServer> taken = handles().take(server);
    return taken ? VELMORA_LIGHT_SUCCESS : VELMORA_LIGHT_ERROR_INVALID_HANDLE;
}

int velmoraLight_getVersion(int* major, int* minor, int* patch) {
    set(major, standin::kVersionMajor);
    set(minor, standin::kVersionMinor);
    set(patch, standin::kVersionPatch);
    return VELMORA_LIGHT_SUCCESS;
}

const char* velmoraLight_getBuildSHA1(void) {
    return standin::buildIdentifier();
}
