#include "velmoralight_standin/reader_pool.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffer_traits.hpp>
#include <boost/beast/core/buffers_suffix.hpp>

#include "velmoralight_standin/deadline.h"
#include "velmoralight_standin/return_code.h"

namespace standin {

using State = PictureJob::State;
using Clock = PictureJob::Clock;

struct ReaderEnd {
    const char* reason;   // as the reports name it
    const char* message;  // to the client whose picture it was
};

namespace {

constexpr ReaderEnd kDied{"died", "the reader died of the picture"};
constexpr ReaderEnd kDiedBefore{"died", "two readers died before the picture"};
constexpr ReaderEnd kTimeout{"timeout", "reading the picture took too long"};
constexpr ReaderEnd kMemory{"memory", "reading the picture would take too much memory"};
constexpr ReaderEnd kProtocol{"protocol", "the reader gave no proper answer"};

// A request as it goes to a reader: its head, the query and the file.
using Parts = std::array<asio::const_buffer, 3>;
using RestOfParts = boost::beast::buffers_suffix<Parts>;

}  // namespace

// A place with a process, but for the moments of its replacement.
struct ReaderPool::Reader {
    Reader(asio::io_context& io, Budget& budget)
        : socket(io), deadline(socket), timer(io), memory(budget) {}

    // Is ready, or will be as far as is known.
    [[nodiscard]] bool isAlive() const { return ready || failures <= kPatience; }
    [[nodiscard]] bool isFree() const { return isAlive() && job == nullptr; }
    // Once for a picture that it has all of: a reader that holds memory and asks for more could
    // wait for another one that does the same.
    [[nodiscard]] bool mayAskForMemory() const {
        return job != nullptr && job->handedOver && !hasAsked;
    }

    // Why the socket fails. It is reset when something is left in it that the reader has not taken:
    // a picture that it has not seen all of is innocent, unless only the word to go on was left.
    [[nodiscard]] const ReaderEnd* ending(const error_code& error) const {
        if (deadline.expired()) {
            return &kTimeout;
        }
        return error == asio::error::connection_reset && !hasAsked ? &kDiedBefore : &kDied;
    }

    // Sends the rest of its job. A step may be done while the process is replaced: the next one
    // must not go to the new process, which would take it for a request.
    void send(const RestOfParts& rest) {
        const auto isTheSame = [this, before = ends] { return ends == before; };
        asio::async_write(
            socket, rest,
            [isTheSame](const error_code& error, std::size_t sent) {
                return isTheSame() ? asio::transfer_all()(error, sent) : 0;
            },
            [isTheSame, sentJob = job](const error_code& error, std::size_t) {
                if (!error && isTheSame()) {
                    sentJob->handedOver = true;
                }
            });
    }

    static constexpr int kPatience = 3;

