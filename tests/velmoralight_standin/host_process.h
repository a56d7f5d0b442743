// A server in a process of its own, which a test can look at and stop from outside.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

class HostProcess {
public:
    // `create` returns the server, which lives until the process is killed, and with the test at
    // the latest.
    template <typename Create>
    explicit HostProcess(Create create) : id(::fork()) {
        if (id < 0) {
            throw std::runtime_error("there is no process to be had");
        }
        if (id == 0) {
            host(create);
        }
    }
    ~HostProcess() {
        ::kill(id, SIGKILL);
        ::waitpid(id, nullptr, 0);
    }
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    const pid_t id;

private:
    // What fails here is not to go on with the tests a second time.
    template <typename Create>
    [[noreturn]] static void host(Create create) noexcept {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        [[maybe_unused]] const auto server = create();
        for (;;) {
            ::pause();
        }
    }
};
