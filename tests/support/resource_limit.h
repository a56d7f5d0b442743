#pragma once

#include <sys/resource.h>

#include <csignal>
#include <stdexcept>

// Lowers one of the process's limits while the object lives. A file that would grow past
// RLIMIT_FSIZE fails to be written instead of ending the process.
class ResourceLimit {
public:
    ResourceLimit(decltype(RLIMIT_FSIZE) which, rlim_t limit)
        : resource(which), previousHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(resource, &previous);
        const rlimit lowered{limit, previous.rlim_max};
        if (::setrlimit(resource, &lowered) != 0) {
            throw std::runtime_error("cannot lower the limit");
        }
    }
    ~ResourceLimit() {
        ::setrlimit(resource, &previous);
        std::signal(SIGXFSZ, previousHandler);
    }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

private:
    decltype(RLIMIT_FSIZE) resource;
    rlimit previous{};
    void (*previousHandler)(int);
};
