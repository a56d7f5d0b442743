#include <stdio.h>

#include <new>

#include "vlib/vos/vfile.h"

namespace {

bool resize(std::vector<unsigned char>& v, size_t n) {
    if (n >= v.max_size()) {  // what a directory may give as its size
        return false;
    }
    try {
        v.resize(n);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace

VFile::VFile() = default;

VFile::~VFile() {
    close();
}

bool VFile::open(const char* path, const char* mode) {
    file = (path != nullptr && mode != nullptr) ? ::fopen(path, mode) : nullptr;
    return file != nullptr;
}

bool VFile::close() {
    if (file == nullptr) {
        return false;
    }
    const int result = ::fclose(file);
    file = nullptr;
    return result == 0;
}

bool VFile::writeBytes(const void* data, size_t n) {
    if (file == nullptr) {
        return false;
    }
    if (n == 0) {
        return true;  // an empty container may have no memory to point to
    }
    return data != nullptr && ::fwrite(data, 1, n, file) == n;
}

bool VFile::write(uint8_t* data, size_t n) {
    return writeBytes(data, n);
}

bool VFile::write(std::vector<unsigned char>& v) {
    return writeBytes(v.data(), v.size());
}

bool VFile::write(std::vector<char>& v) {
    return writeBytes(v.data(), v.size());
}

bool VFile::write(const std::string& s) {
    return writeBytes(s.data(), s.size());
}

bool VFile::readBytes(std::vector<unsigned char>& v, size_t n) {
    if (!resize(v, n)) {
        return false;
    }
    return n == 0 || ::fread(v.data(), 1, n, file) == n;
}

bool VFile::read(std::vector<unsigned char>& v) {
    return file != nullptr && readBytes(v, getSize());
}

std::vector<unsigned char> VFile::read() {
    std::vector<unsigned char> v;
    read(v);
    return v;
}

bool VFile::read(std::vector<unsigned char>& v, size_t n) {
    return file != nullptr && readBytes(v, n);
}

size_t VFile::getSize() {
    if (file == nullptr) {
        return 0;
    }
    ::fseek(file, 0, SEEK_END);
    const long size = ::ftell(file);
    ::fseek(file, 0, SEEK_SET);
    return static_cast<size_t>(size);
}

void VFile::rewind() {
    if (file != nullptr) {
        ::rewind(file);
    }
}

os_fd_t VFile::getFd() {
    return file != nullptr ? ::fileno(file) : -1;
}
