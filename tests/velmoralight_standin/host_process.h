// A server in a process of its own, which a test can look at and stop from outside.
#pragma once

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

class HostProcess {
public:
    // `create` returns the server, which lives until the process is killed.
    template <typename Create>
    explicit HostProcess(Create create) : id(::fork()) {
        if (id == 0) {
            [[maybe_unused]] const auto server = create();
            for (;;) {
                ::pause();
            }
        }
    }
    ~HostProcess() {
        ::kill(id, SIGKILL);
        ::waitpid(id, nullptr, 0);
    }
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    const pid_t id;
};
