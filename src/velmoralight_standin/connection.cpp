#include "velmoralight_standin/connection.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/write.hpp>

#include "velmoralight_standin/page.h"
#include "velmoralight_standin/protocol.h"
#include "velmoralight_standin/reports.h"
#include "velmoralight_standin/router.h"
#include "velmoralight_standin/version.h"

namespace standin {

namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::size_t kReadSize = std::size_t{16} * 1024;

using Routed = std::variant<Route, Response>;

bool leadsTo(const Routed& routed, Route route) {
    const Route* const wanted = std::get_if<Route>(&routed);
    return wanted != nullptr && *wanted == route;
}

// Whether the answer is for those too for whom no place is left.
bool isForVisitors(const Routed& routed) {
    return std::holds_alternative<Response>(routed) || leadsTo(routed, Route::Health) ||
           leadsTo(routed, Route::Metrics);
}

// The part that answers, or an answer that does without the body.
Routed routeOf(const http::request_header<>& request) {
    Routed routed = route(request.method_string(), splitTarget(request.target()).path);
    if (leadsTo(routed, Route::Recognize)) {
        if (std::optional<Response> objection = objectionToForm(request)) {
            routed = std::move(*objection);
        }
    }
    return routed;
}

// What is answered wherever there is nothing to recognise.
Response answerTo(Routed routed, const ServerContext& context) {
    if (auto* const ready = std::get_if<Response>(&routed)) {
        return std::move(*ready);
    }
    const std::size_t open =
        static_cast<std::size_t>(context.config.conns) - context.places.free.left;
    const ServerState state{context.config, context.counters, open, context.started};
    switch (std::get<Route>(routed)) {
        case Route::Status:
            return statusReport(state);
        case Route::Health:
            return healthReport(state, context.limits.retryAfter);
        case Route::Metrics:
            return metricsReport(state);
        default:
            return pageReport();
    }
}

// The message's body is that of `response`, which has to outlive it.
http::response<http::span_body<const char>> messageOf(const Response& response,
                                                      const Connection::Manner& manner) {
    http::response<http::span_body<const char>> message;
    message.version(manner.version);
    message.result(static_cast<unsigned int>(response.status));
    message.set(http::field::server, std::string("velmoraLight-stand-in/") + kVersionText);
    if (response.status != kNoContent) {
        message.set(http::field::content_type, response.contentType);
    }
    message.set(http::field::cache_control, "no-store");
    message.set("X-Content-Type-Options", "nosniff");
    for (const auto& [name, value] : response.fields) {
        message.set(name, value);
    }
    if (response.status != kNoContent) {
        message.content_length(response.body.size());
    }
    message.keep_alive(manner.stays);
    if (!manner.headOnly) {
        message.body() = response.body;
    }
    return message;
}

}  // namespace

Connection::Connection(Socket socket, ServerContext& context)
    : socket_(std::move(socket)),
      context_(context),
      deadline_(socket_),
      buffer_(context.limits.maxHeaderBytes + kReadSize),
      place_(context.places.free) {}

void Connection::stop() {
    if (phase_ == Phase::Reading) {
        closeQuietly(socket_);
    } else if (phase_ == Phase::Answering) {
        deadline_.within(context_.limits.stopGrace);
    }
}

bool Connection::takePlace() {
    if (!hasPlace() && context_.places.take(place_)) {
        ++context_.counters.connectionsAdmitted;
    }
    return hasPlace();
}

bool Connection::leave(bool isIdle) {
    char byte = 0;
    const int seen = receive(asio::buffer(&byte, sizeof byte), MSG_PEEK);
    if (!hasPlace() || seen > 0 || (seen < 0 && !isIdle)) {
        return false;
    }
    place_.release();
    closeQuietly(socket_);
    return true;
}

// Takes what has come already: its size, 0 when the client has hung up, negative when it is silent.
int Connection::receive(asio::mutable_buffer room, int flags) {
    const ssize_t count =
        ::recv(socket_.native_handle(), room.data(), room.size(), flags | MSG_DONTWAIT);
    return count < 0 && errno != EAGAIN ? 0 : static_cast<int>(count);
}

asio::awaitable<void> Connection::run() {
    do {
        bool begun = buffer_.size() > 0;
        if (!begun && !hasPlace()) {
            begun = co_await awaitFirstWord();
        }
        if (!begun && hasPlace()) {
            begun = co_await awaitNextWord();
        }
        manner_ = Manner();
        if (begun) {
            co_await serveRequest();
        }
    } while (manner_.stays && !context_.stopping);
    deadline_.lift();
    closeQuietly(socket_);
}

