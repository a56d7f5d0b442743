#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include "velmora_build_id.h"
#include "velmoraserver/app/velmoracheck/invocation.h"
#include "velmoraserver/app/velmoracheck/port_check.h"
#include "velmoraserver/app/velmoracheck/report.h"
#include "velmoraserver/app/velmoraserviced/standard_streams.h"

using namespace velmoracheck;

namespace {

enum ExitStatus { Sound = 0, HasFindings = 1, CalledWrongly = 2 };

std::string environmentOr(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
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

// Takes the place of the daemon, as far as the options tell. Why that cannot be, or an empty text.
std::string takePlace(const Invocation& invocation, Report& report) {
    const CommandLineProcessing::ArgvParser& parser = *invocation.parser;
    std::error_code error;
    if (parser.foundOption("cwd")) {
        std::filesystem::current_path(parser.optionValue("cwd"), error);
        if (error) {
            return "cannot enter " + inQuotes(parser.optionValue("cwd")) + ": " + error.message();
        }
    }
    report.directory = std::filesystem::current_path(error).string();
    if (parser.foundOption("user")) {
        return become(parser.optionValue("user"));
    }
    if (const std::string user = userToSuggest(); !user.empty()) {
        report.notes.push_back("files are judged as root; --user " + user +
                               " judges as the installed unit's user");
    }
    return {};
}

void checkRehearsal(Report& report, int port) {
    qor::Settings numbers = report.settings->numbers;
    const int ownPort = std::exchange(numbers.port, port);
    const Rehearsal rehearsal = rehearse(numbers);
    report.isRehearsed = true;
    if (!rehearsal.problem.empty()) {
        report.findings.error({engineLibrary, 1}, "the engine does not start: ", rehearsal.problem);
        return;
    }
    report.notes.push_back(joined("the engine serves on ", port, " after ",
                                  rehearsal.duration.count(), " ms",
                                  port != ownPort ? joined(", in place of ", ownPort) : ""));
}

void checkAll(const Invocation& invocation, Report& report) {
    const CommandLineProcessing::ArgvParser& parser = *invocation.parser;
    const std::optional<std::string> iniFile = iniFileOf(parser);
    // First, as more is known of the stand-in.
    const EngineProbe probe = probeEngine();
    report.engine = probe.engine;
    checkCommandLine(parser, report.findings);
    report.settings =
        iniFile ? checkIni(*iniFile, report.findings) : checkOptions(parser, report.findings);
    if (report.settings) {
        checkTogether(*report.settings, report.findings);
        if (report.engine && report.engine->isStandIn()) {
            checkForStandIn(*report.settings, report.findings);
        }
    }
    const int port = checkPort(report, iniFile);
    report.log = checkLog(logNameOf(parser), iniFile, report.findings);
    if (!report.engine && !probe.isLate) {
        report.findings.error({engineLibrary, 1}, "the engine cannot be used: ", probe.problem);
    } else if (invocation.rehearse && report.settings) {
        checkRehearsal(report, port);
    } else if (!report.engine) {
        report.findings.warning({engineLibrary, 1}, "the engine ", probe.problem,
                                ": its version is not known; see with --rehearse whether it "
                                "serves");
    }
}

int check(const Invocation& invocation, const Output& output) {
    Report report;
    if (const std::string problem = takePlace(invocation, report); !problem.empty()) {
        complain(problem);
        return CalledWrongly;
    }
    checkAll(invocation, report);
    const ReportStyle style = styleOf(invocation);
    if (!output.print(invocation.json ? reportJson(report, style) : reportText(report, style))) {
        complain("the report cannot be written");
        return CalledWrongly;
    }
    const bool isFound =
        report.findings.errors() > 0 || (invocation.strict && report.findings.warnings() > 0);
    if (const std::string unit = ownUnit(); isFound && !unit.empty()) {
        complain(unit + " is not started; what keeps it from that: journalctl -b -u " + unit);
    }
    return isFound ? HasFindings : Sound;
}

}  // namespace

int main(int argc, char** argv) {
    const Output output;
    qor::openClosedStreams();
    const Invocation invocation = readCommandLine(argc, argv);
    if (!invocation.problem.empty()) {
        complain(invocation.problem + " (--help tells more)");
        return CalledWrongly;
    }
    if (invocation.help || invocation.version) {
        const std::string version = "velmoracheck " VELMORA_VERSION " build " VELMORA_BUILD_ID "\n";
        return output.print(invocation.help ? helpText() : version) ? Sound : CalledWrongly;
    }
    return check(invocation, output);
}
