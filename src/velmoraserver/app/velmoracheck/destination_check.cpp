#include "velmoraserver/app/velmoracheck/destination_check.h"

#include <cstdint>
#include <filesystem>
#include <map>

#include "velmoraserver/app/velmoracheck/words.h"
#include "velmoraserver/app/velmoracheck/write_probe.h"

namespace velmoracheck {

namespace {

// Bytes of a line as the daemon writes it: a prefix of some 60 and its message. A file whose limit
// is smaller than the line that is to come is not rotated.
constexpr std::uint64_t usualLine = 128;
// No size of nine characters comes to more, and no negative one to less.
constexpr std::uint64_t largestLimit = std::uint64_t{1} << 62U;

constexpr const char* backupSuffix = ".bkp";

// What was found of a file, the first time that a rule names it.
struct Seen {
    std::uint64_t limit;
    std::size_t line;
    bool isBackupChecked;
};

class DestinationCheck {
public:
    DestinationCheck(const std::string& thePath, Findings& theFindings)
        : path(thePath), findings(theFindings) {}

    void check(const std::string& name, std::uint64_t limit, std::size_t line) {
        const Place place{path, line};
        checkConsoleName(name, place);
        const std::string file = std::filesystem::path(name).lexically_normal().string();
        const auto [found, isNew] = files.try_emplace(file, Seen{limit, line, false});
        Seen& seen = found->second;
        if (isNew) {
            checkWritable("destination", name, place);
        } else if (seen.limit != limit) {
            findings.warning(place, inQuotes(name) + " has the limit " + std::to_string(limit) +
                                        " here and " + std::to_string(seen.limit) + " in line " +
                                        std::to_string(seen.line) + ": give it one limit");
        }
        checkLimit(name, limit, place, seen);
    }

private:
    void checkConsoleName(const std::string& name, const Place& place) {
        if (lowerCase(name) == "[stdout]" || lowerCase(name) == "stdout") {
            findings.warning(place,
                             inQuotes(name) + " is a file of this name: did you mean '[STDOUT]'?");
        }
    }

    void checkLimit(const std::string& name, std::uint64_t limit, const Place& place, Seen& seen) {
        if (limit == 0) {
            return;
        }
        if (limit < usualLine) {
            findings.warning(place, "limit of " + std::to_string(limit) +
                                        " bytes is smaller than a line: " + inQuotes(name) +
                                        " never rotates; write 0 for no limit, or a larger one");
        } else if (!seen.isBackupChecked) {
            seen.isBackupChecked = true;
            checkWritable("backup", name + backupSuffix, place);
        }
    }

    void checkWritable(const char* what, const std::string& name, const Place& place) {
        if (const std::string why = whyNotWritable(name); !why.empty()) {
            findings.error(place,
                           std::string(what) + " " + inQuotes(name) + " cannot be written: " + why);
        }
    }

    const std::string& path;
    Findings& findings;
    std::map<std::string, Seen> files;
};

}  // namespace

std::uint64_t limitOf(std::uint64_t size) {
    return size < largestLimit ? size : 0;
}

void checkDestinations(const std::vector<LogRule>& rules, const std::string& path,
                       Findings& findings) {
    DestinationCheck destinations(path, findings);
    for (const LogRule& rule : rules) {
        if (!rule.isRule() || rule.isReplaced) {
            continue;
        }
        if (rule.entry.files.empty()) {
            findings.error({path, rule.line},
                           "no destination: nothing is written; name '[STDOUT]' "
                           "or a file");
        }
        for (std::size_t i = 0; i < rule.entry.files.size(); ++i) {
            if (rule.entry.files[i] != vlogConsole) {
                destinations.check(rule.entry.files[i], limitOf(rule.entry.sizes[i]), rule.line);
            }
        }
    }
}

}  // namespace velmoracheck
