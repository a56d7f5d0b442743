#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "vlib/vos/vfile_access.h"

namespace fs = std::filesystem;

namespace vos {
namespace {

bool isPermitted(const fs::path& path, int mode) {
    return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

}  // namespace

std::string creationPath(const std::string& path) {
    constexpr int maxLinks = 40;  // as many as the kernel follows
    fs::path current = path;
    std::error_code error;
    for (int i = 0; i < maxLinks && fs::is_symlink(current, error); ++i) {
        const fs::path target = fs::read_symlink(current, error);
        current = current.parent_path() / target;  // an absolute target replaces the whole
    }
    return current.string();
}

bool canAppendTo(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() != fs::file_type::not_found) {
        return !fs::is_directory(status) && !fs::is_socket(status) && isPermitted(path, W_OK);
    }
    const fs::path created = creationPath(path);
    const fs::path directory = created.has_parent_path() ? created.parent_path() : ".";
    return created.has_filename() && fs::is_directory(directory, error) &&
           isPermitted(directory, W_OK | X_OK);
}

}  // namespace vos