// Whoever has just come needs no place before it says something, or has been silent for so long
// that it seems to wait for its user.
asio::awaitable<bool> Connection::awaitFirstWord() {
    deadline_.within(context_.limits.visitTime);
    error_code error;
    co_await readMore(error);
    if (error && !deadline_.expired()) {
        co_return false;
    }
    if (place_.couldGrowTo(1)) {
        takePlace();
    } else if (error) {
        co_await turnAway();
    }
    co_return !error;
}

// Meanwhile the place is given to whoever needs it.
asio::awaitable<bool> Connection::awaitNextWord() {
    deadline_.within(context_.limits.idleTimeout);
    auto& idle = context_.places.idle;
    const auto since = Places::Clock::now() + context_.limits.idleGrace;
    const auto self =
        idle.insert(idle.end(), {[this](bool isIdle) { return leave(isIdle); }, since});
    error_code error;
    co_await readMore(error);
    idle.erase(self);
    co_return !error;
}

// Puts what comes next behind what is in the buffer.
asio::awaitable<void> Connection::readMore(error_code& error) {
    const std::size_t count =
        co_await socket_.async_read_some(buffer_.prepare(kReadSize), into(error));
    buffer_.commit(count);
}

// Whoever has just been answered may be about to ask again; then the place is not to be had. False
// when there is none; then the client was told.
asio::awaitable<bool> Connection::awaitPlace() {
    if (!takePlace()) {
        asio::steady_timer grace(socket_.get_executor(), context_.limits.idleGrace);
        error_code ignored;
        co_await grace.async_wait(into(ignored));
    }
    if (!takePlace()) {
        co_await turnAway();
    }
    co_return hasPlace();
}

asio::awaitable<void> Connection::turnAway() {
    ++context_.counters.connectionsRefused;
    co_await refuse(unavailable("all connections are taken", context_.limits.retryAfter));
}

asio::awaitable<void> Connection::serveRequest() {
    Parser parser;
    parser.header_limit(context_.limits.maxHeaderBytes);
    parser.body_limit(context_.limits.maxBodyBytes);
    const bool hasHead = co_await readHead(parser);
    if (!hasHead) {
        co_return;
    }
    const auto& request = parser.get();
    manner_ = {request.version(), request.method() == http::verb::head};
    Routed routed = routeOf(request);
    if (!isForVisitors(routed)) {
        const bool isAdmitted = co_await awaitPlace();
        if (!isAdmitted) {
            co_return;
        }
    }
    // A browser would keep the connection for as long as the page is looked at.
    manner_.stays = hasPlace() && request.keep_alive() && !leavesAfterAnswer(request) &&
                    !leadsTo(routed, Route::Page);
    if (leadsTo(routed, Route::Recognize)) {
        co_await recognize(parser);
    } else if (parser.is_done()) {
        co_await send(answerTo(std::move(routed), context_));
    } else {
        co_await refuse(answerTo(std::move(routed), context_));
    }
}

// Reads the header of a request and looks whether it can be served. False when it cannot; then the
// client was told.
asio::awaitable<bool> Connection::readHead(Parser& parser) {
    deadline_.within(hasPlace() ? context_.limits.headerTimeout : context_.limits.visitTime);
    error_code error;
    std::optional<Response> objection;
    std::size_t size = 0;
    while (!error && !objection && !parser.is_header_done()) {
        objection =
            objectionToLines({static_cast<const char*>(buffer_.data().data()), buffer_.size()});
        const std::size_t taken = parser.put(buffer_.data(), error);
        buffer_.consume(taken);
        size += taken;
        if (!objection) {
            objection = objectionToSize(parser.get(), size, context_.limits);
        }
        if (error == http::error::need_more) {
            error.clear();
            if (!objection) {
                co_await readMore(error);
            }
        }
    }
    if (!error && !objection) {
        objection = objectionTo(parser.get(), context_.surroundings.origins);
    }
    if (error) {
        co_await refuse(error);
    } else if (objection) {
        co_await refuse(std::move(*objection));
    }
    co_return !error && !objection;
}

