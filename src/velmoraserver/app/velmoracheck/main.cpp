#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "velmoraserver/app/velmoracheck/engine_child.h"
#include "velmoraserver/app/velmoracheck/ini_check.h"
#include "velmoraserver/app/velmoracheck/invocation.h"
#include "velmoraserver/app/velmoracheck/option_check.h"
#include "velmoraserver/app/velmoracheck/port_probe.h"
#include "velmoraserver/app/velmoracheck/report.h"
#include "velmoraserver/app/velmoracheck/words.h"
#include "velmoraserver/app/velmoraserviced/standard_streams.h"

using namespace velmoracheck;

namespace {

enum ExitStatus { AsTheFilesSay = 0, HasFindings = 1, CalledWrongly = 2 };

std::string environmentOr(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

void checkSettings(const Invocation& invocation, Report& report) {
    checkIgnored(*invocation.parser, report.findings);
    const std::optional<std::string> iniFile = iniFileOf(invocation);
    report.settings = iniFile ? checkIni(*iniFile, report.findings)
                              : checkOptions(*invocation.parser, report.findings);
}

void checkPort(Report& report) {
    for (const SettingInForce& setting : report.settings.value_or(std::vector<SettingInForce>{})) {
        if (setting.name != "port" || setting.number < 1 || setting.number > 65535) {
            continue;
        }
        const std::string address = environmentOr("VELMORA_LIGHT_BIND", "127.0.0.1");
        const PortState state = probePort(address, setting.number);
        const std::string port =
            "port " + std::to_string(setting.number) + " of " + inQuotes(address);
        if (state.kind == PortState::InUse) {
            report.findings.warning(setting.place, port +
                                                       " is in use now: stop what listens there, "
                                                       "or choose another port");
        } else if (state.kind == PortState::Forbidden) {
            report.findings.error(setting.place, port + " is forbidden to this user: " +
                                                     state.problem + "; choose one above 1023");
        } else if (state.kind == PortState::Unusable) {
            report.findings.warning({environmentFile, 1},
                                    port + " cannot be listened on: " + state.problem);
        }
    }
}

void checkLogConfiguration(const Invocation& invocation, Report& report) {
    const LogName log = logNameOf(invocation);
    report.log = checkLog(log.name, log.place, report.findings);
}

void checkEngine(Report& report) {
    const EngineProbe probe = probeEngine();
    report.engine = probe.engine;
    if (!probe.engine) {
        report.findings.error({engineLibrary, 1}, "the engine cannot be used: " + probe.problem);
    }
}

ReportStyle styleOf(const Invocation& invocation) {
    const bool colour = ::isatty(STDOUT_FILENO) == 1 && environmentOr("NO_COLOR", "").empty() &&
                        environmentOr("TERM", "dumb") != "dumb";
    return {.findingsOnly = invocation.quiet, .colour = colour};
}

// Standard output as the caller has left it, open or closed. It is asked before /dev/null takes the
// place of a closed one, where a report would be lost without a word.
class Output {
public:
    Output() : isOpen(::fcntl(STDOUT_FILENO, F_GETFD) >= 0) {}

    [[nodiscard]] bool print(const std::string& text) const {
        return text.empty() ||
               (isOpen && std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
                std::fflush(stdout) == 0);
    }

private:
    bool isOpen;
};

void complain(const std::string& problem) {
    // What cannot be told even there cannot be told at all.
    static_cast<void>(std::fputs(("velmoracheck: " + problem + "\n").c_str(), stderr));
}

int check(const Invocation& invocation, const Output& output) {
    Report report;
    checkSettings(invocation, report);
    checkPort(report);
    checkLogConfiguration(invocation, report);
    checkEngine(report);

    const ReportStyle style = styleOf(invocation);
    if (!output.print(invocation.json ? reportJson(report, style) : reportText(report, style))) {
        complain("the report cannot be written");
        return CalledWrongly;
    }
    const bool isFound =
        report.findings.errors() > 0 || (invocation.strict && report.findings.warnings() > 0);
    return isFound ? HasFindings : AsTheFilesSay;
}

}  // namespace

int main(int argc, char** argv) {
    const Output output;
    qor::openClosedStreams();
    const Invocation invocation = readCommandLine(argc, argv);
    if (invocation.help) {
        return output.print(helpText()) ? AsTheFilesSay : CalledWrongly;
    }
    if (!invocation.problem.empty()) {
        complain(invocation.problem + " (--help tells more)");
        return CalledWrongly;
    }
    return check(invocation, output);
}
