#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

// A new directory that goes, with all that is in it, when the object does.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name =
            (std::filesystem::temp_directory_path() / "velmora-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a temporary directory");
        }
        root = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] std::string path() const { return root.string(); }

    // The path of a file or directory in it.
    [[nodiscard]] std::string path(const std::string& name) const { return (root / name).string(); }

private:
    std::filesystem::path root;
};
