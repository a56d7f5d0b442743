#include "velmoralight_standin/connection.h"

#include <exception>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/write.hpp>

#include "velmoralight_standin/page.h"
#include "velmoralight_standin/protocol.h"
#include "velmoralight_standin/reports.h"
#include "velmoralight_standin/request_target.h"
#include "velmoralight_standin/version.h"

namespace standin {

namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::size_t kReadSize = std::size_t{16} * 1024;

std::string_view view(beast::string_view text) {
    return {text.data(), text.size()};
}

Bytes bytesOf(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

using Body = http::span_body<const char>;

// The message's body is that of `response`, which has to outlive it.
http::response<Body> messageOf(const Response& response, const Connection::Manner& manner) {
    http::response<Body> message;
    message.version(manner.version);
    message.result(static_cast<unsigned int>(response.status));
    message.set(http::field::server, std::string("velmoraLight-stand-in/") + kVersionText);
    message.set(http::field::content_type, response.contentType);
    message.set(http::field::cache_control, "no-store");
    message.set("X-Content-Type-Options", "nosniff");
    for (const auto& [name, value] : response.fields) {
        message.set(name, value);
    }
    const std::string_view text = response.text();
    message.content_length(text.size());
    message.keep_alive(manner.next == Connection::Next::Stay);
    if (!manner.headOnly) {
        message.body() = {text.data(), text.size()};
    }
    return message;
}

}  // namespace

// Written by the worker before it hands it back, read by the I/O thread afterwards.
struct Connection::Task {
    explicit Task(const Socket::executor_type& executor)
        : wake(executor),
          response(errorResponse(500, VELMORA_LIGHT_ERROR_OTHER, "out of memory")) {}

    // Ends its wait when the task is done, or when it has waited too long in its queue.
    asio::steady_timer wake;
    bool done = false;  // belongs to the I/O thread
    WorkerPool::Fate fate = WorkerPool::Fate::Expired;
    Response response;
    VelmoraLightReturnCode code = VELMORA_LIGHT_ERROR_OTHER;
    std::size_t symbols = 0;
    WorkerPool::Clock::duration waited{0};
    WorkerPool::Clock::duration worked{0};

