#include "velmoraserver/app/velmoracheck/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace velmoracheck {

namespace {

constexpr std::size_t longestFile = std::size_t{4} * 1024 * 1024;
constexpr std::size_t longestLine = 4096;

InputFile unopened() {
    return {InputFile::Unopened, "cannot be opened: " + std::generic_category().message(errno)};
}

InputFile tooLong(std::size_t size) {
    return {InputFile::Refused, joined("has ", size, " bytes, too many for a configuration file (",
                                       longestFile, " at most)")};
}

InputFile readAll(int fd) {
    InputFile file;
    std::string block(65536, '\0');
    // Also the files under /proc, which say that they are 0 long.
    while (file.text.size() <= longestFile) {
        const ssize_t n = ::read(fd, block.data(), block.size());
        if (n == 0) {
            return file;
        }
        if (n > 0) {
            file.text.append(block, 0, static_cast<std::size_t>(n));
        } else if (errno != EINTR) {
            return {InputFile::Refused,
                    "cannot be read: " + std::generic_category().message(errno)};
        }
    }
    return tooLong(file.text.size());
}

}  // namespace

InputFile readInput(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return unopened();
    }
    if (S_ISDIR(status.st_mode)) {
        return {InputFile::Directory, "is a directory"};
    }
    if (S_ISFIFO(status.st_mode)) {
        return {InputFile::Refused, "is a pipe, which is not read here"};
    }
    const bool isNull = S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
    if (!S_ISREG(status.st_mode) && !isNull) {
        return {InputFile::Refused, "is not a regular file"};
    }
    if (static_cast<std::size_t>(status.st_size) > longestFile) {
        return tooLong(static_cast<std::size_t>(status.st_size));
    }
    // Another file may have taken the name meanwhile, so this does not wait either.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        return unopened();
    }
    InputFile file = readAll(fd);
    ::close(fd);
    return file;
}

bool checkIsText(const std::string& path, const std::string& content, Findings& findings) {
    std::size_t line = 1;
    for (std::size_t begin = 0; begin < content.size(); ++line) {
        const std::size_t end = std::min(content.find('\n', begin), content.size());
        const std::string_view text = std::string_view(content).substr(begin, end - begin);
        if (text.find('\0') != std::string_view::npos) {
            findings.error({path, line}, "has a zero byte: this is not a text file");
            return false;
        }
        if (text.size() > longestLine) {
            findings.warning({path, line}, "is a line of ", text.size(),
                             " bytes: is this a configuration file?");
        }
        begin = end + 1;
    }
    return true;
}

}  // namespace velmoracheck
