#include "velmoraserver/app/velmoracheck/engine_child.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <filesystem>
#include <string>

namespace velmoracheck {

namespace {

// What the daemon calls; the engine must have all of them, though only two are called here.
constexpr const char* createSymbol = "velmoraLightServer_create";
constexpr const char* destroySymbol = "velmoraLightServer_destroy";
constexpr const char* versionSymbol = "velmoraLight_getVersion";
constexpr const char* buildSymbol = "velmoraLight_getBuildSHA1";

using GetVersion = int (*)(int* major, int* minor, int* patch);
using GetBuild = const char* (*)();

// A crash leaves no core file behind and is no crash report of a sanitizer; with the parent goes
// the child.
void isolate() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_DUMPABLE, 0);
    constexpr rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    for (const int crash : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        static_cast<void>(std::signal(crash, SIG_DFL));
    }
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(nowhere, fd);
    }
}

[[noreturn]] void say(int pipe, const std::string& message) {
    // In one piece, as nothing longer than this is ever parted.
    const std::size_t length = std::min<std::size_t>(message.size(), PIPE_BUF);
    const ssize_t written = ::write(pipe, message.data(), length);
    // Without the engine's own clean-up: the daemon never gets there either.
    ::_exit(written == static_cast<ssize_t>(length) ? 0 : 1);
}

[[noreturn]] void fail(int pipe, const std::string& problem) {
    say(pipe, std::string(1, engineFailed) + problem + '\0');
}

std::string loaderError() {
    const char* text = ::dlerror();
    return text != nullptr ? text : "unknown error";
}

// Whether the loader found no file of the engine's name (and not, say, one that it cannot use).
bool isNotFound(const std::string& problem) {
    return problem.starts_with(std::string(engineLibrary) + ": cannot open shared object file");
}

// This program and the daemon lie in the same directory and are linked with the same path to their
// library. A sanitizer's runtime loads libraries in its own name, without that path: hence the
// second attempt.
void* load(int pipe) {
    void* library = ::dlopen(engineLibrary, RTLD_NOW | RTLD_LOCAL);
    const std::string problem = library == nullptr ? loaderError() : "";
    if (isNotFound(problem)) {
        std::error_code error;
        const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
        const auto beside = program.parent_path().parent_path() / "lib" / engineLibrary;
        library = ::dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    if (library == nullptr) {
        fail(pipe, problem);
    }
    return library;
}

void* symbol(void* library, const char* name, int pipe) {
    void* address = ::dlsym(library, name);
    if (address == nullptr) {
        fail(pipe, std::string("has no function ") + name);
    }
    return address;
}

std::string fileOf(void* library) {
    link_map* map = nullptr;
    const bool isKnown = ::dlinfo(library, RTLD_DI_LINKMAP, &map) == 0;
    return isKnown ? std::filesystem::path(map->l_name).lexically_normal().string() : engineLibrary;
}

}  // namespace

void askEngine(int pipe) {
    isolate();
    void* library = load(pipe);
    symbol(library, createSymbol, pipe);
    symbol(library, destroySymbol, pipe);
    const auto getVersion = reinterpret_cast<GetVersion>(symbol(library, versionSymbol, pipe));
    const auto getBuild = reinterpret_cast<GetBuild>(symbol(library, buildSymbol, pipe));

    int major = 0;
    int minor = 0;
    int patch = 0;
    getVersion(&major, &minor, &patch);  // the daemon does not look at the result either
    const char* build = getBuild();
    const std::string version =
        std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
    constexpr std::size_t longestBuild = 200;
    say(pipe, engineAnswered + fileOf(library) + '\0' + version + '\0' +
                  std::string(build != nullptr ? build : "(null)").substr(0, longestBuild) + '\0');
}

}  // namespace velmoracheck
