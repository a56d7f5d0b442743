#include "velmoralight_standin/page.h"

#include <string>

namespace standin {

namespace {

// The image that is shown comes from the page itself (blob:), and so does the icon (data:). A text
// cannot become markup, not even by mistake: the page may make no value for a place that takes any.
std::string policy() {
    return std::string("default-src 'none'; connect-src 'self'; img-src blob: data:; script-src '")
        .append(pageScriptHash())
        .append("'; style-src '")
        .append(pageStyleHash())
        .append(
            "'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
            "require-trusted-types-for 'script'; trusted-types 'none'");
}

}  // namespace

Response pageReport() {
    return {.contentType = "text/html; charset=utf-8",
            .body = std::string(pageText()),
            .fields = {{"Content-Security-Policy", policy()},
                       {"Permissions-Policy", "camera=(self), geolocation=(), microphone=()"},
                       {"Referrer-Policy", "no-referrer"}}};
}

}  // namespace standin
