#include "velmoraserver/app/velmoracheck/finding.h"

#include <algorithm>
#include <tuple>

namespace velmoracheck {

const char* severityName(Severity severity) {
    return severity == Severity::Error ? "error" : "warning";
}

void Findings::keep(Severity severity, const Place& place, std::string text) {
    const bool isError = severity == Severity::Error;
    ++(isError ? errorCount : warningCount);
    File& file = files.try_emplace(place.file, File{.rank = files.size()}).first->second;
    std::size_t& count = isError ? file.errors : file.warnings;
    if (++count <= (isError ? keptErrors : keptWarnings)) {
        findings.push_back({severity, place, std::move(text)});
    }
}

std::vector<Finding> Findings::sorted() const {
    std::vector<Finding> result = findings;
    std::ranges::stable_sort(result, {}, [this](const Finding& finding) {
        return std::tuple(files.at(finding.place.file).rank, finding.place.line);
    });
    return result;
}

}  // namespace velmoracheck
