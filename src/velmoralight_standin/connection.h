// One client and its requests.
#pragma once

#include <memory>

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "velmoralight_standin/asio.h"
#include "velmoralight_standin/budget.h"
#include "velmoralight_standin/deadline.h"
#include "velmoralight_standin/picture_job.h"
#include "velmoralight_standin/response.h"
#include "velmoralight_standin/server_context.h"

namespace standin {

// Lives on the server's thread, where all of it is called.
class Connection {
public:
    Connection(Socket socket, ServerContext& context);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Serves the client until one of the two hangs up; called once. With every place taken, the
    // client is served only if it asks how the server is, and else answered 503. The socket is
    // closed at the end.
    asio::awaitable<void> run();

    // Ends the connection as soon as the work that was begun for it is done and answered.
    void stop();

    // How a request is answered.
    struct Manner {
        unsigned int version = 11;  // as in HTTP/1.1
        bool headOnly = false;
        bool stays = false;  // for the next request
    };

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    enum class Phase { Reading, Working, Answering };

    [[nodiscard]] bool hasPlace() const { return place_.amount() > 0; }
    bool takePlace();
    bool leave(bool isIdle);
    [[nodiscard]] int receive(asio::mutable_buffer room, int flags);

    asio::awaitable<bool> awaitFirstWord();
    asio::awaitable<bool> awaitNextWord();
    asio::awaitable<void> readMore(error_code& error);
    asio::awaitable<void> serveRequest();
    asio::awaitable<bool> awaitPlace();
    asio::awaitable<bool> readHead(Parser& parser);
    asio::awaitable<bool> readBody(Parser& parser, Claim& memory);
    asio::awaitable<void> recognize(Parser& parser);
    void watchForHangup(const std::shared_ptr<PictureJob>& job);
    asio::awaitable<void> send(Response response);
    asio::awaitable<void> refuse(Response response);
    asio::awaitable<void> refuse(error_code error);
    asio::awaitable<void> turnAway();

    Socket socket_;
    ServerContext& context_;
    Deadline deadline_;
    boost::beast::flat_buffer buffer_;
    Phase phase_ = Phase::Reading;
    Manner manner_;
    Claim place_;
};

}  // namespace standin
