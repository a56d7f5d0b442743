// The reader processes and the one queue before them.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "velmora_light_api_server.h"
#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/budget.h"
#include "velmoralight_standin/counters.h"
#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/picture_job.h"
#include "velmoralight_standin/reader_process.h"
#include "velmoralight_standin/reader_protocol.h"
#include "velmoralight_standin/response.h"

namespace standin {

struct ReaderEnd;  // why a reader has to be replaced

// Hands pictures to readers, each one at a time, and replaces a reader that ends, takes too long,
// wants too much or talks nonsense. Belongs to the server's thread.
class ReaderPool {
public:
    // `config`, `limits` and `counters` outlive the pool; `program` is the reader's file.
    ReaderPool(asio::io_context& io, const VelmoraLightServerConfig& config, const Limits& limits,
               std::string program, Counters& counters);
    ReaderPool(const ReaderPool&) = delete;
    ReaderPool& operator=(const ReaderPool&) = delete;
    ~ReaderPool();

    // Starts the readers, which become ready later. Throws std::exception when one cannot be
    // started. A pool that was never started refuses every job.
    void start();

    // Waits for the answer to a new job: what a reader has found, or why there is nothing. No
    // answer when the job was abandoned before a reader took it up or while it waited for memory.
    asio::awaitable<std::optional<Response>> read(std::shared_ptr<PictureJob> job);

    // Nobody wants the answer any more: the job is not begun, or not lent any memory.
    void abandon(const std::shared_ptr<PictureJob>& job);

    // Refuses what waits, lets what is worked on end, and ends the readers.
    void stop();

private:
    struct Reader;

    void open(Reader& reader);
    void reopen(Reader& reader) noexcept;
    void close(Reader& reader, const ReaderEnd& end);
    asio::awaitable<void> keep(Reader& reader);
    asio::awaitable<void> bury(std::unique_ptr<ReaderProcess> process, Claim memory);
    asio::awaitable<const ReaderEnd*> listenTo(Reader& reader);
    asio::awaitable<const ReaderEnd*> obey(Reader& reader, const ReaderAnswer& answer);
    asio::awaitable<const ReaderEnd*> lendMemory(Reader& reader, std::size_t amount);
    asio::awaitable<const ReaderEnd*> takeResult(Reader& reader, const ReaderAnswer& answer);
    void wakeNextTurn();
    void submit(const std::shared_ptr<PictureJob>& job);
    void withdraw(const std::shared_ptr<PictureJob>& job, std::optional<Response> answer);
    void dispatch();
    bool hand(Reader& reader, const std::shared_ptr<PictureJob>& job);
    void finish(Reader& reader, VelmoraLightReturnCode code, Response answer);
    [[nodiscard]] Response refusal(const std::string& why) const;
    void refuseWaiting(const std::string& why);
    void refuseIfNoneIsAlive();
    [[nodiscard]] std::size_t capacity() const;
    void count();

    asio::io_context& io_;
    const VelmoraLightServerConfig& config_;
    const Limits& limits_;
    const std::string program_;
    Counters& counters_;
    Budget memory_;  // for the pictures, MiB
    std::vector<std::unique_ptr<Reader>> readers_;
    std::deque<std::shared_ptr<PictureJob>> waiting_;
    std::deque<Reader*> turns_;  // those that wait for memory, in their order
    bool stopped_ = false;
};

}  // namespace standin
