#include "velmoraserver/app/velmoracheck/file_probe.h"

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

bool isOwnPipe(const struct stat& file) {
    for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
        struct stat own {};
        if (::fstat(fd, &own) == 0 && S_ISFIFO(own.st_mode) && own.st_dev == file.st_dev &&
            own.st_ino == file.st_ino) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string identityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    }
    std::error_code error;
    const std::filesystem::path name = std::filesystem::absolute(vos::creationPath(path));
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(name, error);
    // Of a folder that cannot be entered the names are all that is known.
    return (error ? name.lexically_normal() : canonical).string();
}

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
    if (isOwnPipe(status)) {
        return {};
    }
    const std::string why = whyNotAccessible(path, W_OK);
    return !why.empty() || S_ISCHR(status.st_mode) ? why : "It is no regular file";
}

bool isWritableFifo(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode) && !isOwnPipe(status) &&
           whyNotAccessible(path, W_OK).empty();
}

std::string whyNotReadable(const std::string& path) {
    const std::string why = whyNotAccessible(path, R_OK);
    return why == message(ENOENT) ? "" : why;
}

}  // namespace velmoracheck
