#pragma once

#include <unistd.h>

#include <stdexcept>

// While the object lives permissions of files bind this process, also where root runs the tests.
class Unprivileged {
public:
    Unprivileged() : before(::geteuid()) {
        constexpr uid_t nobody = 65534;
        if (before == 0 && ::seteuid(nobody) != 0) {
            throw std::runtime_error("cannot become an ordinary user");
        }
    }
    ~Unprivileged() {
        if (::seteuid(before) != 0) {
            ::_exit(1);  // nothing that follows would mean what it says
        }
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

private:
    uid_t before;
};
