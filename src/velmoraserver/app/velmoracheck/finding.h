#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "velmoraserver/app/velmoracheck/words.h"

namespace velmoracheck {

// Where something stands. What concerns a whole file stands at its line 1.
struct Place {
    std::string file;
    std::size_t line = 1;
};

// The places of what stands in no file.
inline constexpr const char* commandLineFile = "<command-line>";
inline constexpr const char* environmentFile = "<environment>";

// An error: what the file says is not what the daemon does, or the daemon does not start. A
// warning: probably not meant.
enum class Severity { Warning, Error };

[[nodiscard]] const char* severityName(Severity severity);

struct Finding {
    Severity severity;
    Place place;
    std::string text;
};

// All findings of a run. They are counted without end, but of a file only the first
// `keptWarnings` and the first `keptErrors` are kept, so that a file that is no configuration at
// all ends in a report that can be read. Warnings take no error's place.
class Findings {
public:
    static constexpr std::size_t keptWarnings = 100;
    static constexpr std::size_t keptErrors = 1000;

    // The parts are joined.
    template <typename... Parts>
    void error(const Place& place, const Parts&... parts) {
        keep(Severity::Error, place, joined(parts...));
    }
    template <typename... Parts>
    void warning(const Place& place, const Parts&... parts) {
        keep(Severity::Warning, place, joined(parts...));
    }

    [[nodiscard]] std::size_t errors() const { return errorCount; }
    [[nodiscard]] std::size_t warnings() const { return warningCount; }
    [[nodiscard]] std::size_t leftOut() const {
        return errorCount + warningCount - findings.size();
    }

    // Those that were kept: the files in the order in which they were looked at, each by line.
    [[nodiscard]] std::vector<Finding> sorted() const;

private:
    void keep(Severity severity, const Place& place, std::string text);

    struct File {
        std::size_t rank;  // its place among the files
        std::size_t warnings = 0;
        std::size_t errors = 0;
    };
    std::map<std::string, File> files;
    std::vector<Finding> findings;
    std::size_t errorCount = 0;
    std::size_t warningCount = 0;
};

}  // namespace velmoracheck