    Socket socket;
    Deadline deadline;
    asio::steady_timer timer;  // of its pause, and of its wait for memory
    Claim memory;              // lent for the job
    bool hasAsked = false;     // for memory for the job
    std::unique_ptr<ReaderProcess> process;
    std::shared_ptr<PictureJob> job;
    bool ready = false;  // has said so, and was not found dead since
    int failures = 0;    // starts in a row after which no reader became ready
    uint64_t ends = 0;   // of processes in this place
};

ReaderPool::ReaderPool(asio::io_context& io, const VelmoraLightServerConfig& config,
                       const Limits& limits, std::string program, Counters& counters)
    : io_(io),
      config_(config),
      limits_(limits),
      program_(std::move(program)),
      counters_(counters),
      memory_{limits.pictureMemory} {
    for (const ReaderEnd* end : {&kDied, &kTimeout, &kMemory, &kProtocol}) {
        counters_.readersReplaced[end->reason] = 0;
    }
}

ReaderPool::~ReaderPool() = default;

void ReaderPool::start() {
    for (int32_t i = 0; i < config_.threads; ++i) {
        open(*readers_.emplace_back(std::make_unique<Reader>(io_, memory_)));
    }
    for (const auto& reader : readers_) {
        asio::co_spawn(io_, keep(*reader), endWithIt);
    }
    count();
}

asio::awaitable<std::optional<Response>> ReaderPool::read(std::shared_ptr<PictureJob> job) {
    const std::chrono::milliseconds timeout(config_.queueTimeout);
    error_code error;  // a cancelled wait is what is waited for
    submit(job);
    while (job->state != State::Ended) {
        const bool mayExpire = job->state == State::Waiting && timeout.count() > 0;
        const auto expiry =
            mayExpire ? job->since + timeout - job->waited : Clock::time_point::max();
        if (Clock::now() >= expiry) {
            ++counters_.queueTimeouts;
            withdraw(job, refusal("the request waited longer than " +
                                  std::to_string(timeout.count()) + " ms"));
        } else {
            job->wake.expires_at(expiry);
            co_await job->wake.async_wait(into(error));
        }
    }
    co_return std::move(job->answer);
}

// Puts the job into the queue, or refuses it.
void ReaderPool::submit(const std::shared_ptr<PictureJob>& job) {
    if (stopped_) {
        job->end(refusal("the server is being stopped"));
    } else if (counters_.readersAlive == 0) {
        job->end(refusal("no reader is alive"));
    } else if (waiting_.size() >= capacity()) {
        ++counters_.queueFull;
        job->end(refusal("the queue is full"));
    } else {
        waiting_.push_back(job);
        dispatch();
    }
}

// Ends a job that waits, for a reader or for memory.
void ReaderPool::withdraw(const std::shared_ptr<PictureJob>& job, std::optional<Response> answer) {
    std::erase(waiting_, job);
    count();
    job->end(std::move(answer));
    for (Reader* const reader : turns_) {
        if (reader->job == job) {
            reader->timer.cancel();
        }
    }
}

void ReaderPool::abandon(const std::shared_ptr<PictureJob>& job) {
    job->isAbandoned = true;
    if (job->state == State::Waiting) {
        withdraw(job, std::nullopt);
    }
}

void ReaderPool::stop() {
    stopped_ = true;
    refuseWaiting("the server is being stopped");
    for (const auto& reader : readers_) {
        reader->timer.cancel();
        if (reader->job == nullptr) {
            closeQuietly(reader->socket);
        }
    }
}

// The queue, and a place for each reader that is about to be ready.
std::size_t ReaderPool::capacity() const {
    const auto free = std::count_if(readers_.begin(), readers_.end(),
                                    [](const auto& reader) { return reader->isFree(); });
    return static_cast<std::size_t>(config_.threads) *
               static_cast<std::size_t>(config_.threadQueueSize) +
           static_cast<std::size_t>(free);
}

void ReaderPool::count() {
    counters_.requestsWaiting = waiting_.size();
    counters_.readersAlive = counters_.readersBusy = 0;
    for (const auto& reader : readers_) {
        counters_.readersAlive += reader->isAlive() ? 1 : 0;
        counters_.readersBusy += reader->job != nullptr ? 1 : 0;
    }
}

Response ReaderPool::refusal(const std::string& why) const {
    return unavailable(why, limits_.retryAfter);
}

void ReaderPool::refuseWaiting(const std::string& why) {
    for (const auto& job : std::exchange(waiting_, {})) {
        job->end(refusal(why));
    }
    count();
}

void ReaderPool::refuseIfNoneIsAlive() {
    if (counters_.readersAlive == 0) {
        refuseWaiting("no reader is alive");
    }
}

// Has a reader in its place as long as the pool runs.
asio::awaitable<void> ReaderPool::keep(Reader& reader) {
    error_code cancelled;
    while (!stopped_) {
        if (reader.process) {
            const ReaderEnd* const end = co_await listenTo(reader);
            close(reader, *end);
        }
        if (reader.failures > 0 && !stopped_) {
            constexpr int kMostPauses = 50;
            reader.timer.expires_after(limits_.readerPause *
                                       std::min(reader.failures, kMostPauses));
            co_await reader.timer.async_wait(into(cancelled));
        }
        if (!stopped_) {
            reopen(reader);
            refuseIfNoneIsAlive();
        }
    }
}

void ReaderPool::open(Reader& reader) {
    reader.process = std::make_unique<ReaderProcess>(program_, reader.socket);
    ++reader.failures;
    reader.deadline.within(limits_.readerStart);
}

void ReaderPool::reopen(Reader& reader) noexcept {
    try {
        open(reader);
    } catch (const std::exception&) {
        closeQuietly(reader.socket);
        ++reader.failures;
    }
    count();
}

void ReaderPool::close(Reader& reader, const ReaderEnd& end) {
    ++reader.ends;
    reader.ready = false;
    reader.deadline.lift();
    closeQuietly(reader.socket);
    asio::co_spawn(io_, bury(std::move(reader.process), std::move(reader.memory)), asio::detached);
    if (!stopped_) {
        ++counters_.readersReplaced[end.reason];
    }
    if (reader.job != nullptr && &end == &kDiedBefore && !stopped_ && !reader.job->isAbandoned &&
        !std::exchange(reader.job->wasGivenTwice, true)) {
        reader.job->enter(State::Waiting);
        waiting_.push_front(std::exchange(reader.job, nullptr));
    } else if (reader.job != nullptr) {
        constexpr auto kCode = VELMORA_LIGHT_ERROR_OTHER;
        finish(reader, kCode, errorResponse(httpStatusOf(kCode), kCode, end.message));
    }
    dispatch();
    refuseIfNoneIsAlive();
}

// Ends a process, and gives back what it was lent once it is gone. Nobody waits for that meanwhile.
asio::awaitable<void> ReaderPool::bury(std::unique_ptr<ReaderProcess> process, Claim memory) {
    asio::steady_timer pause(io_);
    error_code ignored;
    while (!process->end() && !stopped_) {
        constexpr std::chrono::milliseconds kNextLook{5};
        pause.expires_after(kNextLook);
        co_await pause.async_wait(into(ignored));
    }
    process.reset();
    memory.release();
    wakeNextTurn();
}

// Until the reader has to be replaced, or the pool was stopped.
asio::awaitable<const ReaderEnd*> ReaderPool::listenTo(Reader& reader) {
    while (!stopped_ || reader.job != nullptr) {
        ReaderAnswer answer;
        error_code error;
        co_await asio::async_read(reader.socket, asio::buffer(&answer, sizeof answer), into(error));
        if (error) {
            co_return reader.ending(error);
        }
        const ReaderEnd* const end = co_await obey(reader, answer);
        if (end != nullptr) {
            co_return end;
        }
    }
    co_return &kDied;
}

// Null when the reader goes on.
asio::awaitable<const ReaderEnd*> ReaderPool::obey(Reader& reader, const ReaderAnswer& answer) {
    const ReaderEnd* end = &kProtocol;
    if (answer.word == ReaderWord::Ready && !reader.ready) {
        reader.ready = true;
        reader.failures = 0;
        reader.deadline.lift();
        dispatch();
        end = nullptr;
    } else if (answer.word == ReaderWord::NeedsMemory && reader.mayAskForMemory()) {
        reader.hasAsked = true;
        end = co_await lendMemory(reader, answer.size);
    } else if (answer.word == ReaderWord::Result && reader.job != nullptr) {
        end = co_await takeResult(reader, answer);
    }
    co_return end;
}

// Large pictures take turns. The time that one waits for its turn is not its own.
asio::awaitable<const ReaderEnd*> ReaderPool::lendMemory(Reader& reader, std::size_t amount) {
    if (amount > limits_.pictureMemory) {
        co_return &kMemory;
    }
    const auto job = reader.job;
    reader.deadline.lift();
    const auto asked = Clock::now();
    const auto worked = asked - std::exchange(job->since, asked);
    job->enter(State::Waiting);
    if (job->isAbandoned) {
        withdraw(job, std::nullopt);
    }
    turns_.push_back(&reader);
    error_code error;
    while (job->state == State::Waiting &&
           (turns_.front() != &reader || !reader.memory.growTo(amount))) {
        if (stopped_) {
            withdraw(job, refusal("the server is being stopped"));
        } else {
            reader.timer.expires_at(asio::steady_timer::time_point::max());
            co_await reader.timer.async_wait(into(error));
        }
    }
    std::erase(turns_, &reader);
    wakeNextTurn();
    const char mayGoOn = job->state == State::Waiting ? 1 : 0;
    if (mayGoOn == 1) {
        job->enter(State::Working);
    }
    const auto now = Clock::now();
    job->waited += now - job->since;
    job->since = now - worked;
    reader.deadline.at(job->since + limits_.pictureTime);
    error.clear();
    co_await asio::async_write(reader.socket, asio::buffer(&mayGoOn, sizeof mayGoOn), into(error));
    co_return error ? reader.ending(error) : nullptr;
}

void ReaderPool::wakeNextTurn() {
    if (!turns_.empty()) {
        turns_.front()->timer.cancel();
    }
}

asio::awaitable<const ReaderEnd*> ReaderPool::takeResult(Reader& reader,
                                                         const ReaderAnswer& answer) {
    PictureJob& job = *reader.job;
    if (!job.handedOver || answer.size > limits_.maxAnswerBytes || !isReturnCode(answer.code)) {
        co_return &kProtocol;
    }
    std::string text(answer.size, '\0');
    error_code error;
    co_await asio::async_read(reader.socket, asio::buffer(text), into(error));
    if (error) {
        co_return reader.ending(error);
    }
    if (!text.ends_with('}')) {
        co_return &kProtocol;
    }
    const auto code = static_cast<VelmoraLightReturnCode>(answer.code);
    counters_.symbols += answer.symbols;
    finish(reader, code,
           resultResponse(code, std::move(text), job.waited, Clock::now() - job.since));
    dispatch();
    co_return nullptr;
}

// Answers the reader's job, unless it ended while it waited for memory.
void ReaderPool::finish(Reader& reader, VelmoraLightReturnCode code, Response answer) {
    const auto job = std::exchange(reader.job, nullptr);
    reader.deadline.lift();
    reader.memory.release();
    wakeNextTurn();
    if (job->state == State::Ended) {
        return;
    }
    ++counters_.recognitions[nameOf(code)];
    counters_.waited.add(job->waited);
    counters_.worked.add(Clock::now() - job->since);
    job->end(std::move(answer));
}

// Gives what waits to those that are idle.
void ReaderPool::dispatch() {
    for (const auto& reader : readers_) {
        if (!waiting_.empty() && reader->ready && reader->isFree() &&
            hand(*reader, waiting_.front())) {
            waiting_.pop_front();
        }
    }
    count();
}

// False when the reader has died: the picture is innocent of it.
bool ReaderPool::hand(Reader& reader, const std::shared_ptr<PictureJob>& job) {
    const ReaderRequest request{static_cast<uint32_t>(job->query.size()),
                                static_cast<uint32_t>(job->file.size())};
    const Parts parts{asio::buffer(&request, sizeof request), asio::buffer(job->query),
                      asio::buffer(job->file)};
    RestOfParts rest(parts);
    error_code error;
    const auto now = Clock::now();  // the reader may be done before this thread runs again
    const std::size_t sent = reader.socket.write_some(parts, error);
    if (error || sent < sizeof request) {
        reader.ready = false;
        closeQuietly(reader.socket);
        return false;
    }
    rest.consume(sent);
    job->state = State::Working;
    job->waited += now - std::exchange(job->since, now);
    job->handedOver = false;
    reader.job = job;
    reader.hasAsked = false;
    reader.deadline.at(now + limits_.pictureTime);
    if (boost::beast::buffer_bytes(rest) == 0) {
        job->handedOver = true;
    } else {
        reader.send(rest);
    }
    return true;
}

}  // namespace standin
