// A recording double of the recognition engine. The environment tells it what to do:
//
//   ENGINE_DOUBLE_RECORD   file to which a line is appended for each call, with its numbers
//   ENGINE_DOUBLE_FAIL     when set, velmoraLightServer_create returns null
//   ENGINE_DOUBLE_CREATE   what velmoraLightServer_create does after it is recorded: "crash", or
//                          "block" (for 10 s, and then it records "created")
//   ENGINE_DOUBLE_RELEASE  file without which a "block" does not end, not even after its 10 s
//   ENGINE_DOUBLE_CHATTER  so many lines are printed on standard output by each of two threads that
//                          velmoraLight_getVersion starts and velmoraLightServer_create awaits
//   ENGINE_DOUBLE_VERSION  "major minor patch"; without it the numbers are left untouched
//   ENGINE_DOUBLE_BUILD    the build identifier; "unknown" without it
//   ENGINE_DOUBLE_NO_BUILD when set, the build identifier is a null pointer
//   ENGINE_DOUBLE_MISBEHAVE what velmoraLight_getVersion does: "crash", "exit" (with status 3),
//                          "hang", "chatter" (on standard output, before it answers)
//   ENGINE_DOUBLE_DESTROY  the result of velmoraLightServer_destroy; 0 without it

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <vector>

#include "velmora_light_api_server.h"

struct VelmoraLightServer {};

namespace {

VelmoraLightServer theServer;

template <typename... Arguments>
void record(const char* format, Arguments... arguments) {
    const char* path = std::getenv("ENGINE_DOUBLE_RECORD");
    if (std::FILE* file = path != nullptr ? std::fopen(path, "a") : nullptr) {
        std::fprintf(file, format, arguments...);
        std::fclose(file);
    }
}

void misbehave() {
    const char* variable = std::getenv("ENGINE_DOUBLE_MISBEHAVE");
    const std::string_view how = variable != nullptr ? variable : "";
    if (how == "crash") {
        std::abort();
    }
    if (how == "exit") {
        std::_Exit(3);
    }
    while (how == "hang") {
        ::pause();
    }
    if (how == "chatter") {
        std::puts("engine speaking");
        std::fflush(stdout);
    }
}

std::vector<std::thread>& chatterers() {
    static auto& threads = *new std::vector<std::thread>;
    return threads;
}

void startChatter() {
    const char* variable = std::getenv("ENGINE_DOUBLE_CHATTER");
    const int lines = variable != nullptr ? std::atoi(variable) : 0;
    for (int thread = 0; lines > 0 && thread < 2; ++thread) {
        chatterers().emplace_back([lines] {
            for (int i = 0; i < lines; ++i) {
                std::puts("engine speaking");
                std::fflush(stdout);
            }
        });
    }
}

void awaitChatter() {
    for (std::thread& thread : chatterers()) {
        thread.join();
    }
    chatterers().clear();
}

void awaitRelease() {
    const char* file = std::getenv("ENGINE_DOUBLE_RELEASE");
    while (file != nullptr && ::access(file, F_OK) != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void createAsTold() {
    const char* variable = std::getenv("ENGINE_DOUBLE_CREATE");
    const std::string_view how = variable != nullptr ? variable : "";
    if (how == "crash") {
        std::abort();
    }
    if (how == "block") {
        std::this_thread::sleep_for(std::chrono::seconds(10));
        awaitRelease();
        record("created\n%s", "");
    }
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] VelmoraLightServer* velmoraLightServer_create(
    VelmoraLightServerConfig* config) {
    awaitChatter();
    record("create port=%d conns=%d threads=%d threadQueueSize=%d queueTimeout=%d\n", config->port,
           config->conns, config->threads, config->threadQueueSize, config->queueTimeout);
    createAsTold();
    return std::getenv("ENGINE_DOUBLE_FAIL") != nullptr ? nullptr : &theServer;
}

[[gnu::visibility("default")]] int velmoraLightServer_destroy(VelmoraLightServer* server) {
    record("destroy %s\n", server == &theServer ? "server" : server == nullptr ? "null" : "other");
    const char* result = std::getenv("ENGINE_DOUBLE_DESTROY");
    return result != nullptr ? std::atoi(result) : 0;
}

[[gnu::visibility("default")]] int velmoraLight_getVersion(int* major, int* minor, int* patch) {
    record("getVersion\n%s", "");
    misbehave();
    startChatter();
    if (const char* version = std::getenv("ENGINE_DOUBLE_VERSION")) {
        std::sscanf(version, "%d %d %d", major, minor, patch);
    }
    return VELMORA_LIGHT_ERROR_OTHER;  // which callers do not look at
}

[[gnu::visibility("default")]] const char* velmoraLight_getBuildSHA1(void) {
    record("getBuildSHA1\n%s", "");
    if (std::getenv("ENGINE_DOUBLE_NO_BUILD") != nullptr) {
        return nullptr;
    }
    const char* build = std::getenv("ENGINE_DOUBLE_BUILD");
    return build != nullptr ? build : "unknown";
}

}  // extern "C"
