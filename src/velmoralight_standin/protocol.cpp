#include "velmoralight_standin/protocol.h"

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/fields.hpp>

namespace standin {

namespace http = boost::beast::http;

namespace {

constexpr unsigned int kHttp11 = 11;

Response protocolError(int status, const std::string& message) {
    return errorResponse(status, VELMORA_LIGHT_ERROR_OTHER, message);
}

Response bodyTooLarge(const Limits& limits) {
    return errorResponse(
        413, VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE,
        "the body has more than " + std::to_string(limits.maxBodyBytes) + " bytes");
}

}  // namespace

std::optional<Response> answerToReadError(const boost::system::error_code& error,
                                          const Limits& limits) {
    if (error == http::error::body_limit) {
        return bodyTooLarge(limits);
    }
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        return protocolError(
            431, "the header has more than " + std::to_string(limits.maxHeaderBytes) + " bytes");
    }
    if (error == http::error::bad_version) {
        return protocolError(505, "only HTTP/1.0 and HTTP/1.1 are spoken here");
    }
    const bool hungUp = error == http::error::end_of_stream;
    if (hungUp || error.category() != make_error_code(http::error::bad_method).category()) {
        return std::nullopt;
    }
    return protocolError(400, "malformed HTTP: " + error.message());
}

Response answerToSlowness() {
    return protocolError(408, "the request took too long to arrive");
}

std::optional<Response> objectionTo(const http::request_header<>& header, bool chunked) {
    if (header.version() == kHttp11 && header.count(http::field::host) != 1) {
        return protocolError(400, "there must be exactly one Host field");
    }
    if (header.count(http::field::transfer_encoding) > 0 && !chunked) {
        return protocolError(501, "no transfer coding but chunked is known");
    }
    if (header.count(http::field::expect) > 0 && !expectsContinue(header)) {
        return protocolError(417, "no expectation but 100-continue can be met");
    }
    return std::nullopt;
}

bool leavesAfterAnswer(const http::request_header<>& header) {
    return boost::beast::iequals(header["Velmora-Connection"], "close");
}

bool expectsContinue(const http::request_header<>& header) {
    return header.version() == kHttp11 &&
           boost::beast::iequals(header[http::field::expect], "100-continue");
}

}  // namespace standin
