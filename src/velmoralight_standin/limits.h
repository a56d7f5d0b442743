// Every limit of the stand-in engine, in one record.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace standin {

// The five numbers of the caller are checked against the `max...` bounds of the first block; the
// rest guards a running server against abuse. A server keeps its own copy, which never changes.
//
// Memory at most: 24 MiB for the server, maxBodiesBytes (96), pictureMemory (400), and for each
// reader 12 of its own, a file (16) and a small picture (16); with four readers 696 MiB, 730 MB.
// Each connection adds up to 32 KiB: 2,000 of them 63 MiB. A reader that is ended has its 44 for
// some milliseconds beside the next one.
struct Limits {
    // Client connections that may be asked for. Each takes a descriptor and, while it sends an
    // image, up to maxBodyBytes of memory.
    int32_t maxConns = 10'000;

    // Readers that may be asked for. Each works on one image at a time.
    int32_t maxThreads = 256;

    // Waiting requests per reader that may be asked for. 0 is allowed: nothing waits, a request is
    // taken only when a reader is idle and otherwise answered 503.
    int32_t maxThreadQueueSize = 10'000;

    // Queue time-out that may be asked for, milliseconds (one day). 0 is allowed: requests wait for
    // as long as it takes.
    int32_t maxQueueTimeout = 86'400'000;

    // Image as it arrives, bytes. Above: 413, return code 10; a body whose announced length is
    // above is not read.
    std::size_t maxBodyBytes = std::size_t{16} * 1024 * 1024;

    // Bodies on their way in, waiting and worked on, all together, bytes. Above: 503.
    std::size_t maxBodiesBytes = std::size_t{96} * 1024 * 1024;

    // From a picture in a reader's hands to its result, without the wait for memory that the reader
    // asked for. Above: the reader is ended and replaced, 422, return code 999.
    std::chrono::milliseconds pictureTime{5'000};

    // What the readers may ask for to decode and read pictures, all together, MiB. Pictures wait
    // for their turn; one that wants more than all of it: 413, return code 10, before anything is
    // decoded.
    std::size_t pictureMemory = 400;

    // A reader's result, bytes. Above: the reader is ended and replaced, 422, return code 999.
    std::size_t maxAnswerBytes = std::size_t{1024} * 1024;

    // From the start of a reader to its word that it is ready. Above: it is ended and replaced.
    std::chrono::milliseconds readerStart{30'000};

    // Pause before a reader is started again that ended before it was ready, times the number of
    // such ends in a row up to 50. Others are replaced at once.
    std::chrono::milliseconds readerPause{100};

    // Width times height as the image's header has it. Above: 413, return code 10, before anything
    // is decoded. One pixel takes one byte once decoded.
    uint64_t maxPixels = uint64_t{64} * 1024 * 1024;

    // Times that the data of a JPEG goes over its pixels; each costs time, however little it says.
    // What people have needs 15 or fewer. Above: 422.
    uint32_t maxJpegScans = 64;

    // What a picture may need beside its file before the reader asks for it, MiB.
    std::size_t smallPictureMemory = 16;

    // Address space of a reader, MiB: pictureMemory, the file, the program and its libraries. What
    // a picture needs beyond is refused: 413, return code 10.
    std::size_t readerMemory = 512;

    // Request line and header fields together, bytes, and the fields. Above: 431.
    std::uint32_t maxHeaderBytes = 8 * 1024;
    std::int32_t maxHeaderFields = 100;

    // From the first byte of a request to the end of its header. Above: 408, and the end of the
    // connection.
    std::chrono::milliseconds headerTimeout{10'000};

    // From the end of the header to the end of the body. Above: 408, and the end of the connection.
    std::chrono::milliseconds bodyTimeout{30'000};

    // Silence of a connection that has a place. Above: it is closed without a word.
    std::chrono::milliseconds idleTimeout{60'000};

    // How long a client may take to accept its answer. Above: the connection is closed.
    std::chrono::milliseconds answerTimeout{30'000};

    // A refused request (too many connections, too large, malformed, ...) is read away after its
    // answer until the client hangs up, for at most this long and this many bytes; a connection
    // that is closed on unread data would be reset, and the answer lost.
    std::chrono::milliseconds refusalTime{2'000};
    std::size_t refusalBytes = std::size_t{64} * 1024 * 1024;

    // Connections beyond `conns` at once: those that are refused, and those that ask how the server
    // is. Above: nobody is accepted until one of all the connections ends; who arrives meanwhile
    // waits in the system's backlog.
    int32_t maxVisitors = 128;

    // How long one of them may take to send a request. Above: it is refused. A newcomer that says
    // nothing for as long gets a place, if one is free, and counts as idle.
    std::chrono::milliseconds visitTime{2'000};

    // Silence between two requests before a connection counts as idle, and how long a newcomer
    // waits for one that is to give it its place. Above: the newcomer is refused.
    std::chrono::milliseconds idleGrace{50};

    // Pause after a failed accept (no descriptor or no memory left), unless a connection ends
    // sooner.
    std::chrono::milliseconds acceptPause{200};

    // How long a client may take to accept its answer once the server is being destroyed.
    std::chrono::milliseconds stopGrace{1'000};

    // What `Retry-After` says with every 503.
    std::chrono::seconds retryAfter{1};
};

}  // namespace standin
