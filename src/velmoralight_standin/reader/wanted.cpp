#include "velmoralight_standin/reader/wanted.h"

#include "velmoralight_standin/reader/query.h"

namespace standin {

namespace {

std::optional<Refusal> invalidProperty(const std::string& message) {
    return Refusal{VELMORA_LIGHT_ERROR_INVALID_PROPERTY, message};
}

std::optional<Refusal> takeRoi(std::string_view value, Wanted& wanted) {
    if (wanted.roi) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_ROI, "roi is given twice"};
    }
    wanted.roi = parseRoi(value);
    if (!wanted.roi) {
        return Refusal{VELMORA_LIGHT_ERROR_INVALID_ROI, "roi is not x,y,width,height"};
    }
    return std::nullopt;
}

std::optional<Refusal> takeFormats(std::string_view value, Wanted& wanted) {
    if (wanted.formats) {
        return invalidProperty("formats is given twice");
    }
    wanted.formats = Formats::All;
    for (std::size_t at = 0; at <= value.size();) {
        const std::string_view name = value.substr(at, value.find(',', at) - at);
        const std::optional<Formats> format = formatNamed(name);
        if (!format) {
            return invalidProperty("formats names '" + std::string(name) +
                                   "', which is none of: " + formatNames());
        }
        wanted.formats = *wanted.formats | *format;
        at += name.size() + 1;
    }
    return std::nullopt;
}

std::optional<Refusal> take(std::string_view name, std::string_view value, Wanted& wanted) {
    if (name == "roi") {
        return takeRoi(value, wanted);
    }
    if (name == "formats") {
        return takeFormats(value, wanted);
    }
    return invalidProperty("unknown query parameter: " + std::string(name));
}

}  // namespace

OrRefusal<Wanted> parseWanted(std::string_view query) {
    const std::optional<QueryParameters> parameters = parseQuery(query);
    if (!parameters) {
        return *invalidProperty("the query has a malformed escape");
    }
    Wanted wanted;
    for (const auto& [name, value] : *parameters) {
        if (const std::optional<Refusal> refusal = take(name, value, wanted)) {
            return *refusal;
        }
    }
    return wanted;
}

}  // namespace standin