// Reads the body of a request, if it has one, into memory that is claimed as it fills: what is only
// announced keeps nobody out. False when it did not arrive or there is no room for it; then the
// client was told.
asio::awaitable<bool> Connection::readBody(Parser& parser, Claim& memory) {
    deadline_.within(context_.limits.bodyTimeout);
    error_code error;
    const std::string& body = parser.get().body();
    const auto length = parser.content_length();
    bool fits = memory.couldGrowTo(length.value_or(0));
    if (fits && !parser.is_done() && expectsContinue(parser.get())) {
        static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
        co_await asio::async_write(socket_, asio::buffer(kContinue), into(error));
    }
    parser.eager(true);
    while (!error && fits && !parser.is_done()) {
        co_await http::async_read_some(socket_, buffer_, parser, into(error));
        fits = memory.growTo(length ? body.size() : body.capacity());
    }
    if (!fits || error) {
        std::string().swap(parser.get().body());
        memory.release();
    }
    if (!fits) {
        ++context_.counters.bodiesRefused;
        co_await refuse(
            unavailable("too many bodies are on their way", context_.limits.retryAfter));
    } else if (error) {
        co_await refuse(error);
    }
    co_return fits && !error;
}

asio::awaitable<void> Connection::recognize(Parser& parser) {
    Claim memory(context_.bodies);
    const bool hasBody = co_await readBody(parser, memory);
    if (!hasBody) {
        co_return;
    }
    const std::string_view query = splitTarget(parser.get().target()).query;
    auto job = std::make_shared<PictureJob>(socket_, std::string(query),
                                            std::move(parser.get().body()), std::move(memory));
    deadline_.lift();
    phase_ = Phase::Working;
    watchForHangup(job);
    std::optional<Response> response = co_await context_.pool.read(job);
    error_code ignored;
    socket_.cancel(ignored);  // the watch: it would look at the next request
    job.reset();              // the picture's memory is for others while the answer is sent
    if (response) {
        co_await send(std::move(*response));
    } else {
        manner_.stays = false;
    }
}

// A client that leaves takes its request with it. What it says early is put aside, so that its end
// can be seen behind that; one that says more than there is room for is not watched any further.
void Connection::watchForHangup(const std::shared_ptr<PictureJob>& job) {
    // While the job is under way, so is this connection.
    const auto look = [this, weak = std::weak_ptr(job)](const error_code& error) {
        const auto watched = weak.lock();
        if (error || !watched || watched->state == PictureJob::State::Ended) {
            return;
        }
        const int seen = receive(buffer_.prepare(buffer_.capacity() - buffer_.size()), 0);
        if (seen == 0) {
            context_.pool.abandon(watched);
        } else {
            buffer_.commit(static_cast<std::size_t>(std::max(seen, 0)));
            watchForHangup(watched);
        }
    };
    if (buffer_.size() < buffer_.capacity()) {
        socket_.async_wait(Socket::wait_read, look);
    }
}

asio::awaitable<void> Connection::send(Response response) {
    const Limits& limits = context_.limits;
    manner_.stays = manner_.stays && !context_.stopping;
    ++context_.counters.responses[std::to_string(response.status)];
    auto message = messageOf(response, manner_);
    phase_ = Phase::Answering;
    deadline_.within(context_.stopping ? limits.stopGrace : limits.answerTimeout);
    error_code error;
    co_await http::async_write(socket_, message, into(error));
    phase_ = Phase::Reading;
    manner_.stays = manner_.stays && !error;
}

// Answers a request that was not read to its end, says that no more will be said, and reads until
// the client hangs up. To close with something unread would reset the connection and take the
// answer from the client.
asio::awaitable<void> Connection::refuse(Response response) {
    manner_.stays = false;
    co_await send(std::move(response));
    error_code error;
    socket_.shutdown(Socket::shutdown_send, error);
    deadline_.within(context_.limits.refusalTime);
    buffer_.clear();
    std::size_t total = 0;
    while (!error && !context_.stopping && total < context_.limits.refusalBytes) {
        const std::size_t count =
            co_await socket_.async_read_some(buffer_.prepare(kReadSize), into(error));
        total += count;
    }
}

asio::awaitable<void> Connection::refuse(error_code error) {
    manner_.stays = false;
    const bool isSlow = deadline_.expired();
    std::optional<Response> response =
        answerToReadError(isSlow ? beast::error::timeout : error, context_.limits);
    if (response && !context_.stopping) {
        co_await refuse(std::move(*response));
    }
}

}  // namespace standin
