#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <stdexcept>

// While it lives, the calling thread is bound by the permissions and owners of files, also when
// root runs it.
class BoundByPermissions {
public:
    BoundByPermissions() {
        if (::syscall(SYS_capget, &header, &before[0]) != 0) {
            throw std::runtime_error("cannot read the capabilities of the test");
        }
        __user_cap_data_struct bound[_LINUX_CAPABILITY_U32S_3] = {before[0], before[1]};
        bound[0].effective &=
            ~(1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH | 1U << CAP_FOWNER);
        if (::syscall(SYS_capset, &header, &bound[0]) != 0) {
            throw std::runtime_error("cannot give up capabilities for the test");
        }
    }
    ~BoundByPermissions() { ::syscall(SYS_capset, &header, &before[0]); }
    BoundByPermissions(const BoundByPermissions&) = delete;
    BoundByPermissions& operator=(const BoundByPermissions&) = delete;

private:
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct before[_LINUX_CAPABILITY_U32S_3] = {};
};
