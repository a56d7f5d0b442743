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

// Calls `use` with each upper bound as text and how many took no longer.
template <typename Use>
void forEachBound(const Histogram& histogram, Use use) {
    uint64_t count = 0;
    for (std::size_t i = 0; i < histogram.counts.size(); ++i) {
        count += histogram.counts[i];
        use(i < kTimeBounds.size() ? Json(kTimeBounds[i]).dump() : "+Inf", count);
    }
}

Json jsonOf(const VelmoraLightServerConfig& config) {
    return {{"port", config.port},
            {"conns", config.conns},
            {"threads", config.threads},
            {"threadQueueSize", config.threadQueueSize},
            {"queueTimeout", config.queueTimeout}};
}

// How many took at most as long as each bound, by the bound.
Json jsonOf(const Histogram& histogram) {
    Json result = Json::object();
    forEachBound(histogram,
                 [&](const std::string& bound, uint64_t count) { result[bound] = count; });
    return result;
}

Json countersOf(const ServerState& state) {
    const Counters& counters = state.counters;
    return {{"connectionsOpen", state.connectionsOpen},
            {"connectionsAdmitted", counters.connectionsAdmitted},
            {"connectionsRefused", counters.connectionsRefused},
            {"responses", counters.responses},
            {"recognitions", counters.recognitions},
            {"symbols", counters.symbols},
            {"requestsWaiting", counters.requestsWaiting},
            {"workersBusy", counters.readersBusy},
            {"readersAlive", counters.readersAlive},
            {"readersReplaced", counters.readersReplaced},
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

    // Labels are empty or of the form {name="value"}; none of the engine needs an escape.
    template <typename Number>
    void number(const std::string& name, const char* help, Number value,
                const std::string& labels = "") {
        family(name, name.ends_with("_total") ? "counter" : "gauge", help);
        sample(name, labels, value);
    }

    void counts(const std::string& name, const char* help, const std::string& label,
                const Counts& counts) {
        family(name, "counter", help);
        for (const auto& [key, count] : counts) {
            sample(name, "{" + label + "=" + Json(key).dump() + "}", count);
        }
    }

    void histogram(const std::string& name, const char* help, const Histogram& histogram) {
        family(name, "histogram", help);
        uint64_t all = 0;
        forEachBound(histogram, [&](const std::string& bound, uint64_t count) {
            sample(name + "_bucket", "{le=\"" + bound + "\"}", count);
            all = count;
        });
        sample(name + "_sum", "", histogram.sum);
        sample(name + "_count", "", all);
    }

    [[nodiscard]] std::string text() const { return text_.str(); }

private:
    void family(const std::string& name, const char* type, const char* help) {
        text_ << "# HELP velmora_light_" << name << ' ' << help << '\n'
              << "# TYPE velmora_light_" << name << ' ' << type << '\n';
    }

    template <typename Number>
    void sample(const std::string& name, const std::string& labels, Number value) {
        text_ << "velmora_light_" << name << labels << ' ' << value << '\n';
    }

    std::ostringstream text_;
};

void writeConnections(MetricsText& text, const ServerState& state) {
    const Counters& counters = state.counters;
    text.number("connections", "Client connections now.", state.connectionsOpen);
    text.number("connections_limit", "Client connections at once.", state.config.conns);
    text.number("connections_admitted_total", "Client connections taken in.",
                counters.connectionsAdmitted);
    text.number("connections_refused_total",
                "Client connections answered 503 because of the limit.",
                counters.connectionsRefused);
    text.counts("responses_total", "Answers by HTTP status.", "status", counters.responses);
}

void writeReaders(MetricsText& text, const ServerState& state) {
    const Counters& counters = state.counters;
    text.number("workers", "Readers that were asked for.", state.config.threads);
    text.number("workers_busy", "Readers at work.", counters.readersBusy);
    text.number("readers_alive", "Readers that can be given work.", counters.readersAlive);
    text.counts("readers_replaced_total", "Readers replaced, by what was wrong with them.",
                "reason", counters.readersReplaced);
    text.number("requests_waiting", "Requests in the queue.", counters.requestsWaiting);
    text.number("queue_full_total", "Requests refused by a full queue.", counters.queueFull);
    text.number("queue_timeouts_total", "Requests that waited too long.", counters.queueTimeouts);
    text.number("bodies_refused_total",
                "Requests refused because the bodies on their way took all the memory for them.",
                counters.bodiesRefused);
}

void writeRecognitions(MetricsText& text, const Counters& counters) {
    text.counts("recognitions_total", "Requests worked on, by return code.", "code",
                counters.recognitions);
    text.number("symbols_total", "Symbols found.", counters.symbols);
    text.number("waited_seconds_total", "Time that requests spent in the queue.",
                counters.waited.sum);
    text.number("worked_seconds_total", "Time that readers spent on requests.",
                counters.worked.sum);
    text.histogram("waited_seconds", "Time that a request spent in the queue.", counters.waited);
    text.histogram("worked_seconds", "Time that a reader spent on a request.", counters.worked);
}

}  // namespace

Response statusReport(const ServerState& state) {
    const std::chrono::duration<double> started = state.started.time_since_epoch();
    return {.body = jsonText({{"code", VELMORA_LIGHT_SUCCESS},
                              {"name", nameOf(VELMORA_LIGHT_SUCCESS)},
                              {"version", kVersionText},
                              {"build", buildIdentifier()},
                              {"description", kDescription},
                              {"startTimeSeconds", started.count()},
                              {"config", jsonOf(state.config)},
                              {"counters", countersOf(state)}})};
}

Response metricsReport(const ServerState& state) {
    MetricsText text;
    text.number(
        "build_info", "Version and build of the engine.", 1,
        std::string("{version=\"") + kVersionText + "\",build=\"" + buildIdentifier() + "\"}");
    writeConnections(text, state);
    writeReaders(text, state);
    writeRecognitions(text, state.counters);
    return {.contentType = "text/plain; version=0.0.4; charset=utf-8", .body = text.text()};
}

Response healthReport(const ServerState& state, std::chrono::seconds retryAfter) {
    if (state.counters.readersAlive == 0) {
        return unavailable("no reader is alive", retryAfter);
    }
    return {.body = jsonText({{"code", VELMORA_LIGHT_SUCCESS},
                              {"name", nameOf(VELMORA_LIGHT_SUCCESS)},
                              {"status", "ok"}})};
}

}  // namespace standin
