#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "vlib/vos/vfile_access.h"

namespace {

bool opens(const std::string& path, int flags) {
    const int fd =
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags,
               S_IRUSR | S_IWUSR);
    if (fd < 0) {
        return false;
    }
    ::close(fd);
    return true;
}

}  // namespace

namespace vos {

size_t sizeOf(VFile& file) {
    struct stat status {};
    if (::fstat(file.getFd(), &status) == 0 && S_ISREG(status.st_mode)) {
        return static_cast<size_t>(status.st_size);
    }
    return file.getSize();
}

std::string creationPath(const std::string& path) {
    constexpr int maxLinks = 40;  // as many as the kernel follows
    std::filesystem::path current = path;
    std::error_code error;
    for (int i = 0; i < maxLinks && std::filesystem::is_symlink(current, error); ++i) {
        const std::filesystem::path target = std::filesystem::read_symlink(current, error);
        current = current.parent_path() / target;  // an absolute target replaces the whole
    }
    return current.string();
}

bool canAppendTo(const std::string& path) {
    if (opens(path, 0)) {
        return true;
    }
    if (errno != ENOENT) {
        return false;
    }
    // Only an attempt tells whether a file can be made there (permissions, file system, length of
    // the name).
    const std::string created = creationPath(path);
    if (!opens(created, O_CREAT | O_EXCL)) {
        return errno == EEXIST && opens(path, 0);  // somebody else has just made it
    }
    ::unlink(created.c_str());
    return true;
}

}  // namespace vos
