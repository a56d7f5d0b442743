#include "velmoralight_standin/reports.h"

#include <limits>
#include <locale>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "velmoralight_standin/json_text.h"
#include "velmoralight_standin/return_code.h"
#include "velmoralight_standin/version.h"

namespace standin {

namespace {

using Json = nlohmann::ordered_json;

Json success() {
    return {{"code", static_cast<int>(VELMORA_LIGHT_SUCCESS)},
            {"name", nameOf(VELMORA_LIGHT_SUCCESS)}};
}

Json jsonOf(const VelmoraLightServerConfig& config) {
    return {{"port", config.port},
            {"conns", config.conns},
            {"threads", config.threads},
            {"threadQueueSize", config.threadQueueSize},
            {"queueTimeout", config.queueTimeout}};
}

std::string statusLabel(int status) {
    return std::to_string(status);
}

std::string codeLabel(int code) {
    return nameOf(static_cast<VelmoraLightReturnCode>(code));
}

std::string reasonLabel(std::string_view reason) {
    return std::string(reason);
}

// Calls `use` with each upper bound as text and how many took no longer.
template <typename Use>
void forEachBound(const Histogram& histogram, Use use) {
    uint64_t count = 0;
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        count += histogram.counts[i];
        use(i < kTimeBounds.size() ? Json(kTimeBounds[i]).dump() : "+Inf", count);
    }
}

template <typename Key, typename Label>
Json jsonOf(const std::map<Key, uint64_t>& counts, Label label) {
    Json result = Json::object();
    for (const auto& [key, count] : counts) {
        result[label(key)] = count;
    }
    return result;
}

// How many took at most as long as each bound, by the bound.
Json jsonOf(const Histogram& histogram) {
    Json result = Json::object();
    forEachBound(histogram,
                 [&](const std::string& bound, uint64_t count) { result[bound] = count; });
    return result;
}

Json jsonOf(const Counters& counters) {
    return {{"connectionsOpen", counters.connectionsOpen},
            {"connectionsAdmitted", counters.connectionsAdmitted},
            {"connectionsRefused", counters.connectionsRefused},
            {"responses", jsonOf(counters.responses, statusLabel)},
            {"recognitions", jsonOf(counters.recognitions, codeLabel)},
            {"symbols", counters.symbols},
            {"requestsWaiting", counters.requestsWaiting},
            {"workersBusy", counters.readersBusy},
            {"readersAlive", counters.readersAlive},
            {"readersReplaced", jsonOf(counters.readersReplaced, reasonLabel)},
            {"queueFull", counters.queueFull},
            {"queueTimeouts", counters.queueTimeouts},
            {"bodiesRefused", counters.bodiesRefused},
            {"waitedSeconds", counters.waited.sum},
            {"workedSeconds", counters.worked.sum},
            {"waited", jsonOf(counters.waited)},
            {"worked", jsonOf(counters.worked)}};
}

// Writes the Prometheus text format: a family is introduced by its help and its type.
class MetricsText {
public:
    MetricsText() {
        // The format knows no other decimal sign than the point, whatever the host's locale is.
        text_.imbue(std::locale::classic());
        text_.precision(std::numeric_limits<double>::digits10);
    }

    void family(const char* name, const char* type, const char* help) {
        text_ << "# HELP velmora_light_" << name << ' ' << help << '\n'
              << "# TYPE velmora_light_" << name << ' ' << type << '\n';
    }

    // `labels` is empty or of the form {name="value"}; no label of the engine needs an escape.
    template <typename Number>
    void sample(const char* name, const std::string& labels, Number value) {
        text_ << "velmora_light_" << name << labels << ' ' << value << '\n';
    }

    template <typename Number>
    void single(const char* name, const char* type, const char* help, Number value) {
        family(name, type, help);
        sample(name, "", value);
    }

    template <typename Key, typename Label>
    void counts(const char* name, const char* help, const char* labelName,
                const std::map<Key, uint64_t>& counts, Label label) {
        family(name, "counter", help);
        for (const auto& [key, count] : counts) {
            sample(name, std::string("{") + labelName + "=\"" + label(key) + "\"}", count);
        }
    }