    void work(const std::string& query, const std::string& file, const Limits& limits) noexcept {
        const auto start = WorkerPool::Clock::now();
        const Recognition recognition = standin::recognize(query, bytesOf(file), limits);
        worked = WorkerPool::Clock::now() - start;
        try {
            response = answerTo(recognition, waited, worked);
            code = recognition.code;
            symbols = recognition.symbols.size();
        } catch (const std::exception&) {
            // The answer that was prepared stands.
        }
    }
};

Connection::Connection(Socket socket, ServerContext& context)
    : socket_(std::move(socket)),
      context_(context),
      deadline_(socket_),
      buffer_(context.limits.maxHeaderBytes + kReadSize) {}

Connection::~Connection() {
    if (admitted_) {
        --context_.counters.connectionsOpen;
    }
}

asio::awaitable<void> Connection::run() {
    const bool admitted = co_await enter();
    if (admitted) {
        co_await serve();
    } else {
        co_await turnAway();
    }
    deadline_.lift();
    error_code ignored;  // closed is closed
    socket_.close(ignored);
}

void Connection::stop() {
    if (phase_ == Phase::Reading) {
        error_code ignored;  // closed is closed
        socket_.close(ignored);
    } else if (phase_ == Phase::Answering) {
        deadline_.within(context_.limits.stopGrace);
    }
}

// With every connection taken, the decision waits for the first byte: of a client that comes back
// as soon as it has its answer, the end of the former connection may not have been noticed yet.
asio::awaitable<bool> Connection::enter() {
    if (!context_.hasFreeConnection()) {
        co_await awaitFirstByte(context_.limits.refusalTime);
    }
    if (context_.stopping || !context_.hasFreeConnection()) {
        co_return false;
    }
    admitted_ = true;
    ++context_.counters.connectionsOpen;
    ++context_.counters.connectionsAdmitted;
    co_return true;
}

asio::awaitable<void> Connection::turnAway() {
    if (context_.stopping) {
        co_return;
    }
    ++context_.counters.connectionsRefused;
    Response response = unavailable("all connections are taken", context_.limits.retryAfter);
    co_await refuse(std::move(response), Manner());
}

asio::awaitable<void> Connection::serve() {
    Next next = Next::Stay;
    while (next == Next::Stay && !context_.stopping) {
        const bool begun = co_await awaitFirstByte(context_.limits.idleTimeout);
        if (!begun) {
            co_return;
        }
        next = co_await serveRequest();
    }
}

asio::awaitable<bool> Connection::awaitFirstByte(std::chrono::milliseconds time) {
    if (buffer_.size() > 0) {
        co_return true;
    }
    deadline_.within(time);
    error_code error;
    const std::size_t count =
        co_await socket_.async_read_some(buffer_.prepare(kReadSize), into(error));
    buffer_.commit(count);
    co_return !error;
}

asio::awaitable<Connection::Next> Connection::serveRequest() {
    Parser parser;
    parser.header_limit(context_.limits.maxHeaderBytes);
    parser.body_limit(context_.limits.maxBodyBytes);
    const bool hasHead = co_await readHead(parser);
    if (!hasHead) {
        co_return Next::Leave;
    }
    const auto& request = parser.get();
    const RequestTarget target = splitTarget(view(request.target()));
    auto routed = route(view(request.method_string()), target.path);
    Manner manner{request.version(), request.method() == http::verb::head,
                  request.keep_alive() && !leavesAfterAnswer(request) ? Next::Stay : Next::Leave};
    if (auto* refusal = std::get_if<Response>(&routed)) {
        const Next next = co_await decline(std::move(*refusal), manner, parser.is_done());
        co_return next;
    }
    const bool hasBody = co_await readBody(parser);
    if (!hasBody) {
        co_return Next::Leave;
    }
    const Route wanted = std::get<Route>(routed);
    if (wanted == Route::Page) {
        // A browser would keep the connection, and with it a place that others need, for as long as
        // the page is looked at.
        manner.next = Next::Leave;
    }
    Response response =
        co_await answer(wanted, std::string(target.query), std::move(parser.get().body()));
    const Next next = co_await send(std::move(response), manner);
    co_return next;
}

// Answers a request that was read, or refuses one whose body is still to come.
asio::awaitable<Connection::Next> Connection::decline(Response response, Manner manner,
                                                      bool wasRead) {
    if (wasRead) {
        const Next next = co_await send(std::move(response), manner);
        co_return next;
    }
    co_await refuse(std::move(response), manner);
    co_return Next::Leave;
}

// Reads the header of a request and looks whether it can be served. False when it cannot; then the
// client was told.
asio::awaitable<bool> Connection::readHead(Parser& parser) {
    deadline_.within(context_.limits.headerTimeout);
    error_code error;
    co_await http::async_read_header(socket_, buffer_, parser, into(error));
    if (error) {
        co_await refuse(error);
        co_return false;
    }
    std::optional<Response> objection = objectionTo(parser.get(), parser.chunked());
    if (objection) {
        co_await refuse(std::move(*objection), Manner());
        co_return false;
    }
    co_return true;
}

// Reads the body of a request, if it has one. False when it did not arrive; then the client was
// told.
asio::awaitable<bool> Connection::readBody(Parser& parser) {
    if (parser.is_done()) {
        co_return true;
    }
    deadline_.within(context_.limits.bodyTimeout);
    error_code error;
    if (expectsContinue(parser.get())) {
        static constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
        co_await asio::async_write(socket_, asio::buffer(kContinue), into(error));
    }
    if (!error) {
        co_await http::async_read(socket_, buffer_, parser, into(error));
    }
    if (error) {
        co_await refuse(error);
        co_return false;
    }
    co_return true;
}

asio::awaitable<Response> Connection::answer(Route route, std::string query, std::string body) {
    const ServerState state{context_.config, context_.counters, context_.pool.load(),
                            context_.started};
    switch (route) {
        case Route::Page:
            co_return pageReport();
        case Route::Status:
            co_return statusReport(state);
        case Route::Health:
            co_return healthReport();
        case Route::Metrics:
            co_return metricsReport(state);
        case Route::Recognize:
            break;
    }
    Response response = co_await recognize(std::move(query), std::move(body));
    co_return response;
}

asio::awaitable<Response> Connection::recognize(std::string query, std::string file) {
    deadline_.lift();
    phase_ = Phase::Working;
    auto task = std::make_shared<Task>(socket_.get_executor());
    const std::optional<WorkerPool::Ticket> ticket = context_.pool.submit(
        [task, query = std::move(query), file = std::move(file), &limits = context_.limits](
            WorkerPool::Fate fate, WorkerPool::Clock::duration waited) {
            task->fate = fate;
            task->waited = waited;
            if (fate == WorkerPool::Fate::Work) {
                task->work(query, file, limits);
            }
            asio::post(task->wake.get_executor(), [task] {
                task->done = true;
                task->wake.cancel();
            });
        });
    if (!ticket) {
        ++context_.counters.queueFull;
        co_return unavailable("every queue is full", context_.limits.retryAfter);
    }
    co_await awaitTask(task, *ticket);
    co_return outcomeOf(*task);
}

// Waits until the task is done, or withdraws it once it has waited too long.
asio::awaitable<void> Connection::awaitTask(std::shared_ptr<Task> task, WorkerPool::Ticket ticket) {
    error_code error;
    if (context_.config.queueTimeout > 0) {
        task->wake.expires_after(std::chrono::milliseconds(context_.config.queueTimeout));
        co_await task->wake.async_wait(into(error));
        if (!task->done && context_.pool.withdraw(ticket)) {
            co_return;
        }
    }
    while (!task->done) {
        task->wake.expires_at(WorkerPool::Clock::time_point::max());
        co_await task->wake.async_wait(into(error));
    }
}

Response Connection::outcomeOf(Task& task) {
    Counters& counters = context_.counters;
    if (task.fate == WorkerPool::Fate::Stopped) {
        return unavailable("the server is being stopped", context_.limits.retryAfter);
    }
    if (task.fate == WorkerPool::Fate::Expired) {
        ++counters.queueTimeouts;
        return unavailable("the request waited longer than " +
                               std::to_string(context_.config.queueTimeout) + " ms",
                           context_.limits.retryAfter);
    }
    ++counters.recognitions[task.code];
    counters.symbols += task.symbols;
    counters.waitedTime += task.waited;
    counters.workedTime += task.worked;
    return std::move(task.response);
}

asio::awaitable<Connection::Next> Connection::send(Response response, Manner manner) {
    const Limits& limits = context_.limits;
    if (context_.stopping) {
        manner.next = Next::Leave;
    }
    ++context_.counters.responses[response.status];
    auto message = messageOf(response, manner);
    phase_ = Phase::Answering;
    deadline_.within(context_.stopping ? limits.stopGrace : limits.answerTimeout);
    error_code error;
    co_await http::async_write(socket_, message, into(error));
    phase_ = Phase::Reading;
    co_return error ? Next::Leave : manner.next;
}

// Answers a request that was not read to its end. The connection cannot be used any further.
asio::awaitable<void> Connection::refuse(Response response, Manner manner) {
    manner.next = Next::Leave;
    co_await send(std::move(response), manner);
    co_await readAway();
}

asio::awaitable<void> Connection::refuse(error_code error) {
    const bool slow = deadline_.expired();
    std::optional<Response> response =
        slow ? answerToSlowness() : answerToReadError(error, context_.limits);
    if (response && !context_.stopping) {
        co_await refuse(std::move(*response), Manner());
    }
}

// Says that no more will be said, and reads until the client hangs up. To close with something
// unread would reset the connection and take the answer from the client.
asio::awaitable<void> Connection::readAway() {
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

}  // namespace standin
