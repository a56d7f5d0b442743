#include "velmoraserver/app/velmoracheck/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace velmoracheck {

namespace {

constexpr std::size_t longestFile = std::size_t{4} * 1024 * 1024;
constexpr std::size_t longestLine = 4096;

InputFile unopened(int error) {
    InputFile file;
    file.problem = "cannot be opened: " + std::generic_category().message(error);
    file.unopened = true;
    return file;
}

InputFile refused(std::string problem) {
    InputFile file;
    file.problem = std::move(problem);
    return file;
}

std::string tooLong(std::size_t size) {
    return "is " + std::to_string(size) +
           " bytes long, too long for a configuration file: no more than " +
           std::to_string(longestFile) + " are read here";
}

// What a file other than a regular one is; empty for a regular one.
std::string specialKind(mode_t mode) {
    if (S_ISREG(mode)) {
        return {};
    }
    if (S_ISDIR(mode)) {
        return "is a directory";
    }
    return S_ISFIFO(mode) ? "is a FIFO, for which the daemon would wait" : "is not a regular file";
}

InputFile readAll(int fd) {
    std::string content;
    std::string block(65536, '\0');
    for (;;) {
        const ssize_t n = ::read(fd, block.data(), block.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return refused("cannot be read: " + std::generic_category().message(errno));
        }
        if (n == 0) {
            InputFile file;
            file.content = std::move(content);
            return file;
        }
        content.append(block, 0, static_cast<std::size_t>(n));
        if (content.size() >
            longestFile) {  // also the files under /proc, which say that they are 0 long
            return refused(tooLong(content.size()));
        }
    }
}

}  // namespace

InputFile readInput(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return unopened(errno);
    }
    if (const std::string kind = specialKind(status.st_mode); !kind.empty()) {
        InputFile file = refused(kind);
        file.isDirectory = S_ISDIR(status.st_mode);
        return file;
    }
    if (static_cast<std::size_t>(status.st_size) > longestFile) {
        return refused(tooLong(static_cast<std::size_t>(status.st_size)));
    }
    // Another file may have taken the name meanwhile, so this does not wait either.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        return unopened(errno);
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
            findings.warning({path, line}, "is a line of " + std::to_string(text.size()) +
                                               " bytes: is this a configuration file?");
        }
        begin = end + 1;
    }
    return true;
}

}  // namespace velmoracheck
