#include "velmoraserver/app/velmoracheck/write_probe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "vlib/vos/vfile_access.h"

namespace velmoracheck {

namespace {

std::string message(int error) {
    return std::generic_category().message(error);
}

std::string whyNotAccessible(const std::string& path, int mode) {
    return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0 ? "" : message(errno);
}

std::string whyNotCreatable(const std::string& path) {
    const std::filesystem::path directory =
        std::filesystem::path(vos::creationPath(path)).parent_path();
    return whyNotAccessible(directory.empty() ? "." : directory.string(), W_OK | X_OK);
}

// Opening for appending changes nothing, and tells more than the permissions do.
std::string whyNotAppendable(const std::string& path) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        return message(errno);
    }
    ::close(fd);
    return {};
}

}  // namespace

std::string whyNotWritable(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? whyNotCreatable(path) : message(errno);
    }
    if (S_ISREG(status.st_mode)) {
        return whyNotAppendable(path);
    }
    if (S_ISDIR(status.st_mode)) {
        return message(EISDIR);
    }
    return S_ISCHR(status.st_mode) ? whyNotAccessible(path, W_OK) : "It is no regular file";
}

}  // namespace velmoracheck
