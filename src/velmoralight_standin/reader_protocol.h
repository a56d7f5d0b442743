// What the server and a reader process say to each other over their socket pair, a stream. Both are
// of one build on one machine, so the records go over it as they lie in memory. A reader's word is
// not trusted: the server bounds every size that it is told.
#pragma once

#include <cstdint>

namespace standin {

// The descriptor that a reader finds its end of the pair at.
inline constexpr int kReaderSocket = 0;

// To the reader: one picture. `querySize` bytes of the request's query and `fileSize` bytes of the
// file follow. The next one comes when this one has been answered.
struct ReaderRequest {
    uint32_t querySize = 0;
    uint32_t fileSize = 0;
};

enum class ReaderWord : uint32_t {
    // `size` MiB are wanted to decode and read the picture. The server answers with one byte, which
    // the reader waits for: 1 once there is room for them, 0 when the result is not wanted any
    // more.
    NeedsMemory = 1,
    // The picture is done: `code` is its VelmoraLightReturnCode, and `size` bytes follow, a JSON
    // object with all of the answer but its times.
    Result = 2,
    // The reader has started and can read pictures. It is given none before.
    Ready = 3,
};

// From the reader: one Ready; then, for each picture, no NeedsMemory or one, and one Result.
struct ReaderAnswer {
    ReaderWord word = ReaderWord::Result;
    int32_t code = 0;
    uint32_t symbols = 0;  // how many were found
    uint32_t size = 0;
};

}  // namespace standin
