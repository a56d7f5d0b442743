#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vlib/vos/vnoncopyable.h"
#include "vlib/vos/vos_types.h"

// A file read and written through a stdio stream, which the object owns. Used by one thread at a
// time.
//
// No operation throws and none reports: a failure is false (0 from getSize). Without an open stream
// every operation returns false, 0 or nothing at once and touches nothing.
class VFile : public VNoncopyable {
public:
    VFile();
    ~VFile();  // closes the stream

    // Opens path with a mode of fopen. A stream that is open already is not closed but forgotten:
    // close() first.
    bool open(const char* path, const char* mode);

    // True when the stream was open and everything buffered was written.
    bool close();

    // Each writes the whole content; true when all of it was taken. An empty content is true.
    bool write(uint8_t* data, size_t n);
    bool write(std::vector<unsigned char>& v);
    bool write(std::vector<char>& v);
    bool write(const std::string& s);

    // Reads the whole file, from its start. v has the size of the file afterwards, also when fewer
    // bytes could be read. False, with v as it was, when the size cannot be had or cannot be
    // allocated: that of a FIFO, and of a directory where its file system gives it a huge one.
    // Where it gives a directory none, that is read as an empty file.
    bool read(std::vector<unsigned char>& v);

    // The same, returning what there is whatever the result.
    std::vector<unsigned char> read();

    // Reads n bytes from where the stream stands. v has n bytes afterwards, also when fewer could
    // be read; false, with v as it was, when n bytes cannot be allocated.
    bool read(std::vector<unsigned char>& v, size_t n);

    // The size of the file in bytes; -1 converted to size_t where there is none (a FIFO). Leaves
    // the stream at the start of the file.
    size_t getSize();

    void rewind();

    // The stream's descriptor, which stays the stream's; -1 when none is open.
    [[nodiscard]] os_fd_t getFd();

private:
    bool writeBytes(const void* data, size_t n);
    bool readBytes(std::vector<unsigned char>& v, size_t n);

    os_file_t file = nullptr;
};
