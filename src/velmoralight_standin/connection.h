// One client and its requests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/deadline.h"
#include "velmoralight_standin/reader/recognition.h"
#include "velmoralight_standin/response.h"
#include "velmoralight_standin/router.h"
#include "velmoralight_standin/server_context.h"

namespace standin {

// Lives on the server's I/O thread, where all of it is called.
class Connection {
public:
    Connection(Socket socket, ServerContext& context);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    // Serves the client until one of the two hangs up; called once. With every connection taken,
    // the client is answered 503 instead. The socket is closed at the end.
    asio::awaitable<void> run();

    // Ends the connection as soon as the work that was begun for it is done and answered.
    void stop();

    // Whether the client counts among the server's connections.
    [[nodiscard]] bool isAdmitted() const { return admitted_; }

    // How the connection goes on after an answer.
    enum class Next { Stay, Leave };
    // How an answer is put on the wire.
    struct Manner {
        unsigned int version = 11;  // as in HTTP/1.1
        bool headOnly = false;
        Next next = Next::Leave;
    };

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    enum class Phase { Reading, Working, Answering };
    struct Task;

    asio::awaitable<bool> enter();
    asio::awaitable<void> turnAway();
    asio::awaitable<void> serve();
    asio::awaitable<bool> awaitFirstByte(std::chrono::milliseconds time);
    asio::awaitable<Next> serveRequest();
    asio::awaitable<Next> decline(Response response, Manner manner, bool wasRead);
    asio::awaitable<bool> readHead(Parser& parser);
    asio::awaitable<bool> readBody(Parser& parser);
    asio::awaitable<Response> answer(Route route, std::string query, std::string body);
    asio::awaitable<Response> recognize(std::string query, std::string file);
    asio::awaitable<void> awaitTask(std::shared_ptr<Task> task, WorkerPool::Ticket ticket);
    Response outcomeOf(Task& task);
    asio::awaitable<Next> send(Response response, Manner manner);
    asio::awaitable<void> refuse(Response response, Manner manner);
    asio::awaitable<void> refuse(error_code error);
    asio::awaitable<void> readAway();

    Socket socket_;
    ServerContext& context_;
    Deadline deadline_;
    boost::beast::flat_buffer buffer_;
    Phase phase_ = Phase::Reading;
    bool admitted_ = false;
};

}  // namespace standin