    void histogram(const std::string& name, const char* help, const Histogram& histogram) {
        family(name.c_str(), "histogram", help);
        uint64_t all = 0;
        forEachBound(histogram, [&](const std::string& bound, uint64_t count) {
            sample((name + "_bucket").c_str(), "{le=\"" + bound + "\"}", count);
            all = count;
        });
        sample((name + "_sum").c_str(), "", histogram.sum);
        sample((name + "_count").c_str(), "", all);
    }

    [[nodiscard]] std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
};

void writeConnections(MetricsText& text, const ServerState& state) {
    const Counters& counters = state.counters;
    text.single("connections", "gauge", "Client connections now.", counters.connectionsOpen);
    text.single("connections_limit", "gauge", "Client connections at once.", state.config.conns);
    text.single("connections_admitted_total", "counter", "Client connections taken in.",
                counters.connectionsAdmitted);
    text.single("connections_refused_total", "counter",
                "Client connections answered 503 because of the limit.",
                counters.connectionsRefused);
    text.counts("responses_total", "Answers by HTTP status.", "status", counters.responses,
                statusLabel);
}

void writeReaders(MetricsText& text, const ServerState& state) {
    const Counters& counters = state.counters;
    text.single("workers", "gauge", "Readers that were asked for.", state.config.threads);
    text.single("workers_busy", "gauge", "Readers at work.", counters.readersBusy);
    text.single("readers_alive", "gauge", "Readers that can be given work.", counters.readersAlive);
    text.counts("readers_replaced_total", "Readers replaced, by what was wrong with them.",
                "reason", counters.readersReplaced, reasonLabel);
    text.single("requests_waiting", "gauge", "Requests in the queue.", counters.requestsWaiting);
    text.single("queue_full_total", "counter", "Requests refused by a full queue.",
                counters.queueFull);
    text.single("queue_timeouts_total", "counter", "Requests that waited too long.",
                counters.queueTimeouts);
    text.single("bodies_refused_total", "counter",
                "Requests refused because the bodies on their way took all the memory for them.",
                counters.bodiesRefused);
}

void writeRecognitions(MetricsText& text, const Counters& counters) {
    text.counts("recognitions_total", "Requests worked on, by return code.", "code",
                counters.recognitions, codeLabel);
    text.single("symbols_total", "counter", "Symbols found.", counters.symbols);
    text.single("waited_seconds_total", "counter", "Time that requests spent in the queue.",
                counters.waited.sum);
    text.single("worked_seconds_total", "counter", "Time that readers spent on requests.",
                counters.worked.sum);
    text.histogram("waited_seconds", "Time that a request spent in the queue.", counters.waited);
    text.histogram("worked_seconds", "Time that a reader spent on a request.", counters.worked);
}

}  // namespace

Response statusReport(const ServerState& state) {
    Json body = success();
    body["version"] = kVersionText;
    body["build"] = buildIdentifier();
    body["description"] = kDescription;
    body["startTimeSeconds"] =
        std::chrono::duration<double>(state.started.time_since_epoch()).count();
    body["config"] = jsonOf(state.config);
    body["counters"] = jsonOf(state.counters);
    Response response;
    response.body = jsonText(body);
    return response;
}

Response metricsReport(const ServerState& state) {
    MetricsText text;
    text.family("build_info", "gauge", "Version and build of the engine.");
    text.sample(
        "build_info",
        std::string("{version=\"") + kVersionText + "\",build=\"" + buildIdentifier() + "\"}", 1);
    writeConnections(text, state);
    writeReaders(text, state);
    writeRecognitions(text, state.counters);
    Response response;
    response.contentType = "text/plain; version=0.0.4; charset=utf-8";
    response.body = text.text();
    return response;
}

Response healthReport(const ServerState& state, std::chrono::seconds retryAfter) {
    if (state.counters.readersAlive == 0) {
        return unavailable("no reader is alive", retryAfter);
    }
    Json body = success();
    body["status"] = "ok";
    Response response;
    response.body = jsonText(body);
    return response;
}

}  // namespace standin
