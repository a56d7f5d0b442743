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

double seconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double>(time).count();
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

template <typename Label>
Json jsonOf(const std::map<int, uint64_t>& counts, Label label) {
    Json result = Json::object();
    for (const auto& [key, count] : counts) {
        result[label(key)] = count;
    }
    return result;
}

Json jsonOf(const Counters& counters, const WorkerPool::Load& load) {
    return {{"connectionsOpen", counters.connectionsOpen},
            {"connectionsAdmitted", counters.connectionsAdmitted},
            {"connectionsRefused", counters.connectionsRefused},
            {"responses", jsonOf(counters.responses, statusLabel)},
            {"recognitions", jsonOf(counters.recognitions, codeLabel)},
            {"symbols", counters.symbols},
            {"requestsWaiting", load.waiting},
            {"workersBusy", load.working},
            {"queueFull", counters.queueFull},
            {"queueTimeouts", counters.queueTimeouts},
            {"waitedSeconds", seconds(counters.waitedTime)},
            {"workedSeconds", seconds(counters.workedTime)}};
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

    template <typename Label>
    void counts(const char* name, const char* help, const char* labelName,
                const std::map<int, uint64_t>& counts, Label label) {
        family(name, "counter", help);
        for (const auto& [key, count] : counts) {
            sample(name, std::string("{") + labelName + "=\"" + label(key) + "\"}", count);
        }
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

void writeQueues(MetricsText& text, const ServerState& state) {
    const Counters& counters = state.counters;
    text.single("workers", "gauge", "Worker threads.", state.config.threads);
    text.single("workers_busy", "gauge", "Worker threads at work.", state.load.working);
    text.single("requests_waiting", "gauge", "Requests in the queues.", state.load.waiting);
    text.single("queue_full_total", "counter", "Requests refused by full queues.",
                counters.queueFull);
    text.single("queue_timeouts_total", "counter", "Requests that waited too long.",
                counters.queueTimeouts);
}

void writeRecognitions(MetricsText& text, const Counters& counters) {
    text.counts("recognitions_total", "Requests worked on, by return code.", "code",
                counters.recognitions, codeLabel);
    text.single("symbols_total", "counter", "Symbols found.", counters.symbols);
    text.single("waited_seconds_total", "counter", "Time that requests spent in a queue.",
                seconds(counters.waitedTime));
    text.single("worked_seconds_total", "counter", "Time that workers spent on requests.",
                seconds(counters.workedTime));
}

}  // namespace

Response statusReport(const ServerState& state) {
    Json body = success();
    body["version"] = kVersionText;
    body["build"] = buildIdentifier();
    body["description"] = kDescription;
    body["startTimeSeconds"] = seconds(state.started.time_since_epoch());
    body["config"] = jsonOf(state.config);
    body["counters"] = jsonOf(state.counters, state.load);
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
    writeQueues(text, state);
    writeRecognitions(text, state.counters);
    Response response;
    response.contentType = "text/plain; version=0.0.4; charset=utf-8";
    response.body = text.text();
    return response;
}

Response healthReport() {
    Json body = success();
    body["status"] = "ok";
    Response response;
    response.body = jsonText(body);
    return response;
}

}  // namespace standin
