// The engine's objections to requests that are not good HTTP/1.1.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include <boost/beast/http/message.hpp>

#include "velmoralight_standin/limits.h"
#include "velmoralight_standin/response.h"

namespace standin {

// The answer to a request that could not be read because of `error`; Beast's time-out when it took
// too long to arrive. Nothing when there is nobody to answer: the client has hung up between two
// requests, or the network failed.
[[nodiscard]] std::optional<Response> answerToReadError(const boost::system::error_code& error,
                                                        const Limits& limits);

// The answer to a header, as far as it was read, with more bytes or fields than are allowed: the
// parser's own limit is for what it is given at once.
[[nodiscard]] std::optional<Response> objectionToSize(
    const boost::beast::http::request_header<>& header, std::size_t bytes, const Limits& limits);

// The answer to a request with a folded line in its header, which may have more behind it or still
// be incomplete: continued lines are read differently by different programs.
[[nodiscard]] std::optional<Response> objectionToLines(std::string_view text);

// The answer to a request whose header is well-formed but asks for what this server does not do, or
// comes from the page of another site than `origins` lists (see Surroundings).
[[nodiscard]] std::optional<Response> objectionTo(
    const boost::beast::http::request_header<>& header, std::string_view origins);

// The answer to a form in which a picture may be, and is not looked for.
[[nodiscard]] std::optional<Response> objectionToForm(
    const boost::beast::http::request_header<>& header);

// Whether the client wants its connection closed after the answer, without the `Connection` field:
// a browser does not let a page set that one, so a page says `Velmora-Connection: close`.
[[nodiscard]] bool leavesAfterAnswer(const boost::beast::http::request_header<>& header);

// Whether the client waits for "100 Continue" before it sends its body.
[[nodiscard]] bool expectsContinue(const boost::beast::http::request_header<>& header);

}  // namespace standin
