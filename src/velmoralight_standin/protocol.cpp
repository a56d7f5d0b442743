#include "velmoralight_standin/protocol.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/fields.hpp>

namespace standin {

namespace http = boost::beast::http;
using boost::beast::iequals;

namespace {

constexpr unsigned int kHttp11 = 11;

Response protocolError(int status, const std::string& message) {
    return errorResponse(status, VELMORA_LIGHT_ERROR_OTHER, message);
}

Response tooLargeHeader(int64_t most, const char* unit) {
    return protocolError(431, "the header has more than " + std::to_string(most) + " " + unit);
}

// Whether `text` is a name or an address, and a port or none.
bool isHost(std::string_view text) {
    static constexpr std::string_view kDigits = "0123456789";
    static constexpr std::string_view kInAddress = "0123456789abcdefABCDEF:.";
    static constexpr std::string_view kInName =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~%!$&'()*+,;=";
    const bool isAddress = text.starts_with('[');
    const std::size_t end = isAddress ? text.find(']') : std::min(text.find(':'), text.size());
    if (end == std::string_view::npos) {
        return false;
    }
    const std::string_view name = isAddress ? text.substr(1, end - 1) : text.substr(0, end);
    const std::string_view port = text.substr(isAddress ? end + 1 : end);
    return !name.empty() &&
           name.find_first_not_of(isAddress ? kInAddress : kInName) == std::string_view::npos &&
           (port.empty() ||
            (port.front() == ':' && port.find_first_not_of(kDigits, 1) == std::string_view::npos));
}

bool hasGoodHost(const http::request_header<>& header) {
    const auto hosts = header.count(http::field::host);
    return hosts == 1 ? isHost(header[http::field::host])
                      : hosts == 0 && header.version() != kHttp11;
}

std::string_view without(std::string_view text, std::string_view ending) {
    return text.ends_with(ending) ? text.substr(0, text.size() - ending.size()) : text;
}

// Whether a page of `origin` belongs to `host`, or is one of those that may ask.
bool mayAsk(std::string_view origin, std::string_view host, std::string_view origins) {
    static constexpr std::pair<std::string_view, std::string_view> kPorts[] = {
        {"http://", ":80"}, {"https://", ":443"}};
    for (const auto& [scheme, port] : kPorts) {
        if (origin.starts_with(scheme) &&
            iequals(without(origin.substr(scheme.size()), port), without(host, port))) {
            return true;
        }
    }
    while (!origins.empty()) {
        const std::size_t end = std::min(origins.find_first_of(" ,"), origins.size());
        if (iequals(origins.substr(0, end), origin)) {
            return true;
        }
        origins.remove_prefix(std::min(end + 1, origins.size()));
    }
    return false;
}

}  // namespace

std::optional<Response> answerToReadError(const boost::system::error_code& error,
                                          const Limits& limits) {
    if (error == boost::beast::error::timeout) {
        return protocolError(408, "the request took too long to arrive");
    }
    if (error == http::error::body_limit) {
        return errorResponse(
            413, VELMORA_LIGHT_ERROR_INVALID_IMAGE_SIZE,
            "the body has more than " + std::to_string(limits.maxBodyBytes) + " bytes");
    }
    if (error == http::error::header_limit || error == http::error::buffer_overflow) {
        return tooLargeHeader(limits.maxHeaderBytes, "bytes");
    }
    if (error == http::error::bad_version) {
        return protocolError(505, "only HTTP/1.0 and HTTP/1.1 are spoken here");
    }
    if (error == boost::asio::error::eof) {
        return protocolError(400, "the request ends before its header does");
    }
    const bool hungUp = error == http::error::end_of_stream;
    if (hungUp || error.category() != make_error_code(http::error::bad_method).category()) {
        return std::nullopt;
    }
    return protocolError(400, "malformed HTTP: " + error.message());
}

std::optional<Response> objectionToSize(const http::request_header<>& header, std::size_t bytes,
                                        const Limits& limits) {
    if (bytes > limits.maxHeaderBytes) {
        return tooLargeHeader(limits.maxHeaderBytes, "bytes");
    }
    if (std::distance(header.begin(), header.end()) > limits.maxHeaderFields) {
        return tooLargeHeader(limits.maxHeaderFields, "fields");
    }
    return std::nullopt;
}

std::optional<Response> objectionToLines(std::string_view text) {
    // All but the last line's end may have been taken already.
    const std::string_view header =
        text.substr(0, text.starts_with("\r\n") ? 0 : text.find("\r\n\r\n"));
    if (header.find("\n ") == std::string_view::npos &&
        header.find("\n\t") == std::string_view::npos) {
        return std::nullopt;
    }
    return protocolError(400, "a line of the header is folded");
}

std::optional<Response> objectionTo(const http::request_header<>& header,
                                    std::string_view origins) {
    if (!hasGoodHost(header)) {
        return protocolError(400, "there must be exactly one Host field, with a host in it");
    }
    const auto codings = header.count(http::field::transfer_encoding);
    if (codings > 0 && header.version() != kHttp11) {
        return protocolError(400, "HTTP/1.0 has no transfer codings");
    }
    if (codings > 1 ||
        (codings == 1 && !iequals(header[http::field::transfer_encoding], "chunked"))) {
        return protocolError(501, "no transfer coding but chunked is known");
    }
    if (header.count(http::field::expect) > 0 && header.version() == kHttp11 &&
        !expectsContinue(header)) {
        return protocolError(417, "no expectation but 100-continue can be met");
    }
    if (header.count(http::field::origin) > 0 &&
        !mayAsk(header[http::field::origin], header[http::field::host], origins)) {
        return protocolError(403, "pages of other sites may not ask");
    }
    return std::nullopt;
}

std::optional<Response> objectionToForm(const http::request_header<>& header) {
    static constexpr std::string_view kForm = "multipart/form-data";
    const std::string_view type = header[http::field::content_type].substr(0, kForm.size());
    if (!iequals(type, kForm)) {
        return std::nullopt;
    }
    return errorResponse(415, VELMORA_LIGHT_ERROR_INVALID_IMAGE_TYPE,
                         "send the image itself as the body, not a form: curl --data-binary "
                         "@image.png http://" +
                             std::string(header[http::field::host]) + "/v1/recognize");
}

bool leavesAfterAnswer(const http::request_header<>& header) {
    return iequals(header["Velmora-Connection"], "close");
}

bool expectsContinue(const http::request_header<>& header) {
    return header.version() == kHttp11 && iequals(header[http::field::expect], "100-continue");
}

}  // namespace standin
