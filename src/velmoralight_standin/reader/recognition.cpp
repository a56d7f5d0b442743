#include "velmoralight_standin/reader/recognition.h"

#include <exception>
#include <new>

#include <nlohmann/json.hpp>

#include "velmoralight_standin/json_text.h"
#include "velmoralight_standin/reader/image_decoder.h"
#include "velmoralight_standin/reader/roi.h"
#include "velmoralight_standin/request_target.h"
#include "velmoralight_standin/return_code.h"

namespace standin {

namespace {

Refusal invalidRoi(const std::string& message) {
    return {VELMORA_LIGHT_ERROR_INVALID_ROI, message};
}

Refusal invalidProperty(const std::string& message) {
    return {VELMORA_LIGHT_ERROR_INVALID_PROPERTY, message};
}

// The region that the query names, if it names one.
OrRefusal<std::optional<Roi>> roiOf(std::string_view query) {
    const std::optional<QueryParameters> parameters = parseQuery(query);
    if (!parameters) {
        return invalidProperty("the query has a malformed escape");
    }
    std::optional<Roi> roi;
    for (const auto& [name, value] : *parameters) {
        if (name != "roi") {
            return invalidProperty("unknown query parameter: " + name);
        }
        if (roi) {
            return invalidRoi("roi is given twice");
        }
        roi = parseRoi(value);
        if (!roi) {
            return invalidRoi("roi is not x,y,width,height");
        }
    }
    return roi;
}

Recognition& refuse(Recognition& recognition, const Refusal& refusal) {
    recognition.code = refusal.code;
    recognition.message = refusal.message;
    return recognition;
}

Recognition recognizeOrThrow(std::string_view query, Bytes file, const Limits& limits) {
    Recognition result;
    const auto wanted = roiOf(query);
    if (const Refusal* refusal = std::get_if<Refusal>(&wanted)) {
        return refuse(result, *refusal);
    }
    const auto info = inspectImage(file, limits);
    if (const Refusal* refusal = std::get_if<Refusal>(&info)) {
        return refuse(result, *refusal);
    }
    const auto& image = std::get<ImageInfo>(info);
    result.image = image;
    const Roi roi =
        std::get<std::optional<Roi>>(wanted).value_or(Roi{0, 0, image.width, image.height});
    if (!liesInside(roi, image)) {
        return refuse(result, invalidRoi("roi does not lie inside the image"));
    }
    const auto pixels = decodeImage(file, image);
    if (const Refusal* refusal = std::get_if<Refusal>(&pixels)) {
        return refuse(result, *refusal);
    }
    result.symbols = readSymbols(std::get<GreyPixels>(pixels), image.width, roi);
    return result;
}

Recognition failed(const char* why) {
    Recognition result;
    result.code = VELMORA_LIGHT_ERROR_OTHER;
    result.message = why;
    return result;
}

nlohmann::ordered_json jsonOf(const ImageInfo& image) {
    return {{"type", image.type == ImageType::Png ? "png" : "jpeg"},
            {"width", image.width},
            {"height", image.height}};
}

nlohmann::ordered_json jsonOf(const Symbol& symbol) {
    nlohmann::ordered_json corners = nlohmann::ordered_json::array();
    for (const Corner& corner : symbol.corners) {
        corners.push_back({{"x", corner.x}, {"y", corner.y}});
    }
    return {{"format", symbol.format}, {"text", symbol.text}, {"corners", corners}};
}

double milliseconds(std::chrono::steady_clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

Recognition recognize(std::string_view query, Bytes file, const Limits& limits) noexcept {
    try {
        return recognizeOrThrow(query, file, limits);
    } catch (const std::bad_alloc&) {
        return failed("out of memory");
    } catch (const std::exception&) {
        return failed("the recognition failed");
    }
}

std::string answerText(const Recognition& recognition) {
    nlohmann::ordered_json answer = {{"code", static_cast<int>(recognition.code)},
                                     {"name", nameOf(recognition.code)}};
    if (!recognition.message.empty()) {
        answer["message"] = recognition.message;
    }
    if (recognition.image) {
        answer["image"] = jsonOf(*recognition.image);
    }
    if (recognition.code == VELMORA_LIGHT_SUCCESS) {
        answer["symbols"] = nlohmann::ordered_json::array();
        for (const Symbol& symbol : recognition.symbols) {
            answer["symbols"].push_back(jsonOf(symbol));
        }
    }
    std::string text = jsonText(answer);
    text.pop_back();  // the line feed
    return text;
}

Response answerTo(const Recognition& recognition, std::chrono::steady_clock::duration waited,
                  std::chrono::steady_clock::duration worked) {
    Response response;
    response.status = httpStatusOf(recognition.code);
    response.body = answerText(recognition);
    response.body.pop_back();
    response.body += ",\"waitedMs\":" + nlohmann::json(milliseconds(waited)).dump() +
                     ",\"workedMs\":" + nlohmann::json(milliseconds(worked)).dump() + "}\n";
    return response;
}

}  // namespace standin
